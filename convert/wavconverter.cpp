// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "app/apptexts.h"
#include "convert/outputfile.h"
#include "convert/wavwriter.h"
#include "wave/wavfileitem.h"

#include <QMessageBox>
#include <QStringView>

#include <iterator>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The sentence for each ConvertError, shown after the words common to all.
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
    return copyBytes(in, out, size);
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

/// Opens @p output for writing. Asks before it overwrites, with @p question as the first words.
/// Returns ConvertCancelled when the answer is not Yes, ConvertFileOpen when the output cannot be
/// opened or must not be truncated.
ConvertError CWavConverter::openOutput(OutputFile* output, const QString& question) const
{
    switch (output->create()) {
    case OutputFile::Creation::Created:
        return ConvertOk;
    case OutputFile::Creation::Failed:
        return ConvertFileOpen;
    case OutputFile::Creation::Exists:
        break;
    }
    const QString text = question + output->name() + u"\n\nDo you want to overwrite?"_s;
    const auto answer = QMessageBox::question(
        m_parent, g_appName, text, QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::NoButton);
    if (answer != QMessageBox::Yes)
        return ConvertCancelled;
    return output->overwrite() ? ConvertOk : ConvertFileOpen;
}

QStringList CWavConverter::sourceNames() const
{
    QStringList names;
    for (const CWavFileItem* item : m_sources)
        names.append(item->fileName());
    return names;
}
