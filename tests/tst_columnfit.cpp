// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"
#include "ui/filetable.h"

#include <QHeaderView>
#include <QScrollBar>
#include <QtTest>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

class tst_ColumnFit : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void firstShow_data();
    void firstShow();
    void lists_data();
    void lists();
    void sources_data();
    void sources();
    void windowSizes_data();
    void windowSizes();
    void sizesOfAHiddenWindow();
    void growingNames_data();
    void growingNames();
    void growingWindow_data();
    void growingWindow();
    void draggedColumns_data();
    void draggedColumns();
    void cutTextsFillTheirCells_data();
    void cutTextsFillTheirCells();
    void tooNarrowTablesKeepTheirContents();
    void nothingIsLeftForTheFillColumn();
    void columnsFitBeforeTheWindowIsShown();
    void tableWithoutColumns_data();
    void tableWithoutColumns();

private:
    QString directory(int files, bool longNames);

    const QFont m_ownFont = QApplication::font();
    TempDir m_dir;
};

namespace {

/// Two default fonts that differ in everything that widths depend on.
const QList<std::pair<QString, QFont>>& defaultFonts()
{
    static const QList<std::pair<QString, QFont>> fonts = {
        {u"a small sans serif"_s, QFont(u"DejaVu Sans"_s, 8)},
        {u"a large monospace"_s, QFont(u"DejaVu Sans Mono"_s, 15)},
    };
    return fonts;
}

/// Lets everything happen that the toolkit put off.
void rest()
{
    for (int round = 0; round < 20; ++round)
        QCoreApplication::processEvents();
}

enum class Fit {
    ToTheContents, // of now
    ToEarlierContents, // which may have been wider: taking rows out fits nothing
};

/// What is wrong with the columns and the scroll bar of a table as it is on the screen.
QStringList faults(const QTableWidget* table, int fillColumn, Fit fit)
{
    const QHeaderView* header = table->horizontalHeader();
    const int width = table->viewport()->width();
    QStringList found;
    int others = 0;
    for (int column = 0; column < table->columnCount(); ++column) {
        if (column == fillColumn)
            continue;
        others += table->columnWidth(column);
        const int surplus = table->columnWidth(column) - contentWidth(table, column);
        if (surplus < 0 || (surplus > 0 && fit == Fit::ToTheContents)) {
            found.append(u"%1 has %2 instead of %3 pixels"_s.arg(
                table->horizontalHeaderItem(column)->text(),
                QString::number(table->columnWidth(column)),
                QString::number(contentWidth(table, column))));
        }
    }
    const int fillWidth = others < width ? std::max(width - others, header->minimumSectionSize())
                                         : contentWidth(table, fillColumn);
    const int surplus = table->columnWidth(fillColumn) - fillWidth;
    if (surplus < 0 || (surplus > 0 && (others < width || fit == Fit::ToTheContents))) {
        found.append(u"%1 has %2 instead of %3 pixels"_s.arg(
            table->horizontalHeaderItem(fillColumn)->text(),
            QString::number(table->columnWidth(fillColumn)), QString::number(fillWidth)));
    }
    if (table->horizontalScrollBar()->isVisible() != (header->length() > width))
        found.append(u"columns of %1 in %2 pixels"_s.arg(header->length()).arg(width));
    return found;
}

/// The faults of both tables once nothing moves any more.
QString faults(const CMainWindow& window, Fit sources = Fit::ToTheContents)
{
    rest();
    const QStringList found =
        faults(fileTable(&window), FileListColumn::FileName, Fit::ToTheContents)
        + faults(sourceTable(&window), SourceColumn::Path, sources);
    return found.join(u", "_s);
}

/// Which of the two tables are wider than what is seen of them: a digit each, '1' for too wide.
QString tooWide(const CMainWindow& window)
{
    QString digits;
    for (const QTableWidget* table : {fileTable(&window), sourceTable(&window)})
        digits += table->horizontalScrollBar()->isVisible() ? u'1' : u'0';
    return digits;
}

void setFontHeight(QTableWidget* table, int pixels)
{
    QFont font = table->font();
    font.setPixelSize(pixels);
    table->setFont(font);
}

/// The pixels from the left of a cell to the end of what is painted in it.
qreal paintedWidth(QTableWidget* table, int row, int column)
{
    const QRect cell = table->visualItemRect(table->item(row, column)).adjusted(2, 2, -2, -2);
    const QImage image = table->viewport()->grab(cell).toImage();
    int end = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = end; x < image.width(); ++x) {
            if (image.pixel(x, y) != image.pixel(0, 0))
                end = x + 1;
        }
    }
    return end / image.devicePixelRatio();
}

