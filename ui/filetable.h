// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QList>
#include <QString>

class QTableWidget;
class QTableWidgetItem;

/// The columns of the file list, from left to right.
namespace FileListColumn {
enum { FileName, Type, Channels, Bits, Rate, Size };
}

/// The columns of the source table, from left to right.
namespace SourceColumn {
enum { FileName, Channels, Bits, Rate, Path };
}

/// The header of a column, and what a screen reader says in its place.
struct ColumnTitle
{
    QString title;
    QString spokenTitle;
};

/// What the two tables of the window share: whole rows are selected, nothing is edited, texts
/// are not wrapped, the row numbers are hidden. Column widths fit the @p titles. A screen reader
/// calls the table @p name.
void setUpFileTable(QTableWidget* table, const QString& name, const QList<ColumnTitle>& titles);

/// Makes every column as wide as its header and its widest cell.
void fitColumnsToContents(QTableWidget* table);

/// Gives @p column the width that the others leave, if any; without such a column, the last one.
void giveRemainingWidth(QTableWidget* table, int column);

/// From now on does both whenever the header gets another size: a scroll bar comes and goes only
/// after the rows did, and the window gets its first size before its tables. While a
/// column is dragged wider than the table and than any column was fitted, nothing is fitted.
void keepColumnsFitted(QTableWidget* table, int fillColumn);

/// A cell with its text on the right. The table that takes it owns it.
QTableWidgetItem* rightCell(const QString& text);

/// A plain decimal number, on the right.
QTableWidgetItem* numberCell(quint64 number);
