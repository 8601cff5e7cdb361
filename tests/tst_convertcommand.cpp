// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/chooseranswer.h"
#include "tests/support/conversion.h"
#include "tests/support/folderrecorder.h"
#include "tests/support/progresswatch.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QUrl>

using namespace Qt::Literals::StringLiterals;

class tst_ConvertCommand : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_homeBefore = qgetenv("HOME"); }
    void cleanupTestCase() { qputenv("HOME", m_homeBefore); }
    void init();
    void cleanup() { QVERIFY(!QApplication::activeModalWidget()); }
    void combinesFromDirectoryToFile();
    void combinesInTheOrderOfTheSourceList();
    void splitsFromDirectoryToFiles();
    void newFilesAreListedWithTheNextListing();
    void asksBeforeItConvertsAgain_data();
    void asksBeforeItConvertsAgain();
    void actsOnAClickOnly();
    void withoutSourcesNothingHappens();
    void asksWhenTheOutputDirectoryIsMissing_data();
    void asksWhenTheOutputDirectoryIsMissing();
    void writesAndOpensTheRightFolder_data();
    void writesAndOpensTheRightFolder();
    void writesNextToEachSourceWithoutAnyDirectory();
    void aFailureOpensNoFolder_data();
    void aFailureOpensNoFolder();
    void aCancelledConversionOpensNoFolder_data();
    void aCancelledConversionOpensNoFolder();
    void anOutputIsNotOverwrittenWhileItIsWritten();
    void theThirdFunctionAlwaysOpensTheFolder_data();
    void theThirdFunctionAlwaysOpensTheFolder();
    void anyOtherFunctionOnlyOpensTheFolder();
    void choosesTheCurrentDirectory();
    void aChosenDirectoryIsListedWithItsBoxes();
    void theFirstChooserOpensAtHomeTheNextAtTheListedDirectory_data();
    void theFirstChooserOpensAtHomeTheNextAtTheListedDirectory();
    void anEmptyListedDirectoryIsNotHome_data();
    void anEmptyListedDirectoryIsNotHome();
    void theOutputChooserAlwaysOpensAtHome();
    void aChosenOutputDirectoryIsUsed();
    void aCancelledChooserChangesNothing_data();
    void aCancelledChooserChangesNothing();

private:
    TempDir m_home;
    QByteArray m_homeBefore;
};

namespace {

/// Takes are more than samples: an odd chunk with its pad byte follows the data.
const QByteArray g_listBody = "INFO!";

QByteArray takeWith(int channels, const QByteArray& samples)
{
    return wavBytes(
        {fmtChunk({.channels = channels}), dataChunk(samples), paddedChunk("LIST", g_listBody)});
}

/// A file that a split or a combine makes of takes, dates left out. The stored size counts
/// @p fmtAccount and @p listAccount bytes for the bodies of the two small chunks.
QByteArray converted(int channels, const QByteArray& samples, int fmtAccount, int listAccount)
{
    const qint64 size = g_outputStart + (8 + fmtAccount) + (8 + samples.size()) + (8 + listAccount);
    return wavBytes({bextWithoutDate(), fmtChunk({.channels = channels}), dataChunk(samples),
                     paddedChunk("LIST", g_listBody)},
                    size);
}

QByteArray splitFile(const QByteArray& samples)
{
    return converted(1, samples, 4, 4);
}

QByteArray combinedFile(int channels, const QByteArray& samples)
{
    return converted(channels, samples, 16, 6);
}

/// The URL of a folder, as a text. It is parsed: a number sign in the path starts a fragment, and
/// percent signs that encode nothing are taken for themselves.
QString folderUrl(const QString& path)
{
    return QUrl(u"file:///"_s + path).toString();
}

QStringList filesBelow(const QString& directory)
{
    return QDir(directory).entryList(QDir::Files, QDir::Name);
}

/// Everything that the window shows of files, sources and channels, and what can be pressed.
QStringList shown(const WindowDesk& desk)
{
    QStringList all = {currentDirEdit(&desk.window)->text(), outputDirEdit(&desk.window)->text(),
                       desk.checkedChannels(), desk.enabledChannels()};
    all += desk.enabledButtons();
    for (const QTableWidget* table : {desk.files, desk.sources}) {
        for (int row = 0; row < table->rowCount(); ++row)
            all += rowTexts(table, row);
        all.append(QString::number(table->currentRow()));
    }
    return all;
}

void setOutput(const WindowDesk& desk, const QString& text)
{
    outputDirEdit(&desk.window)->setText(text);
}

/// Makes the two takes in the folder "rec" the sources.
void addAll(const WindowDesk& desk)
{
    desk.list(desk.path(u"rec"_s));
    desk.press(u"Add All"_s);
    if (desk.sources->rowCount() != 2)
        qFatal("The takes did not become sources.");
}

QByteArray stereoSamples()
{
    return interleaved({sampleBytes(8, 3), sampleBytes(8, 4)}, 2);
}

using Step = void (*)(const WindowDesk&);

} // namespace

Q_DECLARE_METATYPE(Step)

