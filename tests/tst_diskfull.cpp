// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversion.h"
#include "tests/support/softlimit.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QTest>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What makes the disk full.
enum class Medium {
    FileSizeLimit, ///< no file of the process may grow further
    SmallFileSystem, ///< the output directory is a small file system of its own
};

} // namespace

class tst_DiskFull : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void oneOutput_data();
    void oneOutput();
    void finishedOutputsStay_data() { addMediumRows(); }
    void finishedOutputsStay();
    void plainCopyReportsAFailedFlushOfItsSource_data() { addMediumRows(); }
    void plainCopyReportsAFailedFlushOfItsSource();
    void deviceThatTakesNothing_data();
    void deviceThatTakesNothing();

private:
    static void addMediumRows();

    bool m_canMount = false;
};

namespace {

constexpr qsizetype g_page = 4096;

/// Sources in a directory of their own.
class SourceDir
{
public:
    explicit SourceDir(const Files& files)
        : m_files(files)
        , m_dir(files)
        , m_sources(m_dir.paths(files.keys()))
    { }

    const Sources& list() const { return m_sources; }

    /// Nothing was changed, added or removed.
    bool isUntouched() const { return m_dir.files() == m_files; }

private:
    Files m_files;
    TempDir m_dir;
    Sources m_sources;
};

/// An output directory with room for @p bytes, a multiple of the page size: in each file under a
/// file size limit, in all files together on a small file system. A file system has at least one
/// page; without room a hidden file takes it.
class SmallDisk
{
public:
    SmallDisk(Medium medium, rlim_t bytes)
        : m_medium(medium)
        , m_bytes(bytes)
    {
        if (m_medium == Medium::SmallFileSystem)
            m_isMounted = mountAt(m_dir.path(), std::max<rlim_t>(bytes, g_page));
        if (m_isMounted && bytes == 0)
            m_isMounted = writeFile(m_dir.path(u".full"_s), QByteArray(g_page, 'x'));
    }
    ~SmallDisk()
    {
        if (m_isMounted)
            umount(QFile::encodeName(m_dir.path()).constData());
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isReady() const { return m_isMounted || m_medium == Medium::FileSizeLimit; }
    QString path() const { return m_dir.path(); }
    QStringList names() const { return QDir(m_dir.path()).entryList(QDir::Files); }
    QByteArray file(const QString& name) const { return m_dir.bytes(name); }

    ConversionRun run(Conversion conversion, const SourceDir& sources) const
    {
        const QList<QMessageBox::StandardButton> answers(4, QMessageBox::Ok);
        if (m_medium == Medium::SmallFileSystem)
            return runConversion(conversion, sources.list(), answers, path());
        // Without the signal a write beyond the limit fails as on a full disk.
        const auto kept = std::signal(SIGXFSZ, SIG_IGN);
        const SoftLimit limit(RLIMIT_FSIZE, m_bytes);
        const ConversionRun run = runConversion(conversion, sources.list(), answers, path());
        std::signal(SIGXFSZ, kept);
        return run;
    }

    static bool mountAt(const QString& dir, rlim_t bytes)
    {
        const QByteArray options = "size=" + QByteArray::number(quint64(bytes));
        return mount("tmpfs", QFile::encodeName(dir).constData(), "tmpfs", 0, options.constData())
               == 0;
    }

private:
    Medium m_medium;
    rlim_t m_bytes;
    bool m_isMounted = false;
    TempDir m_dir;
};

constexpr std::pair<Medium, const char*> g_media[] = {
    {Medium::FileSizeLimit, "file size limit"},
    {Medium::SmallFileSystem, "small file system"},
};

/// Bytes that a QFile holds back at most.
constexpr qsizetype g_heldBack = 16384;

/// Chunks before and after the data of a source, and the bytes of data of an output.
struct Layout
{
    QByteArrayList before;
    qsizetype outputBytes = 0;
    QByteArrayList after;

    QByteArray file(qsizetype dataBytes) const
    {
        return wavBytes(before + QByteArrayList{dataChunk(sampleBytes(dataBytes))} + after);
    }

