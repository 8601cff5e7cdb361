// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "tests/support/conversion.h"
#include "tests/support/tempdir.h"

#include <QDateTime>
#include <QTest>

#include <algorithm>

/// @file
/// A conversion request as a test row: the directory before it, the answers, the directory after.

struct Request
{
    Conversion conversion = Conversion::Split;
    Files before = {};
    QStringList sources = {QStringLiteral("take.wav")};
    Files outputs = {}; ///< what the request adds to `before` or changes in it
    QStringList removed = {}; ///< what it removes
    Files listed = {}; ///< the files when their headers are parsed, if others than `before`
    QList<int> disabled = {}; ///< channels, from 1, of every source
    QString outputDir = {}; ///< relative to the directory
    QList<QMessageBox::StandardButton> answers = {}; ///< of the questions
    int result = 0;
    QStringList boxes = {}; ///< texts

    QString source() const { return sources.first(); }

    /// The first or only output.
    QString output() const
    {
        const QString folder = outputDir.isEmpty() ? QString() : outputDir + u'/';
        return folder + outputNames(conversion).first();
    }

    /// Puts the sources into the folder in, and what the request writes into the folder out.
    void separate()
    {
        const auto moved = [](const Files& files, const QString& folder) {
            Files renamed;
            for (auto file = files.cbegin(); file != files.cend(); ++file)
                renamed[folder + file.key()] = file.value();
            return renamed;
        };
        for (QString& name : sources)
            name.prepend(QStringLiteral("in/"));
        before = moved(before, QStringLiteral("in/"));
        outputs = moved(outputs, QStringLiteral("out/"));
        outputDir = QStringLiteral("out");
        before[outputDir] = g_emptyDirectory;
    }

    /// Changes a file after the listing.
    void change(const QString& name, const QByteArray& now)
    {
        if (listed.isEmpty())
            listed = before;
        before[name] = now;
    }

    /// Expects the question about an output that is there.
    void ask(const QString& name, QMessageBox::StandardButton answer = QMessageBox::Yes)
    {
        boxes.append(overwriteQuestion(QFileInfo(name).fileName(), conversion));
        answers.append(answer);
    }

    /// Expects an error and no output. The plain copy has no result, and shows no box for a file
    /// that it cannot open and for one that is no recording.
    void fail(int error)
    {
        outputs.clear();
        const bool isCopy = conversion == Conversion::PlainToBwf;
        const bool isSilent = error == ConvertFileOpen || error == ConvertIllegalFormat;
        if (error != ConvertCancelled && !(isCopy && isSilent))
            boxes.append(errorText(error));
        result = isCopy ? int(ConvertOk) : error;
    }
};

// These stand for the `fmt ` and the `data` chunk in the chunks of a take.
inline const QByteArray g_fmtHere = "<fmt>";
inline const QByteArray g_dataHere = "<data>";

/// @p chunks with a `fmt ` chunk of 16 bits and a `data` chunk of these channels in their places.
inline QByteArrayList takeChunks(QByteArrayList chunks, const QByteArrayList& channels)
{
    for (QByteArray& any : chunks) {
        if (any == g_fmtHere)
            any = fmtChunk({.channels = int(channels.size())});
        else if (any == g_dataHere)
            any = dataChunk(interleaved(channels, 2));
    }
    return chunks;
}

/// The same chunks but for their bodies.
inline QByteArrayList otherBodies(QByteArrayList chunks)
{
    for (QByteArray& any : chunks) {
        if (any != g_fmtHere && any != g_dataHere)
            any = any.left(g_chunkHeaderSize).leftJustified(any.size(), '-');
    }
    return chunks;
}

/// A request that succeeds: take.wav of all @p channels for the split and the plain copy, for the
/// combine take_01.wav, take_02.wav and so on of one each. The outputs have the chunks in @p
/// copied, or @p chunks if it is empty. A `bext` among them is copied, not generated. Of the
/// sources of the combine the first alone has the bodies that come through.
inline Request takeOf(Conversion conversion, const QByteArrayList& chunks = {g_fmtHere, g_dataHere},
                      const QByteArrayList& channels = {sampleBytes(40, 1), sampleBytes(40, 2)},
                      const QByteArrayList& copied = {})
{
    Request request = {.conversion = conversion};
    const QByteArrayList& outputChunks = copied.isEmpty() ? chunks : copied;
    const auto output = [&](const QByteArrayList& ofChannels) {
        const QByteArrayList written = takeChunks(outputChunks, ofChannels);
        return conversion == Conversion::Split ? splitBytes(written)
                                               : copiedBytes(written, written.join().size());
    };
    const auto channelName = [](qsizetype index) {
        return QStringLiteral("take_0%1.wav").arg(index + 1);
    };
    const bool isCombine = conversion == Conversion::Combine;
    if (conversion != Conversion::Split)
        request.outputs[outputNames(conversion).first()] = output(channels);
    if (isCombine)
        request.sources.clear();
    else
        request.before[request.source()] = wavBytes(takeChunks(chunks, channels));
    for (qsizetype k = 0; k < channels.size() && conversion != Conversion::PlainToBwf; ++k) {
        if (isCombine) {
            request.sources.append(channelName(k));
            request.before[channelName(k)] =
                wavBytes(takeChunks(k == 0 ? chunks : otherBodies(chunks), {channels[k]}));
        } else {
            request.outputs[channelName(k)] = output({channels[k]});
        }
    }
    return request;
}