/// A desk with two takes in the folder "rec" as its sources, and the folder "out" to write to. The
/// desktop opens nothing.
struct ConvertDesk : WindowDesk
{
    explicit ConvertDesk(int function = MonoToPolyFunction)
        : WindowDesk(function)
    {
        if (function == MonoToPolyFunction) {
            dir.add(u"rec/take_01.wav"_s, takeWith(1, sampleBytes(8, 1)));
            dir.add(u"rec/take_02.wav"_s, takeWith(1, sampleBytes(8, 2)));
        } else {
            dir.add(u"rec/one.wav"_s, takeWith(2, stereoSamples()));
            dir.add(u"rec/two.wav"_s, takeWith(3, sampleBytes(12, 5)));
        }
        addAll(*this);
        setOutput(*this, dir.addFolder(u"out"_s));
    }

    FolderRecorder desktop;
};

namespace {

/// Clicks into the window where a button is, which a dialog in front of the window prevents.
void clickWhereSeen(const WindowDesk& desk, const QString& text)
{
    const QPushButton* button = findButton(&desk.window, text);
    QTest::mouseClick(desk.window.windowHandle(), Qt::LeftButton, {},
                      button->mapTo(&desk.window, button->rect().center()));
}

/// Offers a third and a fourth function, which the window itself does not.
void offerMoreFunctions(const WindowDesk& desk)
{
    functionCombo(&desk.window)->addItems({u"third"_s, u"fourth"_s});
}

} // namespace

void tst_ConvertCommand::init()
{
    qputenv("HOME", m_home.path().toLocal8Bit());
    QCOMPARE(QDir::homePath(), m_home.path());
}

void tst_ConvertCommand::combinesFromDirectoryToFile()
{
    const ConvertDesk desk;
    selectRows(desk.sources, {1});
    const QStringList before = shown(desk);

    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(desk.desktop.opened, QStringList{folderUrl(desk.path(u"out"_s))});
    QVERIFY(desk.desktop.opened.first().startsWith(u"file:////"));
    QCOMPARE(filesBelow(desk.path(u"out"_s)), QStringList{u"take_combined.wav"_s});
    QCOMPARE(withoutDate(readFile(desk.path(u"out/take_combined.wav"_s))),
             combinedFile(2, interleaved({sampleBytes(8, 1), sampleBytes(8, 2)}, 2)));
    QCOMPARE(filesBelow(desk.path(u"rec"_s)), QStringList({u"take_01.wav"_s, u"take_02.wav"_s}));
    QCOMPARE(readFile(desk.path(u"rec/take_01.wav"_s)), takeWith(1, sampleBytes(8, 1)));
    QCOMPARE(readFile(desk.path(u"rec/take_02.wav"_s)), takeWith(1, sampleBytes(8, 2)));
    QCOMPARE(shown(desk), before);
}

void tst_ConvertCommand::combinesInTheOrderOfTheSourceList()
{
    const ConvertDesk desk;
    desk.press(u"Remove All"_s);
    desk.add({1});
    desk.add({0});
    setOutput(desk, desk.dir.path());
    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(withoutDate(readFile(desk.path(u"take_combined.wav"_s))),
             combinedFile(2, interleaved({sampleBytes(8, 2), sampleBytes(8, 1)}, 2)));
}

void tst_ConvertCommand::splitsFromDirectoryToFiles()
{
    const ConvertDesk desk(PolyToMonoFunction);
    selectRows(desk.sources, {1});
    QCheckBox* second = desk.channelCheck(2);
    QTest::mouseClick(second, Qt::LeftButton, Qt::NoModifier, QPoint(5, second->height() / 2));
    QCOMPARE(desk.checkedChannels(), u"10100000"_s);
    const QStringList before = shown(desk);

    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(desk.desktop.opened, QStringList{folderUrl(desk.path(u"out"_s))});
    QCOMPARE(filesBelow(desk.path(u"out"_s)),
             QStringList({u"one_01.wav"_s, u"one_02.wav"_s, u"two_01.wav"_s, u"two_03.wav"_s}));
    const QByteArray three = sampleBytes(12, 5); // two frames of three samples
    const QList<std::pair<QString, QByteArray>> expected = {
        {u"out/one_01.wav"_s, sampleBytes(8, 3)},
        {u"out/one_02.wav"_s, sampleBytes(8, 4)},
        {u"out/two_01.wav"_s, three.mid(0, 2) + three.mid(6, 2)},
        {u"out/two_03.wav"_s, three.mid(4, 2) + three.mid(10, 2)},
    };
    for (const auto& [name, samples] : expected)
        QCOMPARE(withoutDate(readFile(desk.path(name))), splitFile(samples));
    QCOMPARE(filesBelow(desk.path(u"rec"_s)), QStringList({u"one.wav"_s, u"two.wav"_s}));
    QCOMPARE(readFile(desk.path(u"rec/one.wav"_s)), takeWith(2, stereoSamples()));
    QCOMPARE(readFile(desk.path(u"rec/two.wav"_s)), takeWith(3, three));
    QCOMPARE(shown(desk), before);
}

