// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "ui/mainwindow.h"

#include "wave/wavfileitem.h"

#include <QCheckBox>
#include <QComboBox>
#include <QItemSelectionModel>
#include <QTableWidget>

using namespace Qt::Literals::StringLiterals;

void CMainWindow::createChannelChecks()
{
    for (int k = 0; k < g_maxChannels; ++k) {
        m_channelCheck[k] = new QCheckBox(u"Ch"_s + QString::number(k + 1));
        m_channelCheck[k]->setAccessibleName(u"Channel "_s + QString::number(k + 1));
    }
    connect(m_channelCheck[0], SIGNAL(stateChanged(int)), this, SLOT(ch1StateChanged(int)));
    connect(m_channelCheck[1], SIGNAL(stateChanged(int)), this, SLOT(ch2StateChanged(int)));
    connect(m_channelCheck[2], SIGNAL(stateChanged(int)), this, SLOT(ch3StateChanged(int)));
    connect(m_channelCheck[3], SIGNAL(stateChanged(int)), this, SLOT(ch4StateChanged(int)));
    connect(m_channelCheck[4], SIGNAL(stateChanged(int)), this, SLOT(ch5StateChanged(int)));
    connect(m_channelCheck[5], SIGNAL(stateChanged(int)), this, SLOT(ch6StateChanged(int)));
    connect(m_channelCheck[6], SIGNAL(stateChanged(int)), this, SLOT(ch7StateChanged(int)));
    connect(m_channelCheck[7], SIGNAL(stateChanged(int)), this, SLOT(ch8StateChanged(int)));
    checkChannels();
}

void CMainWindow::checkChannels()
{
    if (!m_sourceTable->selectionModel())
        return;
    const CWavFileItem* item = currentSource();
    if (!item) {
        for (QCheckBox* check : m_channelCheck) {
            check->setChecked(false);
            check->setEnabled(false);
        }
        return;
    }
    const int channels = item->fmtChunk().channels;
    const bool canSplit = m_functionCombo->currentIndex() == PolyToMonoFunction;
    for (int k = 0; k < g_maxChannels; ++k) {
        m_channelCheck[k]->setChecked(item->isChannelEnabled(k));
        m_channelCheck[k]->setEnabled(canSplit && k < channels);
    }
}

/// The source at the current row, whatever is selected; null when there is none, also while
/// removeAll() has emptied the list and not yet the table.
CWavFileItem* CMainWindow::currentSource() const
{
    const int row = m_sourceTable->selectionModel()->currentIndex().row();
    return row >= 0 && row < m_sourceItems.size() ? m_sourceItems[row] : nullptr;
}

void CMainWindow::setCurrentChannelEnabled(int index, int state)
{
    if (CWavFileItem* item = currentSource())
        item->setChannelEnabled(index, state != Qt::Unchecked);
}

void CMainWindow::ch1StateChanged(int state)
{
    setCurrentChannelEnabled(0, state);
}

void CMainWindow::ch2StateChanged(int state)
{
    setCurrentChannelEnabled(1, state);
}

void CMainWindow::ch3StateChanged(int state)
{
    setCurrentChannelEnabled(2, state);
}

void CMainWindow::ch4StateChanged(int state)
{
    setCurrentChannelEnabled(3, state);
}

void CMainWindow::ch5StateChanged(int state)
{
    setCurrentChannelEnabled(4, state);
}

void CMainWindow::ch6StateChanged(int state)
{
    setCurrentChannelEnabled(5, state);
}

void CMainWindow::ch7StateChanged(int state)
{
    setCurrentChannelEnabled(6, state);
}

void CMainWindow::ch8StateChanged(int state)
{
    setCurrentChannelEnabled(7, state);
}
