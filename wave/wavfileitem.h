// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "wave/wavrecords.h"

#include <QFile>

/// Channels of a file that can be switched on and off.
inline constexpr int g_maxChannels = 8;

/// One WAV file on disk: its full path, the facts of its header and which of its channels 1 to 8
/// are to be split off. The file itself is never opened through the item.
class CWavFileItem : public QFile
{
public:
    explicit CWavFileItem(const QString& fileName);

    /// All channels that @p info names, up to eight, start enabled.
    CWavFileItem(const QString& fileName, const WavInfo& info);

    ~CWavFileItem() override;

    FmtChunk fmtChunk() const;

    /// Bytes of the `data` body, as the file states it.
    quint32 dataSize() const;

    bool hasBext() const;

    /// @p index is 0 to 7 for channels 1 to 8; there is no bound test.
    bool isChannelEnabled(int index) const;

    /// An @p index outside 0 to 8 is ignored.
    void setChannelEnabled(int index, bool on);

    /// True when RIFF size, format record and data size are all equal: files of one format and one
    /// length. Stricter than the audio format on purpose, since a combine reads all sources at the
    /// byte positions of the first.
    bool isSameFormat(const CWavFileItem* other) const;

    WavInfo m_info;

private:
    bool m_channelEnabled[g_maxChannels + 1] = {}; // the ninth is never used, but may be set
};
