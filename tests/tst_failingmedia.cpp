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
#include <functional>
#include <utility>

using namespace Qt::Literals::StringLiterals;

/// What conversions make of media whose reads fail or stop short.
class tst_FailingMedia : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void everyFailureEndsInABoxOrInTheRightFiles_data();
    void everyFailureEndsInABoxOrInTheRightFiles();
    void combineWhoseReadFails_data();
    void combineWhoseReadFails();
    void outputThatCannotBeRemovedIsReported_data() { addConversionRows(); }
    void outputThatCannotBeRemovedIsReported();
    void emptyOutputReplacedIsNotRemoved();
    void failingStatNeverTruncatesALinkedSource_data();
    void failingStatNeverTruncatesALinkedSource();
    void identityThatChangesDoesNoHarm_data() { addConversionRows(); }
    void identityThatChangesDoesNoHarm();
    void sourceOfChangingIdentityIsRefused_data();
    void sourceOfChangingIdentityIsRefused();
    void shortCallsAreGoneOnWith_data();
    void shortCallsAreGoneOnWith();

private:
    // The toolkit's words for a position that the medium refuses, and for a pipe
    const ExpectedMessages m_refusedSeeks{u"QFile::at: Cannot set file position"_s};
    const ExpectedMessages m_seeksInPipes{u"QIODevice::seek (QFile, "_s};
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
    QByteArray path = {};
    std::array<Failures, CallCount> calls = {};
    qint64 firstReadByte = 0; ///< reads that start before it do not count
    size_t longestRead = SIZE_MAX; ///< bytes that a read of any file yields at most
    size_t longestWrite = SIZE_MAX; ///< bytes that a write takes at most
    std::function<void()> atFirstRead = {}; ///< done once, before it
    bool changeIdentity = false; ///< each stat finds another inode and another time
    quint64 stats = 0; ///< so far, with changing identity

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
    if (g_defects.atFirstRead && g_defects.isBelowPath(descriptor))
        std::exchange(g_defects.atFirstRead, {})();
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

/// Some file systems report an earlier failure by this one.
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
        found->stx_ino = ++g_defects.stats;
        found->stx_mtime.tv_sec = qint64(g_defects.stats) << 20;
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
        found->st_ino = ++g_defects.stats;
        found->st_mtim.tv_sec = time_t(g_defects.stats) << 20;
    }
    return result;
}

namespace {

/// Bytes that a QFile reads ahead, and holds back of what is written.
constexpr qsizetype g_buffer = 16384;

/// What a source holds after its format. The first two chunks end with a buffer, where nothing of
/// the next one is there yet.
struct Layout
{
    qsizetype noteBytes = g_buffer - (8 + 16) - 8;
    qsizetype dataBytes = 2 * g_buffer - 8;
    QByteArray after = chunk("tail", sampleBytes(1000));

    QByteArray file(int channels, int seed) const
    {
        return wavBytes({fmtChunk({.channels = channels}),
                         chunk("note", sampleBytes(noteBytes, seed)),
                         dataChunk(sampleBytes(dataBytes, seed)), after});
    }
};

/// Two blocks and a half of samples.
const Layout g_longLayout = {.dataBytes = 5 * g_blockBytes / 2, .after = {}};

/// What a conversion came to.
struct Outcome
{
    int result = ConvertOk;
    QStringList reported = {}; ///< texts of the boxes that are no questions
    qsizetype questions = 0;
    Files outputs = {}; ///< without dates
    Defects defects = {}; ///< as they were met
};

/// The sources of a conversion in the folder in, and the folder out for what it writes.
class Workplace
{
public:
    explicit Workplace(Conversion conversion, const Layout& layout = {})
        : m_conversion(conversion)
    {
        m_dir.addFolder(u"out"_s);
        if (conversion != Conversion::Combine)
            addSource(u"in/take.wav"_s, layout.file(2, 1));
        for (int k = 1; conversion == Conversion::Combine && k <= 3; ++k)
            addSource(u"in/take_0%1.wav"_s.arg(k), layout.file(1, k));
    }

    void addSource(const QString& name, const QByteArray& bytes)
    {
        m_files[name] = bytes;
        m_sources.add(m_dir.add(name, bytes));
    }

    QString firstSource() const { return m_dir.path(m_files.firstKey()); }
    QString firstOutput() const { return path(outputNames(m_conversion).first()); }
    QString path(const QString& output) const { return m_dir.path(u"out/"_s + output); }

