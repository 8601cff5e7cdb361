// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/outputfile.h"

#include "convert/fileidentity.h"
#include "tests/support/conversion.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <functional>
#include <utility>

using namespace Qt::Literals::StringLiterals;

Q_DECLARE_METATYPE(OutputFile::Creation)

class tst_OutputFile : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void create_data();
    void create();
    void nothingIsTruncatedUnasked_data();
    void nothingIsTruncatedUnasked();
    void outputThatGoesWhileItIsAskedAboutIsMade();
    void outputGoneBetweenTheLastChecks_data();
    void outputGoneBetweenTheLastChecks();
};

namespace {

/// What happens to one path beside the conversion.
struct Elsewhere
{
    QByteArray path = {};
    std::function<void()> beforeCreation = {}; ///< done once, when a file is about to be created
    int creations = 0; ///< to let pass before that
    bool isForgotten = false; ///< the path is "not found" until an exclusive creation is tried
    std::function<void()> afterCheck = {}; ///< done once, after a check that finds bytes there
} g_elsewhere;

bool isMet(const char* name)
{
    return !g_elsewhere.path.isEmpty() && g_elsewhere.path == name;
}

QString sourceName(Conversion conversion)
{
    return conversion == Conversion::Combine ? u"take_09.wav"_s : u"take.wav"_s;
}

QByteArray smallTake(Conversion conversion)
{
    const Format format = {.channels = conversion == Conversion::Combine ? 1 : 2};
    return wavBytes({fmtChunk(format), dataChunk(sampleBytes(400))});
}

} // namespace

// These take the place of the system's calls for the whole process.

extern "C" int open64(const char* name, int flags, ...)
{
    std::va_list more;
    va_start(more, flags);
    const auto mode = va_arg(more, mode_t);
    va_end(more);
    if (isMet(name) && (flags & O_CREAT)) {
        if (g_elsewhere.beforeCreation && g_elsewhere.creations-- == 0)
            std::exchange(g_elsewhere.beforeCreation, {})();
        if (flags & O_EXCL)
            g_elsewhere.isForgotten = false;
    }
    return int(syscall(SYS_openat, AT_FDCWD, name, flags, mode));
}

extern "C" int stat(const char* name, struct stat* found) noexcept
{
    if (isMet(name) && g_elsewhere.isForgotten) {
        errno = ENOENT;
        return -1;
    }
    const int result = ::fstatat(AT_FDCWD, name, found, 0);
    if (result == 0 && isMet(name) && g_elsewhere.afterCheck && found->st_size > 0)
        std::exchange(g_elsewhere.afterCheck, {})();
    return result;
}

void tst_OutputFile::cleanup()
{
    g_elsewhere = {};
}

void tst_OutputFile::create_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<OutputFile::Creation>("creation");
    QTest::addColumn<QStringList>("names"); // in the directory afterwards

    const QStringList before = {u"link.wav"_s, u"there.wav"_s}; // a link to there.wav
    using Creation = OutputFile::Creation;
    QTest::newRow("a new file") << u"new.wav"_s << Creation::Created
                                << QStringList{u"link.wav"_s, u"new.wav"_s, u"there.wav"_s};
    QTest::newRow("a file that is there") << u"there.wav"_s << Creation::Exists << before;
    QTest::newRow("a link to a file that is there") << u"link.wav"_s << Creation::Exists << before;
    QTest::newRow("the target of a link to nowhere")
        << u"nowhere.wav"_s << Creation::Created
        << QStringList{u"link.wav"_s, u"made.wav"_s, u"nowhere.wav"_s, u"there.wav"_s};
    QTest::newRow("the target of a link to a link to nowhere")
        << u"again.wav"_s << Creation::Created
        << QStringList{u"again.wav"_s, u"link.wav"_s, u"made.wav"_s, u"nowhere.wav"_s,
                       u"there.wav"_s};
    QTest::newRow("the target that the system finds for a link over a linked directory")
        << u"over.wav"_s << Creation::Created
        << QStringList{u"link.wav"_s, u"other/made.wav"_s, u"over.wav"_s, u"there.wav"_s};
    QTest::newRow("a link into a directory that is not there")
        << u"astray.wav"_s << Creation::Failed << before;
    QTest::newRow("a file in a directory that is not there")
        << u"gone/new.wav"_s << Creation::Failed << before;
    QTest::newRow("a name with a zero character")
        << u"new.wav"_s + QChar::Null + u".wav"_s << Creation::Failed << before;
}

