// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionprogress.h"
#include "convert/filenames.h"
#include "convert/filesinwork.h"
#include "convert/outputfile.h"
#include "convert/samplecopy.h"
#include "convert/wavwriter.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Bytes that the body of every chunk but `data` counts in the RIFF size, whatever its length. Kept
/// as it is, so that files of one source stay byte-identical over the years: docs/file-format.md,
/// RIFF size.
constexpr quint32 g_countedBodyBytes = 4;

constexpr qint64 g_outputBufferBytes = 262144;

quint32 channelBytes(quint32 dataSize, quint16 channels)
{
    return dataSize / channels;
}

FmtChunk monoFormat(FmtChunk fmt)
{
    const quint16 channels = fmt.channels;
    fmt.channels /= channels;
    fmt.byteRate /= channels;
    fmt.blockAlign /= channels;
    return fmt;
}

/// The de-interleaving loop: writes the samples of @p channel, from 1, out of a `data` body of
/// @p dataSize bytes.
ConvertError splitBlocks(QDataStream& in, WavWriter& out, ConversionProgress& progress,
                         const LastWindowWatch& lastWindow, const FmtChunk& fmt, int channel,
                         quint32 dataSize)
{
    const FrameLayout layout = {fmt.bitsPerSample >> 3, fmt.blockAlign};
    const qint64 offset = layout.sampleBytes * (channel - 1);
    const qint64 readSize = wholeFrameBytes(fmt.blockAlign);
    // A sample that is wider than its frame has room to end after the last frame.
    const qint64 inputSize = g_blockBytes + offset + layout.sampleBytes;
    const qint64 outputSize = std::max(g_outputBufferBytes, readSize / fmt.channels);
    const auto input = newSampleBuffer(inputSize);
    const auto output = newSampleBuffer(outputSize);
    if (!input || !output)
        return ConvertNoMemory;

    // Only an exact zero ends the loop. Kept as it is: a file that claims more samples than it
    // holds is split until somebody stops it (tst_endlesssources).
    quint32 remaining = dataSize;
    while (remaining != 0) {
        QCoreApplication::processEvents();
        if (lastWindow.isClosed())
            return ConvertCancelled;
        const qint64 count = readRaw(in, input.get(), std::min<qint64>(remaining, readSize));
        if (count < 0)
            return ConvertFileRead;
        const qint64 frames = count / layout.blockAlign;
        pickSamples(layout, offset, input.get(), output.get(), outputSize, frames);
        if (!progress.pollEachFrame(out.runningSize(), frames))
            return ConvertCancelled;
        out.writeSamples(output.get(), count / fmt.channels);
        remaining -= quint32(count);
    }

    if (channelBytes(dataSize, fmt.channels) & 1)
        out.writePadByte();
    return ConvertOk;
}

ConvertError splitChunks(QDataStream& in, WavWriter& out, ConversionProgress& progress,
                         const LastWindowWatch& lastWindow, const FmtChunk& fmt, int channel)
{
    while (!isAtEnd(in)) {
        QCoreApplication::processEvents();
        if (lastWindow.isClosed())
            return ConvertCancelled;
        ChunkHeader header = {};
        if (!readChunkHeader(in, &header))
            return ConvertDataRead;

        if (isId(header.id, g_dataId)) {
            const quint32 dataSize = header.size;
            header.size = quint32(roundedUpToEven(channelBytes(dataSize, fmt.channels)));
            if (!out.writeChunkHeader(header))
                return ConvertDataWrite;
            const ConvertError error =
                splitBlocks(in, out, progress, lastWindow, fmt, channel, dataSize);
            if (error != ConvertOk)
                return error;
        } else {
            const ConvertError error = out.writeChunk(in, header, monoFormat(fmt));
            if (error != ConvertOk)
                return error;
            out.addToRunningSize(g_countedBodyBytes);
            progress.setValue(out.runningSize());
        }
    }
    return ConvertOk;
}

} // namespace

int CWavConverter::polyToMono() const
{
    const ConvertError error = splitSources();
    reportError(error);
    return error;
}

ConvertError CWavConverter::splitSources() const
{
    const FilesInWorkGuard guard(sourceNames());
    const LastWindowWatch lastWindow(m_parent);
    for (const CWavFileItem* item : m_sources) {
        const int channels = std::min<int>(item->fmtChunk().channels, g_maxChannels);
        for (int channel = 1; channel <= channels; ++channel) {
            if (!item->isChannelEnabled(channel - 1))
                continue;
            const ConvertError error = splitChannel(*item, channel, lastWindow);
            if (error != ConvertOk)
                return error;
        }
    }
    return ConvertOk;
}

ConvertError CWavConverter::splitChannel(const CWavFileItem& item, int channel,
                                         const LastWindowWatch& lastWindow) const
{
    if (lastWindow.isClosed())
        return ConvertCancelled; // Nobody is left to answer a question about the next output.
    const FmtChunk fmt = item.fmtChunk();
    QFile source(item.fileName());
    if (!openRegularFile(&source))
        return ConvertFileOpen;
    if (fmt.blockAlign == 0)
        return ConvertIllegalFormat;

    const QString stem = leftOfLast(item.fileName(), u"."_s);
    OutputFile output(channelFileName(outputBase(stem, m_outputDir), channel));
    const ConvertError opened = openOutput(&output, u"Output file already exists.\n"_s);
    if (opened != ConvertOk)
        return opened;

    QDataStream in(&source);
    in.setByteOrder(QDataStream::LittleEndian);
    WavWriter out(output.device());
    ConversionProgress progress(m_parent, output.name());

    // A failure before the first chunk leaves the output. Kept as it is; pinned by tst_polytomono.
    quint32 riffSize = 0;
    if (!checkRiffWave(in, &riffSize))
        return ConvertIllegalFormat;
    progress.setMaximum(riffSize / fmt.channels);
    progress.show();
    if (!out.writeStart(in))
        return ConvertDataWrite;

    ConvertError error = splitChunks(in, out, progress, lastWindow, fmt, channel);
    if (error == ConvertOk && !out.writeRiffSize())
        error = ConvertDataWrite;
    source.close();
    if (error == ConvertOk && !output.close())
        error = ConvertDataWrite;
    if (error != ConvertOk) {
        output.remove();
        return error;
    }
    progress.setValueToMaximum();
    return ConvertOk;
}
