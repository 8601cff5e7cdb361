// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/filetable.h"

#include <QHeaderView>
#include <QTableWidget>

#include <algorithm>

namespace {

/// A property of a table: the width, in pixels, of its widest column after the last fit.
constexpr char g_widestFitted[] = "widestFitted";

bool hasDraggedColumn(const QTableWidget* table)
{
    const int widest =
        std::max(table->viewport()->width(), table->property(g_widestFitted).toInt());
    for (int column = 0; column < table->columnCount(); ++column) {
        if (table->columnWidth(column) > widest)
            return true;
    }
    return false;
}

} // namespace

void setUpFileTable(QTableWidget* table, const QString& name, const QList<ColumnTitle>& titles)
{
    table->setAccessibleName(name);
    // Tab leads on to the next control. Going from cell to cell it would never leave the table.
    table->setTabKeyNavigation(false);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setWordWrap(false); // Wrapping would cut a name at a blank.
    table->setColumnCount(int(titles.size()));
    for (int column = 0; column < titles.size(); ++column) {
        auto* title = new QTableWidgetItem(titles[column].title);
        title->setData(Qt::AccessibleTextRole, titles[column].spokenTitle);
        table->setHorizontalHeaderItem(column, title);
    }
    QHeaderView* header = table->horizontalHeader();
    header->setStretchLastSection(true);
    header->setHighlightSections(false);
    table->verticalHeader()->hide();
    fitColumnsToContents(table);
}

void fitColumnsToContents(QTableWidget* table)
{
    // The header never makes a stretched last section narrower than it was resized to, so that one
    // starts narrow.
    QHeaderView* header = table->horizontalHeader();
    header->resizeSection(header->count() - 1, header->minimumSectionSize());
    table->resizeColumnsToContents();
}

void giveRemainingWidth(QTableWidget* table, int column)
{
    const int columns = table->columnCount();
    const int width = table->viewport()->width();
    int widest = width;
    int remaining = width;
    int target = columns - 1;
    for (int c = 0; c < columns; ++c) {
        widest = std::max(widest, table->columnWidth(c));
        if (c == column)
            target = c;
        else
            remaining -= table->columnWidth(c);
    }
    table->setProperty(g_widestFitted, widest);
    if (remaining > 0)
        table->setColumnWidth(target, remaining);
}

void keepColumnsFitted(QTableWidget* table, int fillColumn)
{
    const auto fit = [table, fillColumn] {
        if (hasDraggedColumn(table))
            return;
        fitColumnsToContents(table);
        giveRemainingWidth(table, fillColumn);
    };
    // Queued: the table is still being laid out when the signal comes.
    QObject::connect(table->horizontalHeader(), &QHeaderView::geometriesChanged, table, fit,
                     Qt::QueuedConnection);
}

QTableWidgetItem* rightCell(const QString& text)
{
    auto* cell = new QTableWidgetItem(text);
    cell->setData(Qt::TextAlignmentRole, int(Qt::AlignRight | Qt::AlignVCenter));
    return cell;
}

QTableWidgetItem* numberCell(quint64 number)
{
    return rightCell(QString::number(number));
}
