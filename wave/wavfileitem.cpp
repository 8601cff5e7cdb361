// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "wave/wavfileitem.h"

#include <iterator>

CWavFileItem::CWavFileItem(const QString& fileName)
    : QFile(fileName)
    , m_info()
{ }

CWavFileItem::CWavFileItem(const QString& fileName, const WavInfo& info)
    : QFile(fileName)
    , m_info(info)
{
    for (int i = 0; i < g_maxChannels; ++i)
        m_channelEnabled[i] = i < info.fmt.channels;
}

CWavFileItem::~CWavFileItem() = default;

FmtChunk CWavFileItem::fmtChunk() const
{
    return m_info.fmt;
}

quint32 CWavFileItem::dataSize() const
{
    return m_info.dataSize;
}

bool CWavFileItem::hasBext() const
{
    return m_info.hasBext;
}

bool CWavFileItem::isChannelEnabled(int index) const
{
    return m_channelEnabled[index];
}

void CWavFileItem::setChannelEnabled(int index, bool on)
{
    if (static_cast<unsigned>(index) < std::size(m_channelEnabled))
        m_channelEnabled[index] = on;
}

bool CWavFileItem::isSameFormat(const CWavFileItem* other) const
{
    return m_info.riff.size == other->m_info.riff.size && m_info.fmt == other->fmtChunk()
           && m_info.dataSize == other->dataSize();
}
