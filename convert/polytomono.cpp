// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionpass.h"
#include "convert/outputfile.h"
#include "convert/samplecopy.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QFile>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Bytes that the body of every chunk but `data` counts in the RIFF size, whatever its length.
/// Counting the body itself would change that size in all files, which people compare byte for byte
/// over the years: docs/file-format.md, RIFF size.
constexpr quint32 g_countedBodyBytes = 4;

constexpr qint64 g_outputBufferBytes = 262144;

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

ConvertError splitBlocks(ConversionPass& pass, const ChannelLayout& layout, quint32 dataSize)
{
    const qint64 readSize = wholeFrameBytes(layout.blockAlign);
    // A sample that is wider than the frame leaves it room to end behind the last frame.
    const qint64 inputSize = g_blockBytes + layout.offset + layout.sampleBytes;
    const qint64 outputSize = std::max(g_outputBufferBytes, readSize / layout.channels);
    const auto input = newSampleBuffer(inputSize);
    const auto output = newSampleBuffer(outputSize);
    if (!input || !output)
        return ConvertNoMemory;

    // Only an exact zero ends the loop: a file that claims more samples than it holds must not pass
    // for a whole one.
    quint32 remaining = dataSize;
    while (remaining != 0) {
        pass.pumpEvents();
        if (pass.isAbandoned())
            return ConvertCancelled;
        const qint64 count = pass.read(input.get(), std::min<qint64>(remaining, readSize));
        if (count < 0)
            return ConvertFileRead;
        const qint64 frames = count / layout.blockAlign;
        pickSamples(layout, input.get(), output.get(), outputSize, frames);
        if (!pass.pollEachFrame(frames))
            return ConvertCancelled;
        pass.writeSamples(output.get(), count / layout.channels);
        remaining -= quint32(count);
    }

    if (channelBytes(dataSize, layout.channels) & 1)
        pass.writePadByte();
    return ConvertOk;
}

ConvertError splitData(ConversionPass& pass, const ChunkHeader& source, const FmtChunk& fmt,
                       int channel)
{
    ChunkHeader header = source;
    header.size = quint32(roundedUpToEven(channelBytes(source.size, fmt.channels)));
    if (!pass.writeHeader(header))
        return ConvertDataWrite;
    return splitBlocks(pass, layoutOf(fmt, channel), source.size);
}

ConvertError splitChunks(ConversionPass& pass, const FmtChunk& fmt, int channel)
{
    while (!pass.atEnd()) {
        pass.pumpEvents();
        if (pass.isAbandoned())
            return ConvertCancelled;
        ChunkHeader header = {};
        if (!pass.readHeader(&header))
            return ConvertDataRead;
        const bool isData = isId(header.id, g_dataId);
        const ConvertError error = isData ? splitData(pass, header, fmt, channel)
                                          : pass.writeChunk(header, monoFormat(fmt));
        if (error != ConvertOk)
            return error;
        if (!isData)
            pass.countBody(g_countedBodyBytes);
    }
    return ConvertOk;
}

} // namespace

int CWavConverter::polyToMono()
{
    const ConvertError error = splitSources();
    reportError(error);
    return error;
}

ConvertError CWavConverter::splitSources() const
{
    const FilesInWork sources(sourceNames());
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
        return ConvertCancelled; // Nobody is left to be asked about the next output.
    const FmtChunk fmt = item.fmtChunk();
    QFile source(item.fileName());
    if (!openSource(&source))
        return ConvertFileOpen;
    if (fmt.blockAlign == 0)
        return ConvertIllegalFormat;

    const QString base = outputBase(leftOfLast(item.fileName(), u"."_s));
    OutputFile output(u"%1_0%2.wav"_s.arg(base, QString::number(channel)));
    const ConvertError opened = output.open(m_parent, u"Output file already exists.\n"_s);
    if (opened != ConvertOk)
        return opened;

    // Up to the first chunk a failure leaves the output, without samples, as a sign of the file
    // that could not be split.
    ConversionPass pass(&source, &output, m_parent, &lastWindow);
    if (!pass.checkSource())
        return ConvertIllegalFormat;
    pass.setProgressRange(pass.sourceRiffSize() / fmt.channels);
    pass.showProgress();
    if (!pass.writeStart())
        return ConvertDataWrite;

    ConvertError error = splitChunks(pass, fmt, channel);
    if (error == ConvertOk && !(pass.writeRunningSize() && pass.close()))
        error = ConvertDataWrite;
    if (error == ConvertOk)
        pass.showMaximum();
    else
        output.remove();
    return error;
}
