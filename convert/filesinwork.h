// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QStringList>

/// @file
/// What no output may truncate: the files that running conversions read, and the outputs that they
/// write. There is one list for all requests of the program: a cancelled progress dialog hides
/// before the conversion polls it, and until then the user can start another request.

/// Lists its @p names as files in work as long as it lives.
class FilesInWorkGuard
{
public:
    explicit FilesInWorkGuard(const QStringList& names);
    ~FilesInWorkGuard();
    FilesInWorkGuard(const FilesInWorkGuard&) = delete;
    FilesInWorkGuard& operator=(const FilesInWorkGuard&) = delete;

private:
    QStringList m_names;
};

/// True when @p fileName leads, under whatever name or link, to a file in work.
bool isFileInWork(const QString& fileName);
