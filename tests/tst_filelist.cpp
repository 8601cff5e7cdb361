// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/plainuser.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QDir>
#include <QFileInfo>
#include <QtTest>

#include <sys/stat.h>

#include <functional>
#include <limits>

using namespace Qt::Literals::StringLiterals;

class tst_FileList : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void sizes_data();
    void sizes();

    void row_data();
    void row();
    void alignment();
    void fileOfOneMegabyte();

    void listing_data();
    void listing();
    void links_data();
    void links();
    void fileNames_data();
    void fileNames();
    void directoryNames_data();
    void directoryNames();
    void directoryTexts_data();
    void directoryTexts();
    void rootDirectory();

    void nothingListed_data();
    void nothingListed();
    void unreadableFiles_data();
    void unreadableFiles();
    void unreadableFilesAreReportedLast();
    void fileWithoutPermissionIsReported();
    void unreadablePipeDoesNotBlock();

    void emptyTextKeepsEverything();
    void failedListingEmptiesTheTable_data();
    void failedListingEmptiesTheTable();
    void sameDirectoryListedAgain();

    void functionChangeReadsTheDirectoryAgain();
    void functionChangeShowsTheOtherFiles();
    void furtherFunctions_data();
    void furtherFunctions();

    void waitCursor();
    void cursorIsRestoredBeforeEveryBox_data();
    void cursorIsRestoredBeforeEveryBox();
    void listedFilesStayClosed();
};

namespace {

constexpr int g_monoToPoly = MonoToPolyFunction;
constexpr int g_polyToMono = PolyToMonoFunction;

const QString g_noMonoFiles = g_noFiles + g_monoFiles;
const QString g_noPolyFiles = g_noFiles + g_polyFiles;

QByteArray wav(int channels, qsizetype dataBytes = 64)
{
    return wavBytes({fmtChunk({.channels = channels}), dataChunk(sampleBytes(dataBytes))});
}

QByteArray damaged()
{
    return wav(1).replace(0, 4, "RIFX");
}

QString iconName(QMessageBox::Icon icon)
{
    switch (icon) {
    case QMessageBox::Information:
        return u"Information"_s;
    case QMessageBox::Warning:
        return u"Warning"_s;
    default:
        return u"another icon"_s;
    }
}

/// Everything of a box in one text. @p window is to be its parent.
QString describe(const SeenBox& box, const QWidget* window)
{
    return QStringList({box.title, iconName(box.icon), box.text,
                        box.buttons == QMessageBox::Ok ? u"Ok"_s : u"other buttons"_s,
                        box.parent == window ? u"on the window"_s : u"elsewhere"_s})
        .join(u'|');
}

QStringList describe(const QList<SeenBox>& boxes, const QWidget* window)
{
    QStringList texts;
    for (const SeenBox& box : boxes)
        texts.append(describe(box, window));
    return texts;
}

QString informationBox(const QString& text)
{
    return u"Splicora|Information|"_s + text + u"|Ok|on the window"_s;
}

QString unreadableBox(const QStringList& names)
{
    QString text = g_unreadable;
    for (const QString& name : names)
        text += name + u'\n';
    return u"Splicora|Warning|"_s + text + u"|Ok|on the window"_s;
}

/// Does something whenever a message box is about to be shown.
class BoxWatcher : public QObject
{
public:
    explicit BoxWatcher(std::function<void()> look)
        : m_look(std::move(look))
    {
        qApp->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<QMessageBox*>(watched))
            m_look();
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_look;
};

/// A window, and a directory with these files.
struct Desk : WindowDesk
{
    explicit Desk(const Files& contents, int function = g_monoToPoly)
        : WindowDesk(function)
    {
        dir.add(contents);
    }

    /// Enters a directory. Returns all of the boxes that came up.
    QStringList enter(const QString& directory) const
    {
        const MessageBoxAnswer answer(QMessageBox::Ok);
        enterDirectory(&window, directory);
        return describe(answer.boxes(), &window);
    }

    QStringList enter() const { return enter(dir.path()); }
    QStringList names() const { return columnTexts(files, 0); }
};

const QStringList g_noBox;

} // namespace

