// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "tests/support/conversion.h"
#include "tests/support/tempdir.h"

#include <QDateTime>
#include <QTest>

#include <filesystem>

/// @file
/// A conversion request as a test row: the directory before it, the answers, the directory after.

struct Request
{
    Files before = {};
    QStringList sources = {QStringLiteral("take.wav")};
    Files outputs = {}; ///< what the request adds to `before` or changes in it
    Files listed = {}; ///< the files when their headers are parsed, if others than `before`
    QMap<QString, QString> links = {}; ///< name and target
    QMap<QString, QString> hardLinks = {}; ///< name and target
    QList<int> disabled = {}; ///< channels, from 1, of every source
    QString outputDir = {}; ///< relative
    QList<QMessageBox::StandardButton> answers = {};
    int result = 0;
    QStringList boxes = {}; ///< texts
};

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
    {
        if (!prepare())
            qFatal("The files of the request cannot be written.");
    }

    QWidget* window() { return &m_window; }
    QString path(const QString& name) const { return m_dir.path(name); }
    ConversionRun run(Conversion conversion)
    {
        return runAnswered(m_request.answers, [&] { return convert(*m_converter, conversion); });
    }
    Files files() const { return m_dir.files(); }

    /// Everything that the directory is to hold after the request.
    Files expectedFiles() const
    {
        Files expected = m_request.before;
        expected.insert(m_request.outputs);
        for (const auto& links : {m_request.links, m_request.hardLinks}) {
            for (auto link = links.cbegin(); link != links.cend(); ++link)
                expected[link.key()] = expected[link.value()];
        }
        return expected;
    }

private:
    bool prepare()
    {
        const Files& listed = m_request.listed.isEmpty() ? m_request.before : m_request.listed;
        m_dir.add(listed);
        for (const QString& name : m_request.sources) {
            CWavFileItem* item = m_sources.add(path(name));
            for (const int channel : m_request.disabled)
                item->setChannelEnabled(channel - 1, false);
        }
        for (const QString& name : listed.keys())
            QFile::remove(path(name));
        m_dir.add(m_request.before);
        if (!makeLinks())
            return false;
        m_converter = std::make_unique<CWavConverter>(&m_window, m_sources.list());
        if (!m_request.outputDir.isEmpty())
            m_converter->setOutputDirectory(path(m_request.outputDir));
        return true;
    }

    bool makeLinks()
    {
        std::error_code error;
        const auto& links = m_request.links;
        for (auto link = links.cbegin(); link != links.cend(); ++link) {
            if (!QFile::link(path(link.value()), path(link.key())))
                return false;
        }
        const auto& hardLinks = m_request.hardLinks;
        for (auto link = hardLinks.cbegin(); link != hardLinks.cend() && !error; ++link) {
            std::filesystem::create_hard_link(path(link.value()).toStdString(),
                                              path(link.key()).toStdString(), error);
        }
        return !error;
    }

    Request m_request;
    TempDir m_dir;
    QWidget m_window;
    Sources m_sources;
    std::unique_ptr<CWavConverter> m_converter;
};

/// Runs the request and compares result, boxes and directory.
inline void checkRequest(const Request& request, Conversion conversion)
{
    PreparedRequest prepared(request);
    const ConversionRun run = prepared.run(conversion);
    QCOMPARE(run.texts(), request.boxes);
    QCOMPARE(run.result, request.result);
    QCOMPARE(differences(prepared.files(), prepared.expectedFiles()), QString());
    for (const SeenBox& box : run.boxes) {
        const bool asks = box.text.endsWith(g_overwrite);
        QCOMPARE(box.title, QStringLiteral("Splicora"));
        QCOMPARE(box.icon, asks ? QMessageBox::Question : QMessageBox::Warning);
        QCOMPARE(box.buttons, asks ? QMessageBox::Yes | QMessageBox::Cancel : QMessageBox::Ok);
        QCOMPARE(box.hasDefaultButton, !asks); // the toolkit takes a lone Ok for the default
        QCOMPARE(box.parent, prepared.window());
    }
}
