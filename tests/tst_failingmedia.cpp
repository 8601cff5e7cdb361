// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The fortified read() of optimised builds could not be replaced.
#undef _FORTIFY_SOURCE

#include "convert/samplecopy.h"
#include "tests/support/conversionrequest.h"
#include "tests/support/testmain.h"

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
    QByteArrayList after = {chunk("tail", sampleBytes(1000))};
};

/// Two blocks and a half of samples.
const Layout g_longLayout = {.dataBytes = 5 * g_blockBytes / 2, .after = {}};

/// A request whose sources, one of two channels or three of one, are laid out like this.
Request laidOut(Conversion conversion, const Layout& layout)
{
    const int count = conversion == Conversion::Combine ? 3 : 2;
    QByteArrayList channels;
    for (int k = 0; k < count; ++k)
        channels.append(sampleBytes(count == 3 ? layout.dataBytes : layout.dataBytes / 2, k));
    return takeOf(
        conversion,
        QByteArrayList{g_fmtHere, chunk("note", sampleBytes(layout.noteBytes)), g_dataHere}
            + layout.after,
        channels);
}

/// The same, in the folder in, for outputs in the folder out.
Request separated(Conversion conversion, const Layout& layout = {})
{
    Request request = laidOut(conversion, layout);
    request.separate();
    return request;
}

/// A request, and a medium with defects.
class Workplace : public PreparedRequest
{
public:
    using PreparedRequest::PreparedRequest;

    /// Converts while the medium has defects: what lies below @p place.
    ConversionRun run(const Defects& defects, const QString& place = {})
    {
        g_defects = defects;
        g_defects.path = QFile::encodeName(path(place));
        const ConversionRun run = PreparedRequest::run();
        m_met = std::exchange(g_defects, {});
        return run;
    }

    QString problems(const Defects& defects, const QString& place = {})
    {
        return problemsAfter(run(defects, place));
    }

    /// The defects of the last run as they were met.
    const Defects& met() const { return m_met; }

private:
    Defects m_met;
};

/// The call of number @p first fails and those after it, as often as @p times says; none for 0.
Defects failing(Call call, int first, int times)
{
    Defects defects;
    const int last = times == INT_MAX ? INT_MAX : first + times - 1;
    defects.calls[call] = {first, first == 0 ? 0 : last};
    return defects;
}

/// What lies in a folder of a directory, without the dates of outputs.
Files filesBelow(const Files& entries, const QString& folder)
{
    Files found;
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        if (entry.key().startsWith(folder + u'/'))
            found[entry.key()] = withoutDate(entry.value());
    }
    return found;
}

} // namespace