void tst_FileList::cleanup()
{
    const bool busy = QGuiApplication::overrideCursor() != nullptr;
    while (QGuiApplication::overrideCursor())
        QGuiApplication::restoreOverrideCursor();
    QVERIFY2(!busy, "The wait cursor was left behind.");
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void tst_FileList::sizes_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<int>("precision");
    QTest::addColumn<QString>("text");

    QTest::newRow("nothing") << quint64(0) << 1 << u"0.0B"_s;
    QTest::newRow("one byte") << quint64(1) << 1 << u"1.0B"_s;
    QTest::newRow("the header alone") << quint64(44) << 1 << u"44.0B"_s;
    QTest::newRow("just below a kilobyte") << quint64(1023) << 1 << u"1023.0B"_s;
    QTest::newRow("exactly a kilobyte is not scaled") << quint64(1024) << 1 << u"1024.0B"_s;
    QTest::newRow("just above a kilobyte") << quint64(1025) << 1 << u"1.0KB"_s;
    QTest::newRow("one and a half kilobytes") << quint64(1536) << 1 << u"1.5KB"_s;
    QTest::newRow("exactly a megabyte is scaled once") << quint64(1048576) << 1 << u"1024.0KB"_s;
    QTest::newRow("just above a megabyte") << quint64(1048577) << 1 << u"1.0MB"_s;
    QTest::newRow("exactly a gigabyte is scaled twice")
        << quint64(1) * 1024 * 1024 * 1024 << 1 << u"1024.0MB"_s;
    QTest::newRow("one and a half gigabytes") << quint64(1536) * 1024 * 1024 << 1 << u"1.5GB"_s;
    QTest::newRow("the largest number of a header") << quint64(4294967295) << 1 << u"4.0GB"_s;
    QTest::newRow("just above a terabyte")
        << quint64(1024) * 1024 * 1024 * 1024 + 1 << 1 << u"1.0TB"_s;
    QTest::newRow("no decimals") << quint64(1700) << 0 << u"2KB"_s;
    QTest::newRow("three decimals") << quint64(1536) << 3 << u"1.500KB"_s;
    QTest::newRow("decimals of bytes") << quint64(44) << 2 << u"44.00B"_s;
    QTest::newRow("rounded up to the next unit's number") << quint64(1048575) << 1 << u"1024.0KB"_s;
    QTest::newRow("the largest number stays within the units")
        << std::numeric_limits<quint64>::max() << 1 << u"16.0EB"_s;
}

void tst_FileList::sizes()
{
    QFETCH(quint64, bytes);
    QFETCH(int, precision);
    QFETCH(QString, text);
    QCOMPARE(formatSize(bytes, precision), text);
}

void tst_FileList::row_data()
{
    QTest::addColumn<int>("function");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("texts");

    const QByteArray data = dataChunk(sampleBytes(64));
    QTest::newRow("plain mono file") << g_monoToPoly << wav(1) << u"a.wav WAV 1 16 48000 100.0B"_s;
    QTest::newRow("plain stereo file")
        << g_polyToMono << wav(2) << u"a.wav WAV 2 16 48000 100.0B"_s;
    QTest::newRow("broadcast file")
        << g_monoToPoly << wavBytes({bextWithoutDate(), fmtChunk({}), data})
        << u"a.wav BWF 1 16 48000 966.0B"_s;
    QTest::newRow("broadcast chunk after the data")
        << g_monoToPoly << wavBytes({fmtChunk({}), data, chunk("bext", sampleBytes(2))})
        << u"a.wav BWF 1 16 48000 110.0B"_s;
    QTest::newRow("floating point of 96 kHz")
        << g_monoToPoly << wavBytes({fmtChunk({.bits = 32, .rate = 96000, .tag = 3}), data})
        << u"a.wav WAV 1 32 96000 100.0B"_s;
    QTest::newRow("extensible format of six channels")
        << g_polyToMono
        << wavBytes({fmtChunk({.channels = 6, .bits = 24, .tag = 0xFFFE}, sampleBytes(24)), data})
        << u"a.wav WAV 6 24 48000 124.0B"_s;
    QTest::newRow("largest numbers are not negative")
        << g_polyToMono
        << wavBytes(
               {fmtChunk({.channels = 65535, .bits = 65535, .rate = -1, .blockAlign = 1}), data})
        << u"a.wav WAV 65535 65535 4294967295 100.0B"_s;
    QTest::newRow("zeros in the format")
        << g_monoToPoly << wavBytes({fmtChunk({.bits = 0, .rate = 0}), data})
        << u"a.wav WAV 1 0 0 100.0B"_s;
    QTest::newRow("the size is the header's, not the file's")
        << g_monoToPoly << wavBytes({fmtChunk({}), data}, 1025) << u"a.wav WAV 1 16 48000 1.0KB"_s;
    QTest::newRow("a size of zero in the header")
        << g_monoToPoly << wavBytes({fmtChunk({}), data}, 0) << u"a.wav WAV 1 16 48000 0.0B"_s;
    QTest::newRow("the largest size in the header")
        << g_monoToPoly << wavBytes({fmtChunk({}), data}, 0xFFFFFFFF)
        << u"a.wav WAV 1 16 48000 4.0GB"_s;
    QTest::newRow("data before the format")
        << g_monoToPoly << wavBytes({data, fmtChunk({})}) << u"a.wav WAV 1 16 48000 100.0B"_s;
}

