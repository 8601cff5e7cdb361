// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "wave/wavrecords.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QFile>
#include <QString>
#include <QtEndian>

#include <algorithm>
#include <cstring>

/// @file
/// Builds WAV files from readable parts, so that offsets and sizes can be counted in a test row.

/// Bytes of a `fmt ` chunk as it is written.
inline constexpr int g_fmtChunkSize = g_chunkHeaderSize + g_fmtBodySize;

/// Bytes of a generated `bext` chunk.
inline constexpr int g_bextChunkSize = 866;

/// Where the first chunk after a generated `bext` chunk starts: what the running size counts then.
inline constexpr int g_outputStart = g_riffHeaderSize + g_bextChunkSize;

/// Where the samples of a source of `fmt ` and `data` chunk start.
inline constexpr int g_sampleStart = g_riffHeaderSize + g_fmtChunkSize + g_chunkHeaderSize;

/// A number of two or four bytes as it lies in a file.
inline QByteArray le16(quint16 value)
{
    QByteArray bytes(2, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

inline QByteArray le32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

/// A chunk: header and body. The header says @p claimedSize where one is given, else the length.
inline QByteArray chunk(const char* id, const QByteArray& body, qint64 claimedSize = -1)
{
    return QByteArray(id, 4) + le32(quint32(claimedSize < 0 ? body.size() : claimedSize)) + body;
}

/// A chunk with the RIFF pad byte after an odd body.
inline QByteArray paddedChunk(const char* id, const QByteArray& body)
{
    return chunk(id, body) + QByteArray(body.size() % 2, '\0');
}

/// The fields of a `fmt ` body. byteRate and blockAlign follow from the others unless set.
struct Format
{
    int channels = 1;
    int bits = 16;
    int rate = 48000; ///< Hz
    int tag = 1; ///< 1 integer PCM, 3 floating point, 0xFFFE extensible
    int blockAlign = -1; ///< bytes of a frame
    qint64 byteRate = -1; ///< bytes per second

    int frameBytes() const { return blockAlign < 0 ? channels * (bits / 8) : blockAlign; }

    QByteArray body() const
    {
        const qint64 perSecond = byteRate < 0 ? qint64(rate) * frameBytes() : byteRate;
        return le16(quint16(tag)) + le16(quint16(channels)) + le32(quint32(rate))
               + le32(quint32(perSecond)) + le16(quint16(frameBytes())) + le16(quint16(bits));
    }
};

inline QByteArray fmtChunk(const Format& format, const QByteArray& extension = {})
{
    return chunk("fmt ", format.body() + extension);
}

inline QByteArray dataChunk(const QByteArray& samples, qint64 claimedSize = -1)
{
    return chunk("data", samples, claimedSize);
}

/// The RIFF header and the chunks. The header says @p claimedSize where one is given, else the
/// length of the file less 8.
inline QByteArray wavBytes(const QByteArrayList& chunks, qint64 claimedSize = -1)
{
    const QByteArray joined = chunks.join();
    const auto size = quint32(claimedSize < 0 ? joined.size() + 4 : claimedSize);
    return "RIFF" + le32(size) + "WAVE" + joined;
}

/// A file of these samples.
inline QByteArray recording(const Format& format, const QByteArray& samples)
{
    return wavBytes({fmtChunk(format), dataChunk(samples)});
}

/// @p count bytes that differ from their neighbours, other ones for every @p seed.
inline QByteArray sampleBytes(qsizetype count, int seed = 0)
{
    QByteArray bytes(count, '\0');
    auto state = quint32(seed) * 2654435761u + 12345u;
    for (char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = char(state >> 24);
    }
    return bytes;
}

/// Samples of @p sampleBytes bytes each, one channel an entry, all as long, as one interleaved
/// block.
inline QByteArray interleaved(const QByteArrayList& channels, int sampleBytes)
{
    const qsizetype samples = channels.first().size() / sampleBytes;
    QByteArray bytes(samples * channels.size() * sampleBytes, '\0');
    for (qsizetype i = 0; i < samples * channels.size(); ++i) {
        const char* channel = channels[i % channels.size()].constData();
        std::memcpy(bytes.data() + i * sampleBytes, channel + i / channels.size() * sampleBytes,
                    size_t(sampleBytes));
    }
    return bytes;
}

/// The bytes of a generated `bext` chunk with zeros where date and time stand.
inline QByteArray bextWithoutDate()
{
    return "bext" + le32(858) + QByteArray(256, '\0') + QByteArray("VELMAR Splicora")
           + QByteArray(858 - 256 - 15, '\0');
}

/// An output: RIFF header, generated `bext` chunk without its date, and @p chunks. The running size
/// counts @p counted bytes of the chunks where a number is given, else all.
inline QByteArray outputBytes(const QByteArrayList& chunks, qint64 counted = -1)
{
    const QByteArray joined = chunks.join();
    return wavBytes({bextWithoutDate(), joined},
                    g_outputStart + (counted < 0 ? joined.size() : counted));
}

/// The same, but a `bext` among the chunks is copied, and none generated.
inline QByteArray copiedBytes(const QByteArrayList& chunks, qint64 counted)
{
    const bool hasBext = std::any_of(chunks.cbegin(), chunks.cend(),
                                     [](const QByteArray& any) { return any.startsWith("bext"); });
    return hasBext ? wavBytes(chunks, g_riffHeaderSize + counted) : outputBytes(chunks, counted);
}

/// An output of the split: of a chunk that is not `data` the running size counts the header and 4
/// bytes, whatever its length.
inline QByteArray splitBytes(const QByteArrayList& chunks)
{
    qint64 counted = 0;
    for (const QByteArray& any : chunks)
        counted += any.startsWith("data") ? any.size() : g_chunkHeaderSize + 4;
    return copiedBytes(chunks, counted);
}

/// @p file with zeros for the 18 characters of date and time of the generated `bext` chunk that
/// starts at byte @p bextOffset; @p file as it is when it ends before them.
inline QByteArray withoutDate(QByteArray file, qsizetype bextOffset = 12)
{
    const qsizetype date = bextOffset + 8 + 320;
    return file.size() < date + 18 ? file : file.replace(date, 18, QByteArray(18, '\0'));
}

/// A number of four bytes as it was read.
inline quint32 le32At(const QByteArray& bytes, qsizetype offset)
{
    return qFromLittleEndian<quint32>(bytes.constData() + offset);
}

/// How a walk over a file moves on from a chunk of odd size.
enum Padding { WithPadBytes, WithoutPadBytes };

/// A chunk as it was found in a file.
struct FoundChunk
{
    QByteArray id;
    quint32 size = 0; ///< as the header says
    QByteArray body; ///< with the pad byte of an odd size, if the walk counts one

    friend bool operator==(const FoundChunk&, const FoundChunk&) = default;
};

inline QList<FoundChunk> chunksOf(const QByteArray& file, Padding padding = WithPadBytes)
{
    QList<FoundChunk> chunks;
    for (qsizetype at = g_riffHeaderSize; at + g_chunkHeaderSize <= file.size();) {
        const quint32 size = le32At(file, at + 4);
        const qsizetype length = size + (padding == WithPadBytes ? size % 2 : 0);
        chunks.append({file.mid(at, 4), size, file.mid(at + g_chunkHeaderSize, length)});
        at += g_chunkHeaderSize + length;
    }
    return chunks;
}

/// The body of the first chunk of that id; empty when there is none.
inline QByteArray bodyOf(const QByteArray& file, const QByteArray& id)
{
    for (const FoundChunk& found : chunksOf(file)) {
        if (found.id == id)
            return found.body;
    }
    return {};
}

inline bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush();
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
