// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/outputfile.h"

#include "convert/fileidentity.h"

#include <QFileInfo>

#include <system_error>

using FileType = std::filesystem::file_type;

namespace {

/// True when the length of a file could not be read because the path leads to none any more.
bool isNoFile(const std::error_code& error)
{
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory
           || error == std::errc::is_a_directory || error == std::errc::not_supported;
}

} // namespace

OutputFile::OutputFile(const QString& fileName)
    : m_file(fileName)
{ }

OutputFile::Creation OutputFile::create()
{
    const QString fileName = m_file.fileName();
    if (fileName.contains(QChar::Null))
        return Creation::Failed; // The system would open what the name is up to that character.
    FileType type = fileType(fileName);
    if (type == FileType::not_found) {
        if (createNew()) {
            m_inWork.emplace(QStringList{fileName});
            return Creation::Created;
        }
        // It may have appeared since, or a share may have cached that there was none.
        type = fileType(fileName);
    }
    return type == FileType::none || type == FileType::not_found ? Creation::Failed
                                                                 : Creation::Exists;
}

bool OutputFile::overwrite()
{
    const QString fileName = m_file.fileName();
    const FileType type = fileType(fileName);
    if (type == FileType::not_found)
        return create() == Creation::Created;
    // If the type is unknown, it may be a file in work. Opening a pipe would wait for a reader.
    if (type == FileType::none || type == FileType::fifo || isFileInWork(fileName))
        return false;
    if (!m_file.open(QIODevice::WriteOnly))
        return false;
    m_inWork.emplace(QStringList{fileName});
    return true;
}

QIODevice* OutputFile::device()
{
    return &m_file;
}

QString OutputFile::name() const
{
    return QFileInfo(m_file).fileName();
}

bool OutputFile::close()
{
    if (!m_file.flush() || !isStillAtItsPath())
        return false; // and still open, so that remove() can check whether the file is ours
    m_file.close(); // where network file systems report earlier failures
    return m_file.error() == QFileDevice::NoError;
}

void OutputFile::remove()
{
    const bool isOurs = !m_file.isOpen() || isStillAtItsPath();
    m_file.close();
    if (isOurs)
        m_file.remove();
}

/// Opens a file that was not there. A link to nowhere cannot be created exclusively: the system
/// creates its target, and a file that has appeared there meanwhile keeps its bytes, since one that
/// is opened for reading too is not truncated.
bool OutputFile::createNew()
{
    if (m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return true;
    if (!QFileInfo(m_file).isSymLink() || !m_file.open(QIODevice::ReadWrite))
        return false;
    char byte = 0;
    if (!m_file.isSequential() && m_file.read(&byte, 1) == 0)
        return true;
    m_file.close();
    return false;
}

/// False when the path of the open file leads to none by now, or to another one: a directory, a
/// pipe or a device where ours is a file, or a file of another length. What the system does
/// not say counts as ours, so that no finished file is reported as failed.
bool OutputFile::isStillAtItsPath()
{
    switch (fileType(m_file.fileName())) {
    case FileType::not_found:
    case FileType::directory:
        return false;
    case FileType::fifo:
    case FileType::socket:
    case FileType::character:
        return m_file.isSequential(); // No file on a disk is.
    case FileType::regular:
        break;
    default:
        return true;
    }
    if (!m_file.flush())
        return true;
    std::error_code error;
    const std::uintmax_t length = std::filesystem::file_size(systemPath(m_file.fileName()), error);
    if (isNoFile(error))
        return false;
    const qint64 ownLength = m_file.size(); // 0 also where it is unknown
    const bool isKnown = ownLength != 0 || m_file.pos() == 0;
    return error || !isKnown || length == std::uintmax_t(ownLength);
}