void tst_ConvertCommand::newFilesAreListedWithTheNextListing()
{
    const ConvertDesk desk;
    setOutput(desk, desk.path(u"rec"_s));
    desk.press(u"Convert"_s);
    QCOMPARE(columnTexts(desk.files, 0), QStringList({u"take_01.wav"_s, u"take_02.wav"_s}));
    QCOMPARE(desk.choose(PolyToMonoFunction), QStringList());
    QCOMPARE(columnTexts(desk.files, 0), QStringList{u"take_combined.wav"_s});
}

void tst_ConvertCommand::asksBeforeItConvertsAgain_data()
{
    QTest::addColumn<int>("function");
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<bool>("overwritten");
    const QString combined = overwriteQuestion(u"take_combined.wav"_s, Conversion::Combine);
    const QString split = overwriteQuestion(u"one_01.wav"_s);
    QTest::newRow("a combine is to be overwritten")
        << int(MonoToPolyFunction) << QMessageBox::Yes << QStringList{combined} << true;
    QTest::newRow("a split is to be kept")
        << int(PolyToMonoFunction) << QMessageBox::Cancel << QStringList{split} << false;
}

void tst_ConvertCommand::asksBeforeItConvertsAgain()
{
    QFETCH(const int, function);
    QFETCH(const QMessageBox::StandardButton, answer);
    QFETCH(const QStringList, texts);
    QFETCH(const bool, overwritten);
    const ConvertDesk desk(function);
    desk.press(u"Convert"_s);
    const QString url = folderUrl(desk.path(u"out"_s));
    QCOMPARE(desk.desktop.opened, QStringList{url});
    const QStringList names = filesBelow(desk.path(u"out"_s));
    for (const QString& name : names)
        desk.dir.add(u"out/"_s + name, "earlier");
    const QStringList before = shown(desk);

    MessageBoxAnswer boxes(QList<QMessageBox::StandardButton>(texts.size(), answer));
    clickButton(&desk.window, u"Convert"_s);
    QCOMPARE(WindowDesk::texts(boxes), texts);
    for (const SeenBox& box : boxes.boxes()) {
        QCOMPARE(box.title, u"Splicora"_s);
        QCOMPARE(box.icon, QMessageBox::Question);
        QCOMPARE(box.buttons, QMessageBox::Yes | QMessageBox::Cancel);
        QVERIFY(!box.hasDefaultButton);
        QCOMPARE(box.parent, &desk.window);
    }
    QCOMPARE(desk.desktop.opened, QStringList(overwritten ? 2 : 1, url));
    QCOMPARE(filesBelow(desk.path(u"out"_s)), names);
    for (const QString& name : names)
        QCOMPARE(readFile(desk.path(u"out/"_s + name)) != "earlier", overwritten);
    QCOMPARE(shown(desk), before);
}

void tst_ConvertCommand::actsOnAClickOnly()
{
    const ConvertDesk desk;
    setOutput(desk, desk.dir.path());
    selectRows(desk.files, {0});
    selectRows(desk.sources, {0});
    const auto buttons = desk.window.findChildren<QPushButton*>();
    QCOMPARE(buttons.size(), 7);
    const QStringList before = shown(desk);
    for (QPushButton* button : buttons) {
        QVERIFY(button->isEnabled());
        QTest::mousePress(button, Qt::LeftButton);
        QCOMPARE(shown(desk), before);
        QTest::mouseMove(button, QPoint(-50, -50));
        QVERIFY(!button->isDown());
        QTest::mouseRelease(button, Qt::LeftButton, {}, QPoint(-50, -50));
        QCOMPARE(shown(desk), before);
    }
    QCOMPARE(desk.desktop.opened, QStringList());
    QCOMPARE(filesBelow(desk.dir.path()), QStringList());
}

void tst_ConvertCommand::withoutSourcesNothingHappens()
{
    ConvertDesk desk;
    desk.press(u"Remove All"_s);
    MessageBoxAnswer boxes(QList<QMessageBox::StandardButton>{});
    QVERIFY(QMetaObject::invokeMethod(&desk.window, "convert"));
    QCOMPARE(WindowDesk::texts(boxes), QStringList());
    QCOMPARE(desk.desktop.opened, QStringList());
}

void tst_ConvertCommand::asksWhenTheOutputDirectoryIsMissing_data()
{
    QTest::addColumn<int>("function");
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    QTest::addColumn<bool>("closed");
    QTest::addColumn<QStringList>("written");
    const int combine = MonoToPolyFunction;
    const int split = PolyToMonoFunction;
    QTest::newRow("a combine goes on with Yes")
        << combine << QMessageBox::Yes << false << QStringList{u"take_combined.wav"_s};
    QTest::newRow("a combine ends with Escape")
        << combine << QMessageBox::NoButton << false << QStringList();
    QTest::newRow("a combine ends when the box is closed")
        << combine << QMessageBox::NoButton << true << QStringList();
    QTest::newRow("a split ends with Cancel")
        << split << QMessageBox::Cancel << false << QStringList();
}

