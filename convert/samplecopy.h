// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QtGlobal>

#include <cstring>
#include <memory>
#include <new>

/// Bytes of source data that a conversion moves at most in one block.
inline constexpr qint64 g_blockBytes = 524288;

/// The largest number of bytes that fits a block and holds whole sample frames of @p blockAlign
/// bytes, which is not 0.
constexpr qint64 wholeFrameBytes(quint16 blockAlign)
{
    return g_blockBytes - g_blockBytes % blockAlign;
}

/// A zero-filled buffer of @p size bytes, null when there is no memory for it.
inline std::unique_ptr<char[]> newSampleBuffer(qint64 size)
{
    return std::unique_ptr<char[]>(new (std::nothrow) char[size_t(size)]());
}

/// Where the samples of one channel lie: @p step bytes from the start of one to the start of the
/// next. Samples without a gap are as far apart as they are long.
template <typename Byte>
struct SampleRun
{
    Byte* start;
    qint64 step;
};

/// With a @p Width that the compiler knows, a sample moves in one or two instructions.
template <size_t Width>
inline void copySamplesOf(SampleRun<char> target, SampleRun<const char> source, qint64 count)
{
    for (qint64 i = 0; i < count; ++i)
        std::memcpy(target.start + i * target.step, source.start + i * source.step, Width);
}

/// Copies @p count samples of @p sampleBytes bytes in order. The runs do not overlap each other.
inline void copySamples(SampleRun<char> target, SampleRun<const char> source, qint64 sampleBytes,
                        qint64 count)
{
    switch (sampleBytes) {
    case 1:
        return copySamplesOf<1>(target, source, count);
    case 2:
        return copySamplesOf<2>(target, source, count);
    case 3:
        return copySamplesOf<3>(target, source, count);
    case 4:
        return copySamplesOf<4>(target, source, count);
    case 8:
        return copySamplesOf<8>(target, source, count);
    default:
        // A sample is too short for what a call to memcpy costs.
        for (qint64 i = 0; i < count; ++i) {
            for (qint64 byte = 0; byte < sampleBytes; ++byte)
                target.start[i * target.step + byte] = source.start[i * source.step + byte];
        }
    }
}

/// How the samples of a channel follow each other in their file.
struct FrameLayout
{
    qint64 sampleBytes;
    qint64 blockAlign; ///< bytes of a frame, not 0
};

/// Picks the samples of one channel, @p offset bytes into each frame, out of the first @p frames
/// frames of a block, as many as @p output has room for with its @p outputSize bytes.
void pickSamples(const FrameLayout& layout, qint64 offset, const char* input, char* output,
                 qint64 outputSize, qint64 frames);

/// Puts the first @p frames samples of each of the @p channels inputs, g_blockBytes long each, into
/// frames of @p output. That has room for a block of each input, and for one sample more of each.
void joinSamples(const FrameLayout& layout, char* const* inputs, int channels, char* output,
                 qint64 frames);