    /// The file that the plain copy writes, with RIFF size 0.
    QByteArray unfinishedBwf() const
    {
        const QByteArray chunks = file(outputBytes).mid(12);
        return wavBytes({bextWithoutDate(), chunks}, 0);
    }
};

Files sourceFiles(Conversion conversion, Layout layout)
{
    switch (conversion) {
    case Conversion::Split:
        for (QByteArray& chunk : layout.before)
            chunk.replace(fmtChunk({}), fmtChunk({.channels = 2}));
        return {{u"take.wav"_s, layout.file(2 * layout.outputBytes)}};
    case Conversion::Combine:
        return {{u"take_01.wav"_s, layout.file(layout.outputBytes / 2)},
                {u"take_02.wav"_s, layout.file(layout.outputBytes / 2)}};
    case Conversion::PlainToBwf:
        break;
    }
    return {{u"take.wav"_s, layout.file(layout.outputBytes)}};
}

QString textOf(int code)
{
    return errorText(code);
}

} // namespace

/// Gives the process a view of its own of the mounted file systems, which ends with it.
void tst_DiskFull::initTestCase()
{
    m_canMount = sysconf(_SC_PAGESIZE) == g_page && unshare(CLONE_NEWNS) == 0
                 && mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0
                 && SmallDisk(Medium::SmallFileSystem, g_page).isReady();
}

void tst_DiskFull::oneOutput_data()
{
    QTest::addColumn<Medium>("medium");
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<Layout>("layout");
    QTest::addColumn<qsizetype>("room");
    QTest::addColumn<int>("code");

    const QByteArray fmt = fmtChunk({});
    const auto chunkOf = [](const char* id, qsizetype bytes) {
        return chunk(id, sampleBytes(bytes));
    };
    constexpr int write = ConvertDataWrite;
    constexpr int copy = ConvertDataCopy;
    // The plain copy has a code of its own where it copies `fmt ` and `data` as any other chunk.
    const auto add = [](const char* what, qsizetype room, int code, int plainCode,
                        const Layout& layout) {
        for (const auto& [medium, mediumName] : g_media) {
            for (const auto& [conversion, name] : g_conversions) {
                const bool isPlain = conversion == Conversion::PlainToBwf;
                QTest::addRow("%s, %s: %s", name, mediumName, what)
                    << medium << conversion << layout << room << (isPlain ? plainCode : code);
            }
        }
    };
    add("at the header, which a short file holds back", 0, write, write, {{fmt}, 6000, {}});
    add("at the header of a file that is longer than what is held back", 0, write, copy,
        {{fmt}, 40000, {}});
    add("only at the flush", g_page, write, write, {{fmt}, 6000, {}});
    add("in the first block of the data, the last chunk", 2 * g_page, write, write,
        {{fmt}, 40000, {}});
    add("in the first block of the data, before another chunk", 2 * g_page, write, write,
        {{fmt}, 40000, {chunkOf("note", 10)}});
    add("in a later block of the data", 400 * g_page, write, write,
        {{fmt}, 2000000, {chunkOf("note", 10)}});
    const QByteArray toPage = chunkOf("note", g_page - g_outputStart - g_fmtChunkSize - 8 - 8);
    add("just before the body of a copied chunk", g_page, copy, copy,
        {{fmt, toPage, chunkOf("tail", 20000)}, 8, {}});
    add("within the body of a copied chunk", g_page, write, write,
        {{fmt, chunkOf("note", 20000)}, 8, {}});
    add("within the body of the last chunk", g_page, write, write,
        {{fmt}, 8, {chunkOf("note", 20000)}});
    const qsizetype toHeader = g_heldBack - 4 - g_outputStart - 8;
    add("at a chunk header", g_page, write, write,
        {{fmt, chunkOf("note", toHeader - g_fmtChunkSize), chunkOf("tail", 20)}, 8, {}});
    add("within the fmt body", g_page, write, copy, {{chunkOf("note", toHeader - 8), fmt}, 8, {}});
}

void tst_DiskFull::oneOutput()
{
    QFETCH(Medium, medium);
    if (medium == Medium::SmallFileSystem && !m_canMount)
        QSKIP("No file system with pages of 4096 bytes can be mounted here.");
    QFETCH(Conversion, conversion);
    QFETCH(Layout, layout);
    QFETCH(qsizetype, room);
    QFETCH(int, code);
    const SourceDir sources(sourceFiles(conversion, layout));
    const SmallDisk disk(medium, rlim_t(room));
    QVERIFY(disk.isReady());
    const ConversionRun run = disk.run(conversion, sources);

    QCOMPARE(run.texts(), QStringList{textOf(code)});
    QCOMPARE(run.boxes.first().icon, QMessageBox::Warning);
    if (conversion == Conversion::PlainToBwf) {
        QCOMPARE(disk.names(), QStringList{u"take_bwf.wav"_s});
        QCOMPARE(withoutDate(disk.file(u"take_bwf.wav"_s)), layout.unfinishedBwf().left(room));
    } else {
        QCOMPARE(run.result, code);
        QCOMPARE(disk.names(), QStringList());
    }
    QVERIFY(sources.isUntouched());
}

void tst_DiskFull::addMediumRows()
{
    QTest::addColumn<Medium>("medium");
    for (const auto& [medium, name] : g_media)
        QTest::newRow(name) << medium;
}

void tst_DiskFull::finishedOutputsStay()
{
    QFETCH(Medium, medium);
    if (medium == Medium::SmallFileSystem && !m_canMount)
        QSKIP("No file system with pages of 4096 bytes can be mounted here.");
    const Format stereo = {.channels = 2};
    const QByteArray samples = sampleBytes(4000, 1);
    const SourceDir sources(
        {{u"a.wav"_s, wavBytes({fmtChunk(stereo), dataChunk(samples)})},
         {u"b.wav"_s, wavBytes({fmtChunk(stereo), dataChunk(sampleBytes(80000, 2))})},
         {u"c.wav"_s, wavBytes({fmtChunk(stereo), dataChunk(sampleBytes(400, 3))})}});
    const SmallDisk disk(medium, 4 * g_page);
    QVERIFY(disk.isReady());
    const ConversionRun run = disk.run(Conversion::Split, sources);

    QCOMPARE(run.texts(), QStringList{textOf(ConvertDataWrite)});
    QCOMPARE(run.result, int(ConvertDataWrite));
    QCOMPARE(disk.names(), QStringList({u"a_01.wav"_s, u"a_02.wav"_s}));
    for (int channel = 1; channel <= 2; ++channel) {
        QByteArray mono;
        for (qsizetype at = 2 * (channel - 1); at < samples.size(); at += 4)
            mono += samples.mid(at, 2);
        // The split counts 4 bytes for a fmt chunk.
        QCOMPARE(withoutDate(disk.file(u"a_0%1.wav"_s.arg(channel))),
                 wavBytes({bextWithoutDate(), fmtChunk({}), dataChunk(mono)},
                          g_outputStart + (8 + 4) + (8 + 2000)));
    }
    QVERIFY(sources.isUntouched());
}

/// Only the copies that fail have a box and keep RIFF size 0: the two after the first fail where
/// it left no room to them.
void tst_DiskFull::plainCopyReportsAFailedFlushOfItsSource()
{
    QFETCH(Medium, medium);
    if (medium == Medium::SmallFileSystem && !m_canMount)
        QSKIP("No file system with pages of 4096 bytes can be mounted here.");
    const Layout large = {{fmtChunk({})}, 6000, {}};
    const Layout small = {{fmtChunk({})}, 2000, {}};
    const SourceDir sources({{u"a.wav"_s, large.file(6000)},
                             {u"b.wav"_s, small.file(2000)},
                             {u"c.wav"_s, small.file(2000)}});
    const SmallDisk disk(medium, g_page);
    QVERIFY(disk.isReady());
    const ConversionRun run = disk.run(Conversion::PlainToBwf, sources);

    const bool isFull = medium == Medium::SmallFileSystem;
    QCOMPARE(run.texts(), QStringList(isFull ? 3 : 1, textOf(ConvertDataWrite)));
    QCOMPARE(disk.names(), QStringList({u"a_bwf.wav"_s, u"b_bwf.wav"_s, u"c_bwf.wav"_s}));
    QCOMPARE(withoutDate(disk.file(u"a_bwf.wav"_s)), large.unfinishedBwf().left(g_page));
    const QByteArray finished =
        small.unfinishedBwf().replace(4, 4, le32(g_outputStart + g_fmtChunkSize + 8 + 2000));
    for (const QString& name : {u"b_bwf.wav"_s, u"c_bwf.wav"_s})
        QCOMPARE(withoutDate(disk.file(name)), isFull ? QByteArray() : finished);
    QVERIFY(sources.isUntouched());
}

void tst_DiskFull::deviceThatTakesNothing_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("errors");
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("isLeft");
    QTest::newRow("split: the RIFF header fails as code 6, the output stays")
        << Conversion::Split << u"take_01.wav"_s << QStringList{errorText(ConvertDataWrite)}
        << int(ConvertDataWrite) << true;
    QTest::newRow("combine: the RIFF header fails as code 5, the output goes")
        << Conversion::Combine << u"take_combined.wav"_s << QStringList{errorText(ConvertFileWrite)}
        << int(ConvertFileWrite) << false;
    QTest::newRow("plain copy: the RIFF header fails in silence, the output stays")
        << Conversion::PlainToBwf << u"take_bwf.wav"_s << QStringList() << int(ConvertOk) << true;
}

