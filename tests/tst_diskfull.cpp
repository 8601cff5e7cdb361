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
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
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
    void finishedOutputsStay_data();
    void finishedOutputsStay();
    void plainCopyTellsAFailedFlushOfItsSource_data();
    void plainCopyTellsAFailedFlushOfItsSource();
    void deviceThatTakesNothing_data();
    void deviceThatTakesNothing();
    void plainCopyEndsAtAHeaderThatFails();
    void everyWriteThatFailsIsTold_data();
    void everyWriteThatFailsIsTold();
    void failureToCloseIsTold_data();
    void failureToCloseIsTold();

private:
    static void addMediumRows();

    bool m_canMount = false;
};

namespace {

/// A disk with defects: which of the writes into one directory fail, counted from 1.
struct Defects
{
    QByteArray dir;
    int first = 0;
    int last = 0;
    int writes = 0; ///< made so far
    bool failsToClose = false;

    bool isBelowDir(int descriptor) const
    {
        char path[PATH_MAX] = {};
        const QByteArray link = "/proc/self/fd/" + QByteArray::number(descriptor);
        return readlink(link.constData(), path, sizeof path - 1) > 0
               && QByteArray(path).startsWith(dir);
    }
} g_defects;

} // namespace

/// Takes the place of the system call for the whole process.
extern "C" ssize_t write(int descriptor, const void* bytes, size_t size)
{
    if (!g_defects.dir.isEmpty() && g_defects.isBelowDir(descriptor)) {
        ++g_defects.writes;
        if (g_defects.writes >= g_defects.first && g_defects.writes <= g_defects.last) {
            errno = EIO;
            return -1;
        }
    }
    return syscall(SYS_write, descriptor, bytes, size);
}

/// The same for the call that some file systems, over a network, tell an earlier failure by.
extern "C" int close(int descriptor)
{
    const bool fails = g_defects.failsToClose && g_defects.isBelowDir(descriptor);
    const auto result = int(syscall(SYS_close, descriptor));
    if (!fails)
        return result;
    errno = ENOSPC;
    return -1;
}

namespace {

constexpr qsizetype g_page = 4096;

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

    ConversionRun run(const std::function<int()>& convert) const
    {
        const QList<QMessageBox::StandardButton> answers(4, QMessageBox::Ok);
        if (m_medium == Medium::SmallFileSystem)
            return runAnswered(answers, convert);
        // Without the signal a write beyond the limit fails as on a full disk.
        const auto kept = std::signal(SIGXFSZ, SIG_IGN);
        const SoftLimit limit(RLIMIT_FSIZE, m_bytes);
        const ConversionRun run = runAnswered(answers, convert);
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

/// Chunks before and behind the data of a source, and the bytes of data of an output.
struct Layout
{
    QByteArrayList before;
    qsizetype outputBytes = 0;
    QByteArrayList behind;

    QByteArray file(qsizetype dataBytes) const
    {
        return wavBytes(before + QByteArrayList{dataChunk(sampleBytes(dataBytes))} + behind);
    }

    /// The file that the plain copy writes, with RIFF size 0.
    QByteArray unfinishedBwf() const
    {
        const QByteArray chunks = file(outputBytes).mid(12);
        return wavBytes({bextWithoutDate(), chunks}, 0);
    }
};

struct SourceFile
{
    QString name;
    QByteArray bytes;
};

QList<SourceFile> sourceFiles(Conversion conversion, Layout layout)
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
    return errorText(code == ConvertDataCopy ? "Data copy error." : "Data write error.");
}

/// Sources in a directory of their own.
class SourceDir
{
public:
    explicit SourceDir(const QList<SourceFile>& files)
        : m_files(files)
    {
        for (const SourceFile& file : m_files) {
            if (!writeFile(m_dir.path(file.name), file.bytes))
                qFatal("\"%s\" cannot be written.", qPrintable(file.name));
            m_sources.add(m_dir.path(file.name));
        }
    }

    QList<CWavFileItem*> list() const { return m_sources.list(); }

