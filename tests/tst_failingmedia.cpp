// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The fortified read() of optimised builds could not be replaced.
#undef _FORTIFY_SOURCE

#include "convert/samplecopy.h"
#include "tests/support/conversion.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <utility>

using namespace Qt::Literals::StringLiterals;

/// What conversions make of media whose reads fail or stop short.
class tst_FailingMedia : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void combineWhoseReadFails_data();
    void combineWhoseReadFails();
    void everyFailureOfASourceIsTold_data();
    void everyFailureOfASourceIsTold();
    void searchWithoutWayBackIsTold_data();
    void searchWithoutWayBackIsTold();
    void everyFailureEndsInABoxOrInTheRightFiles_data();
    void everyFailureEndsInABoxOrInTheRightFiles();
    void outputThatCannotBeRemovedIsTold_data();
    void outputThatCannotBeRemovedIsTold();
    void failingLookNeverTruncatesALinkedSource_data();
    void failingLookNeverTruncatesALinkedSource();
    void identityThatChangesDoesNoHarm_data();
    void identityThatChangesDoesNoHarm();
    void sourceOfChangingIdentityIsRefused_data();
    void sourceOfChangingIdentityIsRefused();
    void shortCallsAreGoneOnWith_data();
    void shortCallsAreGoneOnWith();
    void shortReadsAreReadOn_data();
    void shortReadsAreReadOn();
    void cleanupTestCase();

private:
    // The toolkit's words for a position that the medium refuses, and for a pipe
    const ExpectedMessages m_refusedSeeks{u"QFile::at: Cannot set file position"_s};
    const ExpectedMessages m_seeksInPipes{u"QIODevice::seek (QFile, "_s};
    int m_tries = 0;
};

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

/// The calls by which a conversion meets its files.
enum Call { Open, Read, Write, Seek, Stat, Close, Remove, CallCount };

/// What is wrong with the files below a path.
struct Defects
{
    QByteArray path;
    std::array<Failures, CallCount> calls;
    qint64 firstReadByte = 0; ///< reads that start before it do not count
    size_t longestRead = SIZE_MAX; ///< bytes that a read of any file yields at most
    size_t longestWrite = SIZE_MAX; ///< bytes that a write takes at most
    bool changeIdentity = false; ///< each look finds another number and another time
    quint64 looks = 0; ///< so far, with changing identity

    bool isBelowPath(const char* name) const
    {
        return !path.isEmpty() && QByteArrayView(name).startsWith(path);
    }

    bool isBelowPath(int descriptor) const
    {
        char name[PATH_MAX] = {};
        const QByteArray link = "/proc/self/fd/" + QByteArray::number(descriptor);
        return !path.isEmpty() && readlink(link.constData(), name, sizeof name - 1) > 0
               && isBelowPath(name);
    }

    template <typename File>
    bool take(Call call, File file)
    {
        return isBelowPath(file) && calls[call].takeCall();
    }

    bool takeRead(int descriptor)
    {
        return isBelowPath(descriptor)
               && syscall(SYS_lseek, descriptor, 0, SEEK_CUR) >= firstReadByte
               && calls[Read].takeCall();
    }
} g_defects;

long failed()
{
    errno = EIO;
    return -1;
}

} // namespace

// These take the place of the system's calls for the whole process, under the names that the
// toolkit and the standard library use.

extern "C" ssize_t read(int descriptor, void* bytes, size_t size)
{
    if (g_defects.takeRead(descriptor))
        return failed();
    return syscall(SYS_read, descriptor, bytes, std::min(size, g_defects.longestRead));
}

extern "C" ssize_t write(int descriptor, const void* bytes, size_t size)
{
    if (g_defects.take(Write, descriptor))
        return failed();
    const bool isOurs = g_defects.isBelowPath(descriptor);
    return syscall(SYS_write, descriptor, bytes,
                   isOurs ? std::min(size, g_defects.longestWrite) : size);
}

extern "C" off64_t lseek64(int descriptor, off64_t offset, int whence)
{
    if (whence == SEEK_SET && g_defects.take(Seek, descriptor))
        return failed();
    return syscall(SYS_lseek, descriptor, offset, whence);
}

