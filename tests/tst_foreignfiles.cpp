// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversionrequest.h"
#include "tests/support/folderrecorder.h"
#include "tests/support/messageboxanswer.h"
#include "tests/support/testmain.h"
#include "tests/support/wavbuilder.h"
#include "tests/support/windowprobe.h"
#include "ui/mainwindow.h"

#include <QProcess>
#include <QTest>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

class tst_ForeignFiles : public QObject
{
    Q_OBJECT

private slots:
    void conversions_data();
    void conversions();

private:
    FolderRecorder m_desktop;
};

namespace {

constexpr int g_monoCount = 3; // mono files of a take

constexpr int g_extensibleTag = 0xFFFE;

quint16 le16At(const QByteArray& bytes, qsizetype offset)
{
    return qFromLittleEndian<quint16>(bytes.constData() + offset);
}

bool hasChunk(const QByteArray& file, const QByteArray& id)
{
    const QList<FoundChunk> chunks = chunksOf(file);
    return std::any_of(chunks.cbegin(), chunks.cend(),
                       [&id](const FoundChunk& found) { return found.id == id; });
}

/// The `fmt ` chunk of @p body with @p channels instead of its own.
QByteArray formatChunk(const QByteArray& body, int channels)
{
    const int own = le16At(body, 2);
    return fmtChunk({.channels = channels,
                     .bits = le16At(body, 14),
                     .rate = int(le32At(body, 4)),
                     .tag = le16At(body, 0),
                     .blockAlign = le16At(body, 12) / own * channels,
                     .byteRate = qint64(le32At(body, 8)) / own * channels});
}

/// Every channel of an interleaved block.
QByteArrayList channelsOf(const QByteArray& samples, int channels, int bytesOfSample)
{
    QByteArrayList split(channels);
    for (qsizetype at = 0; at < samples.size(); at += bytesOfSample)
        split[at / bytesOfSample % channels] += samples.mid(at, bytesOfSample);
    return split;
}

/// The chunks of @p source behind a generated `bext`, if it has none of its own, with another
/// format and other samples. @p sizeOf tells what a chunk but `data` adds to the RIFF size.
template <typename SizeOf>
QByteArray rebuilt(const QByteArray& source, int channels, const QByteArray& samples, SizeOf sizeOf)
{
    QByteArrayList chunks;
    qint64 riffSize = g_riffHeaderSize;
    if (!hasChunk(source, "bext")) {
        chunks.append(bextWithoutDate());
        riffSize += g_bextChunkSize;
    }
    for (const FoundChunk& found : chunksOf(source)) {
        riffSize += g_chunkHeaderSize;
        if (found.id == "data") {
            const QByteArray padded = samples + QByteArray(samples.size() % 2, '\0');
            chunks.append(dataChunk(padded));
            riffSize += padded.size();
            continue;
        }
        chunks.append(found.id == "fmt " ? formatChunk(found.body, channels)
                                         : chunk(found.id.constData(), found.body, found.size));
        riffSize += sizeOf(found);
    }
    return wavBytes(chunks, riffSize);
}

QByteArray splitFile(const QByteArray& source, const QByteArray& samples)
{
    return rebuilt(source, 1, samples, [](const FoundChunk&) { return 4; });
}

QByteArray combinedFile(const QByteArray& first, int channels, const QByteArray& samples)
{
    return rebuilt(first, channels, samples,
                   [](const FoundChunk& found) { return found.body.size(); });
}

QByteArray bwfFile(const QByteArray& source)
{
    QByteArrayList chunks;
    if (!hasChunk(source, "bext"))
        chunks.append(bextWithoutDate());
    for (const FoundChunk& found : chunksOf(source))
        chunks.append(chunk(found.id.constData(), found.body, found.size));
    return wavBytes(chunks, g_riffHeaderSize + chunks.join().size());
}

/// Runs an installed program to its end. Tells what went wrong, nothing when all went well.
QString run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted())
        return program + u" cannot be started: "_s + process.errorString();
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        return program + u" failed: "_s + QString::fromLocal8Bit(process.readAllStandardError());
    }
    return {};
}

/// A program that writes WAV files, and how it is told to encode them.
struct Maker
{
    QString program;
    QStringList encoding;

