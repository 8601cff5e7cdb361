// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/wavconverter.h"
#include "wave/wavrecords.h"

#include <QDataStream>
#include <QObject>
#include <QProgressDialog>

class OutputFile;
class QFile;
class QWidget;

/// Tells when the last window of the program was closed, provided that the window of a request was
/// there when the request began: nobody is left then to wait for what has no end. It watches as
/// long as it lives, and never tells so of a request without a window or of one that was not shown.
class LastWindowWatch : public QObject
{
public:
    explicit LastWindowWatch(const QWidget* parent);

    bool isClosed() const;

private:
    bool m_isClosed = false;
};

/// One output on its way from the opened files to its RIFF size: the streams, the progress dialog
/// and the running size. A conversion calls, in this order:
///
///     checkSource()
///     setProgressRange(), and showProgress() if the dialog is to be there from the start
///     writeStart()
///     for each chunk, while not atEnd():
///         pumpEvents(), behind which the split asks isAbandoned()
///         readHeader()
///         writeChunk() and countBody(); or writeHeader(), copyBody() and countBody(); or
///             writeHeader() and, for each block of samples, pumpEvents(), read(), showPosition()
///             or pollEachFrame(), and writeSamples(), then writePadByte() behind an odd number of
///             bytes
///     writeRunningSize()
///     close() and showMaximum(), in the conversion's own order
///
/// What becomes of the output when one of them fails is up to the conversion.
class ConversionPass
{
public:
    /// Both files are open. They and @p lastWindow, null where nobody asks isAbandoned(), stay
    /// owned by the caller and outlive the pass.
    ConversionPass(QFile* source, OutputFile* output, QWidget* parent,
                   const LastWindowWatch* lastWindow = nullptr);
    ConversionPass(const ConversionPass&) = delete;
    ConversionPass& operator=(const ConversionPass&) = delete;

    /// Checks the source's RIFF header and keeps its size. False when it has none.
    bool checkSource();

    /// Bytes, as the source's RIFF header states them; known once the source was checked.
    quint32 sourceRiffSize() const;

    /// Sets the range of the dialog to 0 .. @p maximum bytes.
    void setProgressRange(quint32 maximum);

    void showProgress();

    /// Writes the RIFF header, with size 0, and a generated `bext` chunk if the source has none,
    /// and starts the running size with them. False when one of them could not be written.
    bool writeStart();

    /// True at the end of the source. Never after a failure of the device, such as a search that
    /// did not find its way back: the next header then tells of it.
    bool atEnd() const;

    void pumpEvents();

    /// True once the last window was closed.
    bool isAbandoned() const;

    /// Reads a chunk header of the source. False when it is cut or cannot be read.
    bool readHeader(ChunkHeader* header);

    /// Writes a chunk header of the output and counts it. False when it could not be written.
    bool writeHeader(const ChunkHeader& header);

    /// Writes a chunk other than `data` for the @p source header just read, as the split and the
    /// combine do: @p fmt in place of the source's own `fmt ` body, which is skipped, or a copy of
    /// the body's copiedBytes(). The header is counted, the body is not. Returns ConvertDataWrite
    /// when header or `fmt ` could not be written, ConvertDataCopy when the copy failed.
    ConvertError writeChunk(const ChunkHeader& source, const FmtChunk& fmt);

    /// Copies @p size bytes of the source, which are not counted. Returns ConvertDataCopy on
    /// failure.
    ConvertError copyBody(quint64 size);

    /// Counts @p bytes for the chunk just written and shows the running size as progress.
    void countBody(quint32 bytes);

    /// Bytes from the start of the source to where the pass reads next.
    qint64 sourcePosition() const;

    /// Reads up to @p size bytes of the source. Returns how many there were, -1 on failure.
    qint64 read(char* buffer, qint64 size);

    /// Writes @p size bytes of sample data and counts them. A write that fails shows in
    /// writeRunningSize().
    void writeSamples(const char* bytes, qint64 size);

    /// Writes the zero byte behind an odd number of bytes of sample data and counts it.
    void writePadByte();

    /// Shows the running size as progress and polls the cancel button, as if once for each of the
    /// @p frames frames of a block. False when the user cancelled.
    bool pollEachFrame(qint64 frames);

    /// Shows a position in the source, in bytes, as progress.
    void showPosition(qint64 position);

    bool wasCancelled() const;

    /// Puts the running size into the RIFF header. False when any write of the pass failed.
    bool writeRunningSize();

    /// Closes source and output. False when the system did not take the output under its name.
    bool close();

    /// Shows the progress as complete.
    void showMaximum();

private:
    QFile* m_source;
    OutputFile* m_output;
    const LastWindowWatch* m_lastWindow;
    QDataStream m_in;
    QDataStream m_out;
    QProgressDialog m_dialog;
    quint32 m_sourceRiffSize = 0; ///< bytes
    quint32 m_runningSize = 0; ///< bytes; becomes the RIFF size of the output, wraps silently
};

/// The next even number, in 64 bits so that it cannot wrap.
constexpr quint64 roundedUpToEven(quint32 size)
{
    return quint64(size) + (size & 1);
}

/// The bytes of a chunk's body that the split and the combine copy: a `bext` as long as it says,
/// any other with its pad byte.
quint64 copiedBytes(const ChunkHeader& header);

/// What ConversionPass::pollEachFrame() does with its dialog: shows @p bytes and polls the cancel
/// button, once for each of the @p frames frames of a block. False when the user cancelled.
bool showAndPoll(QProgressDialog& dialog, int bytes, qint64 frames);