extern "C" int open64(const char* name, int flags, ...)
{
    std::va_list more;
    va_start(more, flags);
    const auto mode = va_arg(more, mode_t);
    va_end(more);
    if (g_defects.take(Open, name))
        return int(failed());
    return int(syscall(SYS_openat, AT_FDCWD, name, flags, mode));
}

/// Some file systems tell of an earlier failure by this one.
extern "C" int close(int descriptor)
{
    const bool fails = g_defects.take(Close, descriptor);
    const auto result = int(syscall(SYS_close, descriptor));
    return fails ? int(failed()) : result;
}

extern "C" int unlink(const char* name) noexcept
{
    return int(g_defects.take(Remove, name) ? failed() : syscall(SYS_unlinkat, AT_FDCWD, name, 0));
}

extern "C" int statx(int dir, const char* name, int flags, unsigned mask,
                     struct statx* found) noexcept
{
    const bool isOurs = *name ? g_defects.isBelowPath(name) : g_defects.isBelowPath(dir);
    if (isOurs && g_defects.calls[Stat].takeCall())
        return int(failed());
    const auto result = int(syscall(SYS_statx, dir, name, flags, mask, found));
    if (isOurs && g_defects.changeIdentity) {
        found->stx_ino = ++g_defects.looks;
        found->stx_mtime.tv_sec = qint64(g_defects.looks) << 20;
    }
    return result;
}

extern "C" int access(const char* name, int mode) noexcept
{
    return int(g_defects.take(Stat, name) ? failed()
                                          : syscall(SYS_faccessat, AT_FDCWD, name, mode));
}

extern "C" int stat(const char* name, struct stat* found) noexcept
{
    const bool isOurs = g_defects.isBelowPath(name);
    if (isOurs && g_defects.calls[Stat].takeCall())
        return int(failed());
    const auto result = ::fstatat(AT_FDCWD, name, found, 0);
    if (isOurs && g_defects.changeIdentity) {
        found->st_ino = ++g_defects.looks;
        found->st_mtim.tv_sec = time_t(g_defects.looks) << 20;
    }
    return result;
}

namespace {

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
            const QString path = m_dir.path(channelFile(k));
            if (!writeFile(path, wavBytes({fmtChunk({}), dataChunk(m_samples.last())})))
                qFatal("%s cannot be written.", qPrintable(path));
            m_sources.add(path);
        }
    }

    QString path(const QString& name) const { return m_dir.path(name); }
    QList<CWavFileItem*> sources() const { return m_sources.list(); }
    QByteArray samples() const { return interleaved(m_samples, 2); }
    QStringList names() const { return QDir(m_dir.path()).entryList(QDir::Files); }

private:
    TempDir m_dir;
    QByteArrayList m_samples;
    Sources m_sources;
};

/// Bytes that a QFile reads ahead, and holds back of what is written.
constexpr qsizetype g_buffer = 16384;

/// The sources of a small conversion, by name. Each chunk ends with a buffer, where nothing of the
/// next one is there yet.
QMap<QString, QByteArray> smallSources(Conversion conversion)
{
    const bool isCombine = conversion == Conversion::Combine;
    const auto file = [isCombine](int seed) {
        return wavBytes({fmtChunk({.channels = isCombine ? 1 : 2}),
                         chunk("note", sampleBytes(g_buffer - (8 + 16) - 8, seed)),
                         dataChunk(sampleBytes(2 * g_buffer - 8, seed)),
                         chunk("tail", sampleBytes(1000, seed))});
    };
    if (isCombine)
        return {{u"take_01.wav"_s, file(1)}, {u"take_02.wav"_s, file(2)}};
    return {{u"take.wav"_s, file(3)}};
}

QStringList outputNames(Conversion conversion)
{
    switch (conversion) {
    case Conversion::Split:
        return {u"take_01.wav"_s, u"take_02.wav"_s};
    case Conversion::Combine:
        return {u"take_combined.wav"_s};
    case Conversion::PlainToBwf:
        break;
    }
    return {u"take_bwf.wav"_s};
}