/// A device cannot be positioned, so that already the RIFF header fails, which a file holds back.
/// The request ends with it.
void tst_DiskFull::deviceThatTakesNothing()
{
    QFETCH(Conversion, conversion);
    QFETCH(QString, name);
    QFETCH(QStringList, errors);
    QFETCH(int, code);
    QFETCH(bool, isLeft);
    const ExpectedMessages seeks(u"QIODevice::seek (QFile, "_s);
    Files files = sourceFiles(conversion, {{fmtChunk({})}, 40, {}});
    files[u"the next take.wav"_s] = files.first();
    const SourceDir sources(files);
    const TempDir out;
    QVERIFY(QFile::link(u"/dev/full"_s, out.path(name)));

    const ConversionRun run =
        runConversion(conversion, sources.list(), {QMessageBox::Yes, QMessageBox::Ok}, out.path());

    QCOMPARE(run.texts(), QStringList{overwriteQuestion(name, conversion)} + errors);
    QCOMPARE(run.result, code);
    QCOMPARE(QDir(out.path()).entryList(QDir::Files | QDir::System),
             isLeft ? QStringList{name} : QStringList());
    QVERIFY(QFile::exists(u"/dev/full"_s));
    QVERIFY(sources.isUntouched());
}

SPLICORA_TEST_MAIN(tst_DiskFull)
#include "tst_diskfull.moc"
