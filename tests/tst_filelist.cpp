// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversionrequest.h"
#include "tests/support/plainuser.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"
#include "ui/filetable.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString g_noMonoFiles = g_noFiles + g_monoFiles;
const QString g_noPolyFiles = g_noFiles + g_polyFiles;

QByteArray wav(int channels)
{
    return smallWav({.channels = channels, .blockAlign = 2}, 8);
}

QByteArray broadcast()
{
    return wavBytes({bextWithoutDate(), fmtChunk({}), dataChunk(sampleBytes(64))});
}

QByteArray damaged()
{
    return wav(1).replace(0, 4, "RIFX");
}

Files monoFiles(const QStringList& names)
{
    Files files;
    for (const QString& name : names)
        files[name] = wav(1);
    return files;
}

QString unreadableText(const QStringList& names)
{
    return g_unreadable + names.join(u'\n') + u'\n';
}

/// A listing as a test row: what is in the directory, what the window makes of it.
struct Listing
{
    Files files;
    int function = MonoToPolyFunction; ///< may be one that the window does not offer
    QMap<QString, QString> links = {}; ///< name and target
    QString directory = {}; ///< that is listed
    QString box = {};
    QStringList names = {};
};

/// What the window shows of files and sources, whether it is busy, and how wide the names are.
QStringList shown(const WindowDesk& desk)
{
    return desk.fileNames() + desk.sourceNames() + desk.enabledButtons()
           + QStringList{QGuiApplication::overrideCursor() ? u"busy"_s : u"ready"_s,
                         QString::number(desk.files->columnWidth(0)),
                         QString::number(desk.files->rowHeight(0))};
}

} // namespace

