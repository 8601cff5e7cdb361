// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/chooseranswer.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QMenuBar>
#include <QTranslator>

using namespace Qt::Literals::StringLiterals;

class tst_Translation : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QVERIFY(!QApplication::activeModalWidget()); }
    void menusAreTranslated();
    void theFrameIsPlain();
    void textsOfBoxes_data();
    void textsOfBoxes();
    void titlesOfBoxesArePlain();
    void theProgressIsPlain();
    void theCaptionOfTheChooserIsTranslated_data();
    void theCaptionOfTheChooserIsTranslated();
};

namespace {

QString translated(const QString& text)
{
    return u"«"_s + text + u"»"_s;
}

/// Marks every text that is translated for the window's class, and tells of a text that is
/// translated for another class. The toolkit's own texts stay as they are.
class MarkingTranslator : public QTranslator
{
public:
    MarkingTranslator() { QCoreApplication::installTranslator(this); }
    ~MarkingTranslator() override { QCoreApplication::removeTranslator(this); }
    Q_DISABLE_COPY_MOVE(MarkingTranslator)

    bool isEmpty() const override { return false; }

    QString translate(const char* context, const char* sourceText, const char*, int) const override
    {
        const QByteArray name = context;
        if (name == "CMainWindow")
            return translated(QString::fromUtf8(sourceText));
        const bool isToolkit = name.startsWith('Q') && name != "QObject";
        return isToolkit ? QString() : u"translated elsewhere"_s;
    }
};

template <typename Widget, typename Says>
QStringList textsOf(const QWidget* within, Says says)
{
    QStringList texts;
    const auto widgets = within->findChildren<Widget*>();
    for (const Widget* widget : widgets)
        texts.append(says(widget));
    texts.removeAll(QString());
    texts.removeDuplicates();
    texts.sort();
    return texts;
}

QStringList headerTexts(const QTableWidget* table)
{
    QStringList texts;
    for (int column = 0; column < table->columnCount(); ++column)
        texts.append(table->horizontalHeaderItem(column)->text());
    return texts;
}

/// Two equal mono files, one that is longer and one of two channels.
void writeTakes(const WindowDesk& desk)
{
    desk.dir.add(u"a_01.wav"_s, smallWav());
    desk.dir.add(u"a_02.wav"_s, smallWav());
    desk.dir.add(u"b.wav"_s, smallWav({}, 5));
    desk.dir.add(u"poly.wav"_s, smallWav({.channels = 2}));
}

/// Lists the takes and makes the two equal mono files sources.
void addTakes(const WindowDesk& desk)
{
    writeTakes(desk);
    desk.list();
    desk.add({0, 1});
}

/// Brings up boxes. Returns their texts; all were closed.
using Boxes = QStringList (*)(const WindowDesk& desk);

void showAbout(const WindowDesk& desk)
{
    const QList<QAction*> menus = desk.window.findChild<QMenuBar*>()->actions();
    menus.last()->menu()->actions().first()->trigger();
}

QStringList convertInto(const WindowDesk& desk, const QString& outputDir)
{
    addTakes(desk);
    outputDirEdit(&desk.window)->setText(outputDir);
    return desk.press(u"Convert"_s);
}

} // namespace

Q_DECLARE_METATYPE(Boxes)

void tst_Translation::menusAreTranslated()
{
    const MarkingTranslator translator;
    const CMainWindow window;
    QStringList texts;
    const QList<QAction*> menus = window.findChild<QMenuBar*>()->actions();
    for (const QAction* menu : menus) {
        texts.append(menu->text());
        const QList<QAction*> entries = menu->menu()->actions();
        for (const QAction* entry : entries)
            texts.append(entry->text());
    }
    QCOMPARE(texts, QStringList({translated(u"&File"_s), translated(u"Quit"_s),
                                 translated(u"&About"_s), translated(u"About"_s)}));
}

