// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "tests/support/tempdir.h"

#include <QBuffer>
#include <QDataStream>
#include <QFile>
#include <QList>

#include <limits>

/// A little-endian stream on a real file of its own, which holds @p bytes. It is at the start.
class FileStream
{
public:
    explicit FileStream(const QByteArray& bytes, QIODevice::OpenMode mode = QIODevice::ReadOnly)
        : file(m_dir.path(QStringLiteral("take.wav")))
        , stream(&file)
    {
        if (!writeFile(file.fileName(), bytes) || !file.open(mode))
            qFatal("Can not make %s.", qPrintable(file.fileName()));
        stream.setByteOrder(QDataStream::LittleEndian);
    }

    /// What lies on the disk now.
    QByteArray bytes()
    {
        file.flush();
        return readFile(file.fileName());
    }

private:
    TempDir m_dir;

public:
    QFile file;
    QDataStream stream;
};

/// A device in memory that fails where it is set to.
class FaultyBuffer : public QBuffer
{
public:
    explicit FaultyBuffer(const QByteArray& bytes = {}) { setData(bytes); }

    bool seek(qint64 position) override
    {
        seeks.append(position);
        return position != refusedSeek && QBuffer::seek(position);
    }

    static constexpr qint64 never = std::numeric_limits<qint64>::max();

    qint64 refusedSeek = never; ///< a seek to this byte fails
    qint64 unreadableFrom = never; ///< a read that starts here or later fails
    qint64 capacity = never; ///< a write that would end after this byte fails as a whole
    QList<qint64> seeks; ///< every byte that was asked for

protected:
    qint64 readData(char* data, qint64 size) override
    {
        return pos() >= unreadableFrom ? -1 : QBuffer::readData(data, size);
    }

    qint64 writeData(const char* data, qint64 size) override
    {
        return pos() + size > capacity ? -1 : QBuffer::writeData(data, size);
    }
};

/// A little-endian stream on a faulty device, which is opened for reading and writing.
class FaultyStream
{
public:
    explicit FaultyStream(const QByteArray& bytes = {})
        : device(bytes)
        , stream(&device)
    {
        device.open(QIODevice::ReadWrite);
        device.seeks.clear();
        stream.setByteOrder(QDataStream::LittleEndian);
    }

    FaultyBuffer device;
    QDataStream stream;
};