    /// Converts while a medium has defects: what lies below @p place. All questions get a Yes.
    Outcome convert(Defects defects = {}, const QString& place = {})
    {
        defects.path = QFile::encodeName(m_dir.path(place));
        g_defects = defects;
        const ConversionRun run =
            runConversion(m_conversion, m_sources, {QMessageBox::Yes, QMessageBox::Yes}, path({}));
        Outcome outcome = {.result = run.result, .defects = std::exchange(g_defects, {})};
        for (const QString& text : run.texts()) {
            if (text.endsWith(u"overwrite?"_s))
                ++outcome.questions;
            else
                outcome.reported.append(text);
        }
        for (const QString& name : QDir(path({})).entryList(QDir::Files))
            outcome.outputs[name] = withoutDate(readFile(path(name)));
        return outcome;
    }

    bool areSourcesUntouched() const
    {
        return std::all_of(m_files.keyBegin(), m_files.keyEnd(), [this](const QString& name) {
            return m_dir.bytes(name) == m_files[name];
        });
    }

private:
    Conversion m_conversion;
    TempDir m_dir;
    Files m_files;
    Sources m_sources;
};

/// The call of number @p first fails and those after it, as often as @p times says; none for 0.
Defects failing(Call call, int first, int times)
{
    Defects defects;
    const int last = times == INT_MAX ? INT_MAX : first + times - 1;
    defects.calls[call] = {first, first == 0 ? 0 : last};
    return defects;
}

} // namespace

void tst_FailingMedia::cleanup()
{
    g_defects = {};
}

void tst_FailingMedia::everyFailureEndsInABoxOrInTheRightFiles_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<int>("call");
    QTest::addColumn<int>("times");
    QTest::addColumn<QString>("place");
    QTest::addColumn<bool>("outputsExist");
    QTest::addColumn<Layout>("layout");
    const std::pair<Call, const char*> calls[] = {
        {Open, "open"}, {Read, "read"}, {Write, "write"},
        {Seek, "seek"}, {Stat, "stat"}, {Close, "close"},
    };
    const std::pair<Layout, const char*> otherSources[] = {
        {{40000, 600000, chunk("bext", sampleBytes(40000)) + chunk("tail", "1234")},
         " of a source that has a bext after its samples"},
        {{40000, 600000, {}}, " of a source that ends with its samples"},
        {{40000, 600000, "abcde"}, " of a source that ends in a cut header"},
    };
    for (const auto& [conversion, name] : g_conversions) {
        for (const auto& [call, callName] : calls) {
            for (const int times : {1, 2, INT_MAX}) {
                // The toolkit passes over the first failed read or seek after bytes that it has.
                if (times == 2 && call != Read && call != Seek)
                    continue;
                const auto add = [&](const char* what, const QString& place,
                                     bool outputsExist = false, const Layout& layout = {}) {
                    QTest::addRow("%s, each %s%s fails %s", name, callName, what,
                                  times == 1   ? "once"
                                  : times == 2 ? "twice"
                                               : "from then on")
                        << conversion << int(call) << times << place << outputsExist << layout;
                };
                add("", u""_s);
                if (call != Write)
                    add(" of a source", u"in"_s);
                if (call != Read) {
                    add(" of a new output", u"out"_s);
                    add(" of an output that exists", u"out"_s, true);
                }
                for (const auto& [layout, which] : otherSources) {
                    if (call == Seek || (call == Read && layout.after.startsWith("bext")))
                        add(which, u"in"_s, false, layout);
                }
            }
        }
    }
}