void tst_FileList::row()
{
    QFETCH(int, function);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, texts);

    const Desk desk({{u"a.wav"_s, bytes}}, function);
    QCOMPARE(desk.enter(), g_noBox);
    QCOMPARE(desk.files->rowCount(), 1);
    QCOMPARE(rowTexts(desk.files, 0).join(u' '), texts);
}

void tst_FileList::alignment()
{
    const Desk desk({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, wav(1)}});
    desk.enter();
    QCOMPARE(desk.files->rowCount(), 2);
    for (int row = 0; row < 2; ++row) {
        for (int column = 0; column < 6; ++column) {
            const QTableWidgetItem* cell = desk.files->item(row, column);
            const Qt::Alignment side = column == 0 ? Qt::Alignment() : Qt::AlignRight;
            QCOMPARE(cell->data(Qt::TextAlignmentRole).toInt(), int(side | Qt::AlignVCenter));
            QCOMPARE(cell->toolTip(), QString());
        }
    }
}

void tst_FileList::fileOfOneMegabyte()
{
    const QByteArray bytes = wav(1, 1048584 - 44); // RIFF header, format and data header: 44
    QCOMPARE(bytes.size(), 1048584);
    const Desk desk({{u"a.wav"_s, bytes}});
    desk.enter();
    QCOMPARE(columnTexts(desk.files, 5), QStringList(u"1024.0KB"_s));
}

void tst_FileList::listing_data()
{
    QTest::addColumn<Files>("files");
    QTest::addColumn<int>("function");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("every capital before every small letter")
        << Files({{u"a.wav"_s, wav(1)}, {u"B.wav"_s, wav(1)}, {u"Z.wav"_s, wav(1)}}) << g_monoToPoly
        << QStringList({u"B.wav"_s, u"Z.wav"_s, u"a.wav"_s});
    QTest::newRow("names that differ only in case")
        << Files({{u"b.wav"_s, wav(1)}, {u"A.WAV"_s, wav(1)}, {u"a.wav"_s, wav(1)}}) << g_monoToPoly
        << QStringList({u"A.WAV"_s, u"a.wav"_s, u"b.wav"_s});
    QTest::newRow("the ending in any case")
        << Files({{u"a.WAV"_s, wav(1)}, {u"b.Wav"_s, wav(1)}, {u"c.wAv"_s, wav(1)}}) << g_monoToPoly
        << QStringList({u"a.WAV"_s, u"b.Wav"_s, u"c.wAv"_s});
    QTest::newRow("digits are letters, not numbers")
        << Files({{u"take_10.wav"_s, wav(1)}, {u"take_2.wav"_s, wav(1)}, {u"9.wav"_s, wav(1)}})
        << g_monoToPoly << QStringList({u"9.wav"_s, u"take_10.wav"_s, u"take_2.wav"_s});
    QTest::newRow("letters beyond ASCII come last")
        << Files({{u"z.wav"_s, wav(1)}, {u"ä.wav"_s, wav(1)}, {u"Z.wav"_s, wav(1)}}) << g_monoToPoly
        << QStringList({u"Z.wav"_s, u"z.wav"_s, u"ä.wav"_s});
    QTest::newRow("other endings are left out") << Files({{u"a.wav"_s, wav(1)},
                                                          {u"b.wav.bak"_s, wav(1)},
                                                          {u"b.bwf"_s, wav(1)},
                                                          {u"c.wave"_s, wav(1)},
                                                          {u"dwav"_s, wav(1)},
                                                          {u"e.mp3"_s, wav(1)},
                                                          {u"f"_s, wav(1)}})
                                                << g_monoToPoly << QStringList(u"a.wav"_s);
    QTest::newRow("hidden files are left out")
        << Files({{u"a.wav"_s, wav(1)}, {u".b.wav"_s, wav(1)}, {u".wav"_s, wav(1)}}) << g_monoToPoly
        << QStringList(u"a.wav"_s);
    QTest::newRow("directories are left out, whatever their name")
        << Files({{u"a.wav"_s, wav(1)}, {u"x.wav/inner.wav"_s, wav(1)}}) << g_monoToPoly
        << QStringList(u"a.wav"_s);
    QTest::newRow("mono files for the combine")
        << Files({{u"0.wav"_s, wav(0)},
                  {u"1.wav"_s, wav(1)},
                  {u"2.wav"_s, wav(2)},
                  {u"3.wav"_s, wav(1)},
                  {u"8.wav"_s, wav(8)}})
        << g_monoToPoly << QStringList({u"1.wav"_s, u"3.wav"_s});
    QTest::newRow("files of more channels for the split")
        << Files({{u"0.wav"_s, wav(0)},
                  {u"1.wav"_s, wav(1)},
                  {u"2.wav"_s, wav(2)},
                  {u"8.wav"_s, wav(8)},
                  {u"9.wav"_s, wav(9)}})
        << g_polyToMono << QStringList({u"2.wav"_s, u"8.wav"_s, u"9.wav"_s});
    QTest::newRow("channel counts beyond 32767 are many channels")
        << Files({{u"a.wav"_s, wavBytes({fmtChunk({.channels = 65535, .blockAlign = 2}),
                                         dataChunk(sampleBytes(4))})},
                  {u"b.wav"_s, wavBytes({fmtChunk({.channels = 32768, .blockAlign = 2}),
                                         dataChunk(sampleBytes(4))})}})
        << g_polyToMono << QStringList({u"a.wav"_s, u"b.wav"_s});
    QTest::newRow("broadcast files are listed with the others")
        << Files({{u"a.wav"_s, wavBytes({bextWithoutDate(), fmtChunk({}), dataChunk("12")})},
                  {u"b.wav"_s, wav(1)}})
        << g_monoToPoly << QStringList({u"a.wav"_s, u"b.wav"_s});
}

