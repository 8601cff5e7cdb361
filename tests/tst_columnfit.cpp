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

namespace {

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
    const int others = header->length() - table->columnWidth(fillColumn);
    QStringList found;
    for (int column = 0; column < table->columnCount(); ++column) {
        const bool fills = column == fillColumn && others < width;
        const int wanted = fills ? std::max(width - others, header->minimumSectionSize())
                                 : contentWidth(table, column);
        const int surplus = table->columnWidth(column) - wanted;
        if (surplus < 0 || (surplus > 0 && (fills || fit == Fit::ToTheContents))) {
            found.append(u"%1 has %2 instead of %3 pixels"_s.arg(
                table->horizontalHeaderItem(column)->text(),
                QString::number(table->columnWidth(column)), QString::number(wanted)));
        }
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

/// The window as it first comes up.
struct FirstWindow : CMainWindow
{
    FirstWindow()
    {
        show();
        if (!QTest::qWaitForWindowExposed(this))
            qFatal("No window.");
    }
};

} // namespace

class tst_ColumnFit : public QObject
{
    Q_OBJECT

private slots:
    /// Everything happens in two default fonts that differ in all that widths depend on.
    void initTestCase_data()
    {
        QTest::addColumn<QFont>("font");
        QTest::newRow("a small sans serif") << QFont(u"DejaVu Sans"_s, 8);
        QTest::newRow("a large monospace") << QFont(u"DejaVu Sans Mono"_s, 15);
    }

    void init()
    {
        QFETCH_GLOBAL(QFont, font);
        QApplication::setFont(font);
    }

    void firstShow()
    {
        const FirstWindow window;
        QCOMPARE(faults(window), QString());
    }

    void lists_data()
    {
        QTest::addColumn<QList<int>>("counts");
        QTest::addColumn<bool>("longNames");

        const QList<QList<int>> lists = {{0},     {1},     {5},        {60},
                                         {60, 1}, {1, 60}, {0, 60, 0}, {5, 1000, 60, 5}};
        for (const bool longNames : {false, true}) {
            for (const QList<int>& counts : lists) {
                if (longNames && counts.contains(1000))
                    continue; // which takes long and differs from 60 in nothing but the time
                QStringList words;
                for (const int count : counts)
                    words.append(QString::number(count));
                QTest::addRow("%s %s files", qPrintable(words.join(u", then "_s)),
                              longNames ? "long-named" : "short-named")
                    << counts << longNames;
            }
        }
    }

    void lists()
    {
        QFETCH(QList<int>, counts);
        QFETCH(bool, longNames);

        FirstWindow window;
        const QSize size = window.size();
        const MessageBoxAnswer answer;
        for (const int count : counts) {
            enterDirectory(&window, directory(count, longNames));
            QCOMPARE(fileTable(&window)->rowCount(), count);
            QCOMPARE(faults(window), QString());
            QCOMPARE(fileTable(&window)->verticalScrollBar()->value(), 0);
        }
        if (counts.last() > 0 && counts.last() <= 8)
            clickButton(&window, u"Add All"_s);
        for (const QSize next : {QSize(2500, 1600), QSize(1, 1), size + QSize(1, 0), QSize(1, 1600),
                                 QSize(2500, 1), size}) {
            window.resize(next);
            QCOMPARE(faults(window), QString());
        }
    }

    void sources_data()
    {
        QTest::addColumn<bool>("longNames");
        QTest::newRow("short-named sources") << false;
        QTest::newRow("long-named sources") << true;
    }

