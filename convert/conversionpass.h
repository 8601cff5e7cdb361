// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "wave/wavrecords.h"

#include <QDataStream>
#include <QProgressDialog>

#include <memory>

class QFile;
class QWidget;

/// Bytes of source data that a conversion moves at most in one block.
inline constexpr qint64 g_blockBytes = 524288;

/// One output file on its way from the opened files to the patched RIFF size: the two streams, the
/// progress dialog and the running size. Defined, like all of this header, in wavconverter.cpp.
struct ConversionPass
{
    /// Both files are open, stay owned by the caller and outlive the pass.
    ConversionPass(QFile* source, QFile* output, QWidget* parent);
    ~ConversionPass();
    ConversionPass(const ConversionPass&) = delete;
    ConversionPass& operator=(const ConversionPass&) = delete;

    /// Checks the source's RIFF header and keeps its size.
    bool checkSource();

    /// Sets the range of the dialog to 0 .. @p maximum bytes.
    void setProgressRange(quint32 maximum);

    void showProgress();

    /// Shows @p bytes as progress.
    void setProgress(quint32 bytes);

    /// Writes the RIFF header, with size 0, and a generated `bext` chunk if the source has none,
    /// and starts the running size with them.
    bool writeStart();

    /// Writes the header of a chunk of the output: that of the source, in which a `fmt ` body has
    /// the plain length and a `data` body @p dataSize bytes. Counts it.
    bool writeHeader(const ChunkHeader& source, quint32 dataSize);

    /// Writes the body of a chunk other than `data`: @p fmt in place of the source's own `fmt `
    /// body, which is skipped, or a copy. Returns a ConvertError.
    int writeBody(const ChunkHeader& source, const FmtChunk& fmt);

    /// Puts the running size into the RIFF header, brings the output to the disk and closes it.
    /// False when any write of the pass or the closing failed, or when another file or none has the
    /// name of the output by now.
    bool finish();

    QDataStream in;
    QDataStream out;
    QProgressDialog dialog;
    quint32 sourceRiffSize = 0; ///< bytes
    quint32 runningSize = 0; ///< bytes; becomes the RIFF size of the output, wraps silently
};

/// The next even number, in 64 bits so that it cannot wrap.
constexpr quint64 roundedUpToEven(quint32 size)
{
    return quint64(size) + (size & 1);
}

/// The largest number of bytes that fits a block and holds whole sample frames of @p blockAlign
/// bytes, which is not 0.
constexpr qint64 wholeFrameBytes(quint16 blockAlign)
{
    return g_blockBytes - g_blockBytes % blockAlign;
}

/// The bytes of a chunk's body that the split and the combine copy: a `bext` as long as it says,
/// any other with its pad byte.
quint64 copiedBodyBytes(const ChunkHeader& header);

/// Shows @p bytes and polls the cancel button, once for each of the @p frames frames of a block.
/// False when the user cancelled.
inline bool pollEachFrame(QProgressDialog& dialog, int bytes, qint64 frames)
{
    for (qint64 k = 0; k < frames; ++k) {
        dialog.setValue(bytes);
        if (dialog.wasCanceled())
            return false;
        // Once the dialog shows the value, showing it again returns at once and delivers no event,
        // so nothing can cancel before the next block: nobody can tell the block's further polls
        // from none. A value that the dialog did not take over pumps events with every frame.
        if (dialog.value() == bytes)
            return true;
    }
    return true;
}

/// Closes and removes an output that is not to stay, but no other file that took its name
/// meanwhile. QFile::remove() alone keeps a file whose last bytes do not fit the disk any more.
void removeOutput(QFile* output);

/// A zero-filled buffer of @p size bytes, null when there is no memory for it.
std::unique_ptr<char[]> newSampleBuffer(qint64 size);
