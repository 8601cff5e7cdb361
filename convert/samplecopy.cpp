// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"

#include <algorithm>

namespace {

/// Bytes of output that the interleaving completes before it goes on.
constexpr qint64 g_tileBytes = 16384;

/// Copies a sample that ends within the input buffer; the bytes after the buffer count as zero.
void copyHeldSample(char* to, const char* input, qint64 offset, qint64 sampleBytes)
{
    const qint64 held = std::clamp<qint64>(g_blockBytes - offset, 0, sampleBytes);
    if (held > 0)
        std::memcpy(to, input + offset, size_t(held));
    std::fill(to + held, to + sampleBytes, '\0');
}

/// Samples wider than their frame overlap those of the next one: the order frame by frame, and
/// within it source by source, decides which bytes stay.
void joinOverlapping(const FrameLayout& layout, char* const* inputs, int channels, char* output,
                     qint64 frames)
{
    const qint64 frameBytes = layout.blockAlign * channels;
    for (qint64 f = 0; f < frames; ++f) {
        for (int k = 0; k < channels; ++k) {
            copyHeldSample(output + f * frameBytes + k * layout.sampleBytes, inputs[k],
                           f * layout.sampleBytes, layout.sampleBytes);
        }
    }
}

/// Works source by source, in tiles that fit the L1 cache.
void joinTiled(const FrameLayout& layout, char* const* inputs, int channels, char* output,
               qint64 frames)
{
    const qint64 frameBytes = layout.blockAlign * channels;
    const qint64 tileFrames = std::max<qint64>(g_tileBytes / frameBytes, 1);
    for (qint64 f = 0; f < frames; f += tileFrames) {
        for (int k = 0; k < channels; ++k) {
            copySamples({output + f * frameBytes + k * layout.sampleBytes, frameBytes},
                        {inputs[k] + f * layout.sampleBytes, layout.sampleBytes},
                        layout.sampleBytes, std::min(tileFrames, frames - f));
        }
    }
}

} // namespace

void pickSamples(const FrameLayout& layout, qint64 offset, const char* input, char* output,
                 qint64 outputSize, qint64 frames)
{
    if (layout.sampleBytes == 0)
        return;
    const char* first = input + offset;
    const qint64 whole = std::min(frames, outputSize / layout.sampleBytes);
    copySamples({output, layout.sampleBytes}, {first, layout.blockAlign}, layout.sampleBytes,
                whole);
    // Samples wider than their share of the frame would run past what a block writes.
    if (whole < frames) {
        const qint64 held = whole * layout.sampleBytes;
        std::memcpy(output + held, first + whole * layout.blockAlign, size_t(outputSize - held));
    }
}

void joinSamples(const FrameLayout& layout, char* const* inputs, int channels, char* output,
                 qint64 frames)
{
    if (layout.sampleBytes > layout.blockAlign)
        joinOverlapping(layout, inputs, channels, output, frames);
    else
        joinTiled(layout, inputs, channels, output, frames);
}
