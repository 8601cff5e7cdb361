// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/converterror.h"
#include "wave/wavrecords.h"

#include <QDataStream>

/// Writes one WAV file in a single pass, from its RIFF header on, and counts the running size that
/// becomes its RIFF size. What a conversion counts besides headers and samples, it adds itself.
class WavWriter
{
public:
    /// @p device is open for writing, is not owned and outlives the writer.
    explicit WavWriter(QIODevice* device);

    /// Bytes; wraps silently at 4 GiB.
    quint32 runningSize() const;

    void addToRunningSize(quint32 bytes);

    /// Writes the RIFF header, with size 0, and a generated `bext` chunk if @p source has none, and
    /// starts the running size with them. False when one of them could not be written.
    bool writeStart(QDataStream& source);

    /// Writes and counts a chunk header. False when it could not be written.
    bool writeChunkHeader(const ChunkHeader& header);

    /// Writes a chunk other than `data`, as the split and the combine do, for the @p header that
    /// was just read from @p source: @p fmt in place of the source's own `fmt ` body, which is
    /// skipped, or a copy of the body's copiedBodyBytes(). Counts the header, not the body. Returns
    /// ConvertDataWrite when header or `fmt ` could not be written, ConvertDataCopy when the copy
    /// failed.
    ConvertError writeChunk(QDataStream& source, const ChunkHeader& header, const FmtChunk& fmt);

    /// Copies @p size bytes of @p source, which are not counted. False on failure, and without a
    /// copy when @p size is 2^31 or more.
    bool copyBody(QDataStream& source, quint64 size);

    /// Writes and counts @p size bytes of sample data. A failed write makes writeRiffSize() fail.
    void writeSamples(const char* bytes, qint64 size);

    /// Writes and counts the zero byte after an odd number of bytes of sample data.
    void writePadByte();

    /// Stores the running size as the RIFF size. False when that or any earlier write failed.
    bool writeRiffSize();

private:
    QDataStream m_out;
    quint32 m_runningSize = 0; ///< bytes
};

/// The next even number, in 64 bits so that it cannot wrap.
constexpr quint64 roundedUpToEven(quint32 size)
{
    return quint64(size) + (size & 1);
}

/// The bytes of a chunk's body that the split and the combine copy: a `bext` as long as it says,
/// any other with its pad byte.
quint64 copiedBodyBytes(const ChunkHeader& header);

/// Copies @p size bytes from position to position. A short read still writes @p size bytes, the
/// missing ones as zero. False when nothing could be read or written, which keeps the buffer of
/// @p size bytes allocated; also, with nothing allocated, when @p size is 2^31 or more or there is
/// no memory for it. A write that stops short sets the status of @p out.
bool copyBytes(QDataStream& in, QDataStream& out, quint32 size);