QByteArray monoFile()
{
    return smallWav({}, 50'000);
}

QString longName(int number)
{
    return u"a take whose name is longer than any table is wide "_s.repeated(8)
           + QString::number(number);
}

} // namespace

void tst_ColumnFit::cleanup()
{
    QApplication::setFont(m_ownFont);
}

/// A directory with so many files.
QString tst_ColumnFit::directory(int files, bool longNames)
{
    const QString name = (longNames ? u"long names %1"_s : u"short names %1"_s).arg(files);
    const QString folder = name + u"/in a path that is not narrow"_s;
    if (!QFile::exists(m_dir.path(folder))) {
        m_dir.addFolder(folder);
        const QByteArray bytes = monoFile();
        for (int number = 1; number <= files; ++number) {
            const QString base = longNames ? longName(number) : u"take_%1"_s.arg(number);
            m_dir.add(folder + u'/' + base.right(200) + u".wav"_s, bytes);
        }
    }
    return m_dir.path(folder);
}

void tst_ColumnFit::firstShow_data()
{
    QTest::addColumn<QFont>("font");
    for (const auto& [name, font] : defaultFonts())
        QTest::addRow("first show in %s", qPrintable(name)) << font;
}

void tst_ColumnFit::firstShow()
{
    QFETCH(QFont, font);

    QApplication::setFont(font);
    CMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(faults(window), QString());
}

void tst_ColumnFit::lists_data()
{
    QTest::addColumn<QFont>("font");
    QTest::addColumn<QList<int>>("counts");
    QTest::addColumn<bool>("longNames");

    const QList<QList<int>> lists = {{0},     {1},     {5},       {60},       {1000},
                                     {60, 1}, {1, 60}, {1000, 0}, {0, 60, 0}, {5, 1000, 60, 5}};
    for (const auto& [name, font] : defaultFonts()) {
        for (const bool longNames : {false, true}) {
            for (const QList<int>& counts : lists) {
                if (longNames && counts.contains(1000))
                    continue; // which takes long and differs from 60 in nothing but the time
                QStringList words;
                for (const int count : counts)
                    words.append(QString::number(count));
                QTest::addRow("%s %s files in %s", qPrintable(words.join(u", then "_s)),
                              longNames ? "long-named" : "short-named", qPrintable(name))
                    << font << counts << longNames;
            }
        }
    }
}

void tst_ColumnFit::lists()
{
    QFETCH(QFont, font);
    QFETCH(QList<int>, counts);
    QFETCH(bool, longNames);

    QApplication::setFont(font);
    CMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    for (const int count : counts) {
        MessageBoxAnswer answer(QList<QMessageBox::StandardButton>{});
        enterDirectory(&window, directory(count, longNames));
        QCOMPARE(fileTable(&window)->rowCount(), count);
        QCOMPARE(faults(window), QString());
        QCOMPARE(fileTable(&window)->verticalScrollBar()->value(), 0);
    }
}

void tst_ColumnFit::sources_data()
{
    QTest::addColumn<QFont>("font");
    QTest::addColumn<bool>("longNames");

    for (const auto& [name, font] : defaultFonts()) {
        QTest::addRow("short-named sources in %s", qPrintable(name)) << font << false;
        QTest::addRow("long-named sources in %s", qPrintable(name)) << font << true;
    }
}

