// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QtGlobal>

/// Where the samples of one channel lie: @p step bytes from the start of one to the start of the
/// next. Samples without a gap are as far apart as they are long.
template <typename Byte>
struct SampleRun
{
    Byte* start;
    qint64 step;
};

/// Copies @p count samples of @p sampleBytes bytes in order. The runs do not overlap each other.
void copySamples(SampleRun<char> target, SampleRun<const char> source, qint64 sampleBytes,
                 qint64 count);
