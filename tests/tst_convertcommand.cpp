// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/chooseranswer.h"
#include "tests/support/conversionrequest.h"
#include "tests/support/folderrecorder.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QUrl>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Takes are more than samples: an odd chunk with its pad byte follows the data.
const QByteArray g_listChunk = paddedChunk("LIST", "INFO!");
const QByteArray g_threeChannels = sampleBytes(12, 5); // two frames of three samples

QByteArray takeWith(int channels, const QByteArray& samples)
{
    return wavBytes({fmtChunk({.channels = channels}), dataChunk(samples), g_listChunk});
}

QByteArray stereoTake()
{
    return takeWith(2, interleaved({sampleBytes(8, 3), sampleBytes(8, 4)}, 2));
}

/// A file that a split makes of takes. The stored size counts 4 bytes for both small bodies.
QByteArray splitFile(const QByteArray& samples)
{
    return outputBytes({fmtChunk({}), dataChunk(samples), g_listChunk},
                       (8 + 4) + (8 + samples.size()) + (8 + 4));
}

Files combinedFile(const QString& name, int firstSeed = 1, int secondSeed = 2)
{
    return {{name, outputBytes({fmtChunk({.channels = 2}),
                                dataChunk(interleaved(
                                    {sampleBytes(8, firstSeed), sampleBytes(8, secondSeed)}, 2)),
                                g_listChunk},
                               (8 + 16) + (8 + 16) + (8 + 6))}};
}

/// The URL of a folder, as a text. It is parsed: a number sign in the path starts a fragment, and
/// percent signs that encode nothing are taken for themselves.
QString folderUrl(const QString& path)
{
    return QUrl(u"file:///"_s + path).toString();
}

/// A desk with two takes in the folder "rec" as its sources, and the folder "out" to write to. The
/// desktop opens nothing.
struct ConvertDesk : WindowDesk
{
    explicit ConvertDesk(int function = MonoToPolyFunction)
        : WindowDesk(function)
    {
        if (function == PolyToMonoFunction)
            dir.add({{u"rec/one.wav"_s, stereoTake()},
                     {u"rec/two.wav"_s, takeWith(3, g_threeChannels)}});
        else if (function == MonoToPolyFunction)
            dir.add({{u"rec/take_01.wav"_s, takeWith(1, sampleBytes(8, 1))},
                     {u"rec/take_02.wav"_s, takeWith(1, sampleBytes(8, 2))}});
        else // without the odd chunk: a copy would take the pad byte for a chunk
            dir.add(
                {{u"rec/take_01.wav"_s, wavBytes({fmtChunk({}), dataChunk(sampleBytes(8, 1))})},
                 {u"rec/take_02.wav"_s, wavBytes({fmtChunk({}), dataChunk(sampleBytes(8, 2))})}});
        list(path(u"rec"_s));
        press(u"Add All"_s);
        if (sources->rowCount() != 2)
            qFatal("The takes did not become sources.");
        setOutput(dir.addFolder(u"out"_s));
    }

    void setCurrent(const QString& text) const { currentDirEdit(&window)->setText(text); }
    void setOutput(const QString& text) const { outputDirEdit(&window)->setText(text); }

    /// Everything that the window shows of files, sources and channels, and what can be pressed.
    QStringList shown() const
    {
        QStringList all = {currentDirEdit(&window)->text(), outputDirEdit(&window)->text(),
                           checkedChannels(), enabledChannels()};
        all += enabledButtons();
        for (const QTableWidget* table : {files, sources}) {
            for (int row = 0; row < table->rowCount(); ++row)
                all += rowTexts(table, row);
            all.append(QString::number(table->currentRow()));
        }
        return all;
    }

    FolderRecorder desktop;
};

/// A press of Convert as a test row: what is done before it, the answers, what comes of it.
struct Press
{
    int function = MonoToPolyFunction;
    QString output = u"DIR/out"_s; ///< in the field; DIR stands for the directory of the folders
    QString current = u"DIR/rec"_s; ///< typed after the listing, without Return
    std::function<void(ConvertDesk&)> prepare = {};
    WindowDesk::Answers answers = {};
    QStringList boxes = {};
    Files written = {};
    QStringList opened = {}; ///< folders
};

/// The window's texts for the fields, with the real directory.
QString inPlace(QString text, const WindowDesk& desk)
{
    return text.replace(u"DIR"_s, desk.dir.path());
}