    /// Writes a file of two seconds with another tone in every channel.
    QString make(const QString& path, int channels, int rate, int firstTone) const
    {
        QStringList tones;
        for (int k = 0; k < channels; ++k)
            tones.append(QString::number(firstTone + 50 * k));
        return program == u"sox" ? makeWithSox(path, rate, tones)
                                 : makeWithFfmpeg(path, rate, tones);
    }

private:
    QString makeWithSox(const QString& path, int rate, const QStringList& tones) const
    {
        QStringList arguments = {u"-D"_s, u"-n"_s,
                                 u"-r"_s, QString::number(rate),
                                 u"-c"_s, QString::number(tones.size())};
        arguments += encoding + QStringList{path, u"synth"_s, u"2"_s};
        for (const QString& tone : tones)
            arguments += {u"sine"_s, tone};
        return run(program, arguments + QStringList{u"vol"_s, u"0.5"_s});
    }

    QString makeWithFfmpeg(const QString& path, int rate, const QStringList& tones) const
    {
        QStringList waves;
        for (const QString& tone : tones)
            waves.append(u"0.5*sin(2*PI*%1*t)"_s.arg(tone));
        QString source = u"aevalsrc=exprs=%1:s=%2:d=2"_s.arg(waves.join(u'|')).arg(rate);
        if (tones.size() == 6)
            source += u":c=5.1"_s;
        const QStringList arguments = {u"-v"_s,    u"error"_s, u"-nostdin"_s, u"-f"_s,
                                       u"lavfi"_s, u"-i"_s,    source};
        return run(program, arguments + encoding + QStringList{path});
    }
};

/// What a row expects of the files that a program made.
struct Made
{
    int channels;
    int bits;
    int tag;
    QByteArray chunk; ///< id of a chunk that has to be there, if any
};

QString monoName(int number)
{
    return u"ch_0%1.wav"_s.arg(number);
}

QString sizeText(const QByteArray& file)
{
    const double kilobytes = le32At(file, 4) / 1024.0;
    return kilobytes > 1024 ? QString::number(kilobytes / 1024, 'f', 1) + u"MB"_s
                            : QString::number(kilobytes, 'f', 1) + u"KB"_s;
}

/// The row of the file list for @p file.
QStringList listedRow(const QString& name, const QByteArray& file)
{
    const QByteArray fmt = bodyOf(file, "fmt ");
    return {name,
            hasChunk(file, "bext") ? u"BWF"_s : u"WAV"_s,
            QString::number(le16At(fmt, 2)),
            QString::number(le16At(fmt, 14)),
            QString::number(le32At(fmt, 4)),
            sizeText(file)};
}

/// One channel, from 1, of a file as SoX decodes it; empty when it cannot.
QByteArray decoded(const QString& path, const QStringList& inputFormat, int channel)
{
    const TempDir dir;
    const QString raw = dir.path(u"decoded.raw"_s);
    const QStringList output = {u"-t"_s, u"raw"_s,   u"-b"_s,
                                u"32"_s, u"-e"_s,    u"signed-integer"_s,
                                raw,     u"remix"_s, QString::number(channel)};
    return run(u"sox"_s, QStringList{u"-D"_s} + inputFormat + QStringList{path} + output).isEmpty()
               ? readFile(raw)
               : QByteArray();
}

/// The same for an output of ours, whose format SoX is told: it does not read an extensible format
/// without its extension.
QByteArray decodedSamples(const QString& path, int channel)
{
    const QByteArray file = readFile(path);
    const QByteArray fmt = bodyOf(file, "fmt ");
    if (le16At(fmt, 0) != g_extensibleTag || fmt.size() > 16)
        return decoded(path, {}, channel);
    const TempDir dir;
    const QString samples = dir.path(u"samples"_s);
    if (!writeFile(samples, bodyOf(file, "data")))
        return {};
    return decoded(samples,
                   {u"-t"_s, u"raw"_s, u"-r"_s, QString::number(le32At(fmt, 4)), u"-c"_s,
                    QString::number(le16At(fmt, 2)), u"-b"_s, QString::number(le16At(fmt, 14)),
                    u"-e"_s, u"signed-integer"_s},
                   channel);
}

} // namespace

