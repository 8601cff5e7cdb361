// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversionrequest.h"
#include "tests/support/softlimit.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <optional>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What makes the disk full.
enum class Medium {
    FileSizeLimit, ///< no file of the process may grow further
    SmallFileSystem, ///< the output directory is a small file system of its own
};

constexpr qsizetype g_page = 4096;

/// Leaves room for @p bytes, a multiple of the page size: in each file of the process under a file
/// size limit, in all files of a directory together on a small file system. That has at least one
/// page; if there is to be no room, an unnamed file fills it.
class SmallDisk
{
public:
    SmallDisk(Medium medium, const QString& directory, rlim_t bytes)
        : m_path(QFile::encodeName(directory))
    {
        if (medium == Medium::FileSizeLimit) {
            // Without the signal a write beyond the limit fails as on a full disk.
            m_kept = std::signal(SIGXFSZ, SIG_IGN);
            m_limit.emplace(RLIMIT_FSIZE, bytes);
            m_isReady = m_limit->isSet();
            return;
        }
        const QByteArray size =
            "size=" + QByteArray::number(quint64(std::max<rlim_t>(bytes, g_page)));
        m_isMounted = mount("tmpfs", m_path.constData(), "tmpfs", 0, size.constData()) == 0;
        m_isReady = m_isMounted && (bytes > 0 || fillPage());
    }
    ~SmallDisk()
    {
        if (m_limit) {
            m_limit.reset();
            std::signal(SIGXFSZ, m_kept);
        }
        if (m_full >= 0)
            close(m_full);
        if (m_isMounted)
            umount(m_path.constData());
    }
    Q_DISABLE_COPY_MOVE(SmallDisk)

    bool isReady() const { return m_isReady; }

private:
    bool fillPage()
    {
        m_full = open(m_path.constData(), O_TMPFILE | O_WRONLY, 0600);
        return m_full >= 0 && write(m_full, QByteArray(g_page, 'x').constData(), g_page) == g_page;
    }

    QByteArray m_path;
    std::optional<SoftLimit> m_limit;
    void (*m_kept)(int) = SIG_DFL;
    bool m_isMounted = false;
    bool m_isReady = false;
    int m_full = -1;
};

constexpr std::pair<Medium, const char*> g_media[] = {
    {Medium::FileSizeLimit, "file size limit"},
    {Medium::SmallFileSystem, "small file system"},
};

/// Bytes that a QFile holds back at most.
constexpr qsizetype g_heldBack = 16384;

/// A request for one output with so many bytes of data.
Request oneOutputOf(Conversion conversion, const QByteArrayList& chunks, qsizetype dataBytes)
{
    const QByteArray samples = sampleBytes(dataBytes);
    const qsizetype half = dataBytes / 2;
    Request request = takeOf(conversion, chunks,
                             conversion == Conversion::Split
                                 ? QByteArrayList{samples, samples}
                                 : QByteArrayList{samples.first(half), samples.last(half)});
    request.separate();
    return request;
}

/// The file that the plain copy writes, with RIFF size 0.
QByteArray unfinished(QByteArray output)
{
    return output.replace(4, 4, le32(0));
}

} // namespace

class tst_DiskFull : public QObject
{
    Q_OBJECT

private slots:
    /// Gives the process a view of its own of the mounted file systems, which ends with it.
    void initTestCase()
    {
        m_canMount = sysconf(_SC_PAGESIZE) == g_page && unshare(CLONE_NEWNS) == 0
                     && mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0
                     && SmallDisk(Medium::SmallFileSystem, TempDir().path(), g_page).isReady();
    }

    void oneOutput_data()
    {
        QTest::addColumn<Medium>("medium");
        QTest::addColumn<Request>("request");
        QTest::addColumn<qsizetype>("room");

        struct Row
        {
            const char* what;
            qsizetype room;
            int code;
            int plainCode; ///< it copies `fmt ` and `data` as any other chunk
            QByteArrayList chunks;
            qsizetype dataBytes; ///< of the output
        };
        const auto chunkOf = [](const char* id, qsizetype bytes) {
            return chunk(id, sampleBytes(bytes));
        };
        constexpr int write = ConvertDataWrite;
        constexpr int copy = ConvertDataCopy;
        const QByteArray fmt = g_fmtHere;
        const QByteArray data = g_dataHere;
        const QByteArray note = chunkOf("note", 10);
        const QByteArray longNote = chunkOf("note", 20000);
        const QByteArray toPage = chunkOf("note", g_page - g_outputStart - g_fmtChunkSize - 8 - 8);
        const qsizetype toHeader = g_heldBack - 4 - g_outputStart - 8;
        const Row rows[] = {
            {"at the header, which a short file holds back", 0, write, write, {fmt, data}, 6000},
            {"at the header of a file that is longer than what is held back",
             0,
             write,
             copy,
             {fmt, data},
             40000},
            {"only at the flush", g_page, write, write, {fmt, data}, 6000},
            {"in the first block of the data, the last chunk",
             2 * g_page,
             write,
             write,
             {fmt, data},
             40000},
            {"in the first block of the data, before another chunk",
             2 * g_page,
             write,
             write,
             {fmt, data, note},
             40000},
            {"in a later block of the data",
             400 * g_page,
             write,
             write,
             {fmt, data, note},
             2000000},
            {"just before the body of a copied chunk",
             g_page,
             copy,
             copy,
             {fmt, toPage, chunkOf("tail", 20000), data},
             8},
            {"within the body of a copied chunk", g_page, write, write, {fmt, longNote, data}, 8},
            {"within the body of the last chunk", g_page, write, write, {fmt, data, longNote}, 8},
            {"at a chunk header",
             g_page,
             write,
             write,
             {fmt, chunkOf("note", toHeader - g_fmtChunkSize), chunkOf("tail", 20), data},
             8},
            {"within the fmt body",
             g_page,
             write,
             copy,
             {chunkOf("note", toHeader - 8), fmt, data},
             8},
        };
        for (const auto& [medium, mediumName] : g_media) {
            for (const auto& [conversion, name] : g_conversions) {
                for (const Row& row : rows) {
                    Request request = oneOutputOf(conversion, row.chunks, row.dataBytes);
                    const QByteArray whole = request.outputs.first();
                    const bool isCopy = conversion == Conversion::PlainToBwf;
                    request.fail(isCopy ? row.plainCode : row.code);
                    if (isCopy)
                        request.outputs[request.output()] = unfinished(whole).left(row.room);
                    QTest::addRow("%s, %s: %s", name, mediumName, row.what)
                        << medium << request << row.room;
                }
            }
        }
    }