    void sources()
    {
        QFETCH(bool, longNames);

        const FirstWindow window;
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

    void sizesOfAHiddenWindow()
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

    void growingNames_data()
    {
        QTest::addColumn<int>("length");
        for (int length = 1; length <= 80; length += 2)
            QTest::addRow("source with a name of %d letters", length) << length;
    }

    void growingNames()
    {
        QFETCH(int, length);

        const TempDir dir;
        dir.add(u"a.wav"_s, monoFile());
        dir.add(QString(length, u'b') + u".wav"_s, monoFile());
        FirstWindow window;
        enterDirectory(&window, dir.path());
        for (int row = 0; row < 2; ++row) {
            fileTable(&window)->selectRow(row);
            clickButton(&window, u"Add"_s);
            QCOMPARE(sourceTable(&window)->rowCount(), row + 1);
            QCOMPARE(faults(window), QString());
        }
    }

    void growingWindow_data()
    {
        QTest::addColumn<int>("surplus");
        for (int surplus = -20; surplus <= 20; ++surplus)
            QTest::addRow("scroll bar in a table with %d pixels more than the paths need", surplus)
                << surplus;
    }

    void growingWindow()
    {
        QFETCH(int, surplus);

        FirstWindow window;
        enterDirectory(&window, directory(8, false));
        clickButton(&window, u"Add All"_s);
        rest();
        const QTableWidget* table = sourceTable(&window);
        const int more = contentWidth(table, SourceColumn::Path)
                         - table->columnWidth(SourceColumn::Path) + surplus;
        clickButton(&window, u"Remove All"_s);
        window.resize(window.width() + more, window.height());
        rest();
        clickButton(&window, u"Add All"_s);
        QCOMPARE(faults(window), QString());
        QVERIFY(table->verticalScrollBar()->isVisible());
        QCOMPARE(table->verticalScrollBar()->value(), 0);
    }

    void draggedColumns_data()
    {
        QTest::addColumn<bool>("isFileList");
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("byMouse");

        for (const bool isFileList : {true, false}) {
            const char* where = isFileList ? "file list" : "source table";
            const QStringList& titles = isFileList ? g_fileTitles : g_sourceTitles;
            for (int column = 0; column < titles.size(); ++column) {
                QTest::addRow("%s made wider in the %s", qPrintable(titles[column]), where)
                    << isFileList << column << 700 << false;
            }
            QTest::addRow("the first column dragged by the mouse in the %s", where)
                << isFileList << 0 << 3000 << true;
        }
    }

    void draggedColumns()
    {
        QFETCH(bool, isFileList);
        QFETCH(int, column);
        QFETCH(int, width);
        QFETCH(bool, byMouse);

        WindowDesk desk;
        const CurrentDirectory shortPath(directory(8, false));
        desk.list(u"."_s);
        desk.press(u"Add All"_s);
        desk.window.resize(700, 1000);
        rest();
        QTableWidget* table = isFileList ? desk.files : desk.sources;
        // Its rows just fit: the horizontal scroll bar takes room, so the vertical one comes as
        // well.
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

    void cutTextsFillTheirCells_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("a blank near the start") << u"a "_s + QString(60, u'm');
        QTest::newRow("several blanks") << u"a b  c "_s + QString(60, u'm');
        QTest::newRow("no blank") << QString(60, u'm');
    }

    void cutTextsFillTheirCells()
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
            QVERIFY2(
                paintedWidth(table, 0, column) > width - room,
                qPrintable(u"%1 of %2 pixels"_s.arg(paintedWidth(table, 0, column)).arg(width)));
        }
    }

    void tooNarrowTablesKeepTheirContents()
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

    void nothingIsLeftForTheFillColumn()
    {
        WindowDesk desk(Files{{u"a.wav"_s, monoFile()}});
        setFontHeight(desk.files, 40);
        const auto others = [&desk] {
            return desk.files->horizontalHeader()->length() - desk.files->columnWidth(0);
        };
        for (int round = 0; round < 5; ++round) {
            desk.window.resize(desk.window.width() + others() - desk.files->viewport()->width(),
                               600);
            rest();
        }
        QCOMPARE(desk.files->viewport()->width(), others());
        QCOMPARE(faults(desk.window), QString());
    }

    void withoutAFillColumnTheLastTakesTheRest()
    {
        QTableWidget table(0, 3);
        table.resize(600, 100);
        table.show();
        QVERIFY(QTest::qWaitForWindowExposed(&table));
        const int left = table.viewport()->width() - table.horizontalHeader()->length();
        QVERIFY(left > table.columnWidth(2));
        giveRemainingWidth(&table, -1);
        QCOMPARE(table.columnWidth(2), left);
    }

    void columnsFitBeforeTheWindowIsShown()
    {
        CMainWindow window;
        for (const QTableWidget* table : {fileTable(&window), sourceTable(&window)}) {
            for (int column = 0; column < table->columnCount() - 1; ++column)
                QCOMPARE(table->columnWidth(column), contentWidth(table, column));
        }
    }

    void tableWithoutColumns_data()
    {
        QTest::addColumn<bool>("isFileList");
        QTest::newRow("file list without columns") << true;
        QTest::newRow("source table without columns") << false;
    }

    void tableWithoutColumns()
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

private:
    /// A directory with so many files.
    QString directory(int files, bool longNames)
    {
        const QString folder = u"%1 %2/in a path that is not narrow"_s.arg(
            longNames ? u"long names"_s : u"short names"_s, QString::number(files));
        if (!QFile::exists(m_dir.path(folder))) {
            m_dir.addFolder(folder);
            const QString start =
                longNames ? u"longer than any table is wide "_s.repeated(6) : u"take_"_s;
            for (int number = 1; number <= files; ++number)
                m_dir.add(folder + u"/%1%2.wav"_s.arg(start).arg(number), monoFile());
        }
        return m_dir.path(folder);
    }

    TempDir m_dir;
};

SPLICORA_TEST_MAIN(tst_ColumnFit)

#include "tst_columnfit.moc"
