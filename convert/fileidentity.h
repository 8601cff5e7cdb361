// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <filesystem>

class QString;

/// @file
/// What a path leads to, and when two paths are one file.

/// The path that QFile opens for @p fileName.
std::filesystem::path systemPath(const QString& fileName);

/// The type of the file at the end of all links: `not_found` where there is none, `none` where the
/// system does not say.
std::filesystem::file_type fileType(const QString& fileName);

/// True when both paths lead to one file, when the system cannot tell, and when the paths,
/// their links resolved, differ in nothing but case and the composition of accents.
bool isOneFile(const QString& fileName, const QString& other);
