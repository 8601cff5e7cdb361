// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/outputfile.h"

#include "app/apptexts.h"

#include <QDir>
#include <QFileInfo>
#include <QMessageBox>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

QStringList& namesInWork()
{
    static QStringList names;
    return names;
}

/// The path that the toolkit opens for @p fileName. A text that is no Unicode, half a surrogate
/// pair for instance, is opened under other characters and could not be converted as it is.
std::filesystem::path pathOf(const QString& fileName)
{
    return QFileInfo(QFile::decodeName(QFile::encodeName(fileName))).filesystemFilePath();
}

/// What a name leads to, behind all links; file_type::none where that cannot be told.
std::filesystem::file_type typeOf(const QString& fileName)
{
    std::error_code error;
    return std::filesystem::status(pathOf(fileName), error).type();
}

/// The path behind all links, as far as they can be followed.
QString withoutLinks(const QString& fileName)
{
    const QFileInfo info(fileName);
    const QString path = info.canonicalFilePath();
    return path.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : path;
}

/// A name as cards and shares compare it: without case, its accents composed.
QString folded(const QString& name)
{
    return name.normalized(QString::NormalizationForm_C).toCaseFolded();
}

bool areBothListed(const QString& dir, const QString& name, const QString& other)
{
    const QStringList names =
        QDir(dir).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    return names.contains(name) && names.contains(other);
}

/// True when the paths differ in nothing but spellings that their directories take for one name.
bool isOnePath(const QString& path, const QString& other)
{
    const QStringList names = withoutLinks(path).split(u'/');
    const QStringList otherNames = withoutLinks(other).split(u'/');
    if (names.size() != otherNames.size())
        return false;
    QString dir;
    for (qsizetype i = 0; i < names.size(); ++i) {
        const QString& name = names[i];
        if (name != otherNames[i]
            && (folded(name) != folded(otherNames[i]) || areBothListed(dir, name, otherNames[i])))
            return false;
        dir += name + u'/';
    }
    return true;
}

/// True when both names lead to one file. Some servers number the names of their files instead of
/// the files, or number them anew at each look, so that the numbers alone do not show it.
bool isOneFile(const QString& fileName, const QString& other)
{
    if (typeOf(other) == std::filesystem::file_type::not_found)
        return false;
    std::error_code error;
    if (std::filesystem::equivalent(pathOf(fileName), pathOf(other), error))
        return true;
    return error || isOnePath(fileName, other); // What cannot be told must not be truncated.
}

} // namespace

FilesInWork::FilesInWork(const QStringList& names)
    : m_names(names)
{
    namesInWork().append(m_names);
}

FilesInWork::~FilesInWork()
{
    for (const QString& name : std::as_const(m_names))
        namesInWork().removeOne(name);
}

bool FilesInWork::contains(const QString& fileName)
{
    const QStringList& names = namesInWork();
    return std::any_of(names.cbegin(), names.cend(),
                       [&fileName](const QString& name) { return isOneFile(fileName, name); });
}

OutputFile::OutputFile(const QString& fileName)
    : m_file(fileName)
{ }

ConvertError OutputFile::open(QWidget* parent, const QString& question)
{
    const QString fileName = m_file.fileName();
    if (fileName.contains(QChar::Null))
        return ConvertFileOpen; // the system would open what the name is up to that character
    using Type = std::filesystem::file_type;
    Type type = typeOf(fileName);
    // A link to nowhere is not found: there is nothing to ask about, and its target is made.
    if (type != Type::not_found && type != Type::none) {
        const QString text = question + name() + u"\n\nDo you want to overwrite?"_s;
        const auto answer = QMessageBox::question(
            parent, g_appName, text, QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::NoButton);
        if (answer != QMessageBox::Yes)
            return ConvertCancelled;
        type = typeOf(fileName); // which may have changed while the box stood
    }
    // What cannot be looked at may be there, and opening a pipe would wait for a reader.
    if (type == Type::none || type == Type::fifo)
        return ConvertFileOpen;
    if (type != Type::not_found && FilesInWork::contains(fileName))
        return ConvertFileOpen;
    if (!m_file.open(QIODevice::WriteOnly))
        return ConvertFileOpen;
    m_inWork.emplace(QStringList{fileName});
    return ConvertOk;
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
    if (!m_file.flush() || !hasItsName())
        return false; // and still open, so that remove() can tell whether the file is ours
    m_file.close(); // where file systems over a network tell of earlier failures
    return m_file.error() == QFileDevice::NoError;
}

void OutputFile::remove()
{
    const bool isOurs = !m_file.isOpen() || hasItsName();
    m_file.close();
    if (isOurs)
        m_file.remove();
}

/// False when the name of the open file leads to none by now, or to another one: a directory, a
/// pipe or a device where ours is a file, or a file of another length. What cannot be told counts
/// as ours, so that no finished file is denied.
bool OutputFile::hasItsName()
{
    using Type = std::filesystem::file_type;
    switch (typeOf(m_file.fileName())) {
    case Type::not_found:
    case Type::directory:
        return false;
    case Type::fifo:
    case Type::socket:
    case Type::character:
        return m_file.isSequential(); // No file on a disk is.
    case Type::regular:
        break;
    default:
        return true;
    }
    if (!m_file.flush())
        return true;
    std::error_code error;
    const std::uintmax_t length = std::filesystem::file_size(pathOf(m_file.fileName()), error);
    const qint64 ownLength = m_file.size(); // 0 also where it cannot be told
    const bool isKnown = ownLength != 0 || m_file.pos() == 0;
    return error || !isKnown || length == std::uintmax_t(ownLength);
}