void tst_ColumnFit::sources()
{
    QFETCH(QFont, font);
    QFETCH(bool, longNames);

    QApplication::setFont(font);
    CMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    enterDirectory(&window, directory(8, longNames));
    for (int count = 1; count <= 8; ++count) {
        fileTable(&window)->selectRow(count - 1);
        clickButton(&window, u"Add"_s);
        QCOMPARE(sourceTable(&window)->rowCount(), count);
        QCOMPARE(faults(window), QString());
    }
    for (int count = 7; count >= 0; --count) {
        sourceTable(&window)->selectRow(0);
        clickButton(&window, u"Remove"_s);
        QCOMPARE(sourceTable(&window)->rowCount(), count);
        QCOMPARE(faults(window, Fit::ToEarlierContents), QString());
    }
    clickButton(&window, u"Add All"_s);
    QCOMPARE(sourceTable(&window)->rowCount(), 8);
    QCOMPARE(faults(window), QString());
    clickButton(&window, u"Remove All"_s);
    QCOMPARE(sourceTable(&window)->rowCount(), 0);
    QCOMPARE(faults(window, Fit::ToEarlierContents), QString());
}

void tst_ColumnFit::windowSizes_data()
{
    QTest::addColumn<QFont>("font");
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("longNames");

    for (const auto& [name, font] : defaultFonts()) {
        for (const int count : {0, 1, 5, 60}) {
            for (const bool longNames : {false, true}) {
                QTest::addRow("%d %s files in %s", count, longNames ? "long-named" : "short-named",
                              qPrintable(name))
                    << font << count << longNames;
            }
        }
    }
}

void tst_ColumnFit::windowSizes()
{
    QFETCH(QFont, font);
    QFETCH(int, count);
    QFETCH(bool, longNames);

    QApplication::setFont(font);
    CMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const QSize size = window.size();
    MessageBoxAnswer answer(QList<QMessageBox::StandardButton>{});
    enterDirectory(&window, directory(count, longNames));
    if (count > 0 && count <= 8)
        clickButton(&window, u"Add All"_s);
    for (const QSize next : {QSize(2500, 1600), QSize(1, 1), size + QSize(1, 0), QSize(1, 1600),
                             QSize(2500, 1), size}) {
        window.resize(next);
        QCOMPARE(faults(window), QString());
    }
}

void tst_ColumnFit::sizesOfAHiddenWindow()
{
    WindowDesk desk;
    desk.list(directory(8, false));
    desk.press(u"Add All"_s);
    for (const QSize size : {QSize(2500, 1600), QSize(1, 1), QSize(2500, 1), QSize(600, 800)}) {
        desk.window.hide();
        desk.window.resize(size);
        desk.window.show();
        QCOMPARE(faults(desk.window), QString());
    }
}

void tst_ColumnFit::growingNames_data()
{
    QTest::addColumn<int>("length");
    for (int length = 1; length <= 80; ++length)
        QTest::addRow("source with a name of %d letters", length) << length;
}

void tst_ColumnFit::growingNames()
{
    QFETCH(int, length);

    QApplication::setFont(defaultFonts().first().second);
    const TempDir dir;
    dir.add(u"a.wav"_s, monoFile());
    dir.add(QString(length, u'b') + u".wav"_s, monoFile());
    CMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    enterDirectory(&window, dir.path());
    for (int row = 0; row < 2; ++row) {
        fileTable(&window)->selectRow(row);
        clickButton(&window, u"Add"_s);
        QCOMPARE(sourceTable(&window)->rowCount(), row + 1);
        QCOMPARE(faults(window), QString());
    }
}

void tst_ColumnFit::growingWindow_data()
{
    QTest::addColumn<int>("surplus");
    for (int surplus = -20; surplus <= 20; ++surplus)
        QTest::addRow("scroll bar in a table with %d pixels more than the paths need", surplus)
            << surplus;
}

