// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/conversionprobe.h"
#include "tests/wavbuilder.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What goes wrong with the reads of the process.
struct Defects
{
    QByteArray path; ///< of the file whose reads fail
    qint64 from = 0; ///< a read that starts at this byte or behind it fails
    int failures = 0; ///< reads that fail before the file is sound again
    size_t longestRead = SIZE_MAX; ///< bytes that a read of any file yields at most

    bool takeFailure(int descriptor)
    {
        if (failures == 0)
            return false;
        char name[PATH_MAX] = {};
        const QByteArray link = "/proc/self/fd/" + QByteArray::number(descriptor);
        const bool isFailing = readlink(link.constData(), name, sizeof name - 1) > 0 && path == name
                               && lseek(descriptor, 0, SEEK_CUR) >= from;
        failures -= isFailing ? 1 : 0;
        return isFailing;
    }
} g_defects;

} // namespace

/// Takes the place of the system call for the whole process.
extern "C" ssize_t read(int descriptor, void* bytes, size_t size)
{
    if (g_defects.takeFailure(descriptor)) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_read, descriptor, bytes, std::min(size, g_defects.longestRead));
}

namespace {

constexpr qint64 g_blockBytes = 524288; // of source data moved at once
constexpr qint64 g_dataOffset = 12 + (8 + 16) + 8;
constexpr int g_files = 3;

QString channelFile(int number)
{
    return u"take_0%1.wav"_s.arg(number);
}

/// Three mono files of two blocks and a half.
class Take
{
public:
    Take()
    {
        for (int k = 1; k <= g_files; ++k) {
            m_samples.append(sampleBytes(5 * g_blockBytes / 2, k));
            const QString path = m_dir.filePath(channelFile(k));
            if (!writeFile(path, wavBytes({fmtChunk({}), dataChunk(m_samples.last())})))
                qFatal("%s cannot be written.", qPrintable(path));
            m_sources.add(path);
        }
    }

    QString path(const QString& name) const { return m_dir.filePath(name); }
    QList<CWavFileItem*> sources() const { return m_sources.list(); }
    QByteArray samples() const { return interleaved(m_samples, 2); }
    QStringList names() const { return QDir(m_dir.path()).entryList(QDir::Files); }

private:
    QTemporaryDir m_dir;
    QByteArrayList m_samples;
    Sources m_sources;
};

} // namespace

/// What conversions make of media whose reads fail or stop short.
class tst_FailingMedia : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_defects = {}; }
    void combineWhoseReadFails_data();
    void combineWhoseReadFails();
    void shortReadsAreReadOn_data();
    void shortReadsAreReadOn();
};

void tst_FailingMedia::combineWhoseReadFails_data()
{
    QTest::addColumn<int>("file");
    QTest::addColumn<qint64>("block");
    QTest::addColumn<bool>("isOnce");
    for (int file = 1; file <= g_files; ++file) {
        for (const qint64 block : {1, 2, 3}) {
            QTest::addRow("file %d, block %d, once", file, int(block)) << file << block << true;
            QTest::addRow("file %d, block %d, for good", file, int(block))
                << file << block << false;
        }
    }
}

/// What the reference holds back of its first block before the read that fails is read on behind
/// it: that failure is seen only when it stays.
void tst_FailingMedia::combineWhoseReadFails()
{
    QFETCH(const int, file);
    QFETCH(const qint64, block);
    QFETCH(const bool, isOnce);

    const Take take;
    const QStringList before = take.names();
    CWavConverter converter(nullptr, take.sources());
    const QByteArray path = QFile::encodeName(take.path(channelFile(file)));
    g_defects.path = path;
    g_defects.from = g_dataOffset + (block - 1) * g_blockBytes;
    g_defects.failures = isOnce ? 1 : INT_MAX;
    const ConversionRun run =
        runAnswered({QMessageBox::Ok}, [&converter] { return converter.monoToPoly(); });
    const int unused = std::exchange(g_defects, {}).failures;

    QVERIFY(unused < (isOnce ? 1 : INT_MAX));
    if (file == 1 && block == 1 && isOnce) {
        QCOMPARE(run.texts(), QStringList());
        QVERIFY(readFile(take.path(u"take_combined.wav"_s)).endsWith(take.samples()));
        return;
    }
    QCOMPARE(run.texts(), QStringList{errorText("File read error.")});
    QCOMPARE(run.result, int(ConvertFileRead));
    QCOMPARE(take.names(), before);
}

void tst_FailingMedia::shortReadsAreReadOn_data()
{
    QTest::addColumn<size_t>("longestRead");
    QTest::newRow("a thousand bytes") << size_t(1000);
    QTest::newRow("an odd part of a block") << size_t(65535);
    QTest::newRow("all but the last byte of a block") << size_t(g_blockBytes - 1);
}

/// As over a network: a read yields less than was asked for in the middle of a file.
void tst_FailingMedia::shortReadsAreReadOn()
{
    QFETCH(const size_t, longestRead);

    const Take take;
    CWavConverter converter(nullptr, take.sources());
    g_defects.longestRead = longestRead;
    const ConversionRun run = runAnswered({}, [&converter] { return converter.monoToPoly(); });
    g_defects = {};
    QCOMPARE(run.texts(), QStringList());
    QCOMPARE(run.result, int(ConvertOk));
    QVERIFY(readFile(take.path(u"take_combined.wav"_s)).endsWith(take.samples()));
}

QTEST_MAIN(tst_FailingMedia)
#include "tst_failingmedia.moc"
