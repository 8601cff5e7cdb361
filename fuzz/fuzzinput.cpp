// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "fuzz/fuzzinput.h"

#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr qsizetype g_mostFiles = 8;

/// Moves on from header to header, as the conversions do. A `data` body ends where the file does;
/// @p keepsBodies says that each body is read unchanged.
Walk walkOver(const QByteArray& bytes, bool keepsBodies)
{
    constexpr quint64 largestCount = std::numeric_limits<qint32>::max();
    Walk walk;
    for (qint64 at = g_riffHeaderSize; at + g_chunkHeaderSize <= bytes.size();) {
        const char* id = bytes.constData() + at;
        const auto size = qFromLittleEndian<quint32>(id + g_idSize);
        at += g_chunkHeaderSize;
        quint64 length = size;
        if (!keepsBodies && isId(id, g_dataId)) {
            walk.data.append({at, size});
        } else if (!keepsBodies && isId(id, g_fmtId)) {
            if (size > largestCount)
                length = 0; // such a skip moves nothing
        } else {
            if (!keepsBodies && !isId(id, g_bextId))
                length += size & 1;
            if (length > largestCount)
                return walk;
            walk.largestCopy = std::max(walk.largestCopy, qint64(length));
        }
        at = std::min<qint64>(at + qint64(length), bytes.size());
    }
    return walk;
}

} // namespace

FuzzInput::FuzzInput(const quint8* data, size_t size)
{
    QByteArray rest(reinterpret_cast<const char*>(data), qsizetype(size));
    const qsizetype markerSize = qsizetype(std::strlen(g_nextFileMarker));
    qsizetype end = rest.indexOf(g_nextFileMarker);
    while (end >= 0) {
        if (m_files.size() < g_mostFiles)
            m_files.append(rest.left(end));
        rest = rest.mid(end + markerSize);
        end = rest.indexOf(g_nextFileMarker);
    }
    if (m_files.isEmpty())
        m_files.append(rest);
    else
        m_control = rest;
}

int FuzzInput::control(int index) const
{
    return index < m_control.size() ? quint8(m_control[index]) : 0;
}

WavInfo FuzzInput::listed(const QByteArray& file, int index) const
{
    WavInfo info = {};
    const bool isAnother = control(index) & 1;
    if (!isAnother && fuzzDesk().list(file, &info))
        return info;
    const auto number = [this, index](int at) {
        return quint16(control(index + at) | control(index + at + 1) << 8);
    };
    info = {};
    info.fmt.formatTag = number(1);
    info.fmt.channels = number(3);
    info.fmt.blockAlign = number(5);
    info.fmt.bitsPerSample = number(7);
    info.fmt.byteRate = quint32(number(9)) << 16;
    return info;
}

void DeskSources::add(const QString& name, const WavInfo& info)
{
    items.push_back(std::make_unique<CWavFileItem>(fuzzDesk().path(name), info));
}

QList<CWavFileItem*> DeskSources::list() const
{
    QList<CWavFileItem*> list;
    for (const auto& item : items)
        list.append(item.get());
    return list;
}

DeskSources putSources(const FuzzInput& input, const QStringList& names)
{
    fuzzDesk().clear();
    DeskSources sources;
    const qsizetype count = std::min(input.files().size(), names.size());
    for (qsizetype i = 0; i < count; ++i) {
        const QByteArray& file = input.files()[i];
        sources.add(names[i], input.listed(file, 2));
        fuzzDesk().put(names[i], file);
    }
    return sources;
}

FuzzDesk::Answers answersOf(const FuzzInput& input)
{
    return {(input.control(0) & 1) == 0, (input.control(0) & 2) != 0};
}

bool hasWaveHeader(const QByteArray& file)
{
    return file.startsWith(g_riffId) && file.mid(8, g_idSize) == g_waveId;
}

Walk convertingWalk(const QByteArray& bytes)
{
    return walkOver(bytes, false);
}

Walk copyingWalk(const QByteArray& bytes)
{
    return walkOver(bytes, true);
}