    /// Nothing was changed, added or removed.
    bool isUntouched() const
    {
        return QDir(m_dir.path()).entryList(QDir::Files).size() == m_files.size()
               && std::all_of(m_files.cbegin(), m_files.cend(), [this](const SourceFile& file) {
                      return readFile(m_dir.path(file.name)) == file.bytes;
                  });
    }

private:
    QList<SourceFile> m_files;
    TempDir m_dir;
    Sources m_sources;
};

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
    struct Case
    {
        const char* name;
        Layout layout;
        qsizetype room;
        int code;
        int plainCode; // of the plain copy, which copies `fmt ` and `data` as any other chunk
    };
    const QList<Case> cases = {
        {"at the header, which a short file holds back",
         {{fmt}, 6000, {}},
         0,
         ConvertDataWrite,
         ConvertDataWrite},
        {"at the header of a file that is longer than what is held back",
         {{fmt}, 40000, {}},
         0,
         ConvertDataWrite,
         ConvertDataCopy},
        {"only at the flush", {{fmt}, 6000, {}}, g_page, ConvertDataWrite, ConvertDataWrite},
        {"in the first block of the data, the last chunk",
         {{fmt}, 40000, {}},
         2 * g_page,
         ConvertDataWrite,
         ConvertDataWrite},
        {"in the first block of the data, before another chunk",
         {{fmt}, 40000, {chunkOf("note", 10)}},
         2 * g_page,
         ConvertDataWrite,
         ConvertDataWrite},
        {"in a later block of the data",
         {{fmt}, 2000000, {chunkOf("note", 10)}},
         400 * g_page,
         ConvertDataWrite,
         ConvertDataWrite},
        {"just before the body of a copied chunk",
         {{fmt, chunkOf("note", g_page - g_outputStart - g_fmtChunkSize - 8 - 8),
           chunkOf("tail", 20000)},
          8,
          {}},
         g_page,
         ConvertDataCopy,
         ConvertDataCopy},
        {"within the body of a copied chunk",
         {{fmt, chunkOf("note", 20000)}, 8, {}},
         g_page,
         ConvertDataWrite,
         ConvertDataWrite},
        {"within the body of the last chunk",
         {{fmt}, 8, {chunkOf("note", 20000)}},
         g_page,
         ConvertDataWrite,
         ConvertDataWrite},
        {"at a chunk header",
         {{fmt, chunkOf("note", g_heldBack - 4 - g_outputStart - g_fmtChunkSize - 8),
           chunkOf("tail", 20)},
          8,
          {}},
         g_page,
         ConvertDataWrite,
         ConvertDataWrite},
        {"within the fmt body",
         {{chunkOf("note", g_heldBack - 4 - g_outputStart - 8 - 8), fmt}, 8, {}},
         g_page,
         ConvertDataWrite,
         ConvertDataCopy},
    };
    for (const auto& [medium, mediumName] : g_media) {
        const QByteArray where = ", "_ba + mediumName + ": ";
        for (const Case& row : cases) {
            QTest::newRow(("split" + where + row.name).constData())
                << medium << Conversion::Split << row.layout << row.room << row.code;
            QTest::newRow(("combine" + where + row.name).constData())
                << medium << Conversion::Combine << row.layout << row.room << row.code;
            QTest::newRow(("plain copy" + where + row.name).constData())
                << medium << Conversion::PlainToBwf << row.layout << row.room << row.plainCode;
        }
    }
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
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(disk.path());

    const ConversionRun run = disk.run([&] { return convert(converter, conversion); });

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

void tst_DiskFull::finishedOutputsStay_data()
{
    addMediumRows();
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
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(disk.path());

    const ConversionRun run = disk.run([&] { return converter.polyToMono(); });

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

void tst_DiskFull::plainCopyTellsAFailedFlushOfItsSource_data()
{
    addMediumRows();
}

/// Only the copies that fail have a box and keep RIFF size 0: the two behind the first fail where
/// it left no room to them.
void tst_DiskFull::plainCopyTellsAFailedFlushOfItsSource()
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
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(disk.path());

    const ConversionRun run = disk.run([&] {
        converter.plainToBwf();
        return ConvertOk;
    });

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
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("isLeft");

    const QString question = u"\n\nDo you want to overwrite?"_s;
    const QString exists = u"Output file already exists.\n"_s;
    QTest::newRow("split: the RIFF header fails as code 6, the output stays")
        << Conversion::Split << u"take_01.wav"_s
        << QStringList{exists + u"take_01.wav"_s + question, errorText("Data write error.")}
        << int(ConvertDataWrite) << true;
    QTest::newRow("combine: the RIFF header fails as code 5, the output goes")
        << Conversion::Combine << u"take_combined.wav"_s
        << QStringList{exists + u"\ntake_combined.wav"_s + question, errorText("File write error.")}
        << int(ConvertFileWrite) << false;
    QTest::newRow("plain copy: the RIFF header fails in silence, the output stays")
        << Conversion::PlainToBwf << u"take_bwf.wav"_s
        << QStringList{exists + u"take_bwf.wav"_s + question} << int(ConvertOk) << true;
}

/// A device cannot be positioned, so that already the RIFF header fails, which a file holds back.
void tst_DiskFull::deviceThatTakesNothing()
{
    QFETCH(Conversion, conversion);
    QFETCH(QString, name);
    QFETCH(QStringList, texts);
    QFETCH(int, code);
    QFETCH(bool, isLeft);
    const ExpectedMessages seeks(u"QIODevice::seek (QFile, "_s);
    const SourceDir sources(sourceFiles(conversion, {{fmtChunk({})}, 40, {}}));
    const TempDir out;
    const QString output = out.path(name);
    QVERIFY(QFile::link(u"/dev/full"_s, output));
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(out.path());

    const ConversionRun run = runAnswered({QMessageBox::Yes, QMessageBox::Ok},
                                          [&] { return convert(converter, conversion); });

    QCOMPARE(run.texts(), texts);
    QCOMPARE(run.result, code);
    QCOMPARE(QFileInfo(output).isSymLink(), isLeft);
    QVERIFY(QFile::exists(u"/dev/full"_s));
    QVERIFY(sources.isUntouched());
}

void tst_DiskFull::plainCopyEndsAtAHeaderThatFails()
{
    const ExpectedMessages seeks(u"QIODevice::seek (QFile, "_s);
    const QByteArray file = wavBytes({fmtChunk({}), dataChunk("abcd")});
    const SourceDir sources({{u"a.wav"_s, file}, {u"b.wav"_s, file}});
    const TempDir out;
    QVERIFY(QFile::link(u"/dev/full"_s, out.path(u"a_bwf.wav"_s)));
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(out.path());
    const ConversionRun run = runAnswered({QMessageBox::Yes}, [&] {
        converter.plainToBwf();
        return 0;
    });
    QCOMPARE(run.boxes.size(), 1);
    QVERIFY(!QFile::exists(out.path(u"b_bwf.wav"_s)));
}

void tst_DiskFull::everyWriteThatFailsIsTold_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isOnce");
    QTest::newRow("split, a single write fails") << Conversion::Split << true;
    QTest::newRow("split, all writes from one on fail") << Conversion::Split << false;
    QTest::newRow("combine, a single write fails") << Conversion::Combine << true;
    QTest::newRow("combine, all writes from one on fail") << Conversion::Combine << false;
    QTest::newRow("plain copy, a single write fails") << Conversion::PlainToBwf << true;
    QTest::newRow("plain copy, all writes from one on fail") << Conversion::PlainToBwf << false;
}