/// The outputs of a conversion into the folder out, without dates.
QMap<QString, QByteArray> outputsBelow(const TempDir& dir)
{
    QMap<QString, QByteArray> outputs;
    for (const QString& name : QDir(dir.path(u"out"_s)).entryList(QDir::Files))
        outputs[name] = withoutDate(dir.bytes(u"out/"_s + name));
    return outputs;
}

} // namespace

void tst_FailingMedia::cleanup()
{
    g_defects = {};
}

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
    g_defects.calls[Read] = {1, isOnce ? 1 : INT_MAX};
    g_defects.firstReadByte = g_sampleStart + (block - 1) * g_blockBytes;
    const ConversionRun run =
        runAnswered({QMessageBox::Ok}, [&converter] { return converter.monoToPoly(); });
    const int reads = std::exchange(g_defects, {}).calls[Read].calls;
    ++m_tries;

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

    const bool isCombine = conversion == Conversion::Combine;
    const QByteArray source = wavBytes(
        {fmtChunk({.channels = isCombine ? 1 : 2}), chunk("note", sampleBytes(40000)),
         dataChunk(sampleBytes(600000)), chunk("bext", sampleBytes(40000)), chunk("tail", "1234")});
    const TempDir sourceDir;
    Sources sources;
    for (const QString& name :
         isCombine ? QStringList{u"take_01.wav"_s, u"take_02.wav"_s} : QStringList{u"take.wav"_s}) {
        sourceDir.add(name, source);
        sources.add(sourceDir.path(name));
    }
    QMap<QString, QByteArray> complete;
    int calls = 1;
    for (int failing = 0; failing <= calls; ++failing) { // the first run has no defects
        const TempDir out;
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(out.path());
        g_defects.path = QFile::encodeName(sourceDir.path());
        const Call call = isSeek ? Seek : Read;
        g_defects.calls[call] = {failing, isOnce || failing == 0 ? failing : INT_MAX};
        const ConversionRun run =
            runAnswered({QMessageBox::Ok}, [&] { return convert(converter, conversion); });
        const Defects seen = std::exchange(g_defects, {});

        QMap<QString, QByteArray> left;
        for (const QString& name : QDir(out.path()).entryList(QDir::Files))
            left[name] = out.bytes(name);
        if (failing == 0) {
            QCOMPARE(run.texts(), QStringList());
            complete = left;
            calls = seen.calls[call].calls;
            QVERIFY(calls >= 4);
            continue;
        }
        ++m_tries;
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
                         || (conversion == Conversion::Split && file->size() <= g_outputStart),
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

    const bool isCombine = conversion == Conversion::Combine;
    const TempDir dir;
    const QString path = dir.path(u"take_01.wav"_s);
    QVERIFY(writeFile(
        path, wavBytes({fmtChunk({.channels = isCombine ? 1 : 2}), dataChunk(sampleBytes(600000))})
                  + tail));
    const Sources sources({path});
    QMap<QString, qint64> complete;
    int calls = 1;
    for (int failing = 0; failing <= calls; ++failing) { // the first run has no defects
        const TempDir out;
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(out.path());
        g_defects.path = QFile::encodeName(dir.path());
        g_defects.calls[Seek] = {failing, failing};
        const ConversionRun run =
            runAnswered({QMessageBox::Ok}, [&] { return convert(converter, conversion); });
        const int made = std::exchange(g_defects, {}).calls[Seek].calls;

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
        } else {
            ++m_tries;
        }
        const QByteArray which = "seek " + QByteArray::number(failing);
        QCOMPARE(run.boxes.size(), run.result == ConvertOk ? 0 : 1);
        if (run.result == ConvertOk)
            QVERIFY2(tail.isEmpty() && left == complete, which.constData());
        for (auto file = left.cbegin(); file != left.cend(); ++file)
            QVERIFY2(file.value() == complete[file.key()], which.constData());
    }
}