/// The conversion runs once for each call that it makes, of sources and outputs alike.
void tst_FailingMedia::everyFailureEndsInABoxOrInTheRightFiles()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const int, call);
    QFETCH(const int, times);
    QFETCH(const QString, place);
    QFETCH(const bool, outputsExist);
    QFETCH(const Layout, layout);

    const QByteArray earlier = "an earlier file";
    const bool isCopy = conversion == Conversion::PlainToBwf;
    Outcome sound;
    int calls = 1;
    for (int failed = 0; failed <= calls; ++failed) { // the first run has no defects
        Workplace work(conversion, layout);
        for (const QString& name : outputNames(conversion)) {
            if (outputsExist)
                QVERIFY(writeFile(work.path(name), earlier));
        }
        const Outcome outcome = work.convert(failing(Call(call), failed, times), place);
        QVERIFY(work.areSourcesUntouched());
        if (failed == 0) {
            sound = outcome;
            calls = sound.defects.calls[size_t(call)].calls;
            QVERIFY(calls > 0);
            QCOMPARE(sound.result,
                     int(layout.after == "abcde" && !isCopy ? ConvertDataRead : ConvertOk));
            continue;
        }
        const QString which =
            u"call %1 of %2: "_s.arg(failed).arg(calls) + outcome.reported.join(u'|');
        const bool isReported = !outcome.reported.isEmpty();
        const bool isRight = sound.reported.isEmpty() && outcome.outputs == sound.outputs;
        if (!isCopy) {
            QVERIFY2((outcome.result == ConvertOk) == !isReported, qPrintable(which));
            QVERIFY2(isReported || isRight, qPrintable(which));
        }
        const bool isWritten = call == Write || (call == Close && place == u"out"_s);
        if (isWritten) {
            QVERIFY2(outcome.reported == QStringList{errorText(ConvertDataWrite)}
                         || (call == Write
                             && outcome.reported == QStringList{errorText(ConvertDataCopy)}),
                     qPrintable(which));
            if (!isCopy)
                QVERIFY2(outcome.outputs.size() < sound.outputs.size(), qPrintable(which));
        }
        // The last stats are of a finished file, which they must not deny.
        if (call == Stat && times == 1 && place == u"out"_s && !outputsExist && failed > calls - 3)
            QVERIFY2(!isReported && isRight, qPrintable(which));
        int changed = 0;
        for (auto file = outcome.outputs.cbegin(); file != outcome.outputs.cend(); ++file) {
            changed += file.value() != earlier;
            if (file.value() == sound.outputs.value(file.key()) || file.value() == earlier)
                continue;
            // A failed split leaves its output up to the first chunk, and a plain copy what it has
            // written.
            const bool isStart =
                conversion == Conversion::Split && !isWritten && file->size() <= g_outputStart;
            const bool isUnfinishedCopy =
                isCopy && (isReported || file->mid(4, 4) == le32(0) || file->isEmpty());
            QVERIFY2(isStart || isUnfinishedCopy, qPrintable(which + u": "_s + file.key()));
        }
        if (outputsExist) {
            QVERIFY2(changed <= outcome.questions,
                     qPrintable(which + u": overwritten without a question"_s));
        }
    }
}

void tst_FailingMedia::combineWhoseReadFails_data()
{
    QTest::addColumn<int>("file");
    QTest::addColumn<int>("block");
    QTest::addColumn<bool>("isOnce");
    for (const int file : {1, 2, 3}) {
        for (const int block : {1, 2, 3}) {
            QTest::addRow("file %d, block %d, once", file, block) << file << block << true;
            QTest::addRow("file %d, block %d, for good", file, block) << file << block << false;
        }
    }
}

/// What the reference holds back of its first block before the read that fails is read on after
/// it: that failure is seen only when it stays.
void tst_FailingMedia::combineWhoseReadFails()
{
    QFETCH(const int, file);
    QFETCH(const int, block);
    QFETCH(const bool, isOnce);

    const Outcome sound = Workplace(Conversion::Combine, g_longLayout).convert();
    Workplace work(Conversion::Combine, g_longLayout);
    Defects defects = failing(Read, 1, isOnce ? 1 : INT_MAX);
    defects.firstReadByte =
        g_sampleStart + g_chunkHeaderSize + g_longLayout.noteBytes + (block - 1) * g_blockBytes;
    const Outcome outcome = work.convert(defects, u"in/take_0%1.wav"_s.arg(file));
    QVERIFY(outcome.defects.calls[Read].calls > 0);
    const bool isSeen = file > 1 || block > 1 || !isOnce;
    QCOMPARE(outcome.result, int(isSeen ? ConvertFileRead : ConvertOk));
    QCOMPARE(outcome.reported, QStringList(isSeen ? 1 : 0, errorText(ConvertFileRead)));
    QVERIFY(outcome.outputs == (isSeen ? Files() : sound.outputs));
}

void tst_FailingMedia::outputThatCannotBeRemovedIsReported()
{
    QFETCH(const Conversion, conversion);

    Workplace work(conversion);
    Defects defects = failing(Write, 2, INT_MAX);
    defects.calls[Remove] = {1, INT_MAX};
    const Outcome outcome = work.convert(defects, u"out"_s);
    const bool isCopy = conversion == Conversion::PlainToBwf; // keeps it
    QCOMPARE(outcome.defects.calls[Remove].calls, isCopy ? 0 : 1);
    QCOMPARE(outcome.result, int(isCopy ? ConvertOk : ConvertDataWrite));
    QCOMPARE(outcome.reported, QStringList{errorText(isCopy ? ConvertDataCopy : ConvertDataWrite)});
    QCOMPARE(outcome.outputs.keys(), outputNames(conversion).mid(0, 1)); // as far as written
}