void tst_FileList::listing()
{
    QFETCH(Files, files);
    QFETCH(int, function);
    QFETCH(QStringList, names);

    const Desk desk(files, function);
    QCOMPARE(desk.enter(), g_noBox);
    QCOMPARE(desk.names(), names);
    QCOMPARE(desk.enabledButtons(), g_addButtons);
}

void tst_FileList::links_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("link to a file is listed by its own name")
        << u"inner/target"_s << QStringList({u"a.wav"_s, u"link.wav"_s});
    QTest::newRow("link to a directory is left out") << u"inner"_s << QStringList(u"a.wav"_s);
    QTest::newRow("link to nothing is left out") << u"gone.wav"_s << QStringList(u"a.wav"_s);
    QTest::newRow("link to itself is left out") << u"link.wav"_s << QStringList(u"a.wav"_s);
}

void tst_FileList::links()
{
    QFETCH(QString, target);
    QFETCH(QStringList, names);

    const Desk desk({{u"a.wav"_s, wav(1)}, {u"inner/target"_s, wav(1)}});
    QVERIFY(QFile::link(target, desk.path(u"link.wav"_s)));
    QCOMPARE(desk.enter(), g_noBox);
    QCOMPARE(desk.names(), names);
}

void tst_FileList::fileNames_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("blanks") << u"  a  b .wav"_s;
    QTest::newRow("line break") << u"a\nb.wav"_s;
    QTest::newRow("tabulator") << u"a\tb.wav"_s;
    QTest::newRow("placeholder") << u"%1 %2 %n %L1.wav"_s;
    QTest::newRow("markup") << u"<b>bold<br>.wav"_s;
    QTest::newRow("entity") << u"&amp;&.wav"_s;
    QTest::newRow("quotes and backslash") << u"\"a'b\\c.wav"_s;
    QTest::newRow("pattern characters") << u"[a]*?.wav"_s;
    QTest::newRow("percent encoding") << u"%20%2f.wav"_s;
    QTest::newRow("several dots") << u"a..b.wav.wav"_s;
    QTest::newRow("emoji") << u"\U0001F399\U0001F3FD take.wav"_s;
    QTest::newRow("combining accent") << u"e\u0301te\u0301.wav"_s;
    QTest::newRow("right to left") << u"\u05E9\u05DC\u05D5\u05DD.wav"_s;
    QTest::newRow("255 bytes") << QString(251, u'x') + u".wav"_s;
    QTest::newRow("255 bytes of emoji and a letter") << u"\U0001F399"_s.repeated(62) + u"abc.wav"_s;
}

void tst_FileList::fileNames()
{
    QFETCH(QString, name);

    const Desk desk({{name, damaged()}, {u"good.wav"_s, wav(1)}});
    QCOMPARE(desk.enter(), QStringList(unreadableBox({name})));
    QCOMPARE(desk.names(), QStringList(u"good.wav"_s));

    QVERIFY(QFile::remove(desk.path(u"good.wav"_s)));
    desk.dir.add(name, wav(1));
    QCOMPARE(desk.enter(), g_noBox);
    QCOMPARE(desk.names(), QStringList(name));
    desk.press(u"Add All"_s);
    QCOMPARE(desk.sourceNames(), QStringList(name));
    QCOMPARE(columnTexts(desk.sources, 4), QStringList(desk.dir.path()));
}

void tst_FileList::directoryNames_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("blanks at both ends") << u"  takes of today "_s;
    QTest::newRow("line break") << u"a\nb"_s;
    QTest::newRow("placeholder") << u"%1 %2"_s;
    QTest::newRow("markup") << u"<b>"_s;
    QTest::newRow("emoji") << u"\U0001F399"_s;
    QTest::newRow("255 bytes") << QString(255, u'd');
    QTest::newRow("hidden") << u".hidden"_s;
    QTest::newRow("named like a file") << u"x.wav"_s;
    QTest::newRow("backslash") << u"a\\b"_s;
    QTest::newRow("tilde") << u"~"_s;
    QTest::newRow("pattern characters") << u"[a]*"_s;
}

