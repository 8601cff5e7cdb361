// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/filetable.h"

#include <QHeaderView>
#include <QTableWidget>

void setUpFileTable(QTableWidget* table, const QString& name, const QList<ColumnTitle>& titles)
{
    table->setAccessibleName(name);
    // Tab leads on to the next control. Going from cell to cell it would never leave the table.
    table->setTabKeyNavigation(false);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setColumnCount(int(titles.size()));
    for (int column = 0; column < titles.size(); ++column) {
        auto* title = new QTableWidgetItem(titles[column].title);
        title->setData(Qt::AccessibleTextRole, titles[column].spokenTitle);
        table->setHorizontalHeaderItem(column, title);
    }
    QHeaderView* header = table->horizontalHeader();
    header->setStretchLastSection(true);
    // Stretching never makes the last section narrower than it was at first, so it starts narrow.
    header->resizeSection(header->count() - 1, header->minimumSectionSize());
    header->setHighlightSections(false);
    table->verticalHeader()->hide();
    table->resizeColumnsToContents();
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