/// The conversion runs once for each write that it makes, up to the last four bytes.
void tst_DiskFull::everyWriteThatFailsIsTold()
{
    QFETCH(Conversion, conversion);
    QFETCH(bool, isOnce);
    const Layout layout = {{fmtChunk({}), chunk("note", sampleBytes(20000))},
                           600000,
                           {chunk("tail", sampleBytes(10)), chunk("last", sampleBytes(20000)),
                            chunk("end ", sampleBytes(10))}};
    const SourceDir sources(sourceFiles(conversion, layout));
    QMap<QString, QByteArray> complete;
    int writes = 1;
    for (int failing = 0; failing <= writes; ++failing) { // the first run has no defects
        const TempDir out;
        CWavConverter converter(nullptr, sources.list());
        converter.setOutputDirectory(out.path());
        const int last = isOnce || failing == 0 ? failing : INT_MAX;
        g_defects = {QFile::encodeName(out.path()), failing, last};
        const ConversionRun run =
            runAnswered({QMessageBox::Ok}, [&] { return convert(converter, conversion); });
        const int made = std::exchange(g_defects, {}).writes;

        QMap<QString, QByteArray> left;
        for (const QString& name : QDir(out.path()).entryList(QDir::Files))
            left[name] = withoutDate(out.bytes(name));
        QVERIFY(sources.isUntouched());
        if (failing == 0) {
            QCOMPARE(run.texts(), QStringList());
            complete = left;
            writes = made;
            QVERIFY(writes >= 6);
            continue;
        }
        QVERIFY2(run.texts() == QStringList{textOf(ConvertDataWrite)}
                     || run.texts() == QStringList{textOf(ConvertDataCopy)},
                 qPrintable(
                     u"write %1 of %2: %3"_s.arg(failing).arg(writes).arg(run.texts().join(u'|'))));
        if (conversion == Conversion::PlainToBwf)
            continue; // leaves what it has written
        QVERIFY(run.result != ConvertOk);
        QVERIFY(left.size() < complete.size());
        for (auto file = left.cbegin(); file != left.cend(); ++file)
            QVERIFY(file.value() == complete[file.key()]);
    }
}

void tst_DiskFull::failureToCloseIsTold_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("split") << Conversion::Split << QStringList();
    QTest::newRow("combine") << Conversion::Combine << QStringList();
    QTest::newRow("plain copy, which leaves what it wrote")
        << Conversion::PlainToBwf << QStringList{u"take_bwf.wav"_s};
}

void tst_DiskFull::failureToCloseIsTold()
{
    QFETCH(Conversion, conversion);
    QFETCH(QStringList, names);
    const SourceDir sources(sourceFiles(conversion, {{fmtChunk({})}, 40, {}}));
    const TempDir out;
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(out.path());
    g_defects = {.dir = QFile::encodeName(out.path()), .failsToClose = true};

    const ConversionRun run =
        runAnswered({QMessageBox::Ok}, [&] { return convert(converter, conversion); });
    g_defects = {};

    QCOMPARE(run.texts(), QStringList{textOf(ConvertDataWrite)});
    QCOMPARE(run.result, int(conversion == Conversion::PlainToBwf ? ConvertOk : ConvertDataWrite));
    QCOMPARE(QDir(out.path()).entryList(QDir::Files), names);
    QVERIFY(sources.isUntouched());
}

SPLICORA_TEST_MAIN(tst_DiskFull)
#include "tst_diskfull.moc"
