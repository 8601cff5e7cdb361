// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/wavconverter.h"

/// What a request can do.
enum class Conversion { Split, Combine, PlainToBwf };

/// Converts, and returns the result. A plain copy tells none, which counts as success.
inline int convert(CWavConverter& converter, Conversion conversion)
{
    switch (conversion) {
    case Conversion::Split:
        return converter.polyToMono();
    case Conversion::Combine:
        return converter.monoToPoly();
    case Conversion::PlainToBwf:
        break;
    }
    converter.plainToBwf();
    return ConvertOk;
}