void tst_ConvertCommand::asksWhenTheOutputDirectoryIsMissing()
{
    QFETCH(const int, function);
    QFETCH(const QMessageBox::StandardButton, answer);
    QFETCH(const bool, closed);
    QFETCH(const QStringList, written);
    const ConvertDesk desk(function);
    setOutput(desk, QString());
    const QStringList sources = filesBelow(desk.path(u"rec"_s));
    const QStringList before = shown(desk);

    MessageBoxAnswer boxes(answer);
    boxes.whenSeen([closed](QMessageBox* box) {
        if (closed)
            box->close();
    });
    clickButton(&desk.window, u"Convert"_s);
    QVERIFY(boxes.wasAsked());
    const SeenBox box = boxes.box();
    QCOMPARE(box.text, g_directoryQuestion);
    QCOMPARE(box.title, u"Splicora"_s);
    QCOMPARE(box.icon, QMessageBox::Question);
    QCOMPARE(box.buttons, QMessageBox::Yes | QMessageBox::Cancel);
    QVERIFY(!box.hasDefaultButton);
    QCOMPARE(box.parent, &desk.window);

    QStringList files = sources + written;
    files.sort();
    QCOMPARE(filesBelow(desk.path(u"rec"_s)), files);
    QCOMPARE(desk.desktop.opened,
             written.isEmpty() ? QStringList() : QStringList{folderUrl(desk.path(u"rec"_s))});
    QCOMPARE(shown(desk), before);
}

void tst_ConvertCommand::writesAndOpensTheRightFolder_data()
{
    QTest::addColumn<QString>("output"); // %1 is the directory of the folders
    QTest::addColumn<QString>("current"); // typed after the listing, without Return
    QTest::addColumn<bool>("asked"); // and answered with Yes
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("opened");
    const QString rec = u"%1/rec"_s;
    QTest::newRow("an existing folder") << u"%1/out"_s << rec << false << u"out"_s << u"%1/out"_s;
    QTest::newRow("an existing folder with a slash at the end")
        << u"%1/out/"_s << rec << false << u"out"_s << u"%1/out/"_s;
    QTest::newRow("an existing folder, whatever the current directory says")
        << u"%1/out"_s << QString() << false << u"out"_s << u"%1/out"_s;
    QTest::newRow("a folder with blanks in its name")
        << u"%1/o u t"_s << rec << false << u"o u t"_s << u"%1/o u t"_s;
    QTest::newRow("a folder with the name of a take")
        << u"%1/out.wav"_s << rec << false << u"out.wav"_s << u"%1/out.wav"_s;
    QTest::newRow("a number sign starts the fragment of the URL")
        << u"%1/out#1"_s << rec << false << u"out#1"_s << u"%1/out#1"_s;
    QTest::newRow("a lone percent sign is tolerated in the URL")
        << u"%1/50%"_s << rec << false << u"50%"_s << u"%1/50%"_s;
    QTest::newRow("a folder of the working directory")
        << u"here"_s << rec << false << u"work/here"_s << u"here"_s;
    QTest::newRow("the parent of the working directory")
        << u"../out"_s << rec << false << u"out"_s << u"../out"_s;
    QTest::newRow("a folder that only the listed directory has")
        << u"inrec"_s << rec << true << u"rec"_s << u"%1/rec"_s;
    QTest::newRow("no text") << QString() << rec << true << u"rec"_s << u"%1/rec"_s;
    QTest::newRow("a missing folder") << u"%1/missing"_s << rec << true << u"rec"_s << u"%1/rec"_s;
    QTest::newRow("a blank before the path")
        << u" %1/out"_s << rec << true << u"rec"_s << u"%1/rec"_s;
    QTest::newRow("a blank after the path")
        << u"%1/out "_s << rec << true << u"rec"_s << u"%1/rec"_s;
    QTest::newRow("no text, and another current directory was typed since the listing")
        << QString() << u"%1/out"_s << true << u"out"_s << u"%1/out"_s;
    QTest::newRow("no text, and a current directory from the working directory")
        << QString() << u"here"_s << true << u"work/here"_s << u"here"_s;
    QTest::newRow("no text in either field")
        << QString() << QString() << true << u"rec"_s << QString();
    QTest::newRow("a missing folder and no current directory")
        << u"%1/missing"_s << QString() << true << u"rec"_s << QString();
}

void tst_ConvertCommand::writesAndOpensTheRightFolder()
{
    QFETCH(QString, output);
    QFETCH(QString, current);
    QFETCH(const bool, asked);
    QFETCH(const QString, folder);
    QFETCH(QString, opened);
    const ConvertDesk desk;
    const CurrentDirectory work(desk.dir.addFolder(u"work"_s));
    for (const QString& name :
         {u"out"_s, u"o u t"_s, u"out.wav"_s, u"out#1"_s, u"50%"_s, u"work/here"_s, u"rec/inrec"_s})
        desk.dir.addFolder(name);
    for (QString* text : {&output, &current, &opened})
        text->replace(u"%1"_s, desk.dir.path());
    setOutput(desk, output);
    currentDirEdit(&desk.window)->setText(current);

    MessageBoxAnswer boxes(QList<QMessageBox::StandardButton>(asked ? 1 : 0, QMessageBox::Yes));
    clickButton(&desk.window, u"Convert"_s);
    QCOMPARE(WindowDesk::texts(boxes), QStringList(asked ? 1 : 0, g_directoryQuestion));
    QCOMPARE(desk.desktop.opened, QStringList{folderUrl(opened)});
    QCOMPARE(withoutDate(readFile(desk.path(folder + u"/take_combined.wav"_s))),
             combinedFile(2, interleaved({sampleBytes(8, 1), sampleBytes(8, 2)}, 2)));
    QCOMPARE(outputDirEdit(&desk.window)->text(), output);
    QCOMPARE(currentDirEdit(&desk.window)->text(), current);
}

