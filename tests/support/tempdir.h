// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "tests/support/wavbuilder.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>

/// Contents by name relative to a directory.
using Files = QMap<QString, QByteArray>;

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

    /// Writes a file and makes the folders it lies in. Returns its path.
    QString add(const QString& name, const QByteArray& bytes) const
    {
        addFolder(QFileInfo(name).path());
        if (!writeFile(path(name), bytes))
            qFatal("Can not write %s.", qPrintable(name));
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
