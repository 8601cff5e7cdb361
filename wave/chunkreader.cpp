// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "wave/chunks.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>

#include <cstring>
#include <limits>

namespace {

constexpr qint64 g_largestCount = std::numeric_limits<qint32>::max();

bool isCount(qint64 size)
{
    return size >= 0 && size <= g_largestCount;
}

/// Marks the stream of a device that failed. A search would otherwise pass the failure off as a
/// chunk that is not there.
qint64 markFailed(QDataStream& s)
{
    s.setStatus(QDataStream::ReadCorruptData);
    return -1;
}

/// Moves @p size bytes ahead with @p step, whose arguments are the bytes done and the bytes left. A
/// short read is not the end of the file (network, FUSE); only 0 bytes is.
template <typename Step>
qint64 moveOn(QDataStream& s, qint64 size, const Step& step)
{
    if (!isCount(size))
        return -1;
    qint64 done = 0;
    while (done < size) {
        const qint64 part = step(done, size - done);
        if (part < 0)
            return markFailed(s);
        if (part == 0)
            break;
        done += part;
    }
    return done;
}

} // namespace

bool openRegularFile(QFile* file)
{
    return QFileInfo(*file).isFile() && file->open(QIODevice::ReadOnly);
}

qint64 readRaw(QDataStream& s, char* buffer, qint64 size)
{
    return moveOn(s, size, [&s, buffer](qint64 done, qint64 left) {
        return s.device()->read(buffer + done, left);
    });
}

qint64 skipRaw(QDataStream& s, qint64 size)
{
    return moveOn(s, size, [&s](qint64, qint64 left) { return s.device()->skip(left); });
}

bool isAtEnd(const QDataStream& s)
{
    return s.atEnd() && s.status() == QDataStream::Ok;
}

bool isId(const char id[4], const char wanted[4])
{
    return std::memcmp(id, wanted, g_idSize) == 0;
}

bool checkRiffWave(QDataStream& s, quint32* riffSize)
{
    *riffSize = 0;
    if (!s.device()->seek(0))
        return false;

    RiffHeader riff = {};
    if (readRaw(s, riff.id, g_idSize) < 0)
        return false;
    s >> riff.size;
    if (s.status() != QDataStream::Ok)
        return false;
    if (readRaw(s, riff.format, g_idSize) < 0)
        return false;
    if (!isId(riff.id, g_riffId) || !isId(riff.format, g_waveId))
        return false;

    *riffSize = riff.size;
    return true;
}

qint64 findChunk(QDataStream& s, const char id[4], qint64 from, quint32* size)
{
    if (from < 0)
        return -1; // A place before the file's start is no failure of the device.
    QIODevice* device = s.device();
    const qint64 keptPosition = device->pos();
    if (!device->seek(from))
        return markFailed(s);

    qint64 offset = 0;
    if (from == 0) {
        if (skipRaw(s, g_riffHeaderSize) < 0) {
            device->seek(keptPosition);
            return -1;
        }
        offset = g_riffHeaderSize;
    }

    // The walk goes from header to header by the sizes exactly as stored, and ends at an id that is
    // not text, at a cut header and at a size that cannot be skipped. It skips no pad byte after an
    // odd chunk: kept as it is, docs/file-format.md. It does not use readChunkHeader(): a bad id
    // has to end the walk before a cut size after that id sets the stream's status, which would
    // fail the conversion that follows.
    qint64 found = -1;
    while (!s.atEnd()) {
        ChunkHeader header = {};
        if (readRaw(s, header.id, g_idSize) < 0)
            break;
        if (!isPrintableId(header.id, g_idSize))
            break;
        s >> header.size;
        if (s.status() != QDataStream::Ok)
            break;
        offset += g_chunkHeaderSize;
        if (isId(header.id, id)) {
            *size = header.size;
            found = offset;
            break;
        }
        if (skipRaw(s, header.size) < 0)
            break;
        offset += header.size;
    }
    if (!device->seek(keptPosition))
        markFailed(s);
    return found;
}

qint64 findChunk(QDataStream& s, const char id[4], qint64 from)
{
    quint32 size = 0;
    return findChunk(s, id, from, &size);
}

bool readChunkHeader(QDataStream& s, ChunkHeader* h)
{
    if (readRaw(s, h->id, g_idSize) < 0)
        return false;
    s >> h->size;
    return s.status() == QDataStream::Ok;
}

bool isPrintableId(const char* id, uint length)
{
    for (uint i = 0; i < length; ++i) {
        if (static_cast<signed char>(id[i]) <= 31)
            return false;
    }
    return true;
}

bool readWavInfo(QFile* file, WavInfo* info)
{
    QDataStream s(file);
    s.setByteOrder(QDataStream::LittleEndian);
    if (!checkRiffWave(s, &info->riff.size))
        return false;

    const qint64 fmtOffset = findChunk(s, g_fmtId, 0);
    if (fmtOffset < 0)
        return false;
    file->seek(fmtOffset);
    FmtChunk& fmt = info->fmt;
    s >> fmt.formatTag >> fmt.channels >> fmt.sampleRate >> fmt.byteRate >> fmt.blockAlign
        >> fmt.bitsPerSample;
    if (s.status() != QDataStream::Ok)
        return false;

    if (findChunk(s, g_dataId, 0, &info->dataSize) < 0)
        return false;
    info->hasBext = findChunk(s, g_bextId, 0) > 0;
    return true;
}

bool readCueChunk(QDataStream& s, CueChunk* cue)
{
    cue->points.clear();
    s >> cue->pointCount;
    for (quint32 i = 0; i < cue->pointCount; ++i) {
        CuePoint point = {};
        s >> point.identifier;
        if (point.identifier == 0)
            return false;
        s >> point.position;
        if (readRaw(s, point.chunkId, g_idSize) < 0 || !isId(point.chunkId, g_dataId))
            return false;
        s >> point.chunkStart >> point.blockStart >> point.sampleOffset;
        if (s.status() != QDataStream::Ok || point.chunkStart != 0 || point.blockStart != 0)
            return false;
        cue->points.append(point);
    }
    return true;
}