void tst_ForeignFiles::conversions_data()
{
    QTest::addColumn<Maker>("maker");
    QTest::addColumn<Made>("made");

    const QStringList plain = {u"-t"_s, u"wavpcm"_s};
    QTest::newRow("8 bit stereo from SoX")
        << Maker{u"sox"_s, {u"-b"_s, u"8"_s, u"-e"_s, u"unsigned-integer"_s}} << Made{2, 8, 1, {}};
    QTest::newRow("16 bit stereo from SoX")
        << Maker{u"sox"_s, {u"-b"_s, u"16"_s}} << Made{2, 16, 1, {}};
    QTest::newRow("plain 24 bit with three channels from SoX")
        << Maker{u"sox"_s, plain + QStringList{u"-b"_s, u"24"_s}} << Made{3, 24, 1, {}};
    QTest::newRow("plain 32 bit with four channels from SoX")
        << Maker{u"sox"_s, plain + QStringList{u"-b"_s, u"32"_s}} << Made{4, 32, 1, {}};
    QTest::newRow("32 bit floating point stereo from SoX, with fact")
        << Maker{u"sox"_s, {u"-b"_s, u"32"_s, u"-e"_s, u"floating-point"_s}}
        << Made{2, 32, 3, "fact"};
    QTest::newRow("extensible 24 bit with six channels from SoX")
        << Maker{u"sox"_s, {u"-b"_s, u"24"_s}} << Made{6, 24, g_extensibleTag, "fact"};

    const auto ffmpeg = [](const QString& codec, const QStringList& more = {}) {
        return Maker{u"ffmpeg"_s, QStringList{u"-c:a"_s, codec} + more};
    };
    const QStringList bare = {u"-fflags"_s, u"+bitexact"_s};
    QTest::newRow("8 bit stereo from FFmpeg") << ffmpeg(u"pcm_u8"_s, bare) << Made{2, 8, 1, {}};
    QTest::newRow("16 bit stereo from FFmpeg")
        << ffmpeg(u"pcm_s16le"_s, bare) << Made{2, 16, 1, {}};
    QTest::newRow("16 bit stereo from FFmpeg, with LIST") << ffmpeg(
        u"pcm_s16le"_s, {u"-metadata"_s, u"title=Take 1"_s, u"-metadata"_s, u"artist=Nobody"_s})
                                                          << Made{2, 16, 1, "LIST"};
    QTest::newRow("16 bit stereo from FFmpeg, with bext and LIST")
        << ffmpeg(u"pcm_s16le"_s, {u"-write_bext"_s, u"1"_s, u"-metadata"_s,
                                   u"description=A take"_s, u"-metadata"_s, u"originator=Nobody"_s})
        << Made{2, 16, 1, "bext"};
    QTest::newRow("24 bit stereo from FFmpeg, with bext") << ffmpeg(
        u"pcm_s24le"_s, {u"-write_bext"_s, u"1"_s, u"-metadata"_s, u"description=A take"_s,
                         u"-metadata"_s, u"coding_history=A=PCM,F=48000,W=24\n"_s})
                                                          << Made{2, 24, g_extensibleTag, "bext"};
    QTest::newRow("extensible 16 bit with six channels from FFmpeg")
        << ffmpeg(u"pcm_s16le"_s, bare) << Made{6, 16, g_extensibleTag, {}};
    QTest::newRow("extensible 32 bit stereo from FFmpeg, with LIST")
        << ffmpeg(u"pcm_s32le"_s) << Made{2, 32, g_extensibleTag, "LIST"};
}

