// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/mainwindow.h"

#include "app/apptexts.h"
#include "ui/filetable.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDate>
#include <QDebug>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>
#include <QTableWidget>
#include <QTime>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int g_buildNumber = 137085;
constexpr int g_logoWidth = 100; // pixels
constexpr int g_buttonColumnSpacing = 10; // pixels

QHBoxLayout* createRow(QLabel* label, QLineEdit* edit, QPushButton* button)
{
    auto* row = new QHBoxLayout;
    row->addWidget(label);
    row->addWidget(edit);
    row->addWidget(button);
    return row;
}

} // namespace

QString timeStamped(const QString& text)
{
    return QDate::currentDate().toString(u"yyyy-MM-dd ")
           + QTime::currentTime().toString(u"hh:mm:ss ") + text;
}

CMainWindow::CMainWindow()
{
    setWindowIcon(QIcon(u":/images/appicon.ico"_s));
    setWindowTitle(g_appName);
    createMenus();
    createWidgets();
    createLayout();
}

CMainWindow::~CMainWindow()
{
    // The order is kept as it is. The items of both lists are not owned.
    delete m_functionLabel;
    delete m_functionCombo;
    delete m_logoLabel;
    delete m_currentDirLabel;
    delete m_currentDirEdit;
    delete m_currentDirBrowseButton;
    delete m_fileListTable;
    delete m_sourceTable;
    delete m_outputDirLabel;
    delete m_outputDirEdit;
    delete m_outputDirBrowseButton;
    delete m_addButton;
    delete m_addAllButton;
    delete m_removeButton;
    delete m_removeAllButton;
    delete m_convertButton;
    for (QCheckBox* check : m_channelCheck)
        delete check;
}

void CMainWindow::createMenus()
{
    m_quitAction = new QAction(tr("Quit"), this);
    connect(m_quitAction, SIGNAL(triggered()), this, SLOT(close()));
    m_aboutAction = new QAction(tr("About"), this);
    connect(m_aboutAction, SIGNAL(triggered()), this, SLOT(showAbout()));

    m_fileMenu = menuBar()->addMenu(tr("&File"));
    m_fileMenu->addAction(m_quitAction);
    m_aboutMenu = menuBar()->addMenu(tr("&About"));
    m_aboutMenu->addAction(m_aboutAction);
}

void CMainWindow::createWidgets()
{
    createFunctionRow();
    createCurrentDirRow();
    createFileListTable();
    createSourceTable();
    createChannelChecks();
    createOutputDirRow();
    createButtons();
}

void CMainWindow::createFunctionRow()
{
    m_functionLabel = new QLabel(u"Function:"_s);
    m_functionCombo = new QComboBox;
    m_functionCombo->addItems({u"Mono to Poly"_s, u"Poly to Mono"_s});
    m_functionLabel->setBuddy(m_functionCombo);
    connect(m_functionCombo, SIGNAL(currentIndexChanged(int)), this, SLOT(showFileList()));

    m_logoLabel = new QLabel(this);
    const QImage logo(u":/images/velmar.png"_s);
    if (logo.isNull()) {
        qDebug().nospace() << timeStamped(u"Can not read image file."_s) << ' ';
        return;
    }
    // As many dots as the display has that the window starts on: sharp on a scaled one.
    const qreal ratio = devicePixelRatio();
    QPixmap pixmap = QPixmap::fromImage(logo).scaledToWidth(qRound(g_logoWidth * ratio),
                                                            Qt::SmoothTransformation);
    pixmap.setDevicePixelRatio(ratio);
    m_logoLabel->setPixmap(pixmap);
    m_logoLabel->setAccessibleName(u"VELMAR"_s);
}

void CMainWindow::createCurrentDirRow()
{
    m_currentDirLabel = new QLabel(u"Current Dir:"_s);
    m_currentDirEdit = new QLineEdit;
    m_currentDirLabel->setBuddy(m_currentDirEdit);
    connect(m_currentDirEdit, SIGNAL(returnPressed()), this, SLOT(showFileList()));
    m_currentDirBrowseButton = new QPushButton(u"Browse..."_s);
    m_currentDirBrowseButton->setAccessibleName(u"Browse... Current Dir"_s);
    connect(m_currentDirBrowseButton, SIGNAL(clicked()), this, SLOT(setCurrentDir()));
}

void CMainWindow::createOutputDirRow()
{
    m_outputDirLabel = new QLabel(u"Output to:"_s);
    m_outputDirEdit = new QLineEdit;
    m_outputDirLabel->setBuddy(m_outputDirEdit);
    m_outputDirBrowseButton = new QPushButton(u"Browse..."_s);
    m_outputDirBrowseButton->setAccessibleName(u"Browse... Output to"_s);
    connect(m_outputDirBrowseButton, SIGNAL(clicked()), this, SLOT(setOutputDir()));
}

