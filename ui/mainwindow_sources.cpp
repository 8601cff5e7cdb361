// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/mainwindow.h"

#include "app/apptexts.h"
#include "ui/filetable.h"
#include "wave/wavfileitem.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMessageBox>
#include <QTableWidget>
#include <QTextDocument>

#include <algorithm>
#include <initializer_list>
#include <numeric>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int g_maxSources = 8;
constexpr int g_rowHeight = 20; // pixels

bool isKeyPress(const QEvent* event, std::initializer_list<Qt::Key> keys)
{
    if (event->type() != QEvent::KeyPress)
        return false;
    const int pressed = static_cast<const QKeyEvent*>(event)->key();
    return std::find(keys.begin(), keys.end(), pressed) != keys.end();
}

/// A tool tip that shows @p path as it is. A tool tip that looks like markup is rendered as markup,
/// so such a path is escaped.
QString toolTipOf(const QString& path)
{
    if (!Qt::mightBeRichText(path))
        return path;
    return u"<p style='white-space:pre'>"_s + path.toHtmlEscaped() + u"</p>"_s;
}

} // namespace

void CMainWindow::createSourceTable()
{
    m_sourceTable = new QTableWidget(this);
    setUpFileTable(m_sourceTable, u"Source File"_s,
                   {{u"File Name"_s, u"File Name"_s},
                    {u"Ch"_s, u"Channels"_s},
                    {u"Bit"_s, u"Bits per sample"_s},
                    {u"Fs (Hz)"_s, u"Sample rate (Hz)"_s},
                    {u"Path"_s, u"Path"_s}});
    m_sourceTable->installEventFilter(this);
    keepColumnsFitted(m_sourceTable, SourceColumn::Path);
    connect(m_sourceTable, SIGNAL(itemSelectionChanged()), this, SLOT(checkChannels()));
}

void CMainWindow::fitSourceTable()
{
    fitTableColumns(m_sourceTable, SourceColumn::Path);
}

void CMainWindow::add()
{
    const QModelIndexList selected =
        m_fileListTable->selectionModel()->selectedRows(FileListColumn::FileName);
    QList<int> rows;
    for (const QModelIndex& index : selected)
        rows.append(index.row());
    addRows(rows);
}

void CMainWindow::addAll()
{
    QList<int> rows(m_fileListTable->rowCount());
    std::iota(rows.begin(), rows.end(), 0);
    addRows(rows);
}

/// Adds the files of these rows of the file list, or none when they would be too many. Files that
/// are sources already count as well.
void CMainWindow::addRows(const QList<int>& rows)
{
    if (rows.size() + m_sourceItems.size() > g_maxSources) {
        refuse(tr("Can not add to source more than 8 files."));
        return;
    }
    for (int i = 0; i < rows.size(); ++i) {
        if (rows[i] >= m_fileItems.size())
            break; // A listing made while a box was open has fewer files.
        CWavFileItem* item = m_fileItems[rows[i]];
        if (m_sourceItems.contains(item)) {
            refuse(tr("The file already exists on source."));
            continue;
        }
        if (!m_sourceItems.isEmpty() && m_functionCombo->currentIndex() == MonoToPolyFunction
            && !item->isSameFormat(m_sourceItems.first())) {
            refuse(tr("Can not add to source due to different format."));
            continue;
        }
        m_sourceItems.append(item);
        const QTableWidgetItem* name = m_fileListTable->item(rows[i], FileListColumn::FileName);
        addSourceRow(name->data(Qt::DisplayRole).toString(), *item,
                     i < m_sourceItems.size() ? *m_sourceItems[i] : *item);
    }
    setSourceButtonsEnabled(hasSourceFiles());
    fitSourceTable();
}

/// Adds a row for @p item at the end of the source table, with the folder of @p pathItem: the
/// source at the item's place among the rows being added. Kept as it is: all sources come from one
/// listing, so the folder is the item's own.
void CMainWindow::addSourceRow(const QString& name, const CWavFileItem& item,
                               const CWavFileItem& pathItem)
{
    const FmtChunk fmt = item.fmtChunk();
    const QString path = QDir::toNativeSeparators(QFileInfo(pathItem.fileName()).path());
    auto* pathCell = new QTableWidgetItem(path);
    pathCell->setToolTip(toolTipOf(path));

    const int row = m_sourceTable->rowCount();
    m_sourceTable->insertRow(row);
    m_sourceTable->setItem(row, SourceColumn::FileName, new QTableWidgetItem(name));
    m_sourceTable->setItem(row, SourceColumn::Channels, numberCell(fmt.channels));
    m_sourceTable->setItem(row, SourceColumn::Bits, numberCell(fmt.bitsPerSample));
    m_sourceTable->setItem(row, SourceColumn::Rate, numberCell(fmt.sampleRate));
    m_sourceTable->setItem(row, SourceColumn::Path, pathCell);
    m_sourceTable->setRowHeight(row, g_rowHeight);
}

void CMainWindow::refuse(const QString& message)
{
    QMessageBox::warning(this, g_appName, message, QMessageBox::Ok, QMessageBox::NoButton);
}

void CMainWindow::remove()
{
    const QItemSelectionModel* selection = m_sourceTable->selectionModel();
    if (!selection)
        return;
    // Row numbers predate the first removal. From last to first that is right for a selection in
    // ascending order; another order can remove the wrong row. Kept as it is; pinned by
    // tst_sourcelist.
    const QModelIndexList selected = selection->selectedRows(SourceColumn::FileName);
    QList<int> rows;
    for (const QModelIndex& index : selected)
        rows.prepend(index.row());
    for (const int row : rows) {
        m_sourceTable->removeRow(row);
        if (row < m_sourceItems.size())
            m_sourceItems.removeAt(row);
    }
    setSourceButtonsEnabled(hasSourceFiles());
}

void CMainWindow::removeAll()
{
    m_sourceItems.clear();
    m_sourceTable->setRowCount(0);
    checkChannels(); // If nothing was selected, the selection does not change.
    setSourceButtonsEnabled(hasSourceFiles());
}

/// Return and Enter add, Delete removes; the table handles the key as well.
bool CMainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_fileListTable && isKeyPress(event, {Qt::Key_Return, Qt::Key_Enter}))
        add();
    else if (watched == m_sourceTable && isKeyPress(event, {Qt::Key_Delete}))
        remove();
    return QObject::eventFilter(watched, event);
}