void tst_FailingMedia::everyFailureEndsInABoxOrInTheRightFiles_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<int>("call");
    QTest::addColumn<bool>("isOnce");
    QTest::addColumn<bool>("outputsExist");
    QTest::addColumn<QString>("place");
    const std::pair<Call, const char*> calls[] = {
        {Open, "open"}, {Read, "read"}, {Write, "write"},
        {Seek, "seek"}, {Stat, "look"}, {Close, "close"},
    };
    for (const auto& [conversion, name] : g_conversions) {
        for (const auto& [call, callName] : calls) {
            for (const bool isOnce : {true, false}) {
                const char* when = isOnce ? "once" : "from then on";
                if (call != Write) {
                    QTest::addRow("%s, each %s of a source fails %s", name, callName, when)
                        << conversion << int(call) << isOnce << false << u"in"_s;
                }
                if (call != Read) {
                    QTest::addRow("%s, each %s of a new output fails %s", name, callName, when)
                        << conversion << int(call) << isOnce << false << u"out"_s;
                    QTest::addRow("%s, each %s of an output that exists fails %s", name, callName,
                                  when)
                        << conversion << int(call) << isOnce << true << u"out"_s;
                }
                QTest::addRow("%s, each %s fails %s", name, callName, when)
                    << conversion << int(call) << isOnce << false << u""_s;
            }
        }
    }
}

/// The conversion runs once for each call that it makes, of sources and outputs alike.
void tst_FailingMedia::everyFailureEndsInABoxOrInTheRightFiles()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const int, call);
    QFETCH(const bool, isOnce);
    QFETCH(const bool, outputsExist);
    QFETCH(const QString, place);

    const QMap<QString, QByteArray> sourceFiles = smallSources(conversion);
    QMap<QString, QByteArray> complete;
    int calls = 1;
    for (int failing = 0; failing <= calls; ++failing) { // the first run has no defects
        const TempDir dir;
        Sources sources;
        for (auto file = sourceFiles.cbegin(); file != sourceFiles.cend(); ++file)
            sources.add(dir.add(u"in/"_s + file.key(), file.value()));
        dir.addFolder(u"out"_s);
        const QByteArray earlier = "an earlier file";
        if (outputsExist) {
            for (const QString& name : outputNames(conversion))
                dir.add(u"out/"_s + name, earlier);
        }
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(dir.path(u"out"_s));
        g_defects.path = QFile::encodeName(dir.path(place));
        g_defects.calls[size_t(call)] = {failing, isOnce || failing == 0 ? failing : INT_MAX};
        const ConversionRun run = runAnswered({QMessageBox::Yes, QMessageBox::Yes},
                                              [&] { return convert(converter, conversion); });
        const int made = std::exchange(g_defects, {}).calls[size_t(call)].calls;

        const QMap<QString, QByteArray> left = outputsBelow(dir);
        for (auto file = sourceFiles.cbegin(); file != sourceFiles.cend(); ++file)
            QVERIFY2(dir.bytes(u"in/"_s + file.key()) == file.value(), qPrintable(file.key()));
        const auto asked = run.texts().filter(u"overwrite?"_s).size();
        const bool isTold = run.boxes.size() > asked;
        if (failing == 0) {
            QVERIFY(!isTold);
            complete = left;
            calls = made;
            QCOMPARE(complete.keys(), outputNames(conversion));
            QVERIFY(calls > 0);
            continue;
        }
        ++m_tries;
        const QString which = u"call %1 of %2: "_s.arg(failing).arg(calls) + run.texts().join(u'|');
        if (conversion != Conversion::PlainToBwf) {
            QVERIFY2((run.result == ConvertOk) == !isTold, qPrintable(which));
            QVERIFY2(isTold || left == complete, qPrintable(which));
        }
        // The last looks are at a finished file, which they must not deny.
        if (call == Stat && isOnce && place == u"out"_s && !outputsExist && failing > calls - 3)
            QVERIFY2(!isTold && left == complete, qPrintable(which));
        int changed = 0;
        for (auto file = left.cbegin(); file != left.cend(); ++file) {
            changed += file.value() != earlier;
            if (file.value() == complete[file.key()] || file.value() == earlier)
                continue;
            // A failed split leaves its output up to the first chunk, and a plain copy what it has
            // written.
            const bool isStart = conversion == Conversion::Split && file->size() <= g_outputStart;
            const bool isUnfinishedCopy =
                conversion == Conversion::PlainToBwf
                && (isTold || file->mid(4, 4) == le32(0) || file->isEmpty());
            QVERIFY2(isStart || isUnfinishedCopy, qPrintable(which + u": "_s + file.key()));
        }
        if (outputsExist)
            QVERIFY2(changed <= asked, qPrintable(which + u": overwritten without a question"_s));
    }
}

