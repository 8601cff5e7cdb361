// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QAbstractItemView>
#include <QHeaderView>
#include <QSignalSpy>
#include <QToolTip>

#include <algorithm>
#include <cstdlib>

using namespace Qt::Literals::StringLiterals;

namespace {

Files equalFiles(int count)
{
    return letterFiles(QByteArrayList(count, smallWav()));
}

QList<int> upTo(int count)
{
    QList<int> rows;
    for (int row = 0; row < count; ++row)
        rows.append(row);
    return rows;
}

QList<int> selectedRows(const QTableWidget* table)
{
    QList<int> rows;
    const QModelIndexList selected = table->selectionModel()->selectedRows(0);
    for (const QModelIndex& index : selected)
        rows.append(index.row());
    return rows;
}

void doubleClick(QTableWidget* table, int row, int column,
                 Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    const QPoint at = table->visualItemRect(table->item(row, column)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers, at);
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, modifiers, at);
}

/// Counts the key presses that reach a widget.
class KeyCounter : public QObject
{
public:
    explicit KeyCounter(QWidget* widget) { widget->installEventFilter(this); }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::KeyPress)
            ++count;
        return QObject::eventFilter(watched, event);
    }

    int count = 0;
};

} // namespace

class tst_SourceList : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QVERIFY(!QApplication::activeModalWidget()); }

    void showsTheFactsOfASource_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QStringList>("facts");
        QTest::newRow("a mono file of 16 bits")
            << int(MonoToPolyFunction) << smallWav() << QStringList{u"1"_s, u"16"_s, u"48000"_s};
        QTest::newRow("the largest numbers that the fields hold")
            << int(PolyToMonoFunction)
            << wavBytes({fmtChunk({.channels = 65535, .bits = 65535, .rate = -1, .blockAlign = 4}),
                         dataChunk(sampleBytes(8))})
            << QStringList{u"65535"_s, u"65535"_s, u"4294967295"_s};
    }

    void showsTheFactsOfASource()
    {
        QFETCH(const int, function);
        QFETCH(const QByteArray, file);
        QFETCH(const QStringList, facts);
        const WindowDesk desk(function);
        desk.dir.add(u"take_01.wav"_s, file);
        QCOMPARE(desk.list(), QStringList());
        QCOMPARE(desk.add({0}), QStringList());

        const QString folder = QDir::toNativeSeparators(desk.dir.path());
        QCOMPARE(desk.sources->rowCount(), 1);
        QCOMPARE(rowTexts(desk.sources, 0),
                 QStringList{u"take_01.wav"_s} + facts + QStringList{folder});

        const int right = Qt::AlignRight | Qt::AlignVCenter;
        QCOMPARE(right, 0x82);
        const QVariantList alignments = {QVariant(), right, right, right, QVariant()};
        const QVariantList toolTips = {QVariant(), QVariant(), QVariant(), QVariant(), folder};
        for (int column = 0; column < 5; ++column) {
            const QTableWidgetItem* cell = desk.sources->item(0, column);
            QCOMPARE(cell->data(Qt::TextAlignmentRole), alignments[column]);
            QCOMPARE(cell->data(Qt::ToolTipRole), toolTips[column]);
        }
    }

    void namesASourceAsTheFileListDoes()
    {
        const WindowDesk desk(equalFiles(1));
        desk.files->item(0, 0)->setText(u"shown otherwise"_s);
        desk.add({0});
        QCOMPARE(desk.sourceNames(), QStringList{u"shown otherwise"_s});
    }

    void theTipOfAPathShowsItAsItIs_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("isOrdinary");
        QTest::newRow("blanks") << u"in a  path"_s << true;
        QTest::newRow("a sign of markup without an end") << u"a < b & c"_s << true;
        QTest::newRow("an entity alone") << u"a &amp; b"_s << true;
        QTest::newRow("a tag that is none") << u"<take>"_s << true;
        QTest::newRow("a tag after a line break") << u"a\n<b>"_s << true;
        QTest::newRow("a tag before a line break") << u"<b>a\n\nb"_s << false;
        QTest::newRow("tags, an entity and a picture")
            << u"html <b>bold<h1> &amp; <img src=x>"_s << false;
        QTest::newRow("a tag") << u"<b>x<i>"_s << false;
        QTest::newRow("a tag and several blanks") << u"  <b>  x  "_s << false;
        QTest::newRow("the sign of a tag as an entity") << u"a &lt;b> c"_s << false;
        QTest::newRow("a tag and quotes") << u"<u>\"'"_s << false;
        QTest::newRow("a tag longer than a screen is wide")
            << u"<b> "_s + u"x y "_s.repeated(60) << false;
    }

    void theTipOfAPathShowsItAsItIs()
    {
        QFETCH(const QString, folder);
        QFETCH(const bool, isOrdinary);
        const ExpectedMessages plugin(u"This plugin does not support raise"_s);
        const WindowDesk desk;
        desk.dir.add(folder + u"/a.wav"_s, smallWav());
        desk.list(desk.path(folder));
        desk.add({0});
        const QTableWidgetItem* cell = desk.sources->item(0, 4);
        const QString path = QDir::toNativeSeparators(desk.path(folder));
        QCOMPARE(cell->text(), path);
        if (isOrdinary)
            QCOMPARE(cell->data(Qt::ToolTipRole), QVariant(path));

        const QPoint at = desk.sources->visualItemRect(cell).topLeft() + QPoint(2, 2);
        QHelpEvent hover(QEvent::ToolTip, at, desk.sources->viewport()->mapToGlobal(at));
        QApplication::sendEvent(desk.sources->viewport(), &hover);
        const QWidgetList widgets = QApplication::topLevelWidgets();
        const auto tip = std::find_if(widgets.cbegin(), widgets.cend(), [](const QWidget* widget) {
            return widget->inherits("QTipLabel") && widget->isVisible();
        });
        QVERIFY(tip != widgets.cend());
        auto* label = qobject_cast<QLabel*>(*tip);
        QCOMPARE(readText(label), path);
        // As high as it is as plain text: on as many lines.
        const int height = label->sizeHint().height();
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(false);
        label->setText(path);
        QVERIFY(std::abs(label->sizeHint().height() - height) < label->fontMetrics().height() / 2);
        QToolTip::hideText();
    }

    void addsTheSelectionOrAll_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<Files>("files");
        QTest::addColumn<QList<int>>("before");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QList<int>>("selection");
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<QList<int>>("after");

        const int mono = MonoToPolyFunction;
        const int poly = PolyToMonoFunction;
        const QString add = u"Add"_s;
        const QString addAll = u"Add All"_s;
        const auto row = [](const char* name, int function, const Files& files,
                            const QList<int>& before, const QString& command,
                            const QList<int>& selection, const QStringList& boxes,
                            const QList<int>& after) {
            QTest::newRow(name) << function << files << before << command << selection << boxes
                                << after;
        };
        const QByteArray usual = smallWav();
        const QByteArray longer = smallWav({}, 5);

        row("one file", mono, equalFiles(2), {}, add, {1}, {}, {1});
        row("three files from bottom to top come in the order of their selection", mono,
            equalFiles(3), {}, add, {2, 1, 0}, {}, {2, 1, 0});
        row("files after others, which are at the positions of the selection", mono, equalFiles(4),
            {3, 2}, add, {0, 1}, {}, {3, 2, 0, 1});
        row("nothing selected and no source", mono, equalFiles(1), {}, add, {}, {}, {});
        row("nothing selected and eight sources", mono, equalFiles(8), upTo(8), add, {}, {},
            upTo(8));
        row("all of three files whatever is selected", mono, equalFiles(3), {}, addAll, {1}, {},
            upTo(3));
        row("all of three files after one of them", mono, equalFiles(3), {2}, addAll, {},
            {g_isSource}, {2, 0, 1});

        row("eight files at once", mono, equalFiles(9), {}, add, upTo(8), {}, upTo(8));
        row("nine files at once", mono, equalFiles(9), {}, add, upTo(9), {g_tooMany}, {});
        row("the eighth file", mono, equalFiles(8), upTo(7), add, {7}, {}, upTo(8));
        row("a ninth file", mono, equalFiles(9), upTo(8), add, {8}, {g_tooMany}, upTo(8));
        row("two files to seven sources of which one is a source", mono, equalFiles(8), upTo(7),
            add, {6, 7}, {g_tooMany}, upTo(7));
        row("all of eight files", mono, equalFiles(8), {}, addAll, {}, {}, upTo(8));
        row("all of nine files", mono, equalFiles(9), {}, addAll, {}, {g_tooMany}, {});
        row("all of six files to three sources that are among them", mono, equalFiles(6), upTo(3),
            addAll, {}, {g_tooMany}, upTo(3));
        row("all of four files to four sources that are the same", mono, equalFiles(4), upTo(4),
            addAll, {}, {g_isSource, g_isSource, g_isSource, g_isSource}, upTo(4));
        row("three files of which the middle one is a source", mono, equalFiles(3), {1}, add,
            upTo(3), {g_isSource}, {1, 0, 2});
        row("a multichannel file that is a source", poly,
            letterFiles(QByteArrayList(2, smallWav({.channels = 2}))), {0}, add, {0, 1},
            {g_isSource}, {0, 1});

        row("the second file is measured by the first source", mono,
            letterFiles({usual, smallWav({.bits = 24, .rate = 8000}), usual}), {1}, add, {0},
            {g_otherFormat}, {1});
        row("a longer file between two equal ones leaves a position past the end of the list", mono,
            letterFiles({usual, longer, usual}), {}, add, upTo(3), {g_otherFormat}, {0, 2});
        row("two longer files before an equal one leave positions past the end of the list", mono,
            letterFiles({usual, longer, longer, usual}), {}, addAll, {},
            {g_otherFormat, g_otherFormat}, {0, 3});
        row("other samples in a file of the same format", mono,
            letterFiles({usual, wavBytes({fmtChunk({}), dataChunk(sampleBytes(8, 7))})}), {0}, add,
            {1}, {}, {0, 1});
        row("the same samples in a file with a chunk more", mono,
            letterFiles({usual, wavBytes({bextWithoutDate(), usual.mid(g_riffHeaderSize)})}), {0},
            add, {1}, {g_otherFormat}, {0});
        row("a source, a longer file and an equal one are told apart in order", mono,
            letterFiles({usual, longer, usual, longer}), {0}, add, {1, 0, 2, 3},
            {g_otherFormat, g_isSource, g_otherFormat}, {0, 2});
        row("multichannel files of eight formats stand together", poly,
            letterFiles(
                {smallWav({.channels = 2}), smallWav({.channels = 3}),
                 smallWav({.channels = 2, .bits = 24}), smallWav({.channels = 2, .rate = 96000}),
                 smallWav({.channels = 8}), smallWav({.channels = 10}),
                 smallWav({.channels = 2, .bits = 32, .tag = 3}), smallWav({.channels = 2}, 99)}),
            {4, 0}, add, {1, 2, 3, 5, 6, 7}, {}, {4, 0, 1, 2, 3, 5, 6, 7});
        row("a ninth multichannel file", poly,
            letterFiles(QByteArrayList(9, smallWav({.channels = 2}))), upTo(8), add, {8},
            {g_tooMany}, upTo(8));
        row("files of two formats for a third function", PlainToBwfFunction,
            letterFiles({usual, smallWav({.channels = 2})}), {}, addAll, {}, {}, {0, 1});
    }

    void addsTheSelectionOrAll()
    {
        QFETCH(const int, function);
        QFETCH(const Files, files);
        QFETCH(const QList<int>, before);
        QFETCH(const QString, command);
        QFETCH(const QList<int>, selection);
        QFETCH(const QStringList, boxes);
        QFETCH(const QList<int>, after);
        WindowDesk desk(files, function);
        if (!before.isEmpty())
            QCOMPARE(desk.add(before), QStringList());
        QCOMPARE(desk.sourceNames(), letterNames(before));

        selectRows(desk.files, selection);
        QCOMPARE(selectedRows(desk.files), selection);
        const QStringList buttons = before.isEmpty() ? g_addButtons : g_allButtons;
        desk.whenAsked = [&](QMessageBox*) { QCOMPARE(desk.enabledButtons(), buttons); };
        QCOMPARE(desk.press(command), boxes);
        QCOMPARE(desk.sourceNames(), letterNames(after));
        const QString folder = QDir::toNativeSeparators(desk.dir.path());
        for (int row = 0; row < desk.sources->rowCount(); ++row) {
            QCOMPARE(desk.sources->item(row, 4)->text(), folder);
            QCOMPARE(desk.sources->item(row, 4)->toolTip(), folder);
            QCOMPARE(rowTexts(desk.sources, row).mid(1, 3),
                     rowTexts(desk.files, after[row]).mid(2, 3));
        }
        QCOMPARE(desk.enabledButtons(), after.isEmpty() ? g_addButtons : g_allButtons);
        QCOMPARE(desk.fileNames(), letterNames(upTo(int(files.size()))));
        QCOMPARE(selectedRows(desk.sources), QList<int>());
        QVERIFY(!desk.sources->currentIndex().isValid());
    }

    void refusesBeforeItTouchesTheButtons()
    {
        const WindowDesk desk(equalFiles(9));
        desk.add(upTo(8));
        findButton(&desk.window, u"Remove All"_s)->setEnabled(false);
        QCOMPARE(desk.add({8}), QStringList{g_tooMany});
        QVERIFY(!findButton(&desk.window, u"Remove All"_s)->isEnabled());
    }

    void measuresByTheFirstSourceWhateverFollows()
    {
        const QByteArray stereo = smallWav({.channels = 2});
        const QByteArray quad = smallWav({.channels = 4});
        const WindowDesk desk(letterFiles({stereo, quad, stereo, quad}), PolyToMonoFunction);
        desk.add({0, 1});
        // The function of the moment counts, not the one of the listing.
        desk.chooseUnlisted(MonoToPolyFunction);
        QCOMPARE(desk.add({2, 3}), QStringList{g_otherFormat});
        QCOMPARE(desk.sourceNames(), letterNames({0, 1, 2}));
    }

    void measuresByTheNewFirstSourceOnceTheOldOneIsRemoved()
    {
        const WindowDesk desk(letterFiles({smallWav(), smallWav({.bits = 24})}));
        desk.add({0});
        QCOMPARE(desk.add({1}), QStringList{g_otherFormat});
        desk.press(u"Remove All"_s);
        QCOMPARE(desk.add({1}), QStringList());
        QCOMPARE(desk.add({0}), QStringList{g_otherFormat});
        QCOMPARE(desk.sourceNames(), letterNames({1}));
    }

    void rowsAre20PixelsHighUntilTheyAreFitted()
    {
        WindowDesk desk(equalFiles(3));
        desk.add({1});
        int heightMeanwhile = -1;
        desk.whenAsked = [&](QMessageBox*) { heightMeanwhile = desk.sources->rowHeight(1); };
        QCOMPARE(desk.add({0, 1, 2}), QStringList{g_isSource});
        // The toolkit keeps every row as high as a line of its font needs.
        QCOMPARE(heightMeanwhile,
                 std::max(20, desk.sources->verticalHeader()->minimumSectionSize()));
    }

    void fitsTheColumnsAfterAddingNotAfterRemoving()
    {
        const WindowDesk desk;
        desk.dir.add(u"a.wav"_s, smallWav());
        desk.dir.add(u"b_take_with_a_rather_long_name.wav"_s, smallWav());
        const CurrentDirectory shortPath(desk.dir.path());
        desk.list(u"."_s);
        desk.add({0});
        const int narrow = desk.sources->columnWidth(0);
        desk.add({1});
        const int wide = desk.sources->columnWidth(0);
        QVERIFY(wide > narrow);
        QCOMPARE(desk.sources->horizontalHeader()->length(), desk.sources->viewport()->width());

        selectRows(desk.sources, {1});
        desk.press(u"Remove"_s);
        QCOMPARE(desk.sources->columnWidth(0), wide);
        desk.add({});
        QCOMPARE(desk.sources->columnWidth(0), narrow);
        QCOMPARE(desk.sources->horizontalHeader()->length(), desk.sources->viewport()->width());

        desk.add({1});
        desk.press(u"Remove All"_s);
        QCOMPARE(desk.sources->columnWidth(0), wide);
    }

    void addsByDoubleClick_data()
    {
        QTest::addColumn<QList<int>>("selectedBefore");
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("column");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QList<int>>("after");
        const Qt::KeyboardModifiers none = Qt::NoModifier;
        const Qt::KeyboardModifiers control = Qt::ControlModifier;
        QTest::newRow("on the name of a row") << QList<int>{} << 1 << 0 << none << QList<int>{1};
        QTest::newRow("on the size of a row") << QList<int>{} << 2 << 5 << none << QList<int>{2};
        QTest::newRow("on a row beside the selection takes the row alone")
            << QList<int>{0, 1} << 2 << 0 << none << QList<int>{2};
        QTest::newRow("on a row that stays selected with others takes them all")
            << QList<int>{0, 1} << 3 << 0 << control << QList<int>{0, 1, 3};
    }

    void addsByDoubleClick()
    {
        QFETCH(const QList<int>, selectedBefore);
        QFETCH(const int, row);
        QFETCH(const int, column);
        QFETCH(const Qt::KeyboardModifiers, modifiers);
        QFETCH(const QList<int>, after);
        const WindowDesk desk(equalFiles(4));
        selectRows(desk.files, selectedBefore);
        QCOMPARE(desk.boxesOf([&] { doubleClick(desk.files, row, column, modifiers); }),
                 QStringList());
        QCOMPARE(selectedRows(desk.files), after);
        QCOMPARE(desk.sourceNames(), letterNames(after));
        QCOMPARE(desk.enabledButtons(), g_allButtons);
    }

    void takesTheSelectionNotTheDoubleClickedCell()
    {
        const WindowDesk desk(equalFiles(3));
        selectRows(desk.files, {0, 2});
        emit desk.files->cellDoubleClicked(1, 3);
        QCOMPARE(desk.sourceNames(), letterNames({0, 2}));
    }

    void followsTheKeys_data()
    {
        QTest::addColumn<bool>("onFileList");
        QTest::addColumn<int>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<bool>("isRepeated");
        QTest::addColumn<QList<int>>("after");
        // Sources: a, b and c with a and c selected. Files: a to e with d and e selected.
        const QList<int> unchanged = {0, 1, 2};
        const QList<int> added = {0, 1, 2, 3, 4};
        const QList<int> removed = {1};
        const auto row = [](const char* name, bool onFileList, Qt::Key key,
                            Qt::KeyboardModifiers modifiers, const QList<int>& sources,
                            bool isRepeated = false) {
            QTest::newRow(name) << onFileList << int(key) << modifiers << isRepeated << sources;
        };
        row("Return on the file list", true, Qt::Key_Return, Qt::NoModifier, added);
        row("Return held down on the file list", true, Qt::Key_Return, Qt::NoModifier, added, true);
        row("Enter of the keypad on the file list", true, Qt::Key_Enter, Qt::KeypadModifier, added);
        row("Enter without the keypad on the file list", true, Qt::Key_Enter, Qt::NoModifier,
            added);
        row("Shift and Return on the file list", true, Qt::Key_Return, Qt::ShiftModifier, added);
        row("Ctrl and Return on the file list", true, Qt::Key_Return, Qt::ControlModifier, added);
        row("Alt and Enter on the file list", true, Qt::Key_Enter, Qt::AltModifier, added);
        row("Delete on the file list", true, Qt::Key_Delete, Qt::NoModifier, unchanged);
        row("Backspace on the file list", true, Qt::Key_Backspace, Qt::NoModifier, unchanged);
        row("Insert on the file list", true, Qt::Key_Insert, Qt::NoModifier, unchanged);
        row("Delete on the source list", false, Qt::Key_Delete, Qt::NoModifier, removed);
        row("Delete held down on the source list", false, Qt::Key_Delete, Qt::NoModifier, removed,
            true);
        row("Delete of the keypad on the source list", false, Qt::Key_Delete, Qt::KeypadModifier,
            removed);
        row("Shift and Delete on the source list", false, Qt::Key_Delete, Qt::ShiftModifier,
            removed);
        row("Ctrl and Delete on the source list", false, Qt::Key_Delete, Qt::ControlModifier,
            removed);
        row("Alt and Delete on the source list", false, Qt::Key_Delete, Qt::AltModifier, removed);
        row("Backspace on the source list", false, Qt::Key_Backspace, Qt::NoModifier, unchanged);
        row("Return on the source list", false, Qt::Key_Return, Qt::NoModifier, unchanged);
        row("Enter on the source list", false, Qt::Key_Enter, Qt::NoModifier, unchanged);
    }

    void followsTheKeys()
    {
        QFETCH(const bool, onFileList);
        QFETCH(const int, key);
        QFETCH(const Qt::KeyboardModifiers, modifiers);
        QFETCH(const bool, isRepeated);
        QFETCH(const QList<int>, after);
        const WindowDesk desk(equalFiles(5));
        desk.add({0, 1, 2});
        selectRows(desk.files, {3, 4});
        selectRows(desk.sources, {0, 2});
        QTableWidget* table = onFileList ? desk.files : desk.sources;
        QTest::keyRelease(table, Qt::Key(key), modifiers);
        QCOMPARE(desk.sourceNames(), letterNames({0, 1, 2}));

        // The table has the key as well, and leaves it to its parent.
        KeyCounter passedOn(table->parentWidget());
        const QSignalSpy activated(table, &QTableWidget::activated);
        QKeyEvent press(QEvent::KeyPress, key, modifiers, QString(), isRepeated);
        QCOMPARE(desk.boxesOf([&] { QCoreApplication::sendEvent(table, &press); }), QStringList());
        QCOMPARE(desk.sourceNames(), letterNames(after));
        QCOMPARE(desk.enabledButtons(), g_allButtons);
        QCOMPARE(passedOn.count, 1);
        QCOMPARE(activated.count(), key == Qt::Key_Return || key == Qt::Key_Enter ? 1 : 0);
    }

    void removesTheSelection_data()
    {
        QTest::addColumn<int>("sources");
        QTest::addColumn<QList<int>>("selection");
        QTest::addColumn<QList<int>>("after");
        QTest::newRow("nothing selected") << 2 << QList<int>{} << QList<int>{0, 1};
        QTest::newRow("the only source") << 1 << QList<int>{0} << QList<int>{};
        QTest::newRow("the last of three") << 3 << QList<int>{2} << QList<int>{0, 1};
        QTest::newRow("two apart, from top to bottom") << 4 << QList<int>{0, 2} << QList<int>{1, 3};
        // Row 0 goes first, so row 2 is then the fourth source.
        QTest::newRow("two apart, from bottom to top, hit a shifted row")
            << 4 << QList<int>{2, 0} << QList<int>{1, 2};
        QTest::newRow("two apart, from bottom to top, and the last row is gone by then")
            << 4 << QList<int>{3, 0} << QList<int>{1, 2, 3};
        // Row 1 goes, then row 2, which is the fourth source by then, then row 0.
        QTest::newRow("three, the middle one selected last")
            << 5 << QList<int>{0, 2, 1} << QList<int>{2, 4};
        QTest::newRow("eight, from bottom to top, leave every other one")
            << 8 << QList<int>{7, 6, 5, 4, 3, 2, 1, 0} << QList<int>{1, 3, 5, 7};
    }

    void removesTheSelection()
    {
        QFETCH(const int, sources);
        QFETCH(const QList<int>, selection);
        QFETCH(const QList<int>, after);
        const WindowDesk desk(equalFiles(sources));
        desk.add(upTo(sources));
        selectRows(desk.sources, selection);
        QCOMPARE(selectedRows(desk.sources), selection);
        QCOMPARE(desk.press(u"Remove"_s), QStringList());
        QCOMPARE(desk.sourceNames(), letterNames(after));
        QCOMPARE(desk.enabledButtons(), after.isEmpty() ? g_addButtons : g_allButtons);

        // The list behind the table lost the same files: they and no others can be added again.
        for (int row = 0; row < sources; ++row) {
            if (desk.sources->rowCount() < 8) {
                const QStringList boxes = desk.add({row});
                QCOMPARE(boxes, after.contains(row) ? QStringList{g_isSource} : QStringList());
            }
        }
    }

    void removeAllOnAnEmptyTableLeavesItsButtonsDisabled()
    {
        const WindowDesk desk(equalFiles(1));
        for (const QString& text : {u"Remove"_s, u"Remove All"_s, u"Convert"_s})
            findButton(&desk.window, text)->setEnabled(true);
        desk.press(u"Remove All"_s);
        QCOMPARE(desk.enabledButtons(), g_addButtons);
        QCOMPARE(desk.sources->rowCount(), 0);
    }

    void removeAllLeavesTheFileListUnsorted()
    {
        const WindowDesk desk(
            letterFiles({smallWav(), smallWav({.rate = 96000}), smallWav({.rate = 44100})}));
        desk.add({0});
        desk.press(u"Remove All"_s);
        const QHeaderView* header = desk.files->horizontalHeader();
        const int rate = 4;
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                          QPoint(header->sectionViewportPosition(rate) + 10, header->height() / 2));
        QCOMPARE(desk.fileNames(), letterNames({0, 1, 2}));
        QCOMPARE(desk.add({1}), QStringList());
        QCOMPARE(desk.sourceNames(), letterNames({1}));
        QCOMPARE(columnTexts(desk.sources, 3), QStringList{u"96000"_s});
    }

    void nothingIsRemovedWithoutASelectionModel()
    {
        const WindowDesk desk(equalFiles(2));
        desk.press(u"Add All"_s);
        delete desk.sources->selectionModel();
        desk.press(u"Remove"_s);
        QCOMPARE(desk.sourceNames(), letterNames({0, 1}));
        QCOMPARE(desk.enabledButtons(), g_allButtons);
    }

    void buttonsFollowEveryStep()
    {
        const WindowDesk desk(equalFiles(2));
        QCOMPARE(desk.enabledButtons(), g_addButtons);
        desk.add({0});
        QCOMPARE(desk.enabledButtons(), g_allButtons);
        desk.add({1});
        for (const QStringList& after : {g_allButtons, g_addButtons}) {
            selectRows(desk.sources, {0});
            desk.press(u"Remove"_s);
            QCOMPARE(desk.enabledButtons(), after);
        }
        desk.press(u"Add All"_s);
        QCOMPARE(desk.enabledButtons(), g_allButtons);
        desk.press(u"Remove All"_s);
        QCOMPARE(desk.enabledButtons(), g_addButtons);
        QCOMPARE(desk.sources->rowCount(), 0);
        QCOMPARE(desk.press(u"Add All"_s), QStringList());
        QCOMPARE(desk.sourceNames(), letterNames({0, 1}));
    }

    void theSameFunctionChosenAgainKeepsTheList()
    {
        const WindowDesk desk(equalFiles(2));
        desk.press(u"Add All"_s);
        QComboBox* combo = functionCombo(&desk.window);
        const ExpectedMessages popup(u"This plugin does not support "_s);
        const QSignalSpy chosen(combo, &QComboBox::activated);
        combo->showPopup();
        QTest::keyClick(combo->view(), Qt::Key_Return);
        QCOMPARE(chosen.count(), 1);
        QCOMPARE(desk.sourceNames(), letterNames({0, 1}));
    }

    void addingFromAnEmptiedFileListChangesNothing()
    {
        const WindowDesk desk(equalFiles(2));
        desk.press(u"Add All"_s);
        desk.list(desk.path(u"missing"_s));
        QCOMPARE(desk.files->rowCount(), 0);
        for (const QString& command : g_addButtons) {
            QCOMPARE(desk.press(command), QStringList());
            QCOMPARE(desk.sourceNames(), letterNames({0, 1}));
            QCOMPARE(desk.enabledButtons(), g_allButtons);
        }
    }

    void aListingWhileARefusalIsShown_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QList<int>>("selection");
        QTest::addColumn<QString>("directory"); // that is listed while the refusal is shown
        QTest::addColumn<QStringList>("boxes"); // of that listing
        QTest::addColumn<QStringList>("listed");
        QTest::addColumn<QStringList>("after"); // the sources
        const QStringList noDirectory = {g_noDirectory};
        const QStringList kept = {letterName(0)};
        for (const QString& command : g_addButtons) {
            const auto row = [&command](const char* name, const QString& directory,
                                        const QStringList& boxes, const QStringList& listed,
                                        const QStringList& after) {
                QTest::addRow("%s: %s", qPrintable(command), name)
                    << command << upTo(4) << directory << boxes << listed << after;
            };
            row("a missing directory leaves nothing to add", u"missing"_s, noDirectory, {}, kept);
            row("a directory of two files leaves the second", u"two"_s, {},
                {u"x.wav"_s, u"y.wav"_s}, {u"y.wav"_s});
            row("the same directory leaves the other files", u"."_s, {}, letterNames({0, 1, 2, 3}),
                letterNames({1, 2, 3}));
        }
        QTest::newRow("Add: a row that is gone ends it, whatever was selected after it")
            << u"Add"_s << QList<int>{0, 3, 1} << u"two"_s << QStringList()
            << QStringList{u"x.wav"_s, u"y.wav"_s} << QStringList();
    }

    /// The first of four files is a source already, so that its refusal comes before the others.
    void aListingWhileARefusalIsShown()
    {
        QFETCH(const QString, command);
        QFETCH(const QList<int>, selection);
        QFETCH(const QString, directory);
        QFETCH(const QStringList, boxes);
        QFETCH(const QStringList, listed);
        QFETCH(const QStringList, after);
        WindowDesk desk(equalFiles(4));
        desk.dir.add({{u"two/x.wav"_s, smallWav()}, {u"two/y.wav"_s, smallWav()}});
        desk.add({0});
        selectRows(desk.files, selection);
        currentDirEdit(&desk.window)->setText(desk.path(directory));

        QStringList boxesOfListing;
        desk.whenAsked = [&](QMessageBox*) {
            desk.whenAsked = nullptr;
            boxesOfListing = desk.boxesOf(
                [&] { QVERIFY(QMetaObject::invokeMethod(&desk.window, "showFileList")); });
        };
        QCOMPARE(desk.press(command), QStringList{g_isSource});
        QCOMPARE(boxesOfListing, boxes);
        QCOMPARE(desk.fileNames(), listed);
        QCOMPARE(desk.sourceNames(), after);
        const QStringList folders = columnTexts(desk.sources, 4);
        const QString folder = after == QStringList{letterName(0)}
                                   ? desk.dir.path()
                                   : QDir(desk.path(directory)).path();
        QCOMPARE(folders, QStringList(after.size(), folder));
        QCOMPARE(desk.enabledButtons(), after.isEmpty() ? g_addButtons : g_allButtons);
    }
};

SPLICORA_TEST_MAIN(tst_SourceList)
#include "tst_sourcelist.moc"
