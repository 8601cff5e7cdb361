// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/filesinwork.h"

#include <QFile>

#include <optional>

class QIODevice;

/// One output on the disk, from its opening to its end: closed and kept, closed and removed, or
/// left as far as it was written when the object goes. It is a file in work from its opening on.
class OutputFile
{
public:
    enum class Creation {
        Created, ///< and open for writing
        Exists, ///< untouched
        Failed,
    };

    explicit OutputFile(const QString& fileName);

    /// Creates the file, and the target of a link that leads nowhere. Never truncates one, not even
    /// one that appears at this moment.
    Creation create();

    /// Truncates the file and opens it for writing; creates it if it is gone by now. False, with
    /// nothing truncated, when it cannot be opened, is a pipe or leads to a file in work.
    bool overwrite();

    /// The open file, to be written through a stream. Owned by the output.
    QIODevice* device();

    /// The file's name without its directory.
    QString name() const;

    /// Writes what is buffered and closes the file. False when that failed, or when the path leads
    /// to another file or to none by now.
    bool close();

    /// Closes the file, if it is open, and removes it, unless its path leads to another file by
    /// now. A file of the same length counts as this one.
    void remove();

private:
    bool createNew();
    bool isStillAtItsPath();

    QFile m_file;
    std::optional<FilesInWorkGuard> m_inWork; ///< from opening on
};