void tst_FailingMedia::outputThatCannotBeRemovedIsTold_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::newRow("split") << Conversion::Split;
    QTest::newRow("combine") << Conversion::Combine;
}

void tst_FailingMedia::outputThatCannotBeRemovedIsTold()
{
    QFETCH(const Conversion, conversion);

    const TempDir dir;
    Sources sources;
    const QMap<QString, QByteArray> files = smallSources(conversion);
    for (auto file = files.cbegin(); file != files.cend(); ++file)
        sources.add(dir.add(file.key(), file.value()));
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(dir.addFolder(u"out"_s));
    g_defects.path = QFile::encodeName(dir.path(u"out"_s));
    g_defects.calls[Write] = {2, INT_MAX};
    g_defects.calls[Remove] = {1, INT_MAX};
    const ConversionRun run =
        runAnswered({QMessageBox::Ok}, [&] { return convert(converter, conversion); });
    const int removals = std::exchange(g_defects, {}).calls[Remove].calls;
    QCOMPARE(removals, 1);
    QCOMPARE(run.result, int(ConvertDataWrite));
    QCOMPARE(run.texts(), QStringList{errorText("Data write error.")});
    QCOMPARE(QDir(dir.path(u"out"_s)).entryList(QDir::Files),
             outputNames(conversion).mid(0, 1)); // as far as it was written
    ++m_tries;
}

void tst_FailingMedia::failingLookNeverTruncatesALinkedSource_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isOnce");
    for (const auto& [conversion, name] : g_conversions) {
        for (const bool isOnce : {true, false}) {
            QTest::addRow("%s, each look fails %s", name, isOnce ? "once" : "from then on")
                << conversion << isOnce;
        }
    }
}

void tst_FailingMedia::failingLookNeverTruncatesALinkedSource()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isOnce);

    const QMap<QString, QByteArray> files = smallSources(conversion);
    int calls = 1;
    for (int failing = 0; failing <= calls; ++failing) {
        const TempDir dir;
        Sources sources;
        for (auto file = files.cbegin(); file != files.cend(); ++file)
            sources.add(dir.add(file.key(), file.value()));
        const QByteArray source = QFile::encodeName(dir.path(files.firstKey()));
        const QByteArray output = QFile::encodeName(dir.path(outputNames(conversion).first()));
        QCOMPARE(::link(source.constData(), output.constData()), 0);
        CWavConverter converter(nullptr, sources.list());
        g_defects.path = QFile::encodeName(dir.path());
        g_defects.calls[Stat] = {failing, isOnce || failing == 0 ? failing : INT_MAX};
        const ConversionRun run = runAnswered({QMessageBox::Yes, QMessageBox::Ok},
                                              [&] { return convert(converter, conversion); });
        const int made = std::exchange(g_defects, {}).calls[Stat].calls;
        if (failing == 0)
            calls = made;
        else
            ++m_tries;
        QVERIFY(calls > 0);
        QCOMPARE(run.result,
                 int(conversion == Conversion::PlainToBwf ? ConvertOk : ConvertFileOpen));
        for (auto file = files.cbegin(); file != files.cend(); ++file)
            QVERIFY2(dir.bytes(file.key()) == file.value(), qPrintable(file.key()));
    }
}

void tst_FailingMedia::identityThatChangesDoesNoHarm_data()
{
    addConversionRows();
}