void tst_ConvertCommand::writesNextToEachSourceWithoutAnyDirectory()
{
    const ConvertDesk desk(PolyToMonoFunction);
    setOutput(desk, QString());
    currentDirEdit(&desk.window)->clear();
    MessageBoxAnswer boxes(QMessageBox::Yes);
    clickButton(&desk.window, u"Convert"_s);
    QVERIFY(boxes.wasAsked());
    QCOMPARE(withoutDate(readFile(desk.path(u"rec/one_02.wav"_s))), splitFile(sampleBytes(8, 4)));
    QCOMPARE(desk.desktop.opened, QStringList{u"file:///"_s});
}

void tst_ConvertCommand::aFailureOpensNoFolder_data()
{
    QTest::addColumn<int>("function");
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QList<QMessageBox::StandardButton>>("answers");
    QTest::addColumn<QStringList>("texts");
    using Answers = QList<QMessageBox::StandardButton>;
    const int combine = MonoToPolyFunction;
    const int split = PolyToMonoFunction;
    const QStringList cannotOpen = {errorText(ConvertFileOpen)};
    const QStringList illegal = {errorText(ConvertIllegalFormat)};

    const Step regularFile = [](const WindowDesk& desk) {
        desk.dir.add(u"plain.txt"_s, "not a directory");
        setOutput(desk, desk.path(u"plain.txt"_s));
    };
    QTest::newRow("a combine into a regular file, which passes for a directory")
        << combine << regularFile << Answers{QMessageBox::Ok} << cannotOpen;

    QTest::newRow("a combine whose second source is gone")
        << combine
        << Step([](const WindowDesk& desk) { QFile::remove(desk.path(u"rec/take_02.wav"_s)); })
        << Answers{QMessageBox::Ok} << cannotOpen;
    QTest::newRow("a split of a file that is none any more")
        << split
        << Step([](const WindowDesk& desk) { desk.dir.add(u"rec/one.wav"_s, "something else"); })
        << Answers{QMessageBox::Ok} << illegal;
    QTest::newRow("a split whose last source is gone")
        << split << Step([](const WindowDesk& desk) { QFile::remove(desk.path(u"rec/two.wav"_s)); })
        << Answers{QMessageBox::Ok} << cannotOpen;

    const Step missingCurrent = [](const WindowDesk& desk) {
        setOutput(desk, QString());
        currentDirEdit(&desk.window)->setText(desk.path(u"missing"_s));
    };
    QTest::newRow("a combine into a missing current directory")
        << combine << missingCurrent << Answers{QMessageBox::Yes, QMessageBox::Ok}
        << QStringList{g_directoryQuestion} + cannotOpen;
}

void tst_ConvertCommand::aFailureOpensNoFolder()
{
    QFETCH(const int, function);
    QFETCH(const Step, prepare);
    QFETCH(const QList<QMessageBox::StandardButton>, answers);
    QFETCH(const QStringList, texts);
    const ConvertDesk desk(function);
    setOutput(desk, desk.dir.path());
    prepare(desk);
    const QStringList before = shown(desk);
    MessageBoxAnswer boxes(answers);
    clickButton(&desk.window, u"Convert"_s);
    QCOMPARE(WindowDesk::texts(boxes), texts);
    QCOMPARE(boxes.boxes().last().icon, QMessageBox::Warning);
    QCOMPARE(boxes.boxes().last().title, u"Splicora"_s);
    QCOMPARE(desk.desktop.opened, QStringList());
    QCOMPARE(shown(desk), before);
}

void tst_ConvertCommand::aCancelledConversionOpensNoFolder_data()
{
    QTest::addColumn<int>("function");
    QTest::newRow("a combine") << int(MonoToPolyFunction);
    QTest::newRow("a split") << int(PolyToMonoFunction);
}

void tst_ConvertCommand::aCancelledConversionOpensNoFolder()
{
    QFETCH(const int, function);
    const ConvertDesk desk(function);
    const QStringList before = shown(desk);
    {
        const CancelClicker cancel([](QProgressDialog&) { return true; });
        QCOMPARE(desk.press(u"Convert"_s), QStringList());
        QVERIFY(cancel.wasClicked());
    }
    QCOMPARE(filesBelow(desk.path(u"out"_s)), QStringList());
    QCOMPARE(desk.desktop.opened, QStringList());
    QCOMPARE(shown(desk), before);

    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(desk.desktop.opened.size(), 1);
}