void tst_ForeignFiles::conversions()
{
    QFETCH(Maker, maker);
    QFETCH(Made, made);

    constexpr int rate = 48000;
    const TempDir dir;
    const QDir out(dir.addFolder(u"out"_s));
    QCOMPARE(maker.make(dir.path(u"take.wav"_s), made.channels, rate, 300), QString());
    for (int number = 1; number <= g_monoCount; ++number)
        QCOMPARE(maker.make(dir.path(monoName(number)), 1, rate, 500 * number), QString());

    // The sources are what the name of the row says.
    Files sources = dir.files();
    QCOMPARE(sources.size(), g_monoCount + 1);
    const QByteArray take = sources[u"take.wav"_s];
    const QByteArray first = sources[monoName(1)];
    QCOMPARE(le16At(bodyOf(take, "fmt "), 0), made.tag);
    QCOMPARE(le16At(bodyOf(take, "fmt "), 2), made.channels);
    QCOMPARE(le16At(bodyOf(take, "fmt "), 14), made.bits);
    QVERIFY(bodyOf(take, "data").size() > 2 * rate);
    if (!made.chunk.isEmpty())
        QVERIFY(hasChunk(take, made.chunk) && hasChunk(first, made.chunk));
    const bool isBwf = hasChunk(take, "bext");

    MessageBoxAnswer answer(isBwf ? QList{QMessageBox::Ok} : QList<QMessageBox::StandardButton>());

    // Mono to Poly
    CMainWindow window;
    window.show();
    enterDirectory(&window, dir.path());
    QCOMPARE(fileTable(&window)->rowCount(), g_monoCount);
    for (int number = 1; number <= g_monoCount; ++number) {
        QCOMPARE(rowTexts(fileTable(&window), number - 1),
                 listedRow(monoName(number), sources[monoName(number)]));
    }
    clickButton(&window, u"Add All"_s);
    enterText(outputDirEdit(&window), out.path());
    m_desktop.opened.clear();
    clickButton(&window, u"Convert"_s);
    QCOMPARE(m_desktop.opened.size(), 1);

    const int sampleSize = made.bits / 8;
    QByteArrayList monoSamples;
    for (int number = 1; number <= g_monoCount; ++number)
        monoSamples.append(bodyOf(sources[monoName(number)], "data"));
    const QString combined = u"ch_combined.wav"_s;
    Files expected = {
        {combined, combinedFile(first, g_monoCount, interleaved(monoSamples, sampleSize))}};
    QCOMPARE(differences(filesIn(out), expected), QString());
    for (int number = 1; number <= g_monoCount; ++number) {
        const QByteArray samples = decoded(dir.path(monoName(number)), {}, 1);
        QCOMPARE(samples.size(), 2 * rate * 4);
        QVERIFY(decodedSamples(out.filePath(combined), number) == samples);
    }

    // Poly to Mono
    functionCombo(&window)->setCurrentIndex(1);
    QCOMPARE(answer.boxes().size(), 0);
    QCOMPARE(fileTable(&window)->rowCount(), 1);
    QCOMPARE(rowTexts(fileTable(&window), 0), listedRow(u"take.wav"_s, take));
    clickButton(&window, u"Add All"_s);
    clickButton(&window, u"Convert"_s);
    QCOMPARE(m_desktop.opened.size(), 2);

    const QByteArrayList takeSamples = channelsOf(bodyOf(take, "data"), made.channels, sampleSize);
    for (int channel = 1; channel <= made.channels; ++channel) {
        expected[u"take_0%1.wav"_s.arg(channel)] = splitFile(take, takeSamples[channel - 1]);
    }
    QCOMPARE(differences(filesIn(out), expected), QString());
    for (int channel = 1; channel <= made.channels; ++channel) {
        const QByteArray samples = decoded(dir.path(u"take.wav"_s), {}, channel);
        QCOMPARE(samples.size(), 2 * rate * 4);
        QVERIFY(decodedSamples(out.filePath(u"take_0%1.wav"_s.arg(channel)), 1) == samples);
    }

    // Plain WAV to BWF, which the selector does not offer by itself. It lists no file that is a BWF
    // already; then the take stays the source.
    functionCombo(&window)->addItem(u"Plain to BWF"_s);
    functionCombo(&window)->setCurrentIndex(2);
    QVERIFY(answer.wasAsked());
    if (isBwf) {
        QCOMPARE(answer.box().text, g_noFiles);
        QCOMPARE(fileTable(&window)->rowCount(), 0);
    } else {
        QCOMPARE(columnTexts(fileTable(&window), 0), QStringList(sources.keys()));
        clickButton(&window, u"Add All"_s);
    }
    clickButton(&window, u"Convert"_s);
    QCOMPARE(m_desktop.opened.size(), 3);

    const QStringList copied = isBwf ? QStringList{u"take.wav"_s} : QStringList(sources.keys());
    for (const QString& name : copied)
        expected[name.chopped(4) + u"_bwf.wav"_s] = bwfFile(sources[name]);
    QCOMPARE(differences(filesIn(out), expected), QString());
    for (int channel = 1; channel <= made.channels; ++channel) {
        const QByteArray samples = decoded(dir.path(u"take.wav"_s), {}, channel);
        QVERIFY(decodedSamples(out.filePath(u"take_bwf.wav"_s), channel) == samples);
    }
    QCOMPARE(answer.boxes().size(), isBwf ? 1 : 0);

    // The sources are what they were.
    for (const QString& name : sources.keys())
        QVERIFY(readFile(dir.path(name)) == sources[name]);
}

SPLICORA_TEST_MAIN(tst_ForeignFiles)
#include "tst_foreignfiles.moc"