/// What conversions make of media whose reads fail or stop short.
class tst_FailingMedia : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_defects = {}; }

    void everyFailureEndsInABoxOrInTheRightFiles_data()
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
            {{40000, 600000, {chunk("bext", sampleBytes(40000)), chunk("tail", "1234")}},
             " of a source that has a bext after its samples"},
            {{40000, 600000, {}}, " of a source that ends with its samples"},
            {{40000, 600000, {"abcde"}}, " of a source that ends in a cut header"},
        };
        for (const auto& [conversion, name] : g_conversions) {
            for (const auto& [call, callName] : calls) {
                for (const int times : {1, 2, INT_MAX}) {
                    // The toolkit passes over the first failed read or seek after bytes that it
                    // has.
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
                        if (call == Seek || (call == Read && layout.after.size() == 2))
                            add(which, u"in"_s, false, layout);
                    }
                }
            }
        }
    }

    /// The conversion runs once for each call that it makes, of sources and outputs alike.
    void everyFailureEndsInABoxOrInTheRightFiles()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const int, call);
        QFETCH(const int, times);
        QFETCH(const QString, place);
        QFETCH(const bool, outputsExist);
        QFETCH(const Layout, layout);

        const QByteArray earlier = "an earlier file";
        const bool isCopy = conversion == Conversion::PlainToBwf;
        const bool isCut = layout.after == QByteArrayList{"abcde"};
        Request request = separated(conversion, layout);
        for (const QString& name : request.outputs.keys()) {
            if (outputsExist) {
                request.before[name] = earlier;
                request.ask(name);
            }
        }
        if (isCut) {
            request.fail(ConvertDataRead);
            if (isCopy)
                request.outputs[request.output()] = wavBytes({bextWithoutDate()}, 0);
        }
        const Files sources = filesBelow(request.before, u"in"_s);
        const Files valid = filesBelow(request.outputs, u"out"_s);
        Workplace work(request);
        QCOMPARE(work.problems({}, place), QString());
        const int calls = work.met().calls[size_t(call)].calls;
        QVERIFY(calls > 0);
        for (int failed = 1; failed <= calls; ++failed) {
            work.emptyOutputDirectory();
            const ConversionRun run = work.run(failing(Call(call), failed, times), place);
            const Files entries = work.entries();
            const Files outputs = filesBelow(entries, u"out"_s);
            QStringList reported = run.texts();
            const qsizetype questions =
                reported.removeIf([](const QString& text) { return text.endsWith(g_overwrite); });
            const QString which = u"call %1 of %2: "_s.arg(failed).arg(calls) + reported.join(u'|');
            QVERIFY2(filesBelow(entries, u"in"_s) == sources, qPrintable(which));
            const bool isReported = !reported.isEmpty();
            const bool isRight = !isCut && outputs == valid;
            if (!isCopy) {
                QVERIFY2((run.result == ConvertOk) == !isReported, qPrintable(which));
                QVERIFY2(isReported || isRight, qPrintable(which));
            }
            const bool isWritten = call == Write || (call == Close && place == u"out"_s);
            if (isWritten) {
                QVERIFY2(
                    reported == QStringList{errorText(ConvertDataWrite)}
                        || (call == Write && reported == QStringList{errorText(ConvertDataCopy)}),
                    qPrintable(which));
                if (!isCopy)
                    QVERIFY2(outputs.size() < valid.size(), qPrintable(which));
            }
            // The last stats are of a finished file, which they must not deny.
            if (call == Stat && times == 1 && place == u"out"_s && !outputsExist
                && failed > calls - 3)
                QVERIFY2(!isReported && isRight, qPrintable(which));
            int changed = 0;
            for (auto file = outputs.cbegin(); file != outputs.cend(); ++file) {
                changed += file.value() != earlier;
                if (file.value() == valid.value(file.key()) || file.value() == earlier)
                    continue;
                // A failed split leaves its output up to the first chunk, and a plain copy what it
                // has written.
                const bool isStart =
                    conversion == Conversion::Split && !isWritten && file->size() <= g_outputStart;
                const bool isUnfinishedCopy =
                    isCopy && (isReported || file->mid(4, 4) == le32(0) || file->isEmpty());
                QVERIFY2(isStart || isUnfinishedCopy, qPrintable(which + u": "_s + file.key()));
            }
            if (outputsExist) {
                QVERIFY2(changed <= questions,
                         qPrintable(which + u": overwritten without a question"_s));
            }
        }
    }

    void combineWhoseReadFails_data()
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
    void combineWhoseReadFails()
    {
        QFETCH(const int, file);
        QFETCH(const int, block);
        QFETCH(const bool, isOnce);

        static const Request valid = separated(Conversion::Combine, g_longLayout);
        Request request = valid;
        if (file > 1 || block > 1 || !isOnce)
            request.fail(ConvertFileRead);
        Defects defects = failing(Read, 1, isOnce ? 1 : INT_MAX);
        defects.firstReadByte =
            g_sampleStart + g_chunkHeaderSize + g_longLayout.noteBytes + (block - 1) * g_blockBytes;
        Workplace work(request);
        QCOMPARE(work.problems(defects, request.sources[file - 1]), QString());
        QVERIFY(work.met().calls[Read].calls > 0);
    }

    void outputThatCannotBeRemovedIsReported_data() { addConversionRows(); }

    void outputThatCannotBeRemovedIsReported()
    {
        QFETCH(const Conversion, conversion);

        Request request = separated(conversion);
        const bool isCopy = conversion == Conversion::PlainToBwf; // keeps it
        const QByteArray written =
            request.outputs.first().first(g_outputStart + g_fmtChunkSize + 8);
        request.fail(isCopy ? ConvertDataCopy : ConvertDataWrite);
        request.outputs[request.output()] = QByteArray(written).replace(4, 4, le32(0));
        Defects defects = failing(Write, 2, INT_MAX);
        defects.calls[Remove] = {1, INT_MAX};
        Workplace work(request);
        QCOMPARE(work.problems(defects, u"out"_s), QString());
        QCOMPARE(work.met().calls[Remove].calls, isCopy ? 0 : 1);
    }

    /// The combine removes what it has not begun to write, but no file of another program.
    void emptyOutputReplacedIsNotRemoved()
    {
        Request request = separated(Conversion::Combine);
        request.before[u"other"_s] = "of another program";
        request.change(request.source(), "no RIFF header");
        request.fail(ConvertIllegalFormat);
        request.outputs[request.output()] = request.before[u"other"_s];
        request.removed.append(u"other"_s);
        Workplace work(request);
        const auto replace = [&] {
            QCOMPARE(::rename(encoded(work.path(u"other"_s)).c_str(),
                              encoded(work.path(request.output())).c_str()),
                     0);
        };
        QCOMPARE(work.problems({.atFirstRead = replace}, u"in"_s), QString());
    }

    void failingStatNeverTruncatesALinkedSource_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<int>("times");
        for (const auto& [conversion, name] : g_conversions) {
            QTest::addRow("%s, each stat fails once", name) << conversion << 1;
            QTest::addRow("%s, each stat fails from then on", name) << conversion << INT_MAX;
        }
    }

    void failingStatNeverTruncatesALinkedSource()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const int, times);

        Request request = laidOut(conversion, {});
        request.before[request.output()] = g_sameAs + request.source().toUtf8();
        request.ask(request.output());
        request.fail(ConvertFileOpen);
        Workplace work(request);
        QCOMPARE(work.problems({}), QString());
        const int calls = work.met().calls[Stat].calls;
        QVERIFY(calls > 0);
        for (int failed = 1; failed <= calls; ++failed) {
            QCOMPARE(work.run(failing(Stat, failed, times)).result, request.result);
            QCOMPARE(work.changes(), QString());
        }
    }

    void identityThatChangesDoesNoHarm_data() { addConversionRows(); }

    /// Servers may give other inodes at each stat, and clocks of cards jump.
    void identityThatChangesDoesNoHarm()
    {
        QFETCH(const Conversion, conversion);

        Workplace work(separated(conversion));
        QCOMPARE(work.problems({.changeIdentity = true}), QString());
        QVERIFY(work.met().stats > 0);
    }

    void sourceOfChangingIdentityIsRefused_data()
    {
        QTest::addColumn<Request>("request");
        for (const auto& [conversion, name] : g_conversions) {
            Request request = separated(conversion);
            request.ask(request.output());
            request.fail(ConvertFileOpen);
            request.before[request.output()] = g_linkTo + "../" + request.source().toUtf8();
            QTest::addRow("%s onto a link to a source", name) << request;
            request.before[request.output()] = request.before[request.source()];
            request.sources.append(request.output());
            QTest::addRow("%s onto a source", name) << request;
        }
    }

    void sourceOfChangingIdentityIsRefused()
    {
        QFETCH(const Request, request);
        QCOMPARE(Workplace(request).problems({.changeIdentity = true}), QString());
    }

    void shortCallsAreGoneOnWith_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<int>("longest"); // bytes that a call moves at most
        for (const auto& [conversion, name] : g_conversions) {
            for (const int longest : {1, 1000, int(g_buffer - 1), 65535, int(g_blockBytes - 1)})
                QTest::addRow("%s, %d bytes", name, longest) << conversion << longest;
        }
    }

    /// As over a network: a call moves less than was asked for in the middle of a file.
    void shortCallsAreGoneOnWith()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const int, longest);

        Workplace work(separated(conversion, longest == 1 ? Layout() : g_longLayout));
        QCOMPARE(work.problems({.longestRead = size_t(longest), .longestWrite = size_t(longest)}),
                 QString());
    }

private:
    // The toolkit's words for a position that the medium refuses, and for a pipe
    const ExpectedMessages m_refusedSeeks{u"QFile::at: Cannot set file position"_s};
    const ExpectedMessages m_seeksInPipes{u"QIODevice::seek (QFile, "_s};
};

SPLICORA_TEST_MAIN(tst_FailingMedia)
#include "tst_failingmedia.moc"
