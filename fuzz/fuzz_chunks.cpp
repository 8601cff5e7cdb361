// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The readers of the chunk library, one by one, and the copy of a body.

#include "convert/wavconverter.h"
#include "fuzz/fuzzdesk.h"
#include "fuzz/fuzzinput.h"
#include "wave/chunks.h"

#include <QBuffer>
#include <QDataStream>

namespace {

void setUp(QDataStream& s)
{
    s.setByteOrder(QDataStream::LittleEndian);
}

/// Reads cue points at the device's position and writes the ones that were read.
void readAndWriteCue(QBuffer* device)
{
    const QByteArray body = device->data().mid(device->pos());
    QDataStream in(device);
    setUp(in);
    CueChunk cue = {};
    const bool isRead = readCueChunk(in, &cue);
    require(cue.points.size() * qsizetype(sizeof(CuePoint)) <= body.size(),
            "no more cue points than the file holds");

    QByteArray written;
    QDataStream out(&written, QIODevice::WriteOnly);
    setUp(out);
    const qint64 count = writeCueChunk(out, cue);
    if (isRead && !(body.size() < 4)) {
        require(count == written.size() && body.startsWith(written),
                "cue points are written as they were read");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const FuzzInput input(data, size);
    QByteArray bytes = input.files().first();
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    QDataStream s(&device);
    setUp(s);

    quint32 riffSize = 0;
    const bool isWave = checkRiffWave(s, &riffSize);
    require(!isWave || device.pos() == g_riffHeaderSize, "a checked stream is at byte 12");

    const qint64 from = input.control(0);
    const qint64 kept = device.pos();
    for (const char* id : {g_fmtId, g_dataId, g_bextId, "cue ", "LIST"}) {
        QDataStream search(&device);
        setUp(search);
        quint32 bodySize = 0;
        const qint64 found = findChunk(search, id, from, &bodySize);
        require(from > bytes.size() || device.pos() == kept, "a search keeps the position");
        require(found < 0 || bytes.mid(from + found - 8, 4) == id,
                "the chunk that was searched for");
        if (found >= 0 && device.seek(from + found))
            readAndWriteCue(&device);
        device.seek(kept);
    }

    device.seek(input.control(1));
    readAndWriteCue(&device);
    device.seek(input.control(2));
    ChunkHeader header = {};
    if (readChunkHeader(s, &header))
        isPrintableId(header.id, g_idSize);
    isPrintableId(bytes.constData(), uint(bytes.size()));

    // A body of up to 2 GiB is copied with zeros, which only costs time.
    const quint32 copied = quint32(input.control(3)) << input.control(4) % 32;
    if (copied <= quint32(g_largestFuzzedCopy) || copied >= quint32(1) << 31) {
        const QByteArray rest = bytes.mid(device.pos());
        QByteArray copy;
        QDataStream out(&copy, QIODevice::WriteOnly);
        const bool isCopied = CWavConverter::copyBlock(s, out, copied);
        require(
            copy == (isCopied ? rest.leftJustified(qsizetype(copied), '\0', true) : QByteArray()),
            "a body is copied whole, with zeros for what is missing, or not");
    }
    return 0;
}
