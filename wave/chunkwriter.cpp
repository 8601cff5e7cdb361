// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "wave/chunks.h"

#include <QDataStream>
#include <QDateTime>
#include <QIODevice>
#include <QString>

#include <algorithm>

namespace {

const QString g_originator = QStringLiteral("VELMAR Splicora");

constexpr qsizetype g_bextBodySize = 858;

struct BextField
{
    qsizetype offset; ///< bytes from the start of the body
    qsizetype size; ///< bytes
};
constexpr BextField g_originatorField = {256, 32};
constexpr BextField g_dateField = {320, 10};
constexpr BextField g_timeField = {330, 8};

/// Puts @p text, without terminator, at the start of the field.
void putText(QByteArray& body, const BextField& field, const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    const qsizetype length = std::min(bytes.size(), field.size);
    std::copy_n(bytes.cbegin(), length, body.begin() + field.offset);
}

qint64 bytesWrittenIfOk(const QDataStream& s, qint64 bytes)
{
    return s.status() == QDataStream::Ok ? bytes : -1;
}

} // namespace

qint64 writeRiffHeader(QDataStream& s, quint32 riffSize)
{
    if (!s.device()->seek(0))
        return -1;
    if (s.writeRawData(g_riffId, g_idSize) < 0)
        return -1;
    s << riffSize;
    if (s.status() != QDataStream::Ok)
        return -1;
    if (s.writeRawData(g_waveId, g_idSize) < 0)
        return -1;
    return g_riffHeaderSize;
}

qint64 writeChunkHeader(QDataStream& s, const ChunkHeader& h)
{
    if (s.writeRawData(h.id, g_idSize) < 0)
        return -1;
    s << h.size;
    return bytesWrittenIfOk(s, g_chunkHeaderSize);
}

qint64 writeFmtBody(QDataStream& s, const FmtChunk& f)
{
    s << f.formatTag << f.channels << f.sampleRate << f.byteRate << f.blockAlign << f.bitsPerSample;
    return bytesWrittenIfOk(s, g_fmtBodySize);
}

qint64 writeBextChunk(QDataStream& s)
{
    if (s.writeRawData(g_bextId, g_idSize) < 0)
        return -1;
    s << quint32(g_bextBodySize);
    if (s.status() != QDataStream::Ok)
        return -1;
    const QDate date = QDate::currentDate();
    const QTime time = QTime::currentTime();
    const QByteArray body = bextBody(date, time);
    if (s.writeRawData(body.constData(), int(body.size())) < 0)
        return -1;
    return g_chunkHeaderSize + g_bextBodySize;
}

QByteArray bextBody(const QDate& date, const QTime& time)
{
    QByteArray body(g_bextBodySize, '\0');
    putText(body, g_originatorField, g_originator);
    putText(body, g_dateField, date.toString(u"yyyy-MM-dd"));
    putText(body, g_timeField, time.toString(u"hh:mm:ss"));
    return body;
}

qint64 writeCueChunk(QDataStream& s, const CueChunk& cue)
{
    if (cue.pointCount > quint64(cue.points.size()))
        return -1;
    s << cue.pointCount;
    for (quint32 i = 0; i < cue.pointCount; ++i) {
        const CuePoint& point = cue.points[i];
        s << point.identifier << point.position;
        if (s.writeRawData(point.chunkId, g_idSize) < 0)
            return -1;
        s << point.chunkStart << point.blockStart << point.sampleOffset;
    }
    return bytesWrittenIfOk(s, qint64(sizeof(cue.pointCount)) + g_cuePointSize * cue.pointCount);
}
