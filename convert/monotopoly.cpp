// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionpass.h"
#include "convert/outputfile.h"
#include "convert/samplecopy.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QDataStream>
#include <QFile>

#include <algorithm>
#include <memory>
#include <new>

using namespace Qt::Literals::StringLiterals;

namespace {

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

/// The buffers of the interleaving loop.
struct BlockBuffers
{
    std::unique_ptr<char*[]> inputs;
    std::unique_ptr<char[]> output;
};

/// An input buffer, which nobody frees: it stays with the process, half a megabyte for each source
/// of a combine. The leak checker's list of what stays allocated on purpose names this function.
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

/// Reads the same block of every channel file. The reference is read on, once for every source of
/// its number; the others are opened, read at @p position and closed. Stores the count of the last
/// read made. Returns ConvertFileOpen when a file could not be opened, which skips the reads that
/// follow, and ConvertFileRead when one could not be read.
ConvertError readBlock(ConversionPass& pass, const Take& take, char* const* inputs, qint64 position,
                       qint64 size, qint64* count)
{
    for (int k = 0; k < take.count(); ++k) {
        if (take.numbers[k] == take.reference()) {
            *count = pass.read(inputs[k], size);
        } else {
            QFile file(take.fileName(take.numbers[k]));
            if (!openSource(&file))
                return ConvertFileOpen;
            QDataStream in(&file);
            in.setByteOrder(QDataStream::LittleEndian);
            *count = file.seek(position) ? readRaw(in, inputs[k], size) : -1;
        }
        if (*count < 0)
            return ConvertFileRead;
    }
    return ConvertOk;
}

ConvertError combineBlocks(ConversionPass& pass, const Take& take, const FmtChunk& fmt,
                           quint32 dataSize)
{
    const int channels = take.count();
    const SampleLayout layout = {fmt.bitsPerSample >> 3, fmt.blockAlign};
    const qint64 readSize = wholeFrameBytes(fmt.blockAlign);
    BlockBuffers buffers;
    // Samples wider than their frame leave the last frame room to end behind the block.
    if (!allocate(&buffers, channels, channels * (g_blockBytes + layout.sampleBytes)))
        return ConvertNoMemory;

    // Only an exact zero ends the loop: files that claim more samples than they hold must not pass
    // for whole ones.
    bool isFileMissing = false;
    qint64 position = pass.sourcePosition();
    quint32 remaining = dataSize;
    while (remaining != 0) {
        pass.pumpEvents();
        qint64 count = 0;
        const ConvertError error = readBlock(pass, take, buffers.inputs.get(), position,
                                             std::min<qint64>(remaining, readSize), &count);
        if (error == ConvertFileRead)
            return error;
        // A missing file ends the combine behind the loop: what is there is read to its end.
        if (error == ConvertFileOpen)
            isFileMissing = true;
        position += count;
        joinSamples(layout, buffers.inputs.get(), channels, buffers.output.get(),
                    count / layout.blockAlign);
        pass.showPosition(position);
        pass.writeSamples(buffers.output.get(), count * channels);
        if (pass.wasCancelled())
            return ConvertCancelled;
        remaining -= quint32(count);
    }
    if (isFileMissing)
        return ConvertFileOpen;

    if ((quint32(channels) * dataSize) & 1)
        pass.writePadByte();
    return ConvertOk;
}

ConvertError combineData(ConversionPass& pass, const ChunkHeader& source, const Take& take,
                         const FmtChunk& fmt)
{
    ChunkHeader header = source;
    header.size = quint32(roundedUpToEven(quint32(take.count()) * source.size));
    if (!pass.writeHeader(header))
        return ConvertDataWrite;
    return combineBlocks(pass, take, fmt, source.size);
}

/// Bytes that the body of a chunk other than `data` counts in the RIFF size. A `fmt ` body counts
/// as long as it was in the source, however short it was written: docs/file-format.md, RIFF size.
quint32 countedBodyBytes(const ChunkHeader& source)
{
    return isId(source.id, g_fmtId) ? source.size : quint32(copiedBytes(source));
}

ConvertError combineChunks(ConversionPass& pass, const Take& take, const FmtChunk& fmt)
{
    while (!pass.atEnd()) {
        pass.pumpEvents();
        ChunkHeader header = {};
        if (!pass.readHeader(&header))
            return ConvertDataRead;
        const bool isData = isId(header.id, g_dataId);
        const ConvertError error = isData ? combineData(pass, header, take, fmt)
                                          : pass.writeChunk(header, polyFormat(fmt, take.count()));
        if (error != ConvertOk)
            return error;
        if (!isData)
            pass.countBody(countedBodyBytes(header));
    }
    return ConvertOk;
}

/// True when @p count files of @p riffSize bytes fit a signed RIFF size. The product is looked at
/// in 32 bits, as it would stand in the file, so that one beyond 4 GiB can pass.
bool fitsRiffSize(int count, quint32 riffSize)
{
    return qint32(quint32(count) * riffSize) >= 0;
}

ConvertError combine(ConversionPass& pass, const Take& take, const FmtChunk& fmt)
{
    if (!pass.checkSource())
        return ConvertIllegalFormat;
    if (!fitsRiffSize(take.count(), pass.sourceRiffSize()))
        return ConvertFileRestriction;
    pass.setProgressRange(pass.sourceRiffSize());
    pass.showProgress();
    if (!pass.writeStart())
        return ConvertFileWrite;
    const ConvertError error = combineChunks(pass, take, fmt);
    if (error != ConvertOk)
        return error;
    if (!pass.writeRunningSize())
        return ConvertDataWrite;
    pass.showMaximum();
    return pass.close() ? ConvertOk : ConvertDataWrite;
}

} // namespace

int CWavConverter::monoToPoly()
{
    const ConvertError error = m_sources.isEmpty() ? ConvertOk : combineSources();
    reportError(error);
    return error;
}

ConvertError CWavConverter::combineSources() const
{
    const FmtChunk fmt = m_sources.first()->fmtChunk();
    const Take take = takeOf(m_sources);
    const FilesInWork inputs(sourceNames() + take.fileNames());
    QFile reference(take.fileName(take.reference()));
    if (!openSource(&reference))
        return ConvertFileOpen;
    if (fmt.blockAlign == 0)
        return ConvertIllegalFormat;

    // The question stands apart by one more line break than those of the split and the plain copy:
    // it is the only one of the request, and its answer is about the whole combined file.
    OutputFile output(u"%1_combined.wav"_s.arg(outputBase(take.stem)));
    const ConvertError opened = output.open(m_parent, u"Output file already exists.\n\n"_s);
    if (opened != ConvertOk)
        return opened;

    ConversionPass pass(&reference, &output, m_parent);
    const ConvertError error = combine(pass, take, fmt);
    if (error != ConvertOk)
        output.remove();
    return error;
}
