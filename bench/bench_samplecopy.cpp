// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The copy loops alone: one block of an eight-channel file, beside the simplest loop.

#include "convert/samplecopy.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr qint64 g_polyBytes = 524288;
constexpr qint64 g_channels = 8;

using Copy = void (*)(SampleRun<char> target, SampleRun<const char> source, qint64 sampleBytes,
                      qint64 count);

void copyByteByByte(SampleRun<char> target, SampleRun<const char> source, qint64 sampleBytes,
                    qint64 count)
{
    for (qint64 i = 0; i < count; ++i) {
        for (qint64 b = 0; b < sampleBytes; ++b)
            target.start[i * target.step + b] = source.start[i * source.step + b];
    }
}

void split(benchmark::State& state, Copy copy)
{
    const qint64 sampleBytes = state.range(0);
    const qint64 frameBytes = g_channels * sampleBytes;
    const qint64 frames = g_polyBytes / frameBytes;
    const std::vector<char> poly(g_polyBytes, 'p');
    std::vector<char> mono(size_t(frames * sampleBytes));
    for ([[maybe_unused]] auto _ : state) {
        copy({mono.data(), sampleBytes}, {poly.data(), frameBytes}, sampleBytes, frames);
        benchmark::DoNotOptimize(mono.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void combine(benchmark::State& state, Copy copy)
{
    const qint64 sampleBytes = state.range(0);
    const qint64 frameBytes = g_channels * sampleBytes;
    const qint64 frames = g_polyBytes / frameBytes;
    const std::vector<char> mono(size_t(frames * sampleBytes), 'm');
    std::vector<char> poly(g_polyBytes);
    for ([[maybe_unused]] auto _ : state) {
        copy({poly.data(), frameBytes}, {mono.data(), sampleBytes}, sampleBytes, frames);
        benchmark::DoNotOptimize(poly.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void addWidths(benchmark::internal::Benchmark* row)
{
    row->ArgName("bytes");
    for (const int bytes : {1, 2, 3, 4, 8, 6})
        row->Arg(bytes);
}

BENCHMARK_CAPTURE(split, product, copySamples)->Apply(addWidths);
BENCHMARK_CAPTURE(split, byte_by_byte, copyByteByByte)->Apply(addWidths);
BENCHMARK_CAPTURE(combine, product, copySamples)->Apply(addWidths);
BENCHMARK_CAPTURE(combine, byte_by_byte, copyByteByByte)->Apply(addWidths);

} // namespace

BENCHMARK_MAIN();