void tst_ColumnFit::growingWindow()
{
    QFETCH(int, surplus);

    QApplication::setFont(defaultFonts().first().second);
    CMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    enterDirectory(&window, directory(8, false));
    clickButton(&window, u"Add All"_s);
    rest();
    const QTableWidget* table = sourceTable(&window);
    const int more =
        contentWidth(table, SourceColumn::Path) - table->columnWidth(SourceColumn::Path) + surplus;
    clickButton(&window, u"Remove All"_s);
    window.resize(window.width() + more, window.height());
    rest();
    clickButton(&window, u"Add All"_s);
    QCOMPARE(faults(window), QString());
    QVERIFY(table->verticalScrollBar()->isVisible());
    QCOMPARE(table->verticalScrollBar()->value(), 0);
}

void tst_ColumnFit::draggedColumns_data()
{
    QTest::addColumn<bool>("isFileList");
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("width");
    QTest::addColumn<bool>("byMouse");

    const auto addRows = [](bool isFileList, const QStringList& titles) {
        for (int column = 0; column < titles.size(); ++column) {
            for (const int width : {700, 3000}) {
                QTest::addRow("%s dragged to %d pixels in the %s", qPrintable(titles[column]),
                              width, isFileList ? "file list" : "source table")
                    << isFileList << column << width << false;
            }
        }
    };
    addRows(true, g_fileTitles);
    addRows(false, g_sourceTitles);
    QTest::newRow("File Name dragged by the mouse in the file list") << true << 0 << 700 << true;
    QTest::newRow("File Name dragged by the mouse in the source table")
        << false << 0 << 700 << true;
}

void tst_ColumnFit::draggedColumns()
{
    QFETCH(bool, isFileList);
    QFETCH(int, column);
    QFETCH(int, width);
    QFETCH(bool, byMouse);

    WindowDesk desk;
    desk.list(directory(8, false));
    desk.press(u"Add All"_s);
    desk.window.resize(700, 1000);
    rest();
    QTableWidget* table = isFileList ? desk.files : desk.sources;
    // Its rows just fit: the horizontal scroll bar takes room, so the vertical one comes as well.
    const auto spare = [table] {
        return table->viewport()->height() - table->verticalHeader()->length();
    };
    while (spare() > 2) {
        desk.window.resize(desk.window.width(), desk.window.height() - spare());
        rest();
    }
    QCOMPARE(faults(desk.window), QString());
    QVERIFY(!table->verticalScrollBar()->isVisible());
    QVERIFY(table->viewport()->width() < 700);

    QHeaderView* header = table->horizontalHeader();
    if (byMouse) {
        const QPoint edge(header->sectionPosition(column) + header->sectionSize(column) - 1,
                          header->height() / 2);
        const QPoint way(width - header->sectionSize(column), 0);
        QTest::mousePress(header->viewport(), Qt::LeftButton, Qt::NoModifier, edge);
        QTest::mouseMove(header->viewport(), edge + way / 2);
        rest();
        QTest::mouseMove(header->viewport(), edge + way);
        rest();
        QTest::mouseRelease(header->viewport(), Qt::LeftButton, Qt::NoModifier, edge + way);
    } else {
        header->resizeSection(column, width);
    }
    rest();
    QCOMPARE(table->columnWidth(column), width);
    QVERIFY(table->horizontalScrollBar()->isVisible());
    QVERIFY(table->verticalScrollBar()->isVisible());

    // The next change of the window fits all columns again.
    desk.window.resize(desk.window.width() + 1, desk.window.height());
    QCOMPARE(faults(desk.window), QString());
    QVERIFY(!table->verticalScrollBar()->isVisible());
}

void tst_ColumnFit::cutTextsFillTheirCells_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("a blank near the start") << u"a "_s + QString(60, u'm');
    QTest::newRow("several blanks") << u"a b  c "_s + QString(60, u'm');
    QTest::newRow("no blank") << QString(60, u'm');
}

