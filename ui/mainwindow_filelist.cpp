// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/mainwindow.h"

#include "app/apptexts.h"
#include "ui/filetable.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QTableWidget>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace {

/// An item that is never deleted: the source list and converters may still point to it.
/// tests/leaks.supp names this function.
CWavFileItem* newKeptItem(const QString& path, const WavInfo& info)
{
    return new CWavFileItem(path, info);
}

} // namespace

QString formatSize(quint64 bytes, int precision)
{
    static const std::array<QString, 7> units = {u"B"_s,  u"KB"_s, u"MB"_s, u"GB"_s,
                                                 u"TB"_s, u"PB"_s, u"EB"_s};
    auto value = double(bytes);
    size_t unit = 0;
    while (value > 1024.0) {
        value *= 1.0 / 1024.0;
        ++unit;
    }
    return QString::number(value, 'f', precision) + units[unit];
}

bool CMainWindow::readWavInfo(QFile* file, WavInfo* info)
{
    return ::readWavInfo(file, info);
}

void CMainWindow::createFileListTable()
{
    m_fileListTable = new QTableWidget(this);
    setUpFileTable(m_fileListTable, u"File List"_s,
                   {{u"File Name"_s, u"File Name"_s},
                    {u"Type"_s, u"Type"_s},
                    {u"Ch"_s, u"Channels"_s},
                    {u"Bit"_s, u"Bits per sample"_s},
                    {u"Fs (Hz)"_s, u"Sample rate (Hz)"_s},
                    {u"Size"_s, u"Size"_s}});
    m_fileListTable->installEventFilter(this);
    keepColumnsFitted(m_fileListTable, FileListColumn::FileName);
    connect(m_fileListTable, SIGNAL(cellDoubleClicked(int, int)), this, SLOT(add()));
}

void CMainWindow::fitFileListTable()
{
    fitTableColumns(m_fileListTable, FileListColumn::FileName);
}

void CMainWindow::showFileList()
{
    m_currentDir = m_currentDirEdit->text();
    if (m_currentDir.isEmpty())
        return;
    m_fileListTable->setRowCount(0);
    m_fileListTable->clearContents();
    m_fileItems.clear();

    const QDir dir(m_currentDir);
    if (!dir.exists()) {
        QMessageBox::information(this, g_appName, tr("The directory does not exist."),
                                 QMessageBox::Ok, QMessageBox::NoButton);
        return;
    }
    const QStringList names = dir.entryList({u"*.wav"_s}, QDir::Files, QDir::Name);
    if (names.isEmpty()) {
        QMessageBox::information(this, g_appName, tr("No wav files found."), QMessageBox::Ok,
                                 QMessageBox::NoButton);
        return;
    }

    QStringList unreadable;
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    for (const QString& name : names) {
        const QString path = dir.path() + u'/' + name;
        QFile file(path);
        WavInfo info = {};
        if (!openRegularFile(&file) || !readWavInfo(&file, &info))
            unreadable.append(name);
        else if (isListed(info))
            addFileRow(path, info);
    }
    QGuiApplication::restoreOverrideCursor();

    if (m_fileItems.isEmpty()) {
        QString text = u"Can not find any "_s;
        if (m_functionCombo->currentIndex() == MonoToPolyFunction)
            text += u"mono files."_s;
        else if (m_functionCombo->currentIndex() == PolyToMonoFunction)
            text += u"poly files."_s;
        QMessageBox::information(this, g_appName, text, QMessageBox::Ok, QMessageBox::NoButton);
        return;
    }
    setAddButtonsEnabled(true);
    fitFileListTable();
    if (!m_sourceItems.isEmpty())
        removeAll();
    if (!unreadable.isEmpty()) {
        const QString text =
            tr("Can not read following files.\n\n") + unreadable.join(u'\n') + u'\n';
        QMessageBox::warning(this, g_appName, text, QMessageBox::Ok, QMessageBox::NoButton);
    }
}

/// True when the selected function works on such a file.
bool CMainWindow::isListed(const WavInfo& info) const
{
    switch (m_functionCombo->currentIndex()) {
    case MonoToPolyFunction:
        return info.fmt.channels == 1;
    case PolyToMonoFunction:
        return info.fmt.channels > 1;
    case PlainToBwfFunction:
        return !info.hasBext;
    default:
        return true;
    }
}

/// Makes the item of a listed file and its row at the end of the table.
void CMainWindow::addFileRow(const QString& path, const WavInfo& info)
{
    m_fileItems.append(newKeptItem(path, info));

    auto* nameCell = new QTableWidgetItem(QFileInfo(path).fileName());
    nameCell->setData(Qt::TextAlignmentRole, int(Qt::AlignVCenter));
    const int row = m_fileListTable->rowCount();
    m_fileListTable->insertRow(row);
    m_fileListTable->setItem(row, FileListColumn::FileName, nameCell);
    m_fileListTable->setItem(row, FileListColumn::Type,
                             rightCell(info.hasBext ? u"BWF"_s : u"WAV"_s));
    m_fileListTable->setItem(row, FileListColumn::Channels, numberCell(info.fmt.channels));
    m_fileListTable->setItem(row, FileListColumn::Bits, numberCell(info.fmt.bitsPerSample));
    m_fileListTable->setItem(row, FileListColumn::Rate, numberCell(info.fmt.sampleRate));
    m_fileListTable->setItem(row, FileListColumn::Size, rightCell(formatSize(info.riff.size, 1)));
}
