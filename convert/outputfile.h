// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/wavconverter.h"

#include <QFile>
#include <QStringList>

#include <optional>

class QIODevice;
class QWidget;

/// The register of what no output may truncate: the files that running conversions read, and the
/// outputs that they are writing. An entry holds its @p names as long as it lives. Entries of
/// several requests stand side by side, since a cancelled progress dialog hides before the
/// conversion looks at it and lets the window start another request meanwhile.
class FilesInWork
{
public:
    explicit FilesInWork(const QStringList& names);
    ~FilesInWork();
    FilesInWork(const FilesInWork&) = delete;
    FilesInWork& operator=(const FilesInWork&) = delete;

    /// True when @p fileName leads, under whatever name or link, to a registered file.
    static bool contains(const QString& fileName);

private:
    QStringList m_names;
};

/// One output of a conversion, from the question before it is overwritten to its end: closed and
/// kept, closed and removed, or left as far as it was written when the object goes.
class OutputFile
{
public:
    explicit OutputFile(const QString& fileName);

    /// Asks before it overwrites, with @p question as the first words and @p parent as the box's
    /// parent, and opens the file for writing, empty. Whatever the answer, no file in work is
    /// truncated, nor a pipe waited for. Returns ConvertCancelled when the answer is not Yes.
    ConvertError open(QWidget* parent, const QString& question);

    /// The open file, to be written through a stream. Owned by the output.
    QIODevice* device();

    /// The file's name without its directory.
    QString name() const;

    /// Hands everything to the system and closes the file. False when that failed, or when the name
    /// leads to another file or none by now.
    bool close();

    /// Closes the file, if it is open, and removes it, but no other file that took its name.
    void remove();

private:
    bool hasItsName();

    QFile m_file;
    std::optional<FilesInWork> m_inWork; ///< from opening on
};
