// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QStringList>

class QTableWidget;
class QTableWidgetItem;

/// What the two tables of the window share: whole rows are selected, nothing is edited, the row
/// numbers are hidden. Column widths fit the @p headers. A screen reader calls the table @p name.
void setUpFileTable(QTableWidget* table, const QString& name, const QStringList& headers);

/// A cell with its text on the right. The table that takes it owns it.
QTableWidgetItem* rightCell(const QString& text);

/// A plain decimal number, on the right.
QTableWidgetItem* numberCell(quint64 number);
