// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The fortified read() of optimised builds could not be replaced.
#undef _FORTIFY_SOURCE

#include "tests/support/conversion.h"
#include "tests/support/testmain.h"
#include "tests/support/wavbuilder.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Which of the system's calls for a file, counted from 1, fail.
struct Failures
{
    int first = 0;
    int last = 0;
    int calls = 0; ///< made so far

    bool takeCall()
    {
        ++calls;
        return calls >= first && calls <= last;
    }
};

/// What is wrong with the files below a path.
struct Defects
{
    QByteArray path;
    Failures reads;
    qint64 firstReadByte = 0; ///< reads that start before it do not count
    Failures seeks;
    size_t longestRead = SIZE_MAX; ///< bytes that a read of any file yields at most

    bool isBelowPath(int descriptor) const
    {
        char name[PATH_MAX] = {};
        const QByteArray link = "/proc/self/fd/" + QByteArray::number(descriptor);
        return !path.isEmpty() && readlink(link.constData(), name, sizeof name - 1) > 0
               && QByteArray(name).startsWith(path);
    }

    bool takeRead(int descriptor)
    {
        return isBelowPath(descriptor)
               && syscall(SYS_lseek, descriptor, 0, SEEK_CUR) >= firstReadByte && reads.takeCall();
    }
} g_defects;

} // namespace

/// Takes the place of the system call for the whole process.
extern "C" ssize_t read(int descriptor, void* bytes, size_t size)
{
    if (g_defects.takeRead(descriptor)) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_read, descriptor, bytes, std::min(size, g_defects.longestRead));
}

/// The same for the call that the toolkit seeks with.
extern "C" off64_t lseek64(int descriptor, off64_t offset, int whence)
{
    if (whence == SEEK_SET && g_defects.isBelowPath(descriptor) && g_defects.seeks.takeCall()) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_lseek, descriptor, offset, whence);
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
    void everyFailureOfASourceIsTold_data();
    void everyFailureOfASourceIsTold();
    void searchWithoutWayBackIsTold_data();
    void searchWithoutWayBackIsTold();
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
    g_defects.path = QFile::encodeName(take.path(channelFile(file)));
    g_defects.reads = {1, isOnce ? 1 : INT_MAX};
    g_defects.firstReadByte = g_dataOffset + (block - 1) * g_blockBytes;
    const ConversionRun run =
        runAnswered({QMessageBox::Ok}, [&converter] { return converter.monoToPoly(); });
    const int reads = std::exchange(g_defects, {}).reads.calls;

    QVERIFY(reads > 0);
    if (file == 1 && block == 1 && isOnce) {
        QCOMPARE(run.texts(), QStringList());
        QVERIFY(readFile(take.path(u"take_combined.wav"_s)).endsWith(take.samples()));
        return;
    }
    QCOMPARE(run.texts(), QStringList{errorText("File read error.")});
    QCOMPARE(run.result, int(ConvertFileRead));
    QCOMPARE(take.names(), before);
}

void tst_FailingMedia::everyFailureOfASourceIsTold_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isSeek");
    QTest::addColumn<bool>("isOnce");
    for (const bool isSeek : {false, true}) {
        for (const bool isOnce : {true, false}) {
            const QByteArray what = QByteArray(isSeek ? "seek" : "read")
                                    + (isOnce ? " that fails once" : " that fails from then on");
            QTest::newRow("split, each " + what) << Conversion::Split << isSeek << isOnce;
            QTest::newRow("combine, each " + what) << Conversion::Combine << isSeek << isOnce;
            QTest::newRow("plain copy, each " + what) << Conversion::PlainToBwf << isSeek << isOnce;
        }
    }
}

