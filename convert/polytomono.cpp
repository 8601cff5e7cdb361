// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionpass.h"
#include "convert/samplecopy.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <cstring>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Bytes added for every chunk but `data`, whatever its length. That makes the RIFF size differ
/// from the length of the file, which is wanted.
constexpr quint32 g_chunkAccount = 4;

constexpr qint64 g_outputBufferBytes = 262144;

/// Where one channel lies in the sample frames of a source.
struct ChannelLayout
{
    qint64 offset; ///< bytes from the start of the frame
    qint64 sampleBytes;
    quint16 blockAlign; ///< bytes of a frame, not 0
    quint16 channels;
};

ChannelLayout layoutOf(const FmtChunk& fmt, int channel)
{
    const qint64 sampleBytes = fmt.bitsPerSample >> 3;
    return {sampleBytes * (channel - 1), sampleBytes, fmt.blockAlign, fmt.channels};
}

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

/// Picks the channel's samples out of the first @p frames frames of a block.
void pickSamples(const ChannelLayout& layout, const char* input, char* output, qint64 outputSize,
                 qint64 frames)
{
    if (layout.sampleBytes == 0)
        return;
    const char* first = input + layout.offset;
    const qint64 whole = std::min(frames, outputSize / layout.sampleBytes);
    copySamples({output, layout.sampleBytes}, {first, layout.blockAlign}, layout.sampleBytes,
                whole);
    // Samples wider than their share of the frame would run past what a block writes.
    if (whole < frames) {
        const qint64 held = whole * layout.sampleBytes;
        std::memcpy(output + held, first + whole * layout.blockAlign, size_t(outputSize - held));
    }
}

int deinterleave(ConversionPass& pass, const ChannelLayout& layout, quint32 dataSize)
{
    const qint64 readSize = wholeFrameBytes(layout.blockAlign);
    // A sample that is wider than the frame leaves it room to end behind the last frame.
    const qint64 inputSize = g_blockBytes + layout.offset + layout.sampleBytes;
    const qint64 outputSize = std::max(g_outputBufferBytes, readSize / layout.channels);
    const auto input = newSampleBuffer(inputSize);
    const auto output = newSampleBuffer(outputSize);
    if (!input || !output)
        return ConvertNoMemory;

    quint32 remaining = dataSize;
    while (remaining != 0) { // only an exact zero ends the loop, as wanted
        QCoreApplication::processEvents();
        const qint64 count = readRaw(pass.in, input.get(), std::min<qint64>(remaining, readSize));
        if (count < 0)
            return ConvertFileRead;
        const qint64 frames = count / layout.blockAlign;
        pickSamples(layout, input.get(), output.get(), outputSize, frames);
        if (!pollEachFrame(pass.dialog, int(pass.runningSize), frames))
            return ConvertCancelled;
        const qint64 written = count / layout.channels;
        pass.out.writeRawData(output.get(), int(written)); // a failed write shows at the end
        pass.runningSize += quint32(written);
        remaining -= quint32(count);
    }

    if (channelBytes(dataSize, layout.channels) & 1) {
        pass.out.writeRawData("", 1);
        pass.runningSize += 1;
    }
    return ConvertOk;
}

int splitChunks(ConversionPass& pass, const FmtChunk& fmt, int channel)
{
    while (!pass.in.atEnd()) {
        QCoreApplication::processEvents();
        ChunkHeader header = {};
        if (!readChunkHeader(pass.in, &header))
            return ConvertDataRead;
        const quint64 paddedSize = roundedUpToEven(channelBytes(header.size, fmt.channels));
        if (!pass.writeHeader(header, quint32(paddedSize)))
            return ConvertDataWrite;
        if (isId(header.id, g_dataId)) {
            const int error = deinterleave(pass, layoutOf(fmt, channel), header.size);
            if (error != ConvertOk)
                return error;
            continue;
        }
        const int error = pass.writeBody(header, monoFormat(fmt));
        if (error != ConvertOk)
            return error;
        pass.runningSize += g_chunkAccount;
        pass.setProgress(pass.runningSize);
    }
    return ConvertOk;
}

} // namespace

int CWavConverter::polyToMono()
{
    const int error = splitSources();
    reportError(error);
    return error;
}

int CWavConverter::splitSources()
{
    for (const CWavFileItem* item : std::as_const(m_sources)) {
        const int channels = std::min<int>(item->fmtChunk().channels, g_maxChannels);
        for (int channel = 1; channel <= channels; ++channel) {
            if (!item->isChannelEnabled(channel - 1))
                continue;
            const int error = splitChannel(*item, channel);
            if (error != ConvertOk)
                return error;
        }
    }
    return ConvertOk;
}

int CWavConverter::splitChannel(const CWavFileItem& item, int channel)
{
    const FmtChunk fmt = item.fmtChunk();
    QFile source(item.fileName());
    if (!openSource(&source))
        return ConvertFileOpen;
    if (fmt.blockAlign == 0)
        return ConvertIllegalFormat;

    const QString base = outputBase(leftOfLast(item.fileName(), u"."_s));
    QFile output(u"%1_0%2.wav"_s.arg(base, QString::number(channel)));
    const int opened = openOutput(&output, u"Output file already exists.\n"_s, sourceNames());
    if (opened != ConvertOk)
        return opened;

    // A failure up to the first chunk leaves the output as it is, which is wanted.
    ConversionPass pass(&source, &output, m_parent);
    if (!pass.checkSource())
        return ConvertIllegalFormat;
    pass.setProgressRange(pass.sourceRiffSize / fmt.channels);
    pass.showProgress();
    if (!pass.writeStart())
        return ConvertDataWrite;

    int error = splitChunks(pass, fmt, channel);
    if (error == ConvertOk && !pass.finish())
        error = ConvertDataWrite;
    if (error != ConvertOk) {
        removeOutput(&output);
        return error;
    }
    source.close();
    m_finishedOutputs.append(output.fileName());
    pass.dialog.setValue(pass.dialog.maximum());
    return ConvertOk;
}
