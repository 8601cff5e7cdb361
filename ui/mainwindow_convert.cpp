// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/mainwindow.h"

#include "app/apptexts.h"
#include "convert/wavconverter.h"

#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QUrl>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Shows @p path from its start.
void showPath(QLineEdit* edit, const QString& path)
{
    edit->setText(QDir::toNativeSeparators(path));
    edit->setCursorPosition(0);
}

/// A request that is never deleted: one small object for each press of Convert. Kept as it
/// is; tests/leaks.supp names this function.
CWavConverter* newKeptConverter(QWidget* parent, const QList<CWavFileItem*>& sources)
{
    return new CWavConverter(parent, sources);
}

} // namespace

/// The path that the user chose, empty when the chooser was cancelled.
QString CMainWindow::chooseDirectory(const QString& startDir)
{
    return QFileDialog::getExistingDirectory(this, tr("Choose directory."), startDir,
                                             QFileDialog::ShowDirsOnly);
}

void CMainWindow::setCurrentDir()
{
    const QString dir = chooseDirectory(m_currentDir.isNull() ? QDir::homePath() : m_currentDir);
    if (dir.isEmpty())
        return;
    m_currentDir = dir;
    showPath(m_currentDirEdit, dir);
    showFileList();
}

void CMainWindow::setOutputDir()
{
    // Always home, whatever the field holds. Kept as it is; pinned by tst_convertcommand.
    const QString dir = chooseDirectory(QDir::homePath());
    if (!dir.isEmpty() && m_outputDirEdit)
        showPath(m_outputDirEdit, dir);
}

void CMainWindow::convert()
{
    if (m_sourceItems.isEmpty())
        return;
    QString outDir = m_outputDirEdit->text();
    if (outDir.isEmpty() || !QDir().exists(outDir)) {
        const QString text =
            tr("Output directory does not exist.\n")
            + tr("The converted files will appear in the same directory as the originals.\n")
            + u'\n' + tr("Click Yes to proceed.");
        const auto answer = QMessageBox::question(
            this, g_appName, text, QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::NoButton);
        if (answer != QMessageBox::Yes)
            return;
        outDir = m_currentDirEdit->text();
    }

    auto* converter = newKeptConverter(this, m_sourceItems);
    converter->setOutputDirectory(outDir);
    int error = ConvertOk;
    switch (m_functionCombo->currentIndex()) {
    case MonoToPolyFunction:
        error = converter->monoToPoly();
        break;
    case PolyToMonoFunction:
        error = converter->polyToMono();
        break;
    case PlainToBwfFunction:
        converter->plainToBwf();
        break;
    default:
        break;
    }
    // The toolkit passes the keyboard of the window on to its modal dialog. If the dialog is gone
    // before the window manager has shown it, no window is active afterwards: access keys and the
    // text cursor are gone until a click. A program in the background takes nothing from another.
    if (QGuiApplication::applicationState() == Qt::ApplicationActive)
        activateWindow();
    if (error == ConvertOk) {
        // The text is put together unescaped. Kept as it is; pinned by tst_convertcommand.
        QDesktopServices::openUrl(QUrl(u"file:///"_s + outDir, QUrl::TolerantMode));
    }
}
