// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionpass.h"
#include "convert/samplecopy.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Bytes of output that the interleaving completes before it goes on.
constexpr qint64 g_tileBytes = 16384;

/// The channel files of one take: "stem_0number.wav" each, in list order. The first one is the
/// reference, whose chunks the output takes over.
struct Take
{
    QString stem;
    QList<int> numbers;

    int count() const { return int(numbers.size()); }
    int reference() const { return numbers.first(); }
    QString fileName(int number) const
    {
        return u"%1_0%2.wav"_s.arg(stem, QString::number(number));
    }
    QStringList fileNames() const
    {
        QStringList names;
        for (const int number : numbers)
            names.append(fileName(number));
        return names;
    }
};

Take takeOf(const QList<CWavFileItem*>& sources)
{
    Take take = {CWavConverter::leftOfLast(sources.first()->fileName(), u"_"_s), {}};
    for (const CWavFileItem* item : sources)
        take.numbers.append(CWavConverter::channelNumber(item->fileName()));
    return take;
}

FmtChunk polyFormat(FmtChunk fmt, int channels)
{
    fmt.channels = quint16(fmt.channels * channels);
    fmt.byteRate *= quint32(channels);
    fmt.blockAlign = quint16(fmt.blockAlign * channels);
    return fmt;
}

/// The buffers of the interleaving loop. The input buffers, g_blockBytes each, are never freed,
/// which is wanted.
struct BlockBuffers
{
    std::unique_ptr<char*[]> inputs;
    std::unique_ptr<char[]> output;
};

char* newKeptInputBuffer()
{
    return newSampleBuffer(g_blockBytes).release();
}

bool allocate(BlockBuffers* buffers, int channels, qint64 outputSize)
{
    buffers->inputs.reset(new (std::nothrow) char*[size_t(channels)]());
    if (!buffers->inputs)
        return false;
    for (int k = 0; k < channels; ++k) {
        buffers->inputs[k] = newKeptInputBuffer();
        if (!buffers->inputs[k])
            return false;
    }
    buffers->output = newSampleBuffer(outputSize);
    return buffers->output != nullptr;
}

/// Reads the same block of every channel file. The reference is read on, the others are opened,
/// read at @p position and closed. Stores the count of the last read made. False when a file could
/// not be opened, which skips the reads that follow.
bool readBlock(ConversionPass& pass, const Take& take, char* const* inputs, qint64 position,
               qint64 size, qint64* count)
{
    for (int k = 0; k < take.count(); ++k) {
        if (take.numbers[k] == take.reference()) {
            *count = readRaw(pass.in, inputs[k], size);
            continue;
        }
        QFile file(take.fileName(take.numbers[k]));
        if (!openSource(&file))
            return false;
        QDataStream in(&file);
        in.setByteOrder(QDataStream::LittleEndian);
        file.seek(position);
        *count = readRaw(in, inputs[k], size);
    }
    return true;
}

/// How the samples of one channel file lie in their block.
struct SampleLayout
{
    qint64 sampleBytes;
    qint64 blockAlign; ///< bytes of a frame, not 0
};

/// Copies a sample that ends within the input buffer; what lies behind its end counts as zero.
void copySample(char* to, const char* input, qint64 offset, qint64 sampleBytes)
{
    const qint64 held = std::clamp<qint64>(g_blockBytes - offset, 0, sampleBytes);
    if (held > 0)
        std::memcpy(to, input + offset, size_t(held));
    std::fill(to + held, to + sampleBytes, '\0');
}

/// Samples wider than their frame overlap those of the next one: the order frame by frame, and
/// within it source by source, decides which bytes stay.
void interleaveOverlapping(const BlockBuffers& buffers, int channels, const SampleLayout& layout,
                           qint64 frames)
{
    const qint64 frameBytes = layout.blockAlign * channels;
    for (qint64 f = 0; f < frames; ++f) {
        for (int k = 0; k < channels; ++k) {
            copySample(buffers.output.get() + f * frameBytes + k * layout.sampleBytes,
                       buffers.inputs[k], f * layout.sampleBytes, layout.sampleBytes);
        }
    }
}

/// Works source by source in tiles that stay in the nearest cache until their last source is in.
void interleaveTiled(const BlockBuffers& buffers, int channels, const SampleLayout& layout,
                     qint64 frames)
{
    const qint64 frameBytes = layout.blockAlign * channels;
    const qint64 tileFrames = std::max<qint64>(g_tileBytes / frameBytes, 1);
    for (qint64 f = 0; f < frames; f += tileFrames) {
        for (int k = 0; k < channels; ++k) {
            copySamples(
                {buffers.output.get() + f * frameBytes + k * layout.sampleBytes, frameBytes},
                {buffers.inputs[k] + f * layout.sampleBytes, layout.sampleBytes},
                layout.sampleBytes, std::min(tileFrames, frames - f));
        }
    }
}

