// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QList>
#include <QtGlobal>

/// @file
/// The records of a RIFF/WAVE file ("Multimedia Programming Interface and Data Specifications 1.0",
/// IBM and Microsoft, 1991). The fields lie in the order of the file, without gaps; numbers are
/// little-endian in the file and native here. Ids are four characters without a terminator.

inline constexpr char g_riffId[] = "RIFF";
inline constexpr char g_waveId[] = "WAVE";
inline constexpr char g_fmtId[] = "fmt ";
inline constexpr char g_dataId[] = "data";
inline constexpr char g_bextId[] = "bext";

/// Bytes of a chunk id.
inline constexpr int g_idSize = 4;

/// Bytes of the RIFF header: id, size, form type.
inline constexpr qint64 g_riffHeaderSize = 12;

/// Bytes from the start of the file to the RIFF size.
inline constexpr qint64 g_riffSizeOffset = 4;

/// Bytes of a chunk header: id, size.
inline constexpr qint64 g_chunkHeaderSize = 8;

/// Bytes of a cue point.
inline constexpr qint64 g_cuePointSize = 24;

/// Bytes of a `fmt ` body without extension, the only form that is written.
inline constexpr qint64 g_fmtBodySize = 16;

struct ChunkHeader
{
    char id[g_idSize];
    quint32 size; ///< bytes of the body
};

struct RiffHeader
{
    char id[g_idSize];
    quint32 size; ///< bytes, as the file states it
    char format[g_idSize];
};

struct FmtChunk
{
    char id[g_idSize];
    quint32 size; ///< bytes of the body
    quint16 formatTag;
    quint16 channels;
    quint32 sampleRate; ///< Hz
    quint32 byteRate; ///< bytes per second
    quint16 blockAlign; ///< bytes of a sample frame
    quint16 bitsPerSample;

    bool operator==(const FmtChunk&) const = default;
};

/// What is known of a file after its header was parsed.
struct WavInfo
{
    RiffHeader riff; ///< only the size is filled from a file
    FmtChunk fmt; ///< only the fields of the body are filled from a file
    quint32 dataSize; ///< bytes of the `data` body, as its header states it
    bool hasBext;
};

struct CuePoint
{
    quint32 identifier;
    quint32 position; ///< sample frames
    char chunkId[g_idSize];
    quint32 chunkStart;
    quint32 blockStart;
    quint32 sampleOffset; ///< sample frames
};

struct CueChunk
{
    ChunkHeader header;
    quint32 pointCount;
    QList<CuePoint> points;
};