/// The combine removes what it has not begun to write, but no file of another program.
void tst_FailingMedia::emptyOutputReplacedIsNotRemoved()
{
    Workplace work(Conversion::Combine);
    QVERIFY(writeFile(work.firstSource(), "no RIFF header"));
    const QByteArray other = "of another program";
    QVERIFY(writeFile(work.path(u"other"_s), other));
    const auto replace = [&work] {
        QCOMPARE(::rename(QFile::encodeName(work.path(u"other"_s)).constData(),
                          QFile::encodeName(work.firstOutput()).constData()),
                 0);
    };
    const Outcome outcome = work.convert({.atFirstRead = replace}, u"in"_s);
    QCOMPARE(outcome.result, int(ConvertIllegalFormat));
    QCOMPARE(outcome.outputs, (Files{{u"take_combined.wav"_s, other}}));
}

void tst_FailingMedia::failingStatNeverTruncatesALinkedSource_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isOnce");
    for (const auto& [conversion, name] : g_conversions) {
        QTest::addRow("%s, each stat fails once", name) << conversion << true;
        QTest::addRow("%s, each stat fails from then on", name) << conversion << false;
    }
}

void tst_FailingMedia::failingStatNeverTruncatesALinkedSource()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isOnce);

    int calls = 1;
    for (int failed = 0; failed <= calls; ++failed) {
        Workplace work(conversion);
        QCOMPARE(::link(QFile::encodeName(work.firstSource()).constData(),
                        QFile::encodeName(work.firstOutput()).constData()),
                 0);
        const Outcome outcome = work.convert(failing(Stat, failed, isOnce ? 1 : INT_MAX));
        if (failed == 0)
            calls = outcome.defects.calls[Stat].calls;
        QVERIFY(calls > 0);
        QCOMPARE(outcome.result,
                 int(conversion == Conversion::PlainToBwf ? ConvertOk : ConvertFileOpen));
        QVERIFY(work.areSourcesUntouched());
    }
}

/// Servers may give other inodes at each stat, and clocks of cards jump.
void tst_FailingMedia::identityThatChangesDoesNoHarm()
{
    QFETCH(const Conversion, conversion);

    const Outcome sound = Workplace(conversion).convert();
    const Outcome outcome = Workplace(conversion).convert({.changeIdentity = true});
    QVERIFY(outcome.defects.stats > 0);
    QCOMPARE(outcome.reported, QStringList());
    QCOMPARE(outcome.result, int(ConvertOk));
    QVERIFY(outcome.outputs == sound.outputs);
}

void tst_FailingMedia::sourceOfChangingIdentityIsRefused_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isLink");
    for (const auto& [conversion, name] : g_conversions) {
        QTest::addRow("%s onto a source", name) << conversion << false;
        QTest::addRow("%s onto a link to a source", name) << conversion << true;
    }
}

void tst_FailingMedia::sourceOfChangingIdentityIsRefused()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isLink);

    Workplace work(conversion);
    const QString output = outputNames(conversion).first();
    if (isLink)
        QVERIFY(QFile::link(work.firstSource(), work.firstOutput()));
    else
        work.addSource(u"out/"_s + output, readFile(work.firstSource()));
    const Outcome outcome = work.convert({.changeIdentity = true});
    const bool isCopy = conversion == Conversion::PlainToBwf;
    QCOMPARE(outcome.result, int(isCopy ? ConvertOk : ConvertFileOpen));
    QCOMPARE(outcome.questions, 1);
    QCOMPARE(outcome.reported.size(), isCopy ? 0 : 1);
    QCOMPARE(outcome.outputs.keys(), QStringList{output});
    QVERIFY(work.areSourcesUntouched());
}

void tst_FailingMedia::shortCallsAreGoneOnWith_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<int>("longest"); // bytes that a call moves at most
    for (const auto& [conversion, name] : g_conversions) {
        for (const int longest : {1, 1000, int(g_buffer - 1), 65535, int(g_blockBytes - 1)})
            QTest::addRow("%s, %d bytes", name, longest) << conversion << longest;
    }
}

/// As over a network: a call moves less than was asked for in the middle of a file.
void tst_FailingMedia::shortCallsAreGoneOnWith()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const int, longest);

    const Layout layout = longest == 1 ? Layout() : g_longLayout;
    const Outcome sound = Workplace(conversion, layout).convert();
    const Outcome outcome =
        Workplace(conversion, layout)
            .convert({.longestRead = size_t(longest), .longestWrite = size_t(longest)});
    QCOMPARE(outcome.reported, QStringList());
    QCOMPARE(outcome.result, int(ConvertOk));
    QCOMPARE(outcome.outputs.keys(), outputNames(conversion));
    QVERIFY(outcome.outputs == sound.outputs);
}

SPLICORA_TEST_MAIN(tst_FailingMedia)
#include "tst_failingmedia.moc"