void tst_OutputFile::create()
{
    QFETCH(const QString, name);
    const TempDir dir(Files{{u"there.wav"_s, "there"}});
    const auto link = [&dir](const char* target, const QString& from) {
        std::filesystem::create_symlink(target, systemPath(dir.path(from)));
    };
    link("there.wav", u"link.wav"_s);
    if (name == u"nowhere.wav" || name == u"again.wav")
        link("made.wav", u"nowhere.wav"_s);
    if (name == u"again.wav")
        link("nowhere.wav", u"again.wav"_s);
    if (name == u"over.wav") {
        dir.addFolder(u"other/dir"_s);
        link("other/dir", u"sub"_s);
        link("sub/../made.wav", u"over.wav"_s);
    }
    if (name == u"astray.wav")
        link("gone/made.wav", u"astray.wav"_s);

    OutputFile output(dir.path(name));
    QTEST(output.create(), "creation");
    QTEST(dir.names(), "names");
    QCOMPARE(dir.bytes(u"there.wav"_s), "there");
}

void tst_OutputFile::nothingIsTruncatedUnasked_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isForgotten");
    QTest::addColumn<bool>("isLink");
    QTest::addColumn<int>("creations"); // that come before it
    for (const auto& [conversion, name] : g_conversions) {
        QTest::addRow("%s, a file that appears when the output is opened", name)
            << conversion << false << false << 0;
        QTest::addRow("%s, a file whose absence a share has cached", name)
            << conversion << true << false << 0;
        QTest::addRow("%s, a file that appears where a link leads", name)
            << conversion << false << true << 0;
        QTest::addRow("%s, a file that appears when the target of a link is opened", name)
            << conversion << false << true << 1;
    }
}

void tst_OutputFile::nothingIsTruncatedUnasked()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isForgotten);
    QFETCH(const bool, isLink);
    QFETCH(const int, creations);

    const TempDir dir;
    const Sources sources({dir.add(sourceName(conversion), smallTake(conversion))});
    const QString output = outputNames(conversion).first();
    const QString target = isLink ? u"other.wav"_s : output;
    if (isLink)
        std::filesystem::create_symlink("other.wav", systemPath(dir.path(output)));
    const QByteArray take = "somebody else's take";
    g_elsewhere.path = QFile::encodeName(dir.path(output));
    g_elsewhere.isForgotten = isForgotten;
    g_elsewhere.creations = creations;
    if (isForgotten)
        dir.add(output, take);
    else
        g_elsewhere.beforeCreation = [&] { dir.add(target, take); };

    const ConversionRun run = runConversion(conversion, sources, {QMessageBox::Cancel});
    QVERIFY(!g_elsewhere.beforeCreation && !g_elsewhere.isForgotten);
    QCOMPARE(run.texts(), QStringList{overwriteQuestion(output, conversion)});
    QCOMPARE(run.result, int(conversion == Conversion::PlainToBwf ? ConvertOk : ConvertCancelled));
    QCOMPARE(dir.bytes(target), take);
}

void tst_OutputFile::outputThatGoesWhileItIsAskedAboutIsMade()
{
    const TempDir dir(Files{{u"take_01.wav"_s, "earlier"}});
    OutputFile output(dir.path(u"take_01.wav"_s));
    QCOMPARE(output.create(), OutputFile::Creation::Exists);
    QVERIFY(QFile::remove(dir.path(u"take_01.wav"_s)));
    QVERIFY(output.overwrite());
    QCOMPARE(dir.names(), QStringList{u"take_01.wav"_s});
}

void tst_OutputFile::outputGoneBetweenTheLastChecks_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isReplaced");
    for (const auto& [conversion, name] : g_conversions) {
        QTest::addRow("%s, removed", name) << conversion << false;
        QTest::addRow("%s, replaced by a directory", name) << conversion << true;
    }
}

/// The type of the finished file is checked first, and then its length.
void tst_OutputFile::outputGoneBetweenTheLastChecks()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isReplaced);

    const TempDir dir;
    const QString source = sourceName(conversion);
    const Sources sources({dir.add(source, smallTake(conversion))});
    const QString output = dir.path(outputNames(conversion).first());
    g_elsewhere.path = QFile::encodeName(output);
    g_elsewhere.afterCheck = [&] {
        QVERIFY(QFile::remove(output));
        if (isReplaced)
            QVERIFY(QDir().mkdir(output));
    };

    const ConversionRun run = runConversion(conversion, sources, {QMessageBox::Ok});
    QVERIFY(!g_elsewhere.afterCheck);
    QCOMPARE(run.texts(), QStringList{errorText(ConvertDataWrite)});
    QCOMPARE(run.result, int(conversion == Conversion::PlainToBwf ? ConvertOk : ConvertDataWrite));
    QCOMPARE(dir.names(), QStringList{source});
}

SPLICORA_TEST_MAIN(tst_OutputFile)
#include "tst_outputfile.moc"
