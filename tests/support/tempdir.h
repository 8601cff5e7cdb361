// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "tests/support/wavbuilder.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>

#include <filesystem>

#include <sys/stat.h>

/// Contents by name relative to a directory.
using Files = QMap<QString, QByteArray>;

// Values in Files that mean something other than a regular file.
inline const QByteArray g_emptyDirectory = "[an empty directory]";
inline const QByteArray g_pipe = "[a pipe, or what is neither file, directory nor link]";
inline const QByteArray g_linkTo = "[a link to] "; ///< goes on with a path
inline const QByteArray g_sameAs = "[another name of] "; ///< goes on with a name of a file there

/// All files below a directory, hidden ones included.
inline Files filesIn(const QDir& dir)
{
    Files files;
    QDirIterator entries(dir.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString file = entries.next();
        files[dir.relativeFilePath(file)] = readFile(file);
    }
    return files;
}

/// The path as the system's calls take it.
inline std::filesystem::path encoded(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

/// Everything below a directory, with the values in Files that mean something other than a regular
/// file. Of directories, the empty ones alone.
inline Files entriesIn(const QString& dir)
{
    const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    Files found;
    QDirIterator entries(dir, all, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QFileInfo entry(entries.next());
        QByteArray what = g_pipe;
        if (entry.isSymLink())
            what = g_linkTo + std::filesystem::read_symlink(encoded(entry.filePath())).c_str();
        else if (entry.isDir())
            what = g_emptyDirectory;
        else if (entry.isFile())
            what = readFile(entry.filePath());
        if (what != g_emptyDirectory || QDir(entry.filePath()).isEmpty(all))
            found[QDir(dir).relativeFilePath(entry.filePath())] = what;
    }
    return found;
}

/// Makes what @p entry is in Files; directory and target are there. False when that failed.
inline bool makeEntry(const QString& path, const QByteArray& entry)
{
    std::error_code error;
    if (entry == g_emptyDirectory)
        return QDir().mkpath(path);
    if (entry == g_pipe)
        return ::mkfifo(encoded(path).c_str(), 0600) == 0;
    if (entry.startsWith(g_linkTo))
        std::filesystem::create_symlink(entry.mid(g_linkTo.size()).constData(), encoded(path),
                                        error);
    else if (entry.startsWith(g_sameAs))
        std::filesystem::create_hard_link(
            encoded(path).replace_filename(entry.mid(g_sameAs.size()).constData()), encoded(path),
            error);
    else
        return writeFile(path, entry);
    return !error;
}

/// A directory of its own for a test, gone with it. What cannot be made ends the test program.
/// Names are relative: "take.wav", "rec/take.wav".
class TempDir
{
public:
    TempDir()
    {
        if (!m_dir.isValid())
            qFatal("Can not make a directory: %s", qPrintable(m_dir.errorString()));
    }

    explicit TempDir(const Files& files)
        : TempDir()
    {
        add(files);
    }

    QString path() const { return m_dir.path(); }
    QString path(const QString& name) const { return m_dir.filePath(name); }
    QStringList paths(const QStringList& names) const
    {
        QStringList paths;
        for (const QString& name : names)
            paths.append(path(name));
        return paths;
    }

    QByteArray bytes(const QString& name) const { return readFile(path(name)); }

    /// Makes a file, or what its value in Files means, and the folders it lies in. Returns its
    /// path.
    QString add(const QString& name, const QByteArray& bytes) const
    {
        addFolder(QFileInfo(name).path());
        if (!makeEntry(path(name), bytes))
            qFatal("Can not make %s.", qPrintable(name));
        return path(name);
    }

    void add(const Files& files) const
    {
        for (auto file = files.cbegin(); file != files.cend(); ++file)
            add(file.key(), file.value());
    }

    /// Makes a folder and those it lies in. Returns its path.
    QString addFolder(const QString& name) const
    {
        if (!QDir(path()).mkpath(name))
            qFatal("Can not make the folder %s.", qPrintable(name));
        return path(name);
    }

    Files files() const { return filesIn(path()); }
    Files entries() const { return entriesIn(path()); }

    /// The names of files(), in order.
    QStringList names() const { return files().keys(); }

private:
    QTemporaryDir m_dir;
};

/// Makes a directory the current one during its life.
class CurrentDirectory
{
public:
    explicit CurrentDirectory(const QString& path)
        : m_before(QDir::currentPath())
    {
        if (!QDir::setCurrent(path))
            qFatal("Can not go to %s.", qPrintable(path));
    }
    ~CurrentDirectory() { QDir::setCurrent(m_before); }
    Q_DISABLE_COPY_MOVE(CurrentDirectory)

private:
    QString m_before;
};
