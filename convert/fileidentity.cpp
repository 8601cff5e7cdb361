// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/fileidentity.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <system_error>

namespace {

/// The path with all links resolved, or the cleaned path where that is not possible.
QString resolvedPath(const QString& fileName)
{
    const QFileInfo info(fileName);
    const QString path = info.canonicalFilePath();
    return path.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : path;
}

/// A path as cards and shares compare it: without case, its accents composed.
QString identityPath(const QString& fileName)
{
    return resolvedPath(fileName).normalized(QString::NormalizationForm_C).toCaseFolded();
}

} // namespace

std::filesystem::path systemPath(const QString& fileName)
{
    // encodeName() replaces lone surrogates, which std::filesystem cannot convert.
    return QFileInfo(QFile::decodeName(QFile::encodeName(fileName))).filesystemFilePath();
}

std::filesystem::file_type fileType(const QString& fileName)
{
    std::error_code error;
    return std::filesystem::status(systemPath(fileName), error).type();
}

bool isOneFile(const QString& fileName, const QString& other)
{
    // On some FUSE and network file systems the inode belongs to the path, or changes with every
    // stat(): equivalent() alone can miss that two names are one file.
    if (identityPath(fileName) == identityPath(other))
        return true;
    std::error_code error;
    if (std::filesystem::equivalent(systemPath(fileName), systemPath(other), error))
        return true;
    // Newer standard libraries report a file that is not there as an error, older ones do not.
    using Type = std::filesystem::file_type;
    return error && fileType(fileName) != Type::not_found && fileType(other) != Type::not_found;
}