/// The conversion runs once for each call that it makes, and comes to the right files or to a box.
void tst_FailingMedia::everyFailureOfASourceIsTold()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isSeek);
    QFETCH(const bool, isOnce);
    const ExpectedMessages seeks(u"QFile::at: Cannot set file position"_s);

    const bool isCombine = conversion == Conversion::Combine;
    const QByteArray source = wavBytes(
        {fmtChunk({.channels = isCombine ? 1 : 2}), chunk("note", sampleBytes(40000)),
         dataChunk(sampleBytes(600000)), chunk("bext", sampleBytes(40000)), chunk("tail", "1234")});
    const QTemporaryDir sourceDir;
    Sources sources;
    for (const QString& name :
         isCombine ? QStringList{u"take_01.wav"_s, u"take_02.wav"_s} : QStringList{u"take.wav"_s}) {
        QVERIFY(writeFile(sourceDir.filePath(name), source));
        sources.add(sourceDir.filePath(name));
    }
    QMap<QString, QByteArray> complete;
    int calls = 1;
    for (int failing = 0; failing <= calls; ++failing) { // the first run has no defects
        const QTemporaryDir out;
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(out.path());
        g_defects.path = QFile::encodeName(sourceDir.path());
        (isSeek ? g_defects.seeks : g_defects.reads) = {failing,
                                                        isOnce || failing == 0 ? failing : INT_MAX};
        const ConversionRun run =
            runAnswered({QMessageBox::Ok}, [&] { return convert(converter, conversion); });
        const Defects seen = std::exchange(g_defects, {});

        QMap<QString, QByteArray> left;
        for (const QString& name : QDir(out.path()).entryList(QDir::Files))
            left[name] = readFile(out.filePath(name));
        if (failing == 0) {
            QCOMPARE(run.texts(), QStringList());
            complete = left;
            calls = (isSeek ? seen.seeks : seen.reads).calls;
            QVERIFY(calls >= 4);
            continue;
        }
        const QString which = u"call %1 of %2: "_s.arg(failing).arg(calls);
        const bool isTold = !run.boxes.isEmpty();
        if (conversion == Conversion::PlainToBwf) {
            // A failure up to the first chunk is not told; the size of an unfinished file is 0.
            const QByteArray copy = left.value(u"take_bwf.wav"_s);
            QVERIFY2(copy == complete[u"take_bwf.wav"_s] || copy.mid(4, 4) == le32(0)
                         || copy.isEmpty(),
                     qPrintable(which + run.texts().join(u'|')));
            continue;
        }
        QVERIFY2(isTold || left == complete, qPrintable(which + u"another file without a word"_s));
        QCOMPARE(run.result == ConvertOk, !isTold);
        // Up to its first chunk a failed split leaves the output, without samples.
        for (auto file = left.cbegin(); file != left.cend(); ++file) {
            QVERIFY2(file.value() == complete[file.key()]
                         || (conversion == Conversion::Split && file->size() <= 12 + 866),
                     qPrintable(which + file.key()));
        }
    }
}

void tst_FailingMedia::searchWithoutWayBackIsTold_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QByteArray>("tail");
    QTest::newRow("split of a whole source") << Conversion::Split << QByteArray();
    QTest::newRow("combine of a whole source") << Conversion::Combine << QByteArray();
    QTest::newRow("split of a source that ends in a cut header") << Conversion::Split << "abcde"_ba;
    QTest::newRow("combine of a source that ends in a cut header")
        << Conversion::Combine << "abcde"_ba;
}

/// The search for a `bext` that is not there ends at the end of the source. Where it finds no way
/// back, no chunk would be copied from there.
void tst_FailingMedia::searchWithoutWayBackIsTold()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QByteArray, tail);
    const ExpectedMessages seeks(u"QFile::at: Cannot set file position"_s);

    const bool isCombine = conversion == Conversion::Combine;
    const QTemporaryDir dir;
    const QString path = dir.filePath(u"take_01.wav"_s);
    QVERIFY(writeFile(
        path, wavBytes({fmtChunk({.channels = isCombine ? 1 : 2}), dataChunk(sampleBytes(600000))})
                  + tail));
    const Sources sources({path});
    QMap<QString, qint64> complete;
    int calls = 1;
    for (int failing = 0; failing <= calls; ++failing) { // the first run has no defects
        const QTemporaryDir out;
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(out.path());
        g_defects.path = QFile::encodeName(dir.path());
        g_defects.seeks = {failing, failing};
        const ConversionRun run =
            runAnswered({QMessageBox::Ok}, [&] { return convert(converter, conversion); });
        const int made = std::exchange(g_defects, {}).seeks.calls;

        QMap<QString, qint64> left; // bytes by name
        for (const QFileInfo& file : QDir(out.path()).entryInfoList(QDir::Files)) {
            if (file.size() > 0) // A split that was refused leaves an empty file.
                left[file.fileName()] = file.size();
        }
        if (failing == 0) {
            calls = made;
            complete = left;
            QVERIFY(calls >= 3);
            QCOMPARE(run.result, int(tail.isEmpty() ? ConvertOk : ConvertDataRead));
        }
        const QByteArray which = "seek " + QByteArray::number(failing);
        QCOMPARE(run.boxes.size(), run.result == ConvertOk ? 0 : 1);
        if (run.result == ConvertOk)
            QVERIFY2(tail.isEmpty() && left == complete, which.constData());
        for (auto file = left.cbegin(); file != left.cend(); ++file)
            QVERIFY2(file.value() == complete[file.key()], which.constData());
    }
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

SPLICORA_TEST_MAIN(tst_FailingMedia)
#include "tst_failingmedia.moc"