void interleaveBlock(const BlockBuffers& buffers, int channels, const SampleLayout& layout,
                     qint64 count)
{
    const qint64 frames = count / layout.blockAlign;
    if (layout.sampleBytes > layout.blockAlign)
        interleaveOverlapping(buffers, channels, layout, frames);
    else
        interleaveTiled(buffers, channels, layout, frames);
}

int interleave(ConversionPass& pass, const Take& take, const FmtChunk& fmt, quint32 dataSize)
{
    const int channels = take.count();
    const SampleLayout layout = {fmt.bitsPerSample >> 3, fmt.blockAlign};
    const qint64 readSize = wholeFrameBytes(fmt.blockAlign);
    BlockBuffers buffers;
    // Samples wider than their frame leave the last frame room to end behind the block.
    if (!allocate(&buffers, channels, channels * (g_blockBytes + layout.sampleBytes)))
        return ConvertNoMemory;

    bool allOpened = true;
    qint64 position = pass.in.device()->pos();
    quint32 remaining = dataSize;
    while (remaining != 0) { // only an exact zero ends the loop, as wanted
        QCoreApplication::processEvents();
        qint64 count = 0;
        if (!readBlock(pass, take, buffers.inputs.get(), position,
                       std::min<qint64>(remaining, readSize), &count)) {
            allOpened = false;
        }
        count = std::max<qint64>(count, 0); // a read that failed is a read of nothing
        position += count;
        interleaveBlock(buffers, channels, layout, count);
        pass.setProgress(quint32(position));
        pass.out.writeRawData(buffers.output.get(), int(count * channels)); // shows at the end
        if (pass.dialog.wasCanceled())
            return ConvertCancelled;
        pass.runningSize += quint32(count * channels);
        remaining -= quint32(count);
    }
    if (!allOpened)
        return ConvertFileOpen;

    if ((quint32(channels) * dataSize) & 1) {
        pass.out.writeRawData("", 1);
        pass.runningSize += 1;
    }
    return ConvertOk;
}

int combineChunks(ConversionPass& pass, const Take& take, const FmtChunk& fmt)
{
    while (!pass.in.atEnd()) {
        QCoreApplication::processEvents();
        ChunkHeader header = {};
        if (!readChunkHeader(pass.in, &header))
            return ConvertDataRead;
        const quint64 paddedSize = roundedUpToEven(quint32(take.count()) * header.size);
        if (!pass.writeHeader(header, quint32(paddedSize)))
            return ConvertDataWrite;
        if (isId(header.id, g_dataId)) {
            const int error = interleave(pass, take, fmt, header.size);
            if (error != ConvertOk)
                return error;
            continue;
        }
        const int error = pass.writeBody(header, polyFormat(fmt, take.count()));
        if (error != ConvertOk)
            return error;
        // A `fmt ` body counts as long as it was in the source, which is wanted.
        pass.runningSize +=
            isId(header.id, g_fmtId) ? header.size : quint32(copiedBodyBytes(header));
        pass.setProgress(pass.runningSize);
    }
    return ConvertOk;
}

/// True when @p count files of @p riffSize bytes fit a signed RIFF size. The product wraps before
/// it is looked at, which is wanted.
bool fitsRiffSize(int count, quint32 riffSize)
{
    return qint32(quint32(count) * riffSize) >= 0;
}

int combine(ConversionPass& pass, const Take& take, const FmtChunk& fmt)
{
    if (!pass.checkSource())
        return ConvertIllegalFormat;
    if (!fitsRiffSize(take.count(), pass.sourceRiffSize))
        return ConvertFileRestriction;
    pass.setProgressRange(pass.sourceRiffSize);
    pass.showProgress();
    if (!pass.writeStart())
        return ConvertFileWrite;
    const int error = combineChunks(pass, take, fmt);
    if (error != ConvertOk)
        return error;
    return pass.finish() ? ConvertOk : ConvertDataWrite;
}

} // namespace

int CWavConverter::monoToPoly()
{
    const int error = m_sources.isEmpty() ? ConvertOk : combineSources();
    reportError(error);
    return error;
}

int CWavConverter::combineSources() const
{
    const FmtChunk fmt = m_sources.first()->fmtChunk();
    const Take take = takeOf(m_sources);
    QFile reference(take.fileName(take.reference()));
    if (!openSource(&reference))
        return ConvertFileOpen;
    if (fmt.blockAlign == 0)
        return ConvertIllegalFormat;

    QFile output(u"%1_combined.wav"_s.arg(outputBase(take.stem)));
    const int opened =
        openOutput(&output, u"Output file already exists.\n\n"_s, sourceNames() + take.fileNames());
    if (opened != ConvertOk)
        return opened;

    ConversionPass pass(&reference, &output, m_parent);
    const int error = combine(pass, take, fmt);
    if (error != ConvertOk) {
        removeOutput(&output);
        return error;
    }
    pass.dialog.setValue(pass.dialog.maximum());
    return ConvertOk;
}
