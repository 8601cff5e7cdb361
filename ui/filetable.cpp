// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/filetable.h"

#include <QHeaderView>
#include <QTableWidget>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A header's text in full, for a screen reader.
QString spokenHeader(const QString& header)
{
    if (header == "Ch"_L1)
        return u"Channels"_s;
    if (header == "Bit"_L1)
        return u"Bits per sample"_s;
    if (header == "Fs (Hz)"_L1)
        return u"Sample rate (Hz)"_s;
    return header;
}

} // namespace

void setUpFileTable(QTableWidget* table, const QString& name, const QStringList& headers)
{
    table->setAccessibleName(name);
    table->setTabKeyNavigation(false); // Tab leads on to the next control, the arrows through rows
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setColumnCount(int(headers.size()));
    table->setHorizontalHeaderLabels(headers);
    for (int column = 0; column < headers.size(); ++column) {
        table->horizontalHeaderItem(column)->setData(Qt::AccessibleTextRole,
                                                     spokenHeader(headers[column]));
    }
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