/// Presses the "Browse..." of a group and types a path into the chooser, or cancels it.
/// Returns the directory at which the chooser opened.
QString browse(const WindowDesk& desk, const QString& group, const QString& path = {})
{
    const ChooserAnswer chooser(path);
    clickButton(findGroup(&desk.window, group), u"Browse..."_s);
    if (chooser.seen.size() != 1)
        return u"%1 choosers"_s.arg(chooser.seen.size());
    const SeenChooser seen = chooser.seen.first();
    if (seen.caption != g_chooseDirectory || seen.options != QFileDialog::ShowDirsOnly
        || seen.mode != QFileDialog::Directory || seen.parent != &desk.window)
        return u"another chooser, \"%1\", at "_s.arg(seen.caption) + seen.directory;
    return seen.directory;
}

const QString g_currentDir = u"File List"_s; // the group of the field
const QString g_outputDir = u"Source File"_s;

/// Clicks into the window where a button is, which a dialog in front of the window prevents.
void clickWhereSeen(const WindowDesk& desk, const QString& text)
{
    const QPushButton* button = findButton(&desk.window, text);
    QTest::mouseClick(desk.window.windowHandle(), Qt::LeftButton, {},
                      button->mapTo(&desk.window, button->rect().center()));
}

} // namespace

class tst_ConvertCommand : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_homeBefore = qgetenv("HOME"); }
    void cleanupTestCase() { qputenv("HOME", m_homeBefore); }

    void init()
    {
        qputenv("HOME", m_home.path().toLocal8Bit());
        QCOMPARE(QDir::homePath(), m_home.path());
    }

    void cleanup() { QVERIFY(!QApplication::activeModalWidget()); }

    void convert_data()
    {
        QTest::addColumn<Press>("press");
        const int split = PolyToMonoFunction;
        const int third = PlainToBwfFunction;
        const QString inOut = u"out/take_combined.wav"_s;
        const QString inRec = u"rec/take_combined.wav"_s;
        const WindowDesk::Answers yes = {QMessageBox::Yes};
        const QStringList asked = {g_directoryQuestion};
        const QString cannotOpen = errorText(ConvertFileOpen);
        const auto removed = [](const QString& name) {
            return [name](const ConvertDesk& desk) { QFile::remove(desk.path(name)); };
        };

        QTest::newRow("a combine, whatever source is selected")
            << Press{.prepare = [](ConvertDesk& desk) { selectRows(desk.sources, {1}); },
                     .written = combinedFile(inOut),
                     .opened = {u"DIR/out"_s}};
        QTest::newRow("a combine in the order of the source list")
            << Press{.prepare =
                         [](ConvertDesk& desk) {
                             desk.press(u"Remove All"_s);
                             desk.add({1});
                             desk.add({0});
                         },
                     .written = combinedFile(inOut, 2, 1),
                     .opened = {u"DIR/out"_s}};
        QTest::newRow("a split without the second channel of a source")
            << Press{.function = split,
                     .prepare =
                         [](ConvertDesk& desk) {
                             selectRows(desk.sources, {1});
                             desk.channelCheck(2)->click();
                         },
                     .written = {{u"out/one_01.wav"_s, splitFile(sampleBytes(8, 3))},
                                 {u"out/one_02.wav"_s, splitFile(sampleBytes(8, 4))},
                                 {u"out/two_01.wav"_s,
                                  splitFile(g_threeChannels.mid(0, 2) + g_threeChannels.mid(6, 2))},
                                 {u"out/two_03.wav"_s, splitFile(g_threeChannels.mid(4, 2)
                                                                 + g_threeChannels.mid(10, 2))}},
                     .opened = {u"DIR/out"_s}};

        const auto convertedBefore = [](ConvertDesk& desk) {
            desk.press(u"Convert"_s);
            desk.desktop.opened.clear();
            for (const QString& name : desk.dir.names().filter(u"out/"_s))
                desk.dir.add(name, "earlier");
        };
        QTest::newRow("a combine is repeated")
            << Press{.prepare = convertedBefore,
                     .answers = yes,
                     .boxes = {overwriteQuestion(u"take_combined.wav"_s, Conversion::Combine)},
                     .written = combinedFile(inOut),
                     .opened = {u"DIR/out"_s}};
        QTest::newRow("a split is not repeated")
            << Press{.function = split,
                     .prepare = convertedBefore,
                     .answers = {QMessageBox::Cancel},
                     .boxes = {overwriteQuestion(u"one_01.wav"_s)}};

        const auto folderRow = [&](const char* name, const QString& output, const QString& folder,
                                   const QString& opened) {
            QTest::newRow(name) << Press{.output = output,
                                         .written = combinedFile(folder + u"/take_combined.wav"_s),
                                         .opened = {opened}};
        };
        folderRow("a folder with a slash at the end", u"DIR/out/"_s, u"out"_s, u"DIR/out/"_s);
        folderRow("a folder with blanks in its name", u"DIR/o u t"_s, u"o u t"_s, u"DIR/o u t"_s);
        folderRow("a folder with the name of a take", u"DIR/o.wav"_s, u"o.wav"_s, u"DIR/o.wav"_s);
        folderRow("a number sign starts the fragment of the URL", u"DIR/out#1"_s, u"out#1"_s,
                  u"DIR/out#1"_s);
        folderRow("a lone percent sign is tolerated in the URL", u"DIR/50%"_s, u"50%"_s,
                  u"DIR/50%"_s);
        folderRow("a folder of the working directory", u"here"_s, u"work/here"_s, u"here"_s);
        folderRow("the parent of the working directory", u"../out"_s, u"out"_s, u"../out"_s);
        QTest::newRow("a folder, and no current directory")
            << Press{.current = {}, .written = combinedFile(inOut), .opened = {u"DIR/out"_s}};

        const auto missing = [&](const char* name, const QString& output) {
            QTest::newRow(name) << Press{.output = output,
                                         .answers = yes,
                                         .boxes = asked,
                                         .written = combinedFile(inRec),
                                         .opened = {u"DIR/rec"_s}};
        };
        missing("no text", {});
        missing("a missing folder", u"DIR/missing"_s);
        missing("a folder that only the listed directory has", u"inrec"_s);
        missing("a blank before the path", u" DIR/out"_s);
        missing("a blank after the path", u"DIR/out "_s);
        QTest::newRow("no text, and another current directory was typed since the listing")
            << Press{.output = {},
                     .current = u"DIR/out"_s,
                     .answers = yes,
                     .boxes = asked,
                     .written = combinedFile(inOut),
                     .opened = {u"DIR/out"_s}};
        QTest::newRow("no text, and a current directory from the working directory")
            << Press{.output = {},
                     .current = u"here"_s,
                     .answers = yes,
                     .boxes = asked,
                     .written = combinedFile(u"work/here/take_combined.wav"_s),
                     .opened = {u"here"_s}};
        QTest::newRow("no text in either field") << Press{.output = {},
                                                          .current = {},
                                                          .answers = yes,
                                                          .boxes = asked,
                                                          .written = combinedFile(inRec),
                                                          .opened = {QString()}};
        QTest::newRow("a missing folder and no current directory")
            << Press{.output = u"DIR/missing"_s,
                     .current = {},
                     .answers = yes,
                     .boxes = asked,
                     .written = combinedFile(inRec),
                     .opened = {QString()}};
        QTest::newRow("the question is answered with Escape")
            << Press{.output = {}, .answers = {QMessageBox::NoButton}, .boxes = asked};
        QTest::newRow("the question is answered with Cancel")
            << Press{.output = {}, .answers = {QMessageBox::Cancel}, .boxes = asked};
        QTest::newRow("the question is closed") << Press{
            .output = {},
            .prepare =
                [](ConvertDesk& desk) { desk.whenAsked = [](QMessageBox* box) { box->close(); }; },
            .boxes = asked};

        QTest::newRow("a combine into a regular file, which passes for a directory")
            << Press{.output = u"DIR/rec/take_01.wav"_s, .boxes = {cannotOpen}};
        QTest::newRow("a combine whose second source is gone")
            << Press{.prepare = removed(u"rec/take_02.wav"_s), .boxes = {cannotOpen}};
        QTest::newRow("a combine into a missing current directory")
            << Press{.output = {},
                     .current = u"DIR/missing"_s,
                     .answers = yes,
                     .boxes = {g_directoryQuestion, cannotOpen}};
        QTest::newRow("a split of a file that is none any more")
            << Press{.function = split,
                     .prepare = [](ConvertDesk& desk) { desk.dir.add(u"rec/one.wav"_s, "text"); },
                     .boxes = {errorText(ConvertIllegalFormat)},
                     .written = {{u"out/one_01.wav"_s, {}}}};
        QTest::newRow("a split whose last source is gone")
            << Press{.function = split,
                     .prepare = removed(u"rec/two.wav"_s),
                     .boxes = {cannotOpen},
                     .written = {{u"out/one_01.wav"_s, splitFile(sampleBytes(8, 3))},
                                 {u"out/one_02.wav"_s, splitFile(sampleBytes(8, 4))}}};

        const auto copied = [](int seed) {
            return outputBytes({fmtChunk({}), dataChunk(sampleBytes(8, seed))}, (8 + 16) + (8 + 8));
        };
        QTest::newRow("the third function opens the folder after a success")
            << Press{.function = third,
                     .written = {{u"out/take_01_bwf.wav"_s, copied(1)},
                                 {u"out/take_02_bwf.wav"_s, copied(2)}},
                     .opened = {u"DIR/out"_s}};
        QTest::newRow("the third function opens the folder when its first source is gone") << Press{
            .function = third, .prepare = removed(u"rec/take_01.wav"_s), .opened = {u"DIR/out"_s}};
        QTest::newRow("the third function opens the folder when its second source is gone")
            << Press{.function = third,
                     .prepare = removed(u"rec/take_02.wav"_s),
                     .written = {{u"out/take_01_bwf.wav"_s, copied(1)}},
                     .opened = {u"DIR/out"_s}};
        QTest::newRow("a fourth function opens the folder and does no more")
            << Press{.function = third + 1, .opened = {u"DIR/out"_s}};
    }

    void convert()
    {
        QFETCH(const Press, press);
        ConvertDesk desk(press.function);
        for (const QString& name :
             {u"o u t"_s, u"o.wav"_s, u"out#1"_s, u"50%"_s, u"work/here"_s, u"rec/inrec"_s})
            desk.dir.addFolder(name);
        const CurrentDirectory work(desk.path(u"work"_s));
        if (press.prepare)
            press.prepare(desk);
        desk.setOutput(inPlace(press.output, desk));
        desk.setCurrent(inPlace(press.current, desk));
        Files files = desk.dir.files();
        const QStringList before = desk.shown();

        QCOMPARE(desk.press(u"Convert"_s, press.answers), press.boxes);
        files.insert(press.written);
        QCOMPARE(differences(desk.dir.files(), files), QString());
        QStringList opened;
        for (const QString& folder : press.opened)
            opened.append(folderUrl(inPlace(folder, desk)));
        QCOMPARE(desk.desktop.opened, opened);
        QCOMPARE(desk.shown(), before);
    }

    // On this platform a dialog takes the keyboard, and nothing gives it back when the dialog is
    // gone.
    void theWindowHasTheKeyboardAfterwards()
    {
        const ConvertDesk desk;
        const ProgressWatch progress;
        desk.press(u"Convert"_s);
        QVERIFY(!progress.seen().isEmpty());
        QTRY_VERIFY(desk.window.isActiveWindow());
    }

    void actsOnAClickOnly()
    {
        const ConvertDesk desk;
        selectRows(desk.files, {0});
        selectRows(desk.sources, {0});
        const auto buttons = desk.window.findChildren<QPushButton*>();
        QCOMPARE(buttons.size(), 7);
        const QStringList before = desk.shown();
        for (QPushButton* button : buttons) {
            QVERIFY(button->isEnabled());
            QTest::mousePress(button, Qt::LeftButton);
            QCOMPARE(desk.shown(), before);
            QTest::mouseMove(button, QPoint(-50, -50));
            QVERIFY(!button->isDown());
            QTest::mouseRelease(button, Qt::LeftButton, {}, QPoint(-50, -50));
            QCOMPARE(desk.shown(), before);
        }
        QCOMPARE(desk.desktop.opened, QStringList());
    }

    void withoutSourcesNothingHappens()
    {
        ConvertDesk desk;
        desk.press(u"Remove All"_s);
        QCOMPARE(desk.boxesOf([&] { QVERIFY(QMetaObject::invokeMethod(&desk.window, "convert")); }),
                 QStringList());
        QCOMPARE(desk.desktop.opened, QStringList());
    }

    void aCancelledConversionOpensNoFolder_data()
    {
        QTest::addColumn<int>("function");
        QTest::newRow("a combine") << int(MonoToPolyFunction);
        QTest::newRow("a split") << int(PolyToMonoFunction);
    }

    void aCancelledConversionOpensNoFolder()
    {
        QFETCH(const int, function);
        const ConvertDesk desk(function);
        const QStringList before = desk.shown();
        const QStringList names = desk.dir.names();
        {
            const CancelClicker cancel([](QProgressDialog&) { return true; });
            QCOMPARE(desk.press(u"Convert"_s), QStringList());
            QVERIFY(cancel.wasClicked());
        }
        QCOMPARE(desk.dir.names(), names);
        QCOMPARE(desk.desktop.opened, QStringList());
        QCOMPARE(desk.shown(), before);

        QCOMPARE(desk.press(u"Convert"_s), QStringList());
        QCOMPARE(desk.desktop.opened.size(), 1);
    }

    /// A split waits for the rest of a take that is still being copied. Cancel hides its dialog at
    /// once, but is checked with the next sample frame only: until then the window can be used.
    void anOutputIsNotOverwrittenWhileItIsWritten()
    {
        FolderRecorder desktop;
        const WindowDesk desk(PolyToMonoFunction);
        // So short a take shows its progress only with a RIFF size beyond its own.
        const QByteArray take = stereoTake().replace(4, 4, le32(4000));
        desk.dir.add(u"take.wav"_s, take.first(g_sampleStart + 8));
        desk.list();
        desk.add({0});
        enterText(outputDirEdit(&desk.window), desk.dir.path());

        constexpr int allReadValue = g_outputStart + (8 + 4) + 8;
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
        QCOMPARE(desk.press(u"Convert"_s, {QMessageBox::Yes}),
                 QStringList({overwriteQuestion(u"take_01.wav"_s), errorText(ConvertFileOpen)}));
        QCOMPARE(desktop.opened, QStringList());
        Files expected = {{u"take.wav"_s, take}};
        QCOMPARE(differences(desk.dir.files(), expected), QString());

        QCOMPARE(desk.press(u"Convert"_s), QStringList());
        QCOMPARE(desktop.opened.size(), 1);
        expected[u"take_01.wav"_s] = splitFile(sampleBytes(8, 3));
        expected[u"take_02.wav"_s] = splitFile(sampleBytes(8, 4));
        QCOMPARE(differences(desk.dir.files(), expected), QString());
    }

    void aChosenDirectoryIsListed()
    {
        const ConvertDesk desk;
        desk.dir.addFolder(u"empty"_s);
        QCOMPARE(desk.boxesOf([&] { browse(desk, g_currentDir, desk.path(u"empty"_s)); }),
                 QStringList{g_noWavFiles});
        // The same directory again may have other files.
        desk.dir.add(u"empty/take_03.wav"_s, takeWith(1, sampleBytes(8)));
        browse(desk, g_currentDir, desk.path(u"empty"_s));
        QCOMPARE(desk.fileNames(), QStringList{u"take_03.wav"_s});
        const QLineEdit* edit = currentDirEdit(&desk.window);
        QCOMPARE(edit->text(), QDir::toNativeSeparators(desk.path(u"empty"_s)));
        QCOMPARE(edit->cursorPosition(), 0);
        QCOMPARE(edit->selectedText(), QString());
        QCOMPARE(outputDirEdit(&desk.window)->text(), desk.path(u"out"_s));
    }

    void theFirstChooserOpensAtHomeTheNextAtTheListedDirectory_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QString>("start"); // null for home, empty for where an empty text leads
        const auto row = [](const char* name, const QStringList& steps, const QString& start) {
            QTest::newRow(name) << steps << start;
        };
        const QString home;
        const QString nowhere = u""_s;
        row("nothing was listed", {}, home);
        row("a text was typed, not listed", {u"type rec"_s}, home);
        row("a chooser was cancelled", {u"cancel"_s}, home);
        row("an output directory was chosen", {u"output rec"_s}, home);
        row("a directory was entered", {u"enter rec"_s}, u"rec"_s);
        row("a directory was chosen", {u"choose rec"_s}, u"rec"_s);
        row("a directory was entered, then a chooser cancelled", {u"enter rec"_s, u"cancel"_s},
            u"rec"_s);
        row("a directory was entered, then another one typed", {u"enter rec"_s, u"type other"_s},
            u"rec"_s);
        row("a directory was typed, then the function changed", {u"type other"_s, u"function"_s},
            u"other"_s);
        row("two directories were entered", {u"enter rec"_s, u"enter other"_s}, u"other"_s);
        row("a directory was entered, then one without a file",
            {u"enter rec"_s, u"enter other/empty"_s}, u"other/empty"_s);
        // The toolkit goes up to the parent.
        row("a directory was entered, then a missing one",
            {u"enter rec"_s, u"enter other/missing"_s}, u"other"_s);
        row("Return in the empty field", {u"enter"_s}, nowhere);
        row("another function beside the empty field", {u"function"_s}, nowhere);
        row("a directory first, then the empty field", {u"enter rec"_s, u"enter"_s}, nowhere);
    }

    void theFirstChooserOpensAtHomeTheNextAtTheListedDirectory()
    {
        QFETCH(const QStringList, steps);
        QFETCH(const QString, start);
        const WindowDesk desk;
        desk.dir.add({{u"rec/take_01.wav"_s, takeWith(1, sampleBytes(8))},
                      {u"other/take_01.wav"_s, takeWith(2, sampleBytes(8))}});
        for (const QString& name : {u"other/empty"_s, u"work"_s, u"home"_s})
            desk.dir.addFolder(name);
        const CurrentDirectory work(desk.path(u"work"_s));
        for (const QString& step : steps) {
            const QString what = step.section(u' ', 0, 0);
            const QString name = step.section(u' ', 1);
            const QString path = name.isEmpty() ? QString() : desk.path(name);
            if (what == u"enter")
                desk.list(path);
            else if (what == u"type")
                enterText(currentDirEdit(&desk.window), path);
            else if (what == u"function")
                desk.choose(PolyToMonoFunction);
            else
                QVERIFY(QDir::isAbsolutePath(
                    browse(desk, what == u"output" ? g_outputDir : g_currentDir, path)));
        }
        // A home that no chooser has shown yet: the toolkit would come back to it by itself.
        qputenv("HOME", desk.path(u"home"_s).toLocal8Bit());
        // Where the toolkit opens a chooser that is given no directory.
        const QString unguided = QFileDialog(nullptr, QString(), QString()).directory().path();
        QVERIFY(unguided != QDir::homePath());
        QCOMPARE(browse(desk, g_currentDir), start.isNull()    ? QDir::homePath()
                                             : start.isEmpty() ? unguided
                                                               : desk.path(start));
    }

    void theOutputChooserAlwaysOpensAtHome()
    {
        const ConvertDesk desk;
        for (const QString& name : {u"out"_s, u"rec"_s}) {
            QCOMPARE(browse(desk, g_outputDir, desk.path(name)), QDir::homePath());
            const QLineEdit* edit = outputDirEdit(&desk.window);
            QCOMPARE(edit->text(), QDir::toNativeSeparators(desk.path(name)));
            QCOMPARE(edit->cursorPosition(), 0);
            QCOMPARE(currentDirEdit(&desk.window)->text(), desk.path(u"rec"_s));
            QCOMPARE(desk.sources->rowCount(), 2); // which a listing would empty
        }
    }

    void aCancelledChooserChangesNothing_data()
    {
        QTest::addColumn<QString>("group");
        QTest::newRow("the current directory") << g_currentDir;
        QTest::newRow("the output directory") << g_outputDir;
    }

    void aCancelledChooserChangesNothing()
    {
        QFETCH(const QString, group);
        const ConvertDesk desk;
        desk.setOutput(u"somewhere"_s);
        desk.setCurrent(u"elsewhere"_s);
        const QStringList before = desk.shown();
        QCOMPARE(browse(desk, group),
                 group == g_currentDir ? desk.path(u"rec"_s) : QDir::homePath());
        QCOMPARE(desk.shown(), before);
        QCOMPARE(currentDirEdit(&desk.window)->cursorPosition(), 9);
        QCOMPARE(outputDirEdit(&desk.window)->cursorPosition(), 9);
    }

private:
    TempDir m_home;
    QByteArray m_homeBefore;
};

SPLICORA_TEST_MAIN(tst_ConvertCommand)
#include "tst_convertcommand.moc"
