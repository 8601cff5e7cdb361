// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "fuzz/fuzzdesk.h"
#include "wave/wavrecords.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QStringList>

#include <memory>
#include <vector>

class CWavFileItem;

/// @file
/// What the bytes of a fuzzing run mean. An input is one file, or several with the marker between
/// them and control bytes after the last marker. Any WAV file is thus an input as it is.

inline constexpr char g_nextFileMarker[] = "\xF0NEXT";

class FuzzInput
{
public:
    FuzzInput(const quint8* data, size_t size);

    /// At least one; never more than eight.
    const QByteArrayList& files() const { return m_files; }

    /// A control byte, 0 where the input has none.
    int control(int index) const;

    /// The facts of @p file as the listing finds them. Where it finds none, or where the control
    /// byte @p index is odd, they are made of the control bytes that follow, as of another file
    /// that stood under the name when it was listed.
    WavInfo listed(const QByteArray& file, int index) const;

private:
    QByteArrayList m_files;
    QByteArray m_control;
};

/// Sources on the desk.
struct DeskSources
{
    std::vector<std::unique_ptr<CWavFileItem>> items;

    void add(const QString& name, const WavInfo& info);
    QList<CWavFileItem*> list() const;
};

/// Clears the desk and puts as many of the input's files there as there are @p names, listed by the
/// control bytes from 2 on.
DeskSources putSources(const FuzzInput& input, const QStringList& names);

/// How the dialogs are answered, by control byte 0.
FuzzDesk::Answers answersOf(const FuzzInput& input);

/// True for what a conversion writes from its first flush on.
bool hasWaveHeader(const QByteArray& file);

/// A `data` body as a conversion meets it on its walk over a file.
struct MetData
{
    qint64 offset; ///< bytes from the start of the file
    quint32 size; ///< bytes, as its header says
};

/// What a conversion meets on its walk, worked out from the bytes alone. Where it cannot go on, the
/// walk ends, as the conversion does.
struct Walk
{
    QList<MetData> data;
    qint64 largestCopy = 0; ///< bytes of the longest body that is copied
};

/// The walk of the split and of the combine over the file in @p bytes.
Walk convertingWalk(const QByteArray& bytes);

/// The walk of the plain copy.
Walk copyingWalk(const QByteArray& bytes);

/// Bytes beyond which a copy only costs time: a body of 2 GiB is copied with zeros.
inline constexpr qint64 g_largestFuzzedCopy = 1 << 20;

/// Bytes that every conversion moves in one block, whatever the block align.
inline constexpr qint64 g_surelyOneBlock = 524288 - 65535;