void CMainWindow::createButtons()
{
    m_addButton = new QPushButton(u"Add"_s);
    connect(m_addButton, SIGNAL(clicked()), this, SLOT(add()));
    m_addAllButton = new QPushButton(u"Add All"_s);
    connect(m_addAllButton, SIGNAL(clicked()), this, SLOT(addAll()));
    m_removeButton = new QPushButton(u"Remove"_s);
    connect(m_removeButton, SIGNAL(clicked()), this, SLOT(remove()));
    m_removeAllButton = new QPushButton(u"Remove All"_s);
    connect(m_removeAllButton, SIGNAL(clicked()), this, SLOT(removeAll()));
    m_convertButton = new QPushButton(u"Convert"_s);
    connect(m_convertButton, SIGNAL(clicked()), this, SLOT(convert()));

    setAddButtonsEnabled(false);
    setSourceButtonsEnabled(false);
}

void CMainWindow::createLayout()
{
    auto* functionRow = new QHBoxLayout;
    functionRow->addWidget(m_functionLabel);
    functionRow->addWidget(m_functionCombo);
    functionRow->addStretch();
    functionRow->addWidget(m_logoLabel);

    auto* fileListBox = new QVBoxLayout;
    fileListBox->addLayout(
        createRow(m_currentDirLabel, m_currentDirEdit, m_currentDirBrowseButton));
    fileListBox->addWidget(m_fileListTable);
    auto* fileListGroup = new QGroupBox(u"File List"_s);
    fileListGroup->setLayout(fileListBox);

    auto* addColumn = new QVBoxLayout;
    addColumn->addSpacing(g_buttonColumnSpacing);
    addColumn->addWidget(m_addButton);
    addColumn->addWidget(m_addAllButton);
    addColumn->addStretch();

    auto* channelRow = new QHBoxLayout;
    for (QCheckBox* check : m_channelCheck)
        channelRow->addWidget(check);
    channelRow->addStretch();

    auto* sourceBox = new QVBoxLayout;
    sourceBox->addWidget(m_sourceTable);
    sourceBox->addLayout(channelRow);
    sourceBox->addLayout(createRow(m_outputDirLabel, m_outputDirEdit, m_outputDirBrowseButton));
    auto* sourceGroup = new QGroupBox(u"Source File"_s);
    sourceGroup->setLayout(sourceBox);

    auto* convertColumn = new QVBoxLayout;
    convertColumn->addSpacing(g_buttonColumnSpacing);
    convertColumn->addWidget(m_removeButton);
    convertColumn->addWidget(m_removeAllButton);
    convertColumn->addStretch();
    convertColumn->addWidget(m_convertButton);

    auto* grid = new QGridLayout;
    grid->addWidget(fileListGroup, 0, 0);
    grid->addLayout(addColumn, 0, 1);
    grid->addWidget(sourceGroup, 1, 0);
    grid->addLayout(convertColumn, 1, 1);

    auto* mainBox = new QVBoxLayout;
    mainBox->addLayout(functionRow);
    mainBox->addLayout(grid);
    auto* central = new QWidget;
    central->setLayout(mainBox);
    setCentralWidget(central);
}

void CMainWindow::setAddButtonsEnabled(bool on)
{
    m_addButton->setEnabled(on);
    m_addAllButton->setEnabled(on);
}

void CMainWindow::setSourceButtonsEnabled(bool on)
{
    m_removeButton->setEnabled(on);
    m_removeAllButton->setEnabled(on);
    m_convertButton->setEnabled(on);
}

bool CMainWindow::hasSourceFiles() const
{
    return m_sourceTable->rowCount() > 0;
}

/// Fits columns and rows to their contents and gives @p fillColumn the width that is left, if any.
void CMainWindow::fitTableColumns(QTableWidget* table, int fillColumn)
{
    if (!table)
        return;
    fitColumnsToContents(table);
    table->resizeRowsToContents();
    giveRemainingWidth(table, fillColumn);
}

void CMainWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event); // QMainWindow adds nothing: its layout follows the size by itself.
    fitFileListTable();
    fitSourceTable();
}

void CMainWindow::showAbout()
{
    QString text;
    text += u"%1 - Ver.%2 Build "_s.arg(g_appName, g_appVersion);
    text += QString::number(g_buildNumber);
    text += u"\n\nCopyright (C) 2026 VELMAR\nAll rights reserved."_s;
    QMessageBox::information(this, g_appName, text, QMessageBox::Ok, QMessageBox::NoButton);
}