void tst_FileList::directoryNames()
{
    QFETCH(QString, name);

    const Desk desk({{name + u"/a.wav"_s, wav(1)}, {u"other.wav"_s, wav(1)}});
    QCOMPARE(desk.enter(desk.path(name)), g_noBox);
    QCOMPARE(desk.names(), QStringList(u"a.wav"_s));
    desk.press(u"Add All"_s);
    QCOMPARE(columnTexts(desk.sources, 4), QStringList(desk.path(name)));
}

void tst_FileList::directoryTexts_data()
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
    QTest::newRow("relative and upwards") << u"takes/../takes"_s << u"takes/../takes"_s;
    QTest::newRow("relative from here") << u"./takes"_s << u"./takes"_s;
    QTest::newRow("link to the directory") << u"DIR/link"_s << u"DIR/link"_s;
}

void tst_FileList::directoryTexts()
{
    QFETCH(QString, text);
    QFETCH(QString, path);

    const Desk desk({{u"takes/a.wav"_s, wav(1)}, {u"outside.wav"_s, wav(1)}});
    QVERIFY(QFile::link(u"takes"_s, desk.path(u"link"_s)));
    const CurrentDirectory here(desk.dir.path());
    text.replace(u"DIR"_s, desk.dir.path());
    path.replace(u"DIR"_s, desk.dir.path());

    QCOMPARE(desk.enter(text), g_noBox);
    QCOMPARE(currentDirEdit(&desk.window)->text(), text);
    QCOMPARE(desk.names(), QStringList(text == u"."_s ? u"outside.wav"_s : u"a.wav"_s));
    desk.press(u"Add All"_s);
    QCOMPARE(columnTexts(desk.sources, 4), QStringList(QDir::toNativeSeparators(path)));
    QCOMPARE(desk.sources->item(0, 4)->toolTip(), QDir::toNativeSeparators(path));
}

void tst_FileList::rootDirectory()
{
    const Desk desk({{u"only here.wav"_s, wav(1)}});
    const CurrentDirectory here(desk.dir.path());
    // What lies there is the machine's business.
    QVERIFY(!desk.enter(u"/"_s).contains(informationBox(g_noDirectory)));
    QVERIFY(!desk.names().contains(u"only here.wav"_s));
}

void tst_FileList::nothingListed_data()
{
    QTest::addColumn<Files>("files");
    QTest::addColumn<QString>("directory");
    QTest::addColumn<int>("function");
    QTest::addColumn<QString>("text");

    const Files stereo = {{u"a.wav"_s, wav(2)}, {u"b.wav"_s, wav(2)}};
    const Files monoAndDamaged = {{u"a.wav"_s, wav(1)}, {u"b.wav"_s, damaged()}};
    QTest::newRow("missing directory") << stereo << u"gone"_s << g_polyToMono << g_noDirectory;
    QTest::newRow("file instead of a directory")
        << stereo << u"a.wav"_s << g_polyToMono << g_noDirectory;
    QTest::newRow("a blank alone is no directory")
        << stereo << u" "_s << g_polyToMono << g_noDirectory;
    QTest::newRow("empty directory")
        << Files({{u"sub/x"_s, {}}}) << QString() << g_monoToPoly << g_noWavFiles;
    QTest::newRow("no file of the ending") << Files({{u"a.mp3"_s, wav(1)}, {u"b.wave"_s, wav(1)}})
                                           << QString() << g_monoToPoly << g_noWavFiles;
    QTest::newRow("a hidden file alone")
        << Files({{u".a.wav"_s, wav(1)}}) << QString() << g_monoToPoly << g_noWavFiles;
    QTest::newRow("a directory of such a name alone")
        << Files({{u"a.wav/b"_s, wav(1)}}) << QString() << g_monoToPoly << g_noWavFiles;
    QTest::newRow("only stereo files for the combine")
        << stereo << QString() << g_monoToPoly << g_noMonoFiles;
    QTest::newRow("only mono files for the split")
        << Files({{u"a.wav"_s, wav(1)}}) << QString() << g_polyToMono << g_noPolyFiles;
    QTest::newRow("mono and damaged file for the split: no word of the damaged one")
        << monoAndDamaged << QString() << g_polyToMono << g_noPolyFiles;
    QTest::newRow("damaged files alone for the combine")
        << Files({{u"a.wav"_s, damaged()}, {u"b.wav"_s, {}}}) << QString() << g_monoToPoly
        << g_noMonoFiles;
    QTest::newRow("no channel is not one channel")
        << Files({{u"a.wav"_s, wav(0)}}) << QString() << g_monoToPoly << g_noMonoFiles;
    QTest::newRow("no channel is not many channels")
        << Files({{u"a.wav"_s, wav(0)}}) << QString() << g_polyToMono << g_noPolyFiles;
}