class tst_FileList : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        const bool busy = QGuiApplication::overrideCursor() != nullptr;
        while (QGuiApplication::overrideCursor())
            QGuiApplication::restoreOverrideCursor();
        QVERIFY2(!busy, "The wait cursor was left behind.");
        QVERIFY(QApplication::topLevelWidgets().isEmpty());
    }

    void sizes_data()
    {
        QTest::addColumn<quint64>("bytes");
        QTest::addColumn<int>("precision");
        QTest::addColumn<QString>("text");
        const quint64 kilo = 1024;

        QTest::newRow("nothing") << quint64(0) << 1 << u"0.0B"_s;
        QTest::newRow("the header alone") << quint64(44) << 1 << u"44.0B"_s;
        QTest::newRow("exactly a kilobyte is not scaled") << kilo << 1 << u"1024.0B"_s;
        QTest::newRow("just above a kilobyte") << kilo + 1 << 1 << u"1.0KB"_s;
        QTest::newRow("one and a half kilobytes") << quint64(1536) << 1 << u"1.5KB"_s;
        QTest::newRow("rounded up to the next unit's number")
            << kilo * kilo - 1 << 1 << u"1024.0KB"_s;
        QTest::newRow("exactly a megabyte is scaled once") << kilo * kilo << 1 << u"1024.0KB"_s;
        QTest::newRow("just above a megabyte") << kilo * kilo + 1 << 1 << u"1.0MB"_s;
        QTest::newRow("the largest number of a header") << quint64(4294967295) << 1 << u"4.0GB"_s;
        QTest::newRow("just above a terabyte") << kilo * kilo * kilo * kilo + 1 << 1 << u"1.0TB"_s;
        QTest::newRow("no decimals") << quint64(1700) << 0 << u"2KB"_s;
        QTest::newRow("three decimals") << quint64(1536) << 3 << u"1.500KB"_s;
        QTest::newRow("the largest number stays within the units")
            << std::numeric_limits<quint64>::max() << 1 << u"16.0EB"_s;
    }

    void sizes()
    {
        QFETCH(quint64, bytes);
        QFETCH(int, precision);
        QFETCH(QString, text);
        QCOMPARE(formatSize(bytes, precision), text);
    }

    void row_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("texts");
        const int combine = MonoToPolyFunction;
        const QByteArray data = dataChunk(sampleBytes(64));

        QTest::newRow("plain mono file")
            << combine << wavBytes({fmtChunk({}), data}) << u"a.wav WAV 1 16 48000 100.0B"_s;
        QTest::newRow("broadcast file")
            << combine << broadcast() << u"a.wav BWF 1 16 48000 966.0B"_s;
        QTest::newRow("largest numbers are not negative")
            << int(PolyToMonoFunction)
            << wavBytes({fmtChunk({.channels = 65535, .bits = 65535, .rate = -1, .blockAlign = 1}),
                         data})
            << u"a.wav WAV 65535 65535 4294967295 100.0B"_s;
        QTest::newRow("zeros in the format")
            << combine << wavBytes({fmtChunk({.bits = 0, .rate = 0}), data})
            << u"a.wav WAV 1 0 0 100.0B"_s;
        QTest::newRow("the size is the header's, not the file's")
            << combine << wavBytes({fmtChunk({}), data}, 1025) << u"a.wav WAV 1 16 48000 1.0KB"_s;
        QTest::newRow("the largest size in the header")
            << combine << wavBytes({fmtChunk({}), data}, 0xFFFFFFFF)
            << u"a.wav WAV 1 16 48000 4.0GB"_s;
    }

    void row()
    {
        QFETCH(int, function);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, texts);

        const WindowDesk desk(Files{{u"a.wav"_s, bytes}}, function);
        QCOMPARE(desk.files->rowCount(), 1);
        QCOMPARE(rowTexts(desk.files, 0).join(u' '), texts);
        for (int column = 0; column < 6; ++column) {
            const QTableWidgetItem* cell = desk.files->item(0, column);
            const Qt::Alignment side = column == 0 ? Qt::Alignment() : Qt::AlignRight;
            QCOMPARE(cell->data(Qt::TextAlignmentRole).toInt(), int(side | Qt::AlignVCenter));
            QCOMPARE(cell->toolTip(), QString());
        }
    }

    void listing_data()
    {
        QTest::addColumn<Listing>("listing");
        const int split = PolyToMonoFunction;
        const int third = PlainToBwfFunction;

        const auto ofMonoFiles = [](const char* name, const QStringList& files,
                                    const QStringList& names) {
            QTest::newRow(name) << Listing{.files = monoFiles(files), .names = names};
        };
        ofMonoFiles("every capital before every small letter", {u"a.wav"_s, u"B.wav"_s, u"Z.wav"_s},
                    {u"B.wav"_s, u"Z.wav"_s, u"a.wav"_s});
        ofMonoFiles("names that differ only in case", {u"b.wav"_s, u"A.WAV"_s, u"a.wav"_s},
                    {u"A.WAV"_s, u"a.wav"_s, u"b.wav"_s});
        ofMonoFiles("the ending in any case", {u"a.WAV"_s, u"b.Wav"_s, u"c.wAv"_s},
                    {u"a.WAV"_s, u"b.Wav"_s, u"c.wAv"_s});
        ofMonoFiles("digits are letters, not numbers",
                    {u"take_10.wav"_s, u"take_2.wav"_s, u"9.wav"_s},
                    {u"9.wav"_s, u"take_10.wav"_s, u"take_2.wav"_s});
        ofMonoFiles("letters beyond ASCII come last", {u"z.wav"_s, u"ä.wav"_s, u"Z.wav"_s},
                    {u"Z.wav"_s, u"z.wav"_s, u"ä.wav"_s});
        ofMonoFiles(
            "other endings are left out",
            {u"a.wav"_s, u"b.wav.bak"_s, u"b.bwf"_s, u"c.wave"_s, u"dwav"_s, u"e.mp3"_s, u"f"_s},
            {u"a.wav"_s});
        ofMonoFiles("hidden files are left out", {u"a.wav"_s, u".b.wav"_s, u".wav"_s},
                    {u"a.wav"_s});
        ofMonoFiles("directories are left out, whatever their name",
                    {u"a.wav"_s, u"x.wav/inner.wav"_s}, {u"a.wav"_s});

        const auto linked = [](const char* name, const QString& target, const QStringList& names) {
            QTest::newRow(name) << Listing{.files = monoFiles({u"a.wav"_s, u"inner/target"_s}),
                                           .links = {{u"link.wav"_s, target}},
                                           .names = names};
        };
        linked("link to a file is listed by its own name", u"inner/target"_s,
               {u"a.wav"_s, u"link.wav"_s});
        linked("link to a directory is left out", u"inner"_s, {u"a.wav"_s});
        linked("link to nothing is left out", u"gone.wav"_s, {u"a.wav"_s});
        linked("link to itself is left out", u"link.wav"_s, {u"a.wav"_s});

        const Files all = {
            {u"0.wav"_s, wav(0)}, {u"1.wav"_s, wav(1)},        {u"2.wav"_s, wav(2)},
            {u"9.wav"_s, wav(9)}, {u"b.wav"_s, broadcast()},   {u"bad.wav"_s, damaged()},
            {u"empty.wav"_s, {}}, {u"half.wav"_s, wav(32768)}, {u"most.wav"_s, wav(65535)}};
        const QString unreadable = unreadableText({u"bad.wav"_s, u"empty.wav"_s});
        QTest::newRow("files of one channel for the combine")
            << Listing{.files = all, .box = unreadable, .names = {u"1.wav"_s, u"b.wav"_s}};
        QTest::newRow("files of more channels for the split")
            << Listing{.files = all,
                       .function = split,
                       .box = unreadable,
                       .names = {u"2.wav"_s, u"9.wav"_s, u"half.wav"_s, u"most.wav"_s}};
        QTest::newRow("files without a broadcast chunk for the third function")
            << Listing{.files = all,
                       .function = third,
                       .box = unreadable,
                       .names = {u"0.wav"_s, u"1.wav"_s, u"2.wav"_s, u"9.wav"_s, u"half.wav"_s,
                                 u"most.wav"_s}};
        for (const int function : {third + 1, -1}) {
            QTest::addRow("every file that can be read for a function of number %d", function)
                << Listing{.files = all,
                           .function = function,
                           .box = unreadable,
                           .names = {u"0.wav"_s, u"1.wav"_s, u"2.wav"_s, u"9.wav"_s, u"b.wav"_s,
                                     u"half.wav"_s, u"most.wav"_s}};
        }

        const auto nothing = [](const char* name, const Files& files, const QString& box,
                                int function = MonoToPolyFunction, const QString& directory = {}) {
            QTest::newRow(name) << Listing{
                .files = files, .function = function, .directory = directory, .box = box};
        };
        const Files mono = {{u"a.wav"_s, wav(1)}, {u"b.wav"_s, damaged()}};
        const Files stereo = {{u"a.wav"_s, wav(2)}, {u"b.wav"_s, broadcast()}};
        nothing("missing directory", mono, g_noDirectory, MonoToPolyFunction, u"gone"_s);
        nothing("file instead of a directory", mono, g_noDirectory, MonoToPolyFunction, u"a.wav"_s);
        nothing("empty directory", {}, g_noWavFiles);
        nothing("no file of the ending", {{u"a.mp3"_s, wav(1)}, {u"b.wave"_s, wav(1)}},
                g_noWavFiles);
        nothing("a hidden file alone", {{u".a.wav"_s, wav(1)}}, g_noWavFiles);
        nothing("a directory of such a name alone", {{u"a.wav/b"_s, wav(1)}}, g_noWavFiles);
        nothing("only stereo files for the combine", {{u"a.wav"_s, wav(2)}}, g_noMonoFiles);
        nothing("mono and damaged files for the split: no word of the damaged one", mono,
                g_noPolyFiles, split);
        nothing("damaged files alone for the combine", {{u"a.wav"_s, damaged()}, {u"b.wav"_s, {}}},
                g_noMonoFiles);
        nothing("no channel is not one channel", {{u"a.wav"_s, wav(0)}}, g_noMonoFiles);
        nothing("no channel is not many channels", {{u"a.wav"_s, wav(0)}}, g_noPolyFiles, split);
        nothing("broadcast files alone for the third function", {{u"a.wav"_s, broadcast()}},
                g_noFiles, third);
        nothing("damaged files alone for a fourth function", {{u"a.wav"_s, damaged()}}, g_noFiles,
                third + 1);
    }

    void listing()
    {
        QFETCH(Listing, listing);

        WindowDesk desk(listing.function);
        desk.dir.add(listing.files);
        for (auto link = listing.links.cbegin(); link != listing.links.cend(); ++link)
            QVERIFY(QFile::link(link.value(), desk.path(link.key())));
        QStringList meanwhile;
        desk.whenAsked = [&](QMessageBox*) { meanwhile = shown(desk); };
        const QStringList boxes = listing.box.isEmpty() ? QStringList() : QStringList{listing.box};
        const QStringList buttons = listing.names.isEmpty() ? QStringList() : g_addButtons;

        QCOMPARE(desk.list(desk.path(listing.directory)), boxes);
        QCOMPARE(desk.fileNames(), listing.names);
        QCOMPARE(desk.enabledButtons(), buttons);
        if (!boxes.isEmpty())
            QCOMPARE(meanwhile, shown(desk));

        // After a listing that found files, of which there are sources.
        const TempDir other({{u"mono.wav"_s, wav(1)}, {u"stereo.wav"_s, wav(2)}});
        QCOMPARE(desk.list(other.path()), QStringList());
        desk.press(u"Add All"_s);
        const QStringList sources = desk.sourceNames();
        QVERIFY(!sources.isEmpty());
        QCOMPARE(desk.list(desk.path(listing.directory)), boxes);
        QCOMPARE(desk.fileNames(), listing.names);
        QCOMPARE(desk.sourceNames(), listing.names.isEmpty() ? sources : QStringList());
        QCOMPARE(desk.enabledButtons(), listing.names.isEmpty() ? g_allButtons : buttons);
        if (!boxes.isEmpty())
            QCOMPARE(meanwhile, shown(desk));
    }

    void names_data()
    {
        QTest::addColumn<QString>("name"); // of a directory, and of a file in it

        QTest::newRow("blanks at both ends") << u"  a  b "_s;
        QTest::newRow("line break") << u"a\nb"_s;
        QTest::newRow("tabulator") << u"a\tb"_s;
        QTest::newRow("placeholder") << u"%1 %2 %n %L1"_s;
        QTest::newRow("markup") << u"<b>bold<br>"_s;
        QTest::newRow("entity") << u"&amp;&"_s;
        QTest::newRow("quotes and backslash") << u"\"a'b\\c"_s;
        QTest::newRow("pattern characters") << u"[a]*?"_s;
        QTest::newRow("percent encoding") << u"%20%2f"_s;
        QTest::newRow("several dots") << u"a..b.wav"_s;
        QTest::newRow("emoji") << u"\U0001F399\U0001F3FD take"_s;
        QTest::newRow("combining accent") << u"e\u0301te\u0301"_s;
        QTest::newRow("right to left") << u"\u05E9\u05DC\u05D5\u05DD"_s;
        QTest::newRow("255 bytes") << QString(251, u'x');
        QTest::newRow("255 bytes of emoji and a letter") << u"\U0001F399"_s.repeated(62) + u"abc"_s;
    }

    void names()
    {
        QFETCH(QString, name);

        const WindowDesk desk;
        const QString folder = desk.dir.addFolder(name);
        const QString file = name + u".wav"_s;
        desk.dir.add({{name + u'/' + file, damaged()}, {name + u"/good.wav"_s, wav(1)}});
        QCOMPARE(desk.list(folder), QStringList{unreadableText({file})});
        QCOMPARE(desk.fileNames(), QStringList{u"good.wav"_s});

        desk.dir.add(name + u'/' + file, wav(1));
        QCOMPARE(desk.list(folder), QStringList());
        QCOMPARE(desk.add({int(desk.fileNames().indexOf(file))}), QStringList());
        QCOMPARE(desk.sourceNames(), QStringList{file});
        QCOMPARE(columnTexts(desk.sources, SourceColumn::Path), QStringList{folder});
    }

    void directoryTexts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("path");

        // "DIR" stands for the directory; the process works in the one above.
        QTest::newRow("path from the root") << u"DIR/takes"_s << u"DIR/takes"_s;
        QTest::newRow("slash at the end") << u"DIR/takes/"_s << u"DIR/takes"_s;
        QTest::newRow("relative") << u"takes"_s << u"takes"_s;
        QTest::newRow("relative with a slash at the end") << u"takes/"_s << u"takes"_s;
        QTest::newRow("the working directory") << u"."_s << u"."_s;
        QTest::newRow("detour by way of the parent")
            << u"DIR/takes/../takes"_s << u"DIR/takes/../takes"_s;
        QTest::newRow("relative from here") << u"./takes"_s << u"./takes"_s;
        QTest::newRow("link to the directory") << u"DIR/link"_s << u"DIR/link"_s;
        QTest::newRow("hidden") << u".hidden"_s << u".hidden"_s;
        QTest::newRow("tilde") << u"~"_s << u"~"_s;
    }

    void directoryTexts()
    {
        QFETCH(QString, text);
        QFETCH(QString, path);

        const WindowDesk desk;
        desk.dir.add(
            monoFiles({u"takes/a.wav"_s, u".hidden/a.wav"_s, u"~/a.wav"_s, u"outside.wav"_s}));
        QVERIFY(QFile::link(u"takes"_s, desk.path(u"link"_s)));
        const CurrentDirectory here(desk.dir.path());
        text.replace(u"DIR"_s, desk.dir.path());
        path.replace(u"DIR"_s, desk.dir.path());

        QCOMPARE(desk.list(text), QStringList());
        QCOMPARE(currentDirEdit(&desk.window)->text(), text);
        QCOMPARE(desk.fileNames(), QStringList(text == u"."_s ? u"outside.wav"_s : u"a.wav"_s));
        desk.press(u"Add All"_s);
        const QString shownPath = QDir::toNativeSeparators(path);
        QCOMPARE(columnTexts(desk.sources, SourceColumn::Path), QStringList{shownPath});
        QCOMPARE(desk.sources->item(0, SourceColumn::Path)->toolTip(), shownPath);
    }

    void aBlankIsNoDirectory()
    {
        const WindowDesk desk;
        QCOMPARE(desk.list(u" "_s), QStringList{g_noDirectory});
    }

    void rootDirectory()
    {
        const WindowDesk desk(monoFiles({u"only here.wav"_s}));
        const CurrentDirectory here(desk.dir.path());
        // What lies there is the machine's business.
        QVERIFY(!desk.list(u"/"_s).contains(g_noDirectory));
        QVERIFY(!desk.fileNames().contains(u"only here.wav"_s));
    }

    void manyUnreadableFilesAreInOneBox()
    {
        const WindowDesk desk;
        desk.dir.add(u"c.wav"_s, wav(1));
        QStringList unreadable;
        for (int number = 10; number < 50; ++number) {
            unreadable.append(u"take_%1.wav"_s.arg(number));
            desk.dir.add(unreadable.last(), damaged());
        }
        QCOMPARE(desk.list(), QStringList{unreadableText(unreadable)});
        QCOMPARE(desk.fileNames(), QStringList{u"c.wav"_s});
    }

    void fileWithoutPermissionIsReported()
    {
        const WindowDesk desk;
        desk.dir.add(monoFiles({u"a.wav"_s, u"b.wav"_s}));
        QCOMPARE(chmod(QFile::encodeName(desk.dir.path()).constData(), 0755), 0);
        QCOMPARE(chmod(QFile::encodeName(desk.path(u"a.wav"_s)).constData(), 0644), 0);
        QCOMPARE(chmod(QFile::encodeName(desk.path(u"b.wav"_s)).constData(), 0), 0);
        const PlainUser user;
        if (!PlainUser::canEnter(desk.dir.path()))
            QSKIP("Nobody may enter the directory for temporary files.");
        QCOMPARE(desk.list(), QStringList{unreadableText({u"b.wav"_s})});
        QCOMPARE(desk.fileNames(), QStringList{u"a.wav"_s});
    }

    void emptyTextKeepsEverything_data()
    {
        QTest::addColumn<bool>("byFunction");
        QTest::newRow("Return in the empty field") << false;
        QTest::newRow("another function beside the empty field") << true;
    }

    void emptyTextKeepsEverything()
    {
        QFETCH(bool, byFunction);

        const WindowDesk desk;
        const auto act = [&] {
            return byFunction ? desk.choose(PolyToMonoFunction) : desk.list({});
        };
        QCOMPARE(act(), QStringList());
        QCOMPARE(desk.enabledButtons(), QStringList());

        desk.choose(MonoToPolyFunction);
        desk.dir.add(u"a.wav"_s, wav(1));
        desk.list();
        desk.press(u"Add All"_s);
        currentDirEdit(&desk.window)->clear();
        QCOMPARE(act(), QStringList());
        QCOMPARE(desk.fileNames(), QStringList{u"a.wav"_s});
        QCOMPARE(desk.sourceNames(), QStringList{u"a.wav"_s});
        QCOMPARE(desk.enabledButtons(), g_allButtons);
    }

    void readsTheDirectoryAgain_data()
    {
        QTest::addColumn<bool>("byFunction");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("sizes");
        QTest::newRow("Return in the field")
            << false << QStringList{u"c.wav"_s, u"d.wav"_s} << QStringList{u"2.0KB"_s, u"52.0B"_s};
        QTest::newRow("Down in the list of functions")
            << true << QStringList{u"b.wav"_s} << QStringList{u"52.0B"_s};
    }

    void readsTheDirectoryAgain()
    {
        QFETCH(bool, byFunction);
        QFETCH(QStringList, names);
        QFETCH(QStringList, sizes);

        const WindowDesk desk(monoFiles({u"a.wav"_s, u"b.wav"_s, u"c.wav"_s}));
        desk.press(u"Add All"_s);
        QVERIFY(QFile::remove(desk.path(u"a.wav"_s)));
        desk.dir.add(
            {{u"b.wav"_s, wav(2)}, {u"c.wav"_s, smallWav({}, 1000)}, {u"d.wav"_s, wav(1)}});
        if (byFunction)
            QTest::keyClick(functionCombo(&desk.window), Qt::Key_Down);
        else
            desk.list();
        QCOMPARE(desk.fileNames(), names);
        QCOMPARE(columnTexts(desk.files, FileListColumn::Size), sizes);
        QCOMPARE(desk.sourceNames(), QStringList());
    }

    void waitCursor()
    {
        const WindowDesk desk;
        desk.dir.add(monoFiles({u"a.wav"_s, u"b.wav"_s}));
        QList<Qt::CursorShape> shapes;
        connect(desk.files->model(), &QAbstractItemModel::rowsInserted, this, [&shapes] {
            const QCursor* cursor = QGuiApplication::overrideCursor();
            shapes.append(cursor ? cursor->shape() : Qt::ArrowCursor);
        });
        desk.list();
        QCOMPARE(shapes, QList<Qt::CursorShape>({Qt::WaitCursor, Qt::WaitCursor}));
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void listedFilesStayClosed()
    {
        const WindowDesk desk;
        desk.dir.add({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, damaged()}});
        QCOMPARE(desk.list().size(), 1);
        const QDir open(u"/proc/self/fd"_s);
        if (!open.exists())
            QSKIP("Open files cannot be seen here.");
        for (const QFileInfo& file : open.entryInfoList(QDir::Files | QDir::System)) {
            QVERIFY2(!file.symLinkTarget().startsWith(desk.dir.path()),
                     qPrintable(file.symLinkTarget()));
        }
    }

    void whatIsNoFileIsNotListed()
    {
        const WindowDesk desk;
        desk.dir.add(u"good.wav"_s, wav(1));
        desk.dir.add(u"fifo.wav"_s, g_pipe);
        desk.dir.add(u"directory.wav"_s, g_emptyDirectory);
        desk.dir.add(u"dangling.wav"_s, g_linkTo + "missing");
        desk.dir.add(u"looping.wav"_s, g_linkTo + "looping.wav");
        desk.dir.add(u"linked.wav"_s, g_linkTo + "good.wav");
        desk.dir.add(u"to-fifo.wav"_s, g_linkTo + "fifo.wav");
        desk.dir.add(u"to-directory.wav"_s, g_linkTo + "directory.wav");
        const Files before = desk.dir.entries();

        // Of all these, a link to a pipe alone passes for a file; it is not waited for.
        QCOMPARE(desk.list(), QStringList{unreadableText({u"to-fifo.wav"_s})});
        QCOMPARE(desk.fileNames(), QStringList({u"good.wav"_s, u"linked.wav"_s}));
        QCOMPARE(desk.dir.entries(), before);
    }

    void smallFilesAreListedOrNamed_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("readableFrom"); // bytes
        QTest::newRow("zeros") << QByteArray(64, '\0') << 65;
        QTest::newRow("bytes of ones") << QByteArray(64, '\xFF') << 65;
        QTest::newRow("RIFF again and again") << QByteArray("RIFF").repeated(16) << 65;
        QTest::newRow("the start of a WAVE file, readable with the data header")
            << recording({}, sampleBytes(40)).left(64) << 44;
    }

    void smallFilesAreListedOrNamed()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const int, readableFrom);

        const WindowDesk desk;
        QStringList readableNames = {u"a.wav"_s};
        QStringList unreadableNames;
        desk.dir.add(u"a.wav"_s, wav(1));
        for (int size = 0; size <= 64; ++size) {
            const QString name = u"b%1.wav"_s.arg(size, 2, 10, QLatin1Char('0'));
            desk.dir.add(name, bytes.left(size));
            (size < readableFrom ? unreadableNames : readableNames).append(name);
        }
        const Files before = desk.dir.entries();

        QCOMPARE(desk.list(), QStringList{unreadableText(unreadableNames)});
        QCOMPARE(desk.fileNames(), readableNames);
        QCOMPARE(desk.dir.entries(), before);
    }

    void oddNameIsListedAndConverted_data()
    {
        QTest::addColumn<QString>("stem");
        QTest::newRow("blanks") << u" a  b "_s;
        QTest::newRow("a line break") << u"a\nb"_s;
        QTest::newRow("places of a text") << u"%1 %2 %L1"_s;
        QTest::newRow("a tag") << u"<b>bold<i>"_s;
        QTest::newRow("a number sign and a question mark") << u"#1?x=y&z"_s;
        QTest::newRow("an emoji") << u"\U0001F3A4\U0001F3B9"_s;
        QTest::newRow("quotes and a backslash") << u"'a\"b\\c"_s;
        QTest::newRow("dots") << u"a..b."_s;
        QTest::newRow("as many letters as the longest output name has room for")
            << QString(255 - 13, u'x');
    }

    void oddNameIsListedAndConverted()
    {
        QFETCH(const QString, stem);

        const WindowDesk desk;
        const QString base = stem + u'/' + stem;
        desk.dir.add(base + u".wav"_s, wav(1));
        QCOMPARE(desk.list(desk.path(stem)), QStringList());
        QCOMPARE(desk.fileNames(), QStringList{stem + u".wav"_s});

        const auto renamed = [](const QString& takeName, const QString& start) {
            return start + takeName.mid(u"take"_s.size());
        };
        const QByteArray take = takeOf(Conversion::Split).before.first();
        desk.dir.add(base + u".wav"_s, take);
        Files expected = {{stem + u".wav"_s, take}};
        for (const auto& [conversion, name] : g_conversions) {
            const Request request = takeOf(conversion);
            for (auto file = request.outputs.cbegin(); file != request.outputs.cend(); ++file)
                expected[renamed(file.key(), stem)] = file.value();
            Sources sources;
            for (const QString& source : request.sources)
                sources.add(desk.path(renamed(source, base)));
            const ConversionRun run = runConversion(conversion, sources);
            QCOMPARE(run.result, int(ConvertOk));
            QCOMPARE(run.texts(), QStringList());
        }
        QCOMPARE(differences(entriesIn(desk.path(stem)), expected), QString());
    }

    void nameThatIsNoTextDoesNoHarm()
    {
        const WindowDesk desk;
        const QString good = desk.path(u"good.wav"_s);
        QVERIFY(writeFile(good, wav(1)));
        const QByteArray path = QFile::encodeName(desk.dir.path()) + "/\xFF\xFE.wav";
        QCOMPARE(link(QFile::encodeName(good).constData(), path.constData()), 0);
        const auto removal = qScopeGuard([&path] { unlink(path.constData()); });

        // Qt 6.4 and 6.11 leave such a name out, 6.8 ends the list of the directory there. Were it
        // listed, no text would lead to its file.
        QStringList names;
        QStringList refused;
        for (const QString& name : QDir(desk.dir.path()).entryList(QDir::Files, QDir::Name))
            (QFile::exists(desk.path(name)) ? names : refused).append(name);
        QStringList boxes;
        if (!refused.isEmpty())
            boxes.append(unreadableText(refused));
        else if (names.isEmpty())
            boxes.append(g_noWavFiles);
        QCOMPARE(desk.list(), boxes);
        QCOMPARE(desk.fileNames(), names);
        QCOMPARE(access(path.constData(), F_OK), 0);
        QCOMPARE(readFile(good), wav(1));
    }

    void tenThousandFilesAreListed()
    {
        const WindowDesk desk;
        QStringList names;
        for (int i = 0; i < 10000; ++i) {
            names.append(u"take%1.wav"_s.arg(i, 5, 10, QLatin1Char('0')));
            QVERIFY(writeFile(desk.path(names.last()), wav(1)));
        }
        const Files before = desk.dir.entries();
        QCOMPARE(desk.list(), QStringList());
        QCOMPARE(desk.fileNames(), names);
        QCOMPARE(desk.dir.entries(), before);
    }
};

SPLICORA_TEST_MAIN(tst_FileList)

#include "tst_filelist.moc"