/// @p file with zeros for the date and the time of the generated `bext` chunk after its RIFF
/// header, provided that they read like a date and a time of the last minute.
inline QByteArray withoutRecentDate(const QByteArray& file)
{
    const QString written =
        QString::fromLatin1(file.mid(g_riffHeaderSize + g_chunkHeaderSize + 320, 18));
    const QDateTime moment = QDateTime::fromString(written, QStringLiteral("yyyy-MM-ddhh:mm:ss"));
    const qint64 age = moment.isValid() ? moment.secsTo(QDateTime::currentDateTime()) : -1;
    return age >= 0 && age <= 60 ? withoutDate(file) : file;
}

/// Says where @p actual departs from @p expected; empty when they are equal. A generated `bext`
/// chunk is expected with zeros for date and time.
inline QString difference(const QByteArray& actual, const QByteArray& expected)
{
    const bool isDated =
        expected.mid(g_riffHeaderSize, bextWithoutDate().size()) == bextWithoutDate();
    const QByteArray got = isDated ? withoutRecentDate(actual) : actual;
    if (got == expected)
        return {};
    const auto [at, other] =
        std::mismatch(got.cbegin(), got.cend(), expected.cbegin(), expected.cend());
    const qsizetype offset = at - got.cbegin();
    return QStringLiteral("differs from byte %1 on: \"%2\", expected \"%3\"; %4 bytes, expected %5")
        .arg(QString::number(offset), QString::fromLatin1(got.mid(offset, 16).toHex(' ')),
             QString::fromLatin1(expected.mid(offset, 16).toHex(' ')), QString::number(got.size()),
             QString::number(expected.size()));
}

inline QString differences(const Files& actual, const Files& expected)
{
    QStringList found;
    for (auto file = actual.cbegin(); file != actual.cend(); ++file) {
        if (!expected.contains(file.key()))
            found.append(file.key() + QStringLiteral(" is one too many"));
    }
    for (auto file = expected.cbegin(); file != expected.cend(); ++file) {
        const QString problem = !actual.contains(file.key())
                                    ? QStringLiteral("is missing")
                                    : difference(actual[file.key()], file.value());
        if (!problem.isEmpty())
            found.append(file.key() + u' ' + problem);
    }
    return found.join(u'\n');
}

/// The files of a request in a directory of their own, ready to be converted.
class PreparedRequest
{
public:
    explicit PreparedRequest(const Request& request)
        : m_request(request)
        , m_dir(request.listed.isEmpty() ? request.before : request.listed)
        , m_sources(m_dir.paths(request.sources))
        , m_converter(&m_window, m_sources.list())
    {
        for (CWavFileItem* item : m_sources.list()) {
            for (const int channel : request.disabled)
                item->setChannelEnabled(channel - 1, false);
        }
        if (!request.listed.isEmpty()) {
            for (const QString& name : request.listed.keys())
                QFile::remove(path(name));
            m_dir.add(request.before);
        }
        if (!request.outputDir.isEmpty())
            m_converter.setOutputDirectory(QDir(m_dir.path()).absoluteFilePath(request.outputDir));
    }

    QWidget* window() { return &m_window; }
    QString path(const QString& name) const { return m_dir.path(name); }
    Files entries() const { return m_dir.entries(); }

    /// Says where the directory departs from what it is to hold after the request.
    QString changes() const { return differences(entries(), expectedEntries()); }

    /// Puts into the output directory, out, what it held before the request, and nothing else.
    void emptyOutputDirectory() const
    {
        const Files found = entriesIn(path(m_request.outputDir));
        for (const QString& name : found.keys())
            QFile::remove(path(m_request.outputDir + u'/' + name));
        for (auto entry = m_request.before.cbegin(); entry != m_request.before.cend(); ++entry) {
            if (entry.key().startsWith(m_request.outputDir + u'/'))
                m_dir.add(entry.key(), entry.value());
        }
    }

    ConversionRun run()
    {
        return runAnswered(m_request.answers,
                           [this] { return convert(m_converter, m_request.conversion); });
    }

    /// Converts, and says what came out differently than the request expects: result, boxes,
    /// everything in the directory. Empty when nothing did.
    QString problems() { return problemsAfter(run()); }

    QString problemsAfter(const ConversionRun& run) const
    {
        QStringList found;
        if (run.texts() != m_request.boxes)
            found.append(QStringLiteral("the boxes are \"%1\", expected \"%2\"")
                             .arg(run.texts().join(u'|'), m_request.boxes.join(u'|')));
        if (run.result != m_request.result)
            found.append(QStringLiteral("the result is %1, expected %2")
                             .arg(run.result)
                             .arg(m_request.result));
        for (const SeenBox& box : run.boxes) {
            const QString oddities = box.oddities(&m_window);
            if (!oddities.isEmpty())
                found.append(QStringLiteral("a box looks unusual: ") + box.text + oddities);
        }
        found.append(changes());
        found.removeAll(QString());
        return found.join(u'\n');
    }

private:
    /// Everything that the directory is to hold after the request.
    Files expectedEntries() const
    {
        Files expected = m_request.before;
        expected.insert(m_request.outputs);
        for (QByteArray& entry : expected) {
            if (entry.startsWith(g_sameAs))
                entry = expected.value(QString::fromUtf8(entry.mid(g_sameAs.size())));
        }
        for (const QString& name : m_request.removed)
            expected.remove(name);
        for (const QString& name : expected.keys(g_emptyDirectory)) {
            const auto next = expected.lowerBound(name + u'/');
            if (next != expected.end() && next.key().startsWith(name + u'/'))
                expected.remove(name);
        }
        return expected;
    }

    Request m_request;
    TempDir m_dir;
    QWidget m_window;
    Sources m_sources;
    CWavConverter m_converter;
};

/// What came out differently than the request expects. Empty when nothing did.
inline QString problemsOf(const Request& request)
{
    return PreparedRequest(request).problems();
}