void tst_FileList::nothingListed()
{
    QFETCH(Files, files);
    QFETCH(QString, directory);
    QFETCH(int, function);
    QFETCH(QString, text);

    const Desk desk(files, function);
    QCOMPARE(desk.enter(directory == u" "_s ? directory : desk.path(directory)),
             QStringList(informationBox(text)));
    QCOMPARE(desk.files->rowCount(), 0);
    QCOMPARE(desk.enabledButtons(), QStringList());
}

void tst_FileList::unreadableFiles_data()
{
    QTest::addColumn<QByteArray>("bytes");

    const QByteArray fmt = fmtChunk({});
    const QByteArray data = dataChunk(sampleBytes(64));
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("three bytes") << QByteArray("RIF");
    QTest::newRow("header cut in the size") << wav(1).left(6);
    QTest::newRow("header alone") << wav(1).left(12);
    QTest::newRow("other first four bytes") << damaged();
    QTest::newRow("first four bytes in small letters") << wav(1).replace(0, 4, "riff");
    QTest::newRow("other form type") << wav(1).replace(8, 4, "AVI ");
    QTest::newRow("no format") << wavBytes({data});
    QTest::newRow("no data") << wavBytes({fmt});
    QTest::newRow("format cut after fifteen bytes") << wavBytes({data, fmt.left(8 + 15)});
    QTest::newRow("odd chunk with its pad byte before the data")
        << wavBytes({fmt, paddedChunk("note", "odd"), data});
    QTest::newRow("chunk name beyond ASCII before the data")
        << wavBytes({fmt, chunk("n\xF6te", "1234"), data});
    QTest::newRow("chunk of two gigabytes before the data")
        << wavBytes({fmt, chunk("huge", "1234", qint64(1) << 31), data});
    QTest::newRow("some text") << QByteArray("This is not a recording but a text.");
}

void tst_FileList::unreadableFiles()
{
    QFETCH(QByteArray, bytes);

    const Desk desk({{u"bad.wav"_s, bytes}, {u"good.wav"_s, wav(1)}});
    QStringList enabled;
    int height = -1;
    const BoxWatcher watcher([&] {
        enabled = desk.enabledButtons();
        height = desk.files->rowHeight(0);
    });
    QCOMPARE(desk.enter(), QStringList(unreadableBox({u"bad.wav"_s})));
    QCOMPARE(desk.names(), QStringList(u"good.wav"_s));
    QCOMPARE(enabled, g_addButtons);
    QCOMPARE(desk.enabledButtons(), g_addButtons);
    QCOMPARE(height, desk.files->rowHeight(0));
}

void tst_FileList::unreadableFilesAreReportedLast()
{
    const Desk desk({{u"first/1.wav"_s, wav(1)},
                     {u"d.wav"_s, damaged()},
                     {u"B.wav"_s, damaged()},
                     {u"a.wav"_s, QByteArray()},
                     {u"c.wav"_s, wav(1)},
                     {u"e.wav"_s, wav(2)}});
    QStringList unreadable = {u"B.wav"_s, u"a.wav"_s, u"d.wav"_s};
    for (int number = 10; number < 50; ++number) {
        unreadable.append(u"take_%1.wav"_s.arg(number));
        desk.dir.add(unreadable.last(), damaged());
    }
    desk.enter(desk.path(u"first"_s));
    desk.press(u"Add All"_s);
    QCOMPARE(desk.sources->rowCount(), 1);

    QStringList listed;
    int sources = -1;
    QStringList enabled;
    const BoxWatcher watcher([&] {
        listed = desk.names();
        sources = desk.sources->rowCount();
        enabled = desk.enabledButtons();
    });
    QCOMPARE(desk.enter(), QStringList(unreadableBox(unreadable)));
    QCOMPARE(listed, QStringList(u"c.wav"_s));
    QCOMPARE(sources, 0);
    QCOMPARE(enabled, g_addButtons);
}

void tst_FileList::fileWithoutPermissionIsReported()
{
    const Desk desk({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, wav(1)}});
    QCOMPARE(chmod(QFile::encodeName(desk.dir.path()).constData(), 0755), 0);
    QCOMPARE(chmod(QFile::encodeName(desk.path(u"a.wav"_s)).constData(), 0644), 0);
    QCOMPARE(chmod(QFile::encodeName(desk.path(u"b.wav"_s)).constData(), 0), 0);
    const PlainUser user;
    if (!PlainUser::canEnter(desk.dir.path()))
        QSKIP("Nobody may enter the directory for temporary files.");
}

void tst_FileList::unreadablePipeDoesNotBlock()
{
    const Desk desk({{u"a.wav"_s, wav(1)}});
    const QString pipe = desk.path(u"pipe.wav"_s);
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QVERIFY(QFile::link(pipe, desk.path(u"link.wav"_s)));
    QCOMPARE(desk.enter(), QStringList(unreadableBox({u"link.wav"_s})));
    QCOMPARE(desk.names(), QStringList(u"a.wav"_s));
}