/// A split waits for the rest of a take that is still being copied. Cancel hides its dialog at
/// once, but is checked with the next sample frame only: until then the window can be used.
void tst_ConvertCommand::anOutputIsNotOverwrittenWhileItIsWritten()
{
    FolderRecorder desktop;
    const WindowDesk desk;
    // So short a take shows its progress only with a RIFF size beyond its own.
    const QByteArray take = takeWith(2, stereoSamples()).replace(4, 4, le32(4000));
    desk.choose(PolyToMonoFunction);
    desk.dir.add(u"take.wav"_s, take.first(wavBytes({fmtChunk({}), dataChunk({})}).size() + 8));
    desk.list();
    desk.add({0});
    setOutput(desk, desk.dir.path());

    constexpr int allReadValue = g_outputStart + (8 + 4) + 8;
    MessageBoxAnswer boxes({QMessageBox::Yes, QMessageBox::Ok});
    bool isCancelled = false;
    QTimer person;
    connect(&person, &QTimer::timeout, &desk.window, [&] {
        auto* dialog = qobject_cast<QProgressDialog*>(QApplication::activeModalWidget());
        if (dialog && dialog->value() == allReadValue && !isCancelled) {
            clickButton(dialog, u"Cancel"_s);
            isCancelled = true;
        } else if (isCancelled) {
            person.stop();
            desk.dir.add(u"take.wav"_s, take);
            clickWhereSeen(desk, u"Convert"_s);
        }
    });
    person.start(0);
    clickButton(&desk.window, u"Convert"_s);
    QCOMPARE(WindowDesk::texts(boxes),
             QStringList({overwriteQuestion(u"take_01.wav"_s), errorText(ConvertFileOpen)}));
    QCOMPARE(desktop.opened, QStringList());
    QCOMPARE(filesBelow(desk.dir.path()), QStringList{u"take.wav"_s});

    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(desktop.opened.size(), 1);
    for (int channel = 1; channel <= 2; ++channel) {
        QCOMPARE(withoutDate(readFile(desk.path(u"take_0%1.wav"_s.arg(channel)))),
                 splitFile(sampleBytes(8, 2 + channel)));
    }
    QCOMPARE(readFile(desk.path(u"take.wav"_s)), take);
}

void tst_ConvertCommand::theThirdFunctionAlwaysOpensTheFolder_data()
{
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QStringList>("written");
    const QStringList both = {u"take_01_bwf.wav"_s, u"take_02_bwf.wav"_s};
    QTest::newRow("after a success") << Step([](const WindowDesk&) {}) << both;
    QTest::newRow("after the first source was gone")
        << Step([](const WindowDesk& desk) { QFile::remove(desk.path(u"rec/take_01.wav"_s)); })
        << QStringList();
    QTest::newRow("after the second source was gone")
        << Step([](const WindowDesk& desk) { QFile::remove(desk.path(u"rec/take_02.wav"_s)); })
        << both.first(1);
}

void tst_ConvertCommand::theThirdFunctionAlwaysOpensTheFolder()
{
    QFETCH(const Step, prepare);
    QFETCH(const QStringList, written);
    FolderRecorder desktop;
    const WindowDesk desk;
    // Without the odd chunk: this copy would take the pad byte for a chunk.
    const QByteArrayList chunks = {fmtChunk({}), dataChunk(sampleBytes(8))};
    desk.dir.addFolder(u"rec"_s);
    desk.dir.addFolder(u"out"_s);
    desk.dir.add(u"rec/take_01.wav"_s, wavBytes(chunks));
    desk.dir.add(u"rec/take_02.wav"_s, wavBytes(chunks));
    offerMoreFunctions(desk);
    desk.choose(PlainToBwfFunction);
    addAll(desk);
    setOutput(desk, desk.path(u"out"_s));
    prepare(desk);

    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(filesBelow(desk.path(u"out"_s)), written);
    const QByteArray expected = outputBytes(chunks, (8 + 16) + (8 + 8));
    for (const QString& name : written)
        QCOMPARE(withoutDate(readFile(desk.path(u"out/"_s + name))), expected);
    QCOMPARE(desktop.opened, QStringList{folderUrl(desk.path(u"out"_s))});
}

void tst_ConvertCommand::anyOtherFunctionOnlyOpensTheFolder()
{
    const ConvertDesk desk;
    offerMoreFunctions(desk);
    desk.choose(PlainToBwfFunction + 1);
    addAll(desk);
    setOutput(desk, desk.dir.addFolder(u"out"_s));
    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(filesBelow(desk.path(u"out"_s)), QStringList());
    QCOMPARE(desk.desktop.opened, QStringList{folderUrl(desk.path(u"out"_s))});
}