    void oneOutput()
    {
        QFETCH(const Medium, medium);
        QFETCH(const Request, request);
        QFETCH(const qsizetype, room);
        compareOnSmallDisk(request, medium, room);
    }

    void finishedOutputsStay_data() { addMediumRows(); }

    void finishedOutputsStay()
    {
        QFETCH(const Medium, medium);
        Request request = oneOutputOf(Conversion::Split, {g_fmtHere, g_dataHere}, 2000);
        const Files finished = request.outputs;
        request.before[u"in/the next.wav"_s] = recording({.channels = 2}, sampleBytes(80000));
        request.before[u"in/third.wav"_s] = recording({.channels = 2}, sampleBytes(400));
        request.sources += {u"in/the next.wav"_s, u"in/third.wav"_s};
        request.fail(ConvertDataWrite);
        request.outputs = finished;
        compareOnSmallDisk(request, medium, 4 * g_page);
    }

    void plainCopyReportsAFailedFlushOfItsSource_data() { addMediumRows(); }

    /// Only the copies that fail have a box and keep RIFF size 0: the two after the first fail
    /// where it left no room to them.
    void plainCopyReportsAFailedFlushOfItsSource()
    {
        QFETCH(const Medium, medium);
        const QByteArrayList chunks = {g_fmtHere, g_dataHere};
        Request request = oneOutputOf(Conversion::PlainToBwf, chunks, 6000);
        const Request small = oneOutputOf(Conversion::PlainToBwf, chunks, 2000);
        request.outputs[request.output()] = unfinished(request.outputs.first()).left(g_page);
        request.boxes.append(errorText(ConvertDataWrite));
        for (const QString& name : {u"the next"_s, u"third"_s}) {
            const bool isFull = medium == Medium::SmallFileSystem;
            request.sources.append(u"in/%1.wav"_s.arg(name));
            request.before[request.sources.last()] = small.before[small.source()];
            request.outputs[u"out/%1_bwf.wav"_s.arg(name)] =
                isFull ? QByteArray() : small.outputs.first();
            if (isFull)
                request.boxes.append(errorText(ConvertDataWrite));
        }
        compareOnSmallDisk(request, medium, g_page);
    }

    void deviceThatTakesNothing_data() { addConversionRows(); }

    /// A device cannot be positioned, so that already the RIFF header fails, which a file holds
    /// back: as code 6 in the split, as code 5 in the combine, which alone removes the output, and
    /// in silence in the plain copy. The request ends with it.
    void deviceThatTakesNothing()
    {
        QFETCH(const Conversion, conversion);
        const ExpectedMessages seeks(u"QIODevice::seek (QFile, "_s);
        Request request = oneOutputOf(conversion, {g_fmtHere, g_dataHere}, 40);
        request.before[u"in/the next.wav"_s] = request.before[request.source()];
        request.sources.append(u"in/the next.wav"_s);
        request.before[request.output()] = g_linkTo + "/dev/full";
        request.ask(request.output());
        request.fail(conversion == Conversion::Split     ? ConvertDataWrite
                     : conversion == Conversion::Combine ? ConvertFileWrite
                                                         : ConvertFileOpen);
        if (conversion == Conversion::Combine)
            request.removed.append(request.output());
        QCOMPARE(problemsOf(request), QString());
        QVERIFY(QFile::exists(u"/dev/full"_s));
    }

private:
    static void addMediumRows()
    {
        QTest::addColumn<Medium>("medium");
        for (const auto& [medium, name] : g_media)
            QTest::newRow(name) << medium;
    }

    /// Compares all that a request comes to that has so much room for its outputs.
    void compareOnSmallDisk(const Request& request, Medium medium, qsizetype room) const
    {
        if (medium == Medium::SmallFileSystem && !m_canMount)
            QSKIP("No file system with pages of 4096 bytes can be mounted here.");
        PreparedRequest prepared(request);
        std::optional<SmallDisk> disk(std::in_place, medium, prepared.path(u"out"_s), rlim_t(room));
        QVERIFY(disk->isReady());
        const ConversionRun run = prepared.run();
        if (medium == Medium::FileSizeLimit)
            disk.reset(); // or a failure could not be logged
        QCOMPARE(prepared.problemsAfter(run), QString());
    }

    bool m_canMount = false;
};

SPLICORA_TEST_MAIN(tst_DiskFull)
#include "tst_diskfull.moc"