void tst_FileList::emptyTextKeepsEverything()
{
    const Desk desk({{u"a.wav"_s, wav(1)}});
    desk.enter();
    desk.press(u"Add All"_s);
    QCOMPARE(desk.enter(QString()), g_noBox);
    QCOMPARE(desk.names(), QStringList(u"a.wav"_s));
    QCOMPARE(desk.sourceNames(), QStringList(u"a.wav"_s));
    QCOMPARE(desk.enabledButtons(), g_allButtons);
}

void tst_FileList::failedListingEmptiesTheTable_data()
{
    QTest::addColumn<Files>("files");
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("text");

    QTest::newRow("missing directory") << Files() << u"gone"_s << g_noDirectory;
    QTest::newRow("no WAV files") << Files({{u"sub/x"_s, {}}}) << u"sub"_s << g_noWavFiles;
    QTest::newRow("only stereo files")
        << Files({{u"sub/2.wav"_s, wav(2)}}) << u"sub"_s << g_noMonoFiles;
    QTest::newRow("only damaged files")
        << Files({{u"sub/x.wav"_s, damaged()}}) << u"sub"_s << g_noMonoFiles;
}

void tst_FileList::failedListingEmptiesTheTable()
{
    QFETCH(Files, files);
    QFETCH(QString, directory);
    QFETCH(QString, text);

    const Desk desk({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, wav(1)}});
    desk.dir.add(files);
    desk.enter();
    desk.press(u"Add All"_s);
    int rowsMeanwhile = -1;
    const BoxWatcher watcher([&] { rowsMeanwhile = desk.files->rowCount(); });
    QCOMPARE(desk.enter(desk.path(directory)), QStringList(informationBox(text)));
    QCOMPARE(rowsMeanwhile, 0);
    QCOMPARE(desk.files->rowCount(), 0);
    QCOMPARE(desk.files->columnCount(), 6);
    // The sources survive, and no button changes.
    QCOMPARE(desk.sourceNames(), QStringList({u"a.wav"_s, u"b.wav"_s}));
    QCOMPARE(desk.enabledButtons(), g_allButtons);
}

void tst_FileList::sameDirectoryListedAgain()
{
    const Desk desk({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, wav(1)}});
    desk.enter();
    QVERIFY(QFile::remove(desk.path(u"a.wav"_s)));
    desk.dir.add({{u"b.wav"_s, wav(1, 2000)}, {u"c.wav"_s, wav(1)}});
    desk.enter();
    QCOMPARE(desk.names(), QStringList({u"b.wav"_s, u"c.wav"_s}));
    QCOMPARE(columnTexts(desk.files, 5), QStringList({u"2.0KB"_s, u"100.0B"_s}));
}

void tst_FileList::functionChangeReadsTheDirectoryAgain()
{
    const Desk desk({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, wav(2)}});
    desk.enter();
    QCOMPARE(desk.names(), QStringList(u"a.wav"_s));
    desk.dir.add({{u"a.wav"_s, wav(4)}, {u"new.wav"_s, wav(3)}});
    desk.choose(g_polyToMono);
    QCOMPARE(desk.names(), QStringList({u"a.wav"_s, u"b.wav"_s, u"new.wav"_s}));
    QCOMPARE(columnTexts(desk.files, 2), QStringList({u"4"_s, u"2"_s, u"3"_s}));
}

void tst_FileList::functionChangeShowsTheOtherFiles()
{
    const Desk desk({{u"1.wav"_s, wav(1)}, {u"2.wav"_s, wav(2)}});
    desk.enter();
    desk.press(u"Add All"_s);
    QCOMPARE(desk.sourceNames(), QStringList(u"1.wav"_s));
    const MessageBoxAnswer answer(QList<QMessageBox::StandardButton>{});
    QTest::keyClick(functionCombo(&desk.window), Qt::Key_Down);
    QCOMPARE(desk.names(), QStringList(u"2.wav"_s));
    QCOMPARE(desk.sources->rowCount(), 0);
    QTest::keyClick(functionCombo(&desk.window), Qt::Key_Up);
    QCOMPARE(desk.names(), QStringList(u"1.wav"_s));
    QVERIFY(answer.wasAsked());
}