/// Servers may number files anew at each look, and clocks of cards jump.
void tst_FailingMedia::identityThatChangesDoesNoHarm()
{
    QFETCH(const Conversion, conversion);

    const QMap<QString, QByteArray> sourceFiles = smallSources(conversion);
    QMap<QString, QByteArray> complete;
    for (const bool changes : {false, true}) {
        const TempDir dir;
        Sources sources;
        for (auto file = sourceFiles.cbegin(); file != sourceFiles.cend(); ++file)
            sources.add(dir.add(file.key(), file.value()));
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(dir.addFolder(u"out"_s));
        g_defects.path = QFile::encodeName(dir.path());
        g_defects.changeIdentity = changes;
        const ConversionRun run = runAnswered({}, [&] { return convert(converter, conversion); });
        const auto looks = std::exchange(g_defects, {}).looks;
        QCOMPARE(run.texts(), QStringList());
        QCOMPARE(run.result, int(ConvertOk));
        const QMap<QString, QByteArray> left = outputsBelow(dir);
        if (!changes)
            complete = left;
        QCOMPARE(looks > 0, changes);
        QVERIFY(left == complete);
        ++m_tries;
    }
}

void tst_FailingMedia::sourceOfChangingIdentityIsRefused_data()
{
    addConversionRows();
}

void tst_FailingMedia::sourceOfChangingIdentityIsRefused()
{
    QFETCH(const Conversion, conversion);

    const TempDir dir;
    Sources sources;
    QMap<QString, QByteArray> files = smallSources(conversion);
    files[outputNames(conversion).first()] = files.first();
    QStringList names = smallSources(conversion).keys();
    names.append(outputNames(conversion).first());
    for (const QString& name : std::as_const(names))
        sources.add(dir.add(name, files[name]));
    CWavConverter converter(nullptr, sources.list());
    g_defects.path = QFile::encodeName(dir.path());
    g_defects.changeIdentity = true;
    const ConversionRun run = runAnswered({QMessageBox::Yes, QMessageBox::Ok},
                                          [&] { return convert(converter, conversion); });
    g_defects = {};
    const bool isCopy = conversion == Conversion::PlainToBwf;
    QCOMPARE(run.result, int(isCopy ? ConvertOk : ConvertFileOpen));
    QCOMPARE(run.boxes.size(), isCopy ? 1 : 2);
    QVERIFY(dir.files() == files);
    ++m_tries;
}

void tst_FailingMedia::shortCallsAreGoneOnWith_data()
{
    addConversionRows();
}

void tst_FailingMedia::shortCallsAreGoneOnWith()
{
    QFETCH(const Conversion, conversion);

    const QMap<QString, QByteArray> sourceFiles = smallSources(conversion);
    QMap<QString, QByteArray> complete;
    for (const size_t longest : {SIZE_MAX, size_t(1), size_t(1000), size_t(16383)}) {
        const TempDir dir;
        Sources sources;
        for (auto file = sourceFiles.cbegin(); file != sourceFiles.cend(); ++file)
            sources.add(dir.add(file.key(), file.value()));
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(dir.addFolder(u"out"_s));
        g_defects.path = QFile::encodeName(dir.path());
        g_defects.longestRead = longest;
        g_defects.longestWrite = longest;
        const ConversionRun run = runAnswered({}, [&] { return convert(converter, conversion); });
        g_defects = {};
        QCOMPARE(run.texts(), QStringList());
        QCOMPARE(run.result, int(ConvertOk));
        const QMap<QString, QByteArray> left = outputsBelow(dir);
        if (longest == SIZE_MAX)
            complete = left;
        QCOMPARE(left.keys(), outputNames(conversion));
        QVERIFY(left == complete);
        ++m_tries;
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
    ++m_tries;
    QCOMPARE(run.texts(), QStringList());
    QCOMPARE(run.result, int(ConvertOk));
    QVERIFY(readFile(take.path(u"take_combined.wav"_s)).endsWith(take.samples()));
}

/// Where all tests were run, the page about failures tells how many were tried.
void tst_FailingMedia::cleanupTestCase()
{
    qInfo("%d failures were tried.", m_tries);
    const QString page = qEnvironmentVariable("SPLICORA_RELIABILITY_PAGE");
    if (!page.isEmpty())
        QVERIFY(readFile(page).contains("| " + QByteArray::number(m_tries) + " |"));
}

SPLICORA_TEST_MAIN(tst_FailingMedia)
#include "tst_failingmedia.moc"