void tst_Translation::theFrameIsPlain()
{
    const MarkingTranslator translator;
    const CMainWindow window;
    QCOMPARE(window.windowTitle(), u"Splicora"_s);
    QCOMPARE(textsOf<QLabel>(&window, [](const QLabel* label) { return label->text(); }),
             QStringList({u"Current Dir:"_s, u"Function:"_s, u"Output to:"_s}));
    QCOMPARE(
        textsOf<QPushButton>(&window, [](const QPushButton* button) { return button->text(); }),
        QStringList(
            {u"Add"_s, u"Add All"_s, u"Browse..."_s, u"Convert"_s, u"Remove"_s, u"Remove All"_s}));
    QCOMPARE(textsOf<QGroupBox>(&window, [](const QGroupBox* group) { return group->title(); }),
             QStringList({u"File List"_s, u"Source File"_s}));
    QCOMPARE(textsOf<QCheckBox>(&window, [](const QCheckBox* check) { return check->text(); }),
             QStringList(
                 {u"Ch1"_s, u"Ch2"_s, u"Ch3"_s, u"Ch4"_s, u"Ch5"_s, u"Ch6"_s, u"Ch7"_s, u"Ch8"_s}));
    const QComboBox* combo = functionCombo(&window);
    QCOMPARE(QStringList({combo->itemText(0), combo->itemText(1)}),
             QStringList({u"Mono to Poly"_s, u"Poly to Mono"_s}));
    QCOMPARE(headerTexts(fileTable(&window)),
             QStringList({u"File Name"_s, u"Type"_s, u"Ch"_s, u"Bit"_s, u"Fs (Hz)"_s, u"Size"_s}));
    QCOMPARE(headerTexts(sourceTable(&window)),
             QStringList({u"File Name"_s, u"Ch"_s, u"Bit"_s, u"Fs (Hz)"_s, u"Path"_s}));
}

void tst_Translation::textsOfBoxes_data()
{
    QTest::addColumn<Boxes>("boxes");
    QTest::addColumn<QStringList>("texts");

    QTest::newRow("a missing directory is translated")
        << Boxes([](const WindowDesk& desk) { return desk.list(desk.path(u"gone"_s)); })
        << QStringList{translated(u"The directory does not exist."_s)};
    QTest::newRow("a directory without files is translated")
        << Boxes([](const WindowDesk& desk) { return desk.list(); })
        << QStringList{translated(u"No wav files found."_s)};
    QTest::newRow("the start of the unreadable files is translated, their names are not")
        << Boxes([](const WindowDesk& desk) {
               desk.dir.add(u"About.wav"_s, {});
               desk.dir.add(u"mono.wav"_s, smallWav());
               return desk.list();
           })
        << QStringList{translated(u"Can not read following files.\n\n"_s) + u"About.wav\n"_s};
    QTest::newRow("no mono files is plain") << Boxes([](const WindowDesk& desk) {
        desk.dir.add(u"poly.wav"_s, smallWav({.channels = 2}));
        return desk.list();
    }) << QStringList{u"Can not find any mono files."_s};
    QTest::newRow("no poly files is plain") << Boxes([](const WindowDesk& desk) {
        desk.dir.add(u"mono.wav"_s, smallWav());
        desk.list();
        return desk.choose(PolyToMonoFunction);
    }) << QStringList{u"Can not find any poly files."_s};

    QTest::newRow("too many sources is translated") << Boxes([](const WindowDesk& desk) {
        for (int i = 0; i < 9; ++i)
            desk.dir.add(letterName(i), smallWav());
        desk.list();
        return desk.press(u"Add All"_s);
    }) << QStringList{translated(u"Can not add to source more than 8 files."_s)};
    QTest::newRow("a file that is a source already is translated")
        << Boxes([](const WindowDesk& desk) {
               addTakes(desk);
               return desk.add({0});
           })
        << QStringList{translated(u"The file already exists on source."_s)};
    QTest::newRow("a file of another format is translated") << Boxes([](const WindowDesk& desk) {
        addTakes(desk);
        return desk.add({2});
    }) << QStringList{translated(u"Can not add to source due to different format."_s)};

    QTest::newRow("the question for the output directory is translated in three parts")
        << Boxes([](const WindowDesk& desk) { return convertInto(desk, QString()); })
        << QStringList{translated(u"Output directory does not exist.\n"_s)
                       + translated(u"The converted files will appear in the same directory "
                                    u"as the originals.\n"_s)
                       + u'\n' + translated(u"Click Yes to proceed."_s)};
    QTest::newRow("the About box is plain")
        << Boxes([](const WindowDesk& desk) {
               MessageBoxAnswer answer(QMessageBox::Ok);
               showAbout(desk);
               return WindowDesk::texts(answer);
           })
        << QStringList{u"Splicora - Ver.1.00 Build 137085\n\nCopyright (C) 2026 VELMAR\n"
                       u"All rights reserved."_s};

    QTest::newRow("the question before a combine overwrites is plain")
        << Boxes([](const WindowDesk& desk) {
               desk.dir.add(u"a_combined.wav"_s, "old");
               return convertInto(desk, desk.dir.path());
           })
        << QStringList{u"Output file already exists.\n\na_combined.wav\n\n"
                       u"Do you want to overwrite?"_s};
    QTest::newRow("the question before a split overwrites is plain")
        << Boxes([](const WindowDesk& desk) {
               writeTakes(desk);
               desk.dir.add(u"poly_01.wav"_s, "old");
               functionCombo(&desk.window)->setCurrentIndex(PolyToMonoFunction);
               desk.list();
               desk.add({0});
               outputDirEdit(&desk.window)->setText(desk.dir.path());
               return desk.press(u"Convert"_s);
           })
        << QStringList{u"Output file already exists.\npoly_01.wav\n\n"
                       u"Do you want to overwrite?"_s};
    QTest::newRow("the box of a failed conversion is plain")
        << Boxes([](const WindowDesk& desk) { return convertInto(desk, desk.path(u"a_01.wav"_s)); })
        << QStringList{u"An error occurred during a convert operation.\n\n"
                       u"Can not open file."_s};
}

