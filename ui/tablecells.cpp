// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/tablecells.h"

#include <QHeaderView>
#include <QTableWidget>

void setUpFileTable(QTableWidget* table, const QStringList& headers)
{
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setColumnCount(int(headers.size()));
    table->setHorizontalHeaderLabels(headers);
    QHeaderView* header = table->horizontalHeader();
    header->setStretchLastSection(true);
    // The header never stretches the last section to less than its first width: start it narrow.
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