void tst_ConvertCommand::choosesTheCurrentDirectory()
{
    const WindowDesk desk;
    desk.dir.add(u"rec/take_01.wav"_s, takeWith(1, sampleBytes(8)));
    ChooserAnswer chooser(desk.path(u"rec"_s));
    clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
    QCOMPARE(chooser.seen.size(), 1);
    const SeenChooser seen = chooser.seen.first();
    QCOMPARE(seen.caption, g_chooseDirectory);
    QCOMPARE(seen.options, QFileDialog::Options(QFileDialog::ShowDirsOnly));
    QCOMPARE(seen.mode, QFileDialog::Directory);
    QCOMPARE(seen.parent, &desk.window);
    QCOMPARE(seen.directory, QDir::homePath());

    QLineEdit* edit = currentDirEdit(&desk.window);
    QCOMPARE(edit->text(), QDir::toNativeSeparators(desk.path(u"rec"_s)));
    QCOMPARE(edit->cursorPosition(), 0);
    QCOMPARE(edit->selectedText(), QString());
    QCOMPARE(columnTexts(desk.files, 0), QStringList{u"take_01.wav"_s});
    QCOMPARE(outputDirEdit(&desk.window)->text(), QString());

    // The same directory again may have other files.
    desk.dir.add(u"rec/take_02.wav"_s, takeWith(1, sampleBytes(8)));
    clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
    QCOMPARE(columnTexts(desk.files, 0), QStringList({u"take_01.wav"_s, u"take_02.wav"_s}));
}

void tst_ConvertCommand::aChosenDirectoryIsListedWithItsBoxes()
{
    const WindowDesk desk;
    MessageBoxAnswer boxes(QMessageBox::Ok);
    const ChooserAnswer chooser(desk.dir.path());
    clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
    QCOMPARE(WindowDesk::texts(boxes), QStringList{g_noWavFiles});
}

void tst_ConvertCommand::theFirstChooserOpensAtHomeTheNextAtTheListedDirectory_data()
{
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QString>("start"); // below the desk's directory; null for home
    const Step enterRec = [](const WindowDesk& desk) { desk.list(desk.path(u"rec"_s)); };
    QTest::newRow("nothing was listed") << Step([](const WindowDesk&) {}) << QString();
    QTest::newRow("a text was typed, not listed") << Step([](const WindowDesk& desk) {
        enterText(currentDirEdit(&desk.window), desk.path(u"rec"_s));
    }) << QString();
    QTest::newRow("a chooser was cancelled") << Step([](const WindowDesk& desk) {
        const ChooserAnswer cancel{QString()};
        clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
    }) << QString();
    QTest::newRow("an output directory was chosen") << Step([](const WindowDesk& desk) {
        const ChooserAnswer choose(desk.path(u"rec"_s));
        clickButton(findGroup(&desk.window, u"Source File"_s), u"Browse..."_s);
    }) << QString();
    QTest::newRow("a directory was entered") << enterRec << u"rec"_s;
    QTest::newRow("a directory was chosen") << Step([](const WindowDesk& desk) {
        const ChooserAnswer choose(desk.path(u"rec"_s));
        clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
    }) << u"rec"_s;
    QTest::newRow("a directory was entered, then a chooser cancelled")
        << Step([](const WindowDesk& desk) {
               desk.list(desk.path(u"rec"_s));
               const ChooserAnswer cancel{QString()};
               clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
           })
        << u"rec"_s;
    QTest::newRow("a directory was entered, then another one typed")
        << Step([](const WindowDesk& desk) {
               desk.list(desk.path(u"rec"_s));
               currentDirEdit(&desk.window)->setText(desk.path(u"other"_s));
           })
        << u"rec"_s;
    QTest::newRow("a directory was typed, then the function changed")
        << Step([](const WindowDesk& desk) {
               currentDirEdit(&desk.window)->setText(desk.path(u"other"_s));
               desk.choose(PolyToMonoFunction);
           })
        << u"other"_s;
    QTest::newRow("two directories were entered") << Step([](const WindowDesk& desk) {
        desk.list(desk.path(u"rec"_s));
        desk.list(desk.path(u"other"_s));
    }) << u"other"_s;
    QTest::newRow("a directory was entered, then one without a file")
        << Step([](const WindowDesk& desk) {
               desk.list(desk.path(u"rec"_s));
               desk.list(desk.path(u"other/empty"_s));
           })
        << u"other/empty"_s;
    // The toolkit goes up to the parent.
    QTest::newRow("a directory was entered, then a missing one")
        << Step([](const WindowDesk& desk) {
               desk.list(desk.path(u"rec"_s));
               desk.list(desk.path(u"other/missing"_s));
           })
        << u"other"_s;
}

void tst_ConvertCommand::theFirstChooserOpensAtHomeTheNextAtTheListedDirectory()
{
    QFETCH(const Step, prepare);
    QFETCH(const QString, start);
    const WindowDesk desk;
    desk.dir.addFolder(u"rec"_s);
    desk.dir.addFolder(u"other"_s);
    desk.dir.addFolder(u"other/empty"_s);
    desk.dir.add(u"rec/take_01.wav"_s, takeWith(1, sampleBytes(8)));
    desk.dir.add(u"other/take_01.wav"_s, takeWith(2, sampleBytes(8)));
    {
        const MessageBoxAnswer boxes(QList<QMessageBox::StandardButton>{});
        prepare(desk);
    }
    const ChooserAnswer chooser{QString()};
    clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
    QCOMPARE(chooser.seen.size(), 1);
    QCOMPARE(chooser.seen.first().directory, start.isNull() ? QDir::homePath() : desk.path(start));
}