void tst_Translation::textsOfBoxes()
{
    QFETCH(const Boxes, boxes);
    QFETCH(const QStringList, texts);
    const MarkingTranslator translator;
    const WindowDesk desk;
    QCOMPARE(boxes(desk), texts);
}

void tst_Translation::titlesOfBoxesArePlain()
{
    const MarkingTranslator translator;
    const WindowDesk desk;
    addTakes(desk);
    outputDirEdit(&desk.window)->clear();
    MessageBoxAnswer answer(QList<QMessageBox::StandardButton>{});
    clickButton(&desk.window, u"Convert"_s);
    showAbout(desk);
    currentDirEdit(&desk.window)->setText(desk.path(u"gone"_s));
    QTest::keyClick(currentDirEdit(&desk.window), Qt::Key_Return);
    QCOMPARE(answer.boxes().size(), 3);
    for (const SeenBox& box : answer.boxes())
        QCOMPARE(box.title, u"Splicora"_s);
}

void tst_Translation::theProgressIsPlain()
{
    const MarkingTranslator translator;
    const WindowDesk desk;
    addTakes(desk);
    outputDirEdit(&desk.window)->setText(desk.dir.path());
    QStringList seen;
    const CancelClicker cancel([&seen](QProgressDialog& dialog) {
        seen = {dialog.labelText(), dialog.findChild<QPushButton*>()->text()};
        return true; // so that no folder is opened
    });
    QCOMPARE(desk.press(u"Convert"_s), QStringList());
    QCOMPARE(seen, QStringList({u"Converting...\na_combined.wav"_s, u"Cancel"_s}));
}

void tst_Translation::theCaptionOfTheChooserIsTranslated_data()
{
    QTest::addColumn<QString>("group");
    QTest::newRow("for the current directory") << u"File List"_s;
    QTest::newRow("for the output directory") << u"Source File"_s;
}

void tst_Translation::theCaptionOfTheChooserIsTranslated()
{
    QFETCH(const QString, group);
    const MarkingTranslator translator;
    const WindowDesk desk;
    const ChooserAnswer cancel{QString()};
    clickButton(findGroup(&desk.window, group), u"Browse..."_s);
    QCOMPARE(cancel.seen.size(), 1);
    QCOMPARE(cancel.seen.first().caption, translated(u"Choose directory."_s));
}

SPLICORA_TEST_MAIN(tst_Translation)
#include "tst_translation.moc"
