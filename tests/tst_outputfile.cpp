// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/outputfile.h"

#include "tests/support/conversionrequest.h"
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

/// A request for one output.
Request smallTake(Conversion conversion)
{
    return takeOf(conversion, {g_fmtHere, g_dataHere}, {sampleBytes(400)});
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

class tst_OutputFile : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_elsewhere = {}; }

    void create_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<OutputFile::Creation>("creation");
        QTest::addColumn<Files>("before");
        QTest::addColumn<Files>("made");

        using Creation = OutputFile::Creation;
        const auto add = [](const char* row, const QString& name, Creation creation,
                            Files before = {}, const QString& made = {}) {
            before[u"there.wav"_s] = "there";
            QTest::newRow(row) << name << creation << before
                               << (made.isEmpty() ? Files() : Files{{made, {}}});
        };
        const Files nowhere = {{u"nowhere.wav"_s, g_linkTo + "made.wav"},
                               {u"again.wav"_s, g_linkTo + "nowhere.wav"}};
        add("a new file", u"new.wav"_s, Creation::Created, {}, u"new.wav"_s);
        add("a file that is there", u"there.wav"_s, Creation::Exists);
        add("a link to a file that is there", u"link.wav"_s, Creation::Exists,
            {{u"link.wav"_s, g_linkTo + "there.wav"}});
        add("the target of a link to nowhere", u"nowhere.wav"_s, Creation::Created, nowhere,
            u"made.wav"_s);
        add("the target of a link to a link to nowhere", u"again.wav"_s, Creation::Created, nowhere,
            u"made.wav"_s);
        add("the target that the system finds for a link over a linked directory", u"over.wav"_s,
            Creation::Created,
            {{u"other/dir"_s, g_emptyDirectory},
             {u"sub"_s, g_linkTo + "other/dir"},
             {u"over.wav"_s, g_linkTo + "sub/../made.wav"}},
            u"other/made.wav"_s);
        add("a link into a directory that is not there", u"astray.wav"_s, Creation::Failed,
            {{u"astray.wav"_s, g_linkTo + "gone/made.wav"}});
        add("a file in a directory that is not there", u"gone/new.wav"_s, Creation::Failed);
        add("a name with a zero character", u"new.wav"_s + QChar::Null + u".wav"_s,
            Creation::Failed);
    }

    void create()
    {
        QFETCH(const QString, name);
        QFETCH(const Files, before);
        QFETCH(const Files, made);

        const TempDir dir(before);
        OutputFile output(dir.path(name));
        QTEST(output.create(), "creation");
        Files expected = before;
        expected.insert(made);
        QCOMPARE(differences(dir.entries(), expected), QString());
    }

    void nothingIsTruncatedUnasked_data()
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

    void nothingIsTruncatedUnasked()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const bool, isForgotten);
        QFETCH(const bool, isLink);
        QFETCH(const int, creations);

        Request request = smallTake(conversion);
        const QString output = request.output();
        const QString target = isLink ? u"other.wav"_s : output;
        const QByteArray take = "somebody else's take";
        request.ask(output, QMessageBox::Cancel);
        request.fail(ConvertCancelled);
        request.outputs[target] = take;
        if (isLink)
            request.before[output] = g_linkTo + "other.wav";
        if (isForgotten)
            request.before[output] = take;
        PreparedRequest prepared(request);
        g_elsewhere.path = QFile::encodeName(prepared.path(output));
        g_elsewhere.isForgotten = isForgotten;
        g_elsewhere.creations = creations;
        if (!isForgotten)
            g_elsewhere.beforeCreation = [&] { writeFile(prepared.path(target), take); };

        QCOMPARE(prepared.problems(), QString());
        QVERIFY(!g_elsewhere.beforeCreation && !g_elsewhere.isForgotten);
    }

    void outputThatGoesWhileItIsAskedAboutIsMade()
    {
        const TempDir dir(Files{{u"take_01.wav"_s, "earlier"}});
        OutputFile output(dir.path(u"take_01.wav"_s));
        QCOMPARE(output.create(), OutputFile::Creation::Exists);
        QVERIFY(QFile::remove(dir.path(u"take_01.wav"_s)));
        QVERIFY(output.overwrite());
        QCOMPARE(dir.names(), QStringList{u"take_01.wav"_s});
    }

    void outputGoneBetweenTheLastChecks_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<bool>("isReplaced");
        for (const auto& [conversion, name] : g_conversions) {
            QTest::addRow("%s, removed", name) << conversion << false;
            QTest::addRow("%s, replaced by a directory", name) << conversion << true;
        }
    }

    /// The type of the finished file is checked first, and then its length.
    void outputGoneBetweenTheLastChecks()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const bool, isReplaced);

        Request request = smallTake(conversion);
        request.fail(ConvertDataWrite);
        if (isReplaced)
            request.outputs[request.output()] = g_emptyDirectory;
        PreparedRequest prepared(request);
        const QString output = prepared.path(request.output());
        g_elsewhere.path = QFile::encodeName(output);
        g_elsewhere.afterCheck = [&] {
            QVERIFY(QFile::remove(output));
            if (isReplaced)
                QVERIFY(QDir().mkdir(output));
        };

        QCOMPARE(prepared.problems(), QString());
        QVERIFY(!g_elsewhere.afterCheck);
    }
};

SPLICORA_TEST_MAIN(tst_OutputFile)
#include "tst_outputfile.moc"