void tst_ConvertCommand::anEmptyListedDirectoryIsNotHome_data()
{
    QTest::addColumn<Step>("prepare");
    QTest::newRow("Return in the empty field")
        << Step([](const WindowDesk& desk) { desk.list(QString()); });
    QTest::newRow("another function beside the empty field")
        << Step([](const WindowDesk& desk) { desk.choose(PolyToMonoFunction); });
    QTest::newRow("a directory first, then the empty field") << Step([](const WindowDesk& desk) {
        desk.list();
        currentDirEdit(&desk.window)->clear();
        QTest::keyClick(currentDirEdit(&desk.window), Qt::Key_Return);
    });
}

void tst_ConvertCommand::anEmptyListedDirectoryIsNotHome()
{
    QFETCH(const Step, prepare);
    const WindowDesk desk;
    const CurrentDirectory work(desk.dir.addFolder(u"work"_s));
    desk.dir.add(u"take_01.wav"_s, takeWith(1, sampleBytes(8)));
    prepare(desk);
    // A home that no chooser has shown yet: the toolkit would come back to it by itself.
    desk.dir.addFolder(u"home"_s);
    qputenv("HOME", desk.path(u"home"_s).toLocal8Bit());
    // Where the toolkit opens a chooser that is given no directory.
    const QString unguided = QFileDialog(nullptr, QString(), QString()).directory().path();
    QVERIFY(unguided != QDir::homePath());
    const ChooserAnswer chooser{QString()};
    clickButton(findGroup(&desk.window, u"File List"_s), u"Browse..."_s);
    QCOMPARE(chooser.seen.size(), 1);
    QCOMPARE(chooser.seen.first().directory, unguided);
}

void tst_ConvertCommand::theOutputChooserAlwaysOpensAtHome()
{
    const WindowDesk desk;
    desk.dir.addFolder(u"rec"_s);
    desk.dir.addFolder(u"out"_s);
    desk.dir.add(u"rec/take_01.wav"_s, takeWith(1, sampleBytes(8)));
    desk.list(desk.path(u"rec"_s));
    for (const QString& name : {u"out"_s, u"rec"_s}) {
        const ChooserAnswer chooser(desk.path(name));
        clickButton(findGroup(&desk.window, u"Source File"_s), u"Browse..."_s);
        QCOMPARE(chooser.seen.size(), 1);
        const SeenChooser seen = chooser.seen.first();
        QCOMPARE(seen.caption, g_chooseDirectory);
        QCOMPARE(seen.options, QFileDialog::Options(QFileDialog::ShowDirsOnly));
        QCOMPARE(seen.mode, QFileDialog::Directory);
        QCOMPARE(seen.parent, &desk.window);
        QCOMPARE(seen.directory, QDir::homePath());
        QLineEdit* edit = outputDirEdit(&desk.window);
        QCOMPARE(edit->text(), QDir::toNativeSeparators(desk.path(name)));
        QCOMPARE(edit->cursorPosition(), 0);
        QCOMPARE(currentDirEdit(&desk.window)->text(), desk.path(u"rec"_s));
        QCOMPARE(columnTexts(desk.files, 0), QStringList{u"take_01.wav"_s});
    }
}

void tst_ConvertCommand::aChosenOutputDirectoryIsUsed()
{
    const ConvertDesk desk;
    setOutput(desk, QString());
    {
        const ChooserAnswer chooser(desk.path(u"out"_s));
        clickButton(findGroup(&desk.window, u"Source File"_s), u"Browse..."_s);
    }
    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(filesBelow(desk.path(u"out"_s)), QStringList{u"take_combined.wav"_s});
    QCOMPARE(desk.desktop.opened, QStringList{folderUrl(desk.path(u"out"_s))});
}

void tst_ConvertCommand::aCancelledChooserChangesNothing_data()
{
    QTest::addColumn<QString>("group");
    QTest::newRow("the current directory") << u"File List"_s;
    QTest::newRow("the output directory") << u"Source File"_s;
}

void tst_ConvertCommand::aCancelledChooserChangesNothing()
{
    QFETCH(const QString, group);
    const ConvertDesk desk;
    setOutput(desk, u"somewhere"_s);
    currentDirEdit(&desk.window)->setText(u"elsewhere"_s);
    const QStringList before = shown(desk);
    const ChooserAnswer chooser{QString()};
    clickButton(findGroup(&desk.window, group), u"Browse..."_s);
    QCOMPARE(chooser.seen.size(), 1);
    QCOMPARE(shown(desk), before);
    QCOMPARE(currentDirEdit(&desk.window)->cursorPosition(), 9);
    QCOMPARE(outputDirEdit(&desk.window)->cursorPosition(), 9);
}

SPLICORA_TEST_MAIN(tst_ConvertCommand)
#include "tst_convertcommand.moc"
