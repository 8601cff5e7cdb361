// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QString>

/// @file
/// The names of all outputs, and of the channel files that a combine reads.

/// The path that an output's name begins with: the last component of @p stem in @p outputDir, a
/// path without trailing separator, or @p stem itself if @p outputDir is empty.
QString outputBase(const QString& stem, const QString& outputDir);

/// "BASE_0NUMBER.wav": an output of a split, or a source of a combine. The "0" is a character of
/// the name, not padding.
QString channelFileName(const QString& base, int number);

/// "BASE_combined.wav"
QString combinedFileName(const QString& base);

/// "BASE_bwf.wav"
QString bwfFileName(const QString& base);
