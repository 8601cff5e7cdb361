// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "wave/wavfileitem.h"

#include <QList>
#include <QMainWindow>
#include <QString>

class QAction;
class QCheckBox;
class QComboBox;
class QFile;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QTableWidget;

/// The functions by their index in the selector, which does not offer the third.
enum FunctionIndex { MonoToPolyFunction = 0, PolyToMonoFunction = 1, PlainToBwfFunction = 2 };

/// The window of the program. This header is its map; each block of declarations names the source
/// file that defines it.
class CMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    CMainWindow();
    ~CMainWindow() override;

    bool eventFilter(QObject* watched, QEvent* event) override; // mainwindow_sources.cpp

    /// Parses the header of @p file, which is open for reading (mainwindow_filelist.cpp).
    static bool readWavInfo(QFile* file, WavInfo* info);

protected:
    void resizeEvent(QResizeEvent* event) override;

private slots:
    // The order is part of the class: slots are dispatched by it.

    // File list (mainwindow_filelist.cpp)
    void showFileList();

    // Directories (mainwindow_convert.cpp)
    void setCurrentDir();
    void setOutputDir();

    // Source list (mainwindow_sources.cpp)
    void add();
    void addAll();
    void remove();
    void removeAll();

    // Convert command (mainwindow_convert.cpp)
    void convert();

    // Channel selection (mainwindow_channels.cpp)
    void checkChannels();
    void ch1StateChanged(int state);
    void ch2StateChanged(int state);
    void ch3StateChanged(int state);
    void ch4StateChanged(int state);
    void ch5StateChanged(int state);
    void ch6StateChanged(int state);
    void ch7StateChanged(int state);
    void ch8StateChanged(int state);

    // Frame (mainwindow.cpp)
    void showAbout();

private:
    // Frame (mainwindow.cpp)
    void createMenus();
    void createWidgets();
    void createFunctionRow();
    void createCurrentDirRow();
    void createOutputDirRow();
    void createButtons();
    void createLayout();
    void fitTableColumns(QTableWidget* table, int fillColumn);
    void setAddButtonsEnabled(bool on);
    void setSourceButtonsEnabled(bool on);
    bool hasSourceFiles() const;

    // File list (mainwindow_filelist.cpp)
    void createFileListTable();
    void fitFileListTable();
    bool isListed(const WavInfo& info) const;
    void addFileRow(const QString& path, const WavInfo& info);

    // Source list (mainwindow_sources.cpp)
    void createSourceTable();
    void fitSourceTable();
    void addRows(const QList<int>& rows);
    void addSourceRow(const QString& name, const CWavFileItem& item, const CWavFileItem& pathItem);
    void refuse(const QString& message);

    // Channel selection (mainwindow_channels.cpp)
    void createChannelChecks();
    CWavFileItem* currentSource() const;
    void setCurrentChannelEnabled(int index, int state);

    // Convert command and directories (mainwindow_convert.cpp)
    QString chooseDirectory(const QString& startDir);

    // Widgets and actions are owned: they are deleted with the window.
    QMenu* m_fileMenu = nullptr;
    QMenu* m_aboutMenu = nullptr;
    QAction* m_quitAction = nullptr;
    QAction* m_aboutAction = nullptr;
    QComboBox* m_functionCombo = nullptr;
    QLabel* m_functionLabel = nullptr;
    QLabel* m_logoLabel = nullptr;
    QLabel* m_currentDirLabel = nullptr;
    QLabel* m_outputDirLabel = nullptr;
    QLineEdit* m_currentDirEdit = nullptr;
    QLineEdit* m_outputDirEdit = nullptr;
    QPushButton* m_currentDirBrowseButton = nullptr;
    QPushButton* m_outputDirBrowseButton = nullptr;
    QCheckBox* m_channelCheck[g_maxChannels] = {};
    QTableWidget* m_fileListTable = nullptr;
    QTableWidget* m_sourceTable = nullptr;
    QPushButton* m_addButton = nullptr;
    QPushButton* m_addAllButton = nullptr;
    QPushButton* m_removeButton = nullptr;
    QPushButton* m_removeAllButton = nullptr;
    QPushButton* m_convertButton = nullptr;

    // One for each row of the file list and of the source table; they live until the program ends.
    QList<CWavFileItem*> m_fileItems;
    QList<CWavFileItem*> m_sourceItems;
    QString m_currentDir; // the text of the last listing, or the chooser's path; null before
    QString m_outputPath; // Nothing reads or writes it: the text of m_outputDirEdit decides.
};

/// Bytes in the smallest unit that leaves at most 1024: "1.5KB".
QString formatSize(quint64 bytes, int precision);

/// @p text after the current local date and time.
QString timeStamped(const QString& text);