void tst_FileList::furtherFunctions_data()
{
    QTest::addColumn<int>("function");
    QTest::addColumn<Files>("files");
    QTest::addColumn<QStringList>("listed");
    QTest::addColumn<QStringList>("boxes");

    const QByteArray broadcast =
        wavBytes({chunk("bext", sampleBytes(602)), fmtChunk({}), dataChunk(sampleBytes(64))});
    const Files broadcastAlone = {{u"a.wav"_s, broadcast}, {u"b.wav"_s, broadcast}};
    const Files damagedAlone = {{u"a.wav"_s, damaged()}, {u"b.wav"_s, {}}};
    const Files all = {{u"0.wav"_s, wav(0)},      {u"1.wav"_s, wav(1)},
                       {u"2.wav"_s, wav(2)},      {u"9.wav"_s, wav(9)},
                       {u"b.wav"_s, broadcast},   {u"bad.wav"_s, damaged()},
                       {u"max.wav"_s, wav(65535)}};
    const QStringList unreadable = {unreadableBox({u"bad.wav"_s})};
    const QStringList nothing = {informationBox(g_noFiles)};

    QTest::newRow("the third function lists what has no broadcast chunk, whatever its channels")
        << 2 << all << QStringList({u"0.wav"_s, u"1.wav"_s, u"2.wav"_s, u"9.wav"_s, u"max.wav"_s})
        << unreadable;
    QTest::newRow("the third function finds broadcast files alone")
        << 2 << broadcastAlone << QStringList() << nothing;
    QTest::newRow("the third function finds damaged files alone")
        << 2 << damagedAlone << QStringList() << nothing;
    QTest::newRow("a fourth function lists every file that can be read")
        << 3 << all
        << QStringList({u"0.wav"_s, u"1.wav"_s, u"2.wav"_s, u"9.wav"_s, u"b.wav"_s, u"max.wav"_s})
        << unreadable;
    QTest::newRow("a fourth function finds broadcast files alone")
        << 3 << broadcastAlone << QStringList({u"a.wav"_s, u"b.wav"_s}) << QStringList();
    QTest::newRow("a fourth function finds damaged files alone")
        << 3 << damagedAlone << QStringList() << nothing;
    QTest::newRow("no function lists every file that can be read")
        << -1 << all
        << QStringList({u"0.wav"_s, u"1.wav"_s, u"2.wav"_s, u"9.wav"_s, u"b.wav"_s, u"max.wav"_s})
        << unreadable;
}

/// Functions that the window does not offer.
void tst_FileList::furtherFunctions()
{
    QFETCH(int, function);
    QFETCH(Files, files);
    QFETCH(QStringList, listed);
    QFETCH(QStringList, boxes);

    const Desk desk(files);
    functionCombo(&desk.window)->addItems({u"third"_s, u"fourth"_s});
    functionCombo(&desk.window)->setCurrentIndex(function);
    QCOMPARE(desk.enter(), boxes);
    QCOMPARE(desk.names(), listed);
    QCOMPARE(desk.enabledButtons(), listed.isEmpty() ? QStringList() : g_addButtons);
}

void tst_FileList::waitCursor()
{
    const Desk desk({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, wav(1)}});
    QList<Qt::CursorShape> shapes;
    connect(desk.files->model(), &QAbstractItemModel::rowsInserted, this, [&shapes] {
        const QCursor* cursor = QGuiApplication::overrideCursor();
        shapes.append(cursor ? cursor->shape() : Qt::ArrowCursor);
    });
    desk.enter();
    QCOMPARE(shapes, QList<Qt::CursorShape>({Qt::WaitCursor, Qt::WaitCursor}));
    QVERIFY(!QGuiApplication::overrideCursor());
}

void tst_FileList::cursorIsRestoredBeforeEveryBox_data()
{
    QTest::addColumn<Files>("files");
    QTest::addColumn<QString>("directory");

    QTest::newRow("missing directory") << Files() << u"gone"_s;
    QTest::newRow("no WAV files") << Files() << QString();
    QTest::newRow("no file of the kind") << Files({{u"2.wav"_s, wav(2)}}) << QString();
    QTest::newRow("unreadable files")
        << Files({{u"1.wav"_s, wav(1)}, {u"x.wav"_s, damaged()}}) << QString();
}

void tst_FileList::cursorIsRestoredBeforeEveryBox()
{
    QFETCH(Files, files);
    QFETCH(QString, directory);

    const Desk desk(files);
    QList<bool> overridden;
    const BoxWatcher watcher(
        [&overridden] { overridden.append(QGuiApplication::overrideCursor() != nullptr); });
    QCOMPARE(desk.enter(desk.path(directory)).size(), 1);
    QCOMPARE(overridden, QList<bool>({false}));
}

void tst_FileList::listedFilesStayClosed()
{
    const Desk desk({{u"a.wav"_s, wav(1)}, {u"b.wav"_s, damaged()}});
    QCOMPARE(desk.enter().size(), 1);
    const QDir open(u"/proc/self/fd"_s);
    if (!open.exists())
        QSKIP("Open files cannot be seen here.");
    for (const QFileInfo& file : open.entryInfoList(QDir::Files | QDir::System)) {
        QVERIFY2(!file.symLinkTarget().startsWith(desk.dir.path()),
                 qPrintable(file.symLinkTarget()));
    }
}

SPLICORA_TEST_MAIN(tst_FileList)

#include "tst_filelist.moc"