void tst_ColumnFit::cutTextsFillTheirCells()
{
    QFETCH(QString, name);

    WindowDesk desk;
    desk.dir.add(name + u"/"_s + name + u".wav"_s, monoFile());
    desk.window.resize(500, 600);
    desk.list(desk.path(name));
    desk.press(u"Add All"_s);
    rest();
    desk.sources->setColumnWidth(SourceColumn::FileName, 80);
    const QList<std::pair<QTableWidget*, int>> cells = {{desk.files, FileListColumn::FileName},
                                                        {desk.sources, SourceColumn::FileName}};
    for (const auto& [table, column] : cells) {
        rest();
        const int width = table->columnWidth(column);
        QVERIFY2(width < contentWidth(table, column), qPrintable(QString::number(width)));
        // A letter and the dots that stand for the rest may lack room.
        const int room = table->fontMetrics().horizontalAdvance(u"m...m"_s);
        QVERIFY2(paintedWidth(table, 0, column) > width - room,
                 qPrintable(u"%1 of %2 pixels"_s.arg(paintedWidth(table, 0, column)).arg(width)));
    }
}

void tst_ColumnFit::tooNarrowTablesKeepTheirContents()
{
    WindowDesk desk;
    desk.dir.add(u"a.wav"_s, monoFile());
    const CurrentDirectory shortPath(desk.dir.path());
    desk.list(u"."_s);
    desk.press(u"Add All"_s);
    setFontHeight(desk.files, 90);
    setFontHeight(desk.sources, 90);
    const std::pair<QSize, QString> sizes[] = {
        {desk.window.size() + QSize(1, 0), u"11"_s},
        {QSize(4000, 800), u"00"_s},
        {desk.window.minimumSizeHint(), u"11"_s},
    };
    for (const auto& [size, wide] : sizes) {
        desk.window.resize(size);
        QCOMPARE(faults(desk.window), QString());
        QCOMPARE(tooWide(desk.window), wide);
    }
}

void tst_ColumnFit::nothingIsLeftForTheFillColumn()
{
    WindowDesk desk(Files{{u"a.wav"_s, monoFile()}});
    setFontHeight(desk.files, 40);
    const auto others = [&desk] {
        return desk.files->horizontalHeader()->length() - desk.files->columnWidth(0);
    };
    for (int round = 0; round < 5; ++round) {
        desk.window.resize(desk.window.width() + others() - desk.files->viewport()->width(), 600);
        rest();
    }
    QCOMPARE(desk.files->viewport()->width(), others());
    QCOMPARE(faults(desk.window), QString());
}

void tst_ColumnFit::columnsFitBeforeTheWindowIsShown()
{
    CMainWindow window;
    for (const QTableWidget* table : {fileTable(&window), sourceTable(&window)}) {
        for (int column = 0; column < table->columnCount() - 1; ++column)
            QCOMPARE(table->columnWidth(column), contentWidth(table, column));
    }
}

void tst_ColumnFit::tableWithoutColumns_data()
{
    QTest::addColumn<bool>("isFileList");
    QTest::newRow("file list without columns") << true;
    QTest::newRow("source table without columns") << false;
}

void tst_ColumnFit::tableWithoutColumns()
{
    QFETCH(bool, isFileList);

    WindowDesk desk;
    QTableWidget* table = isFileList ? desk.files : desk.sources;
    table->setColumnCount(0);
    desk.window.resize(1000, 600);
    rest();
    QCOMPARE(table->horizontalHeader()->length(), 0);
    // The other table is fitted all the same.
    QCOMPARE(isFileList ? faults(desk.sources, SourceColumn::Path, Fit::ToTheContents)
                        : faults(desk.files, FileListColumn::FileName, Fit::ToTheContents),
             QStringList());
}

SPLICORA_TEST_MAIN(tst_ColumnFit)

#include "tst_columnfit.moc"
