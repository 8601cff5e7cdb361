// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "app/apptexts.h"
#include "convert/conversionpass.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QStringView>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>
#include <new>

#include <sys/stat.h>

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

/// The path that the toolkit really opens for @p fileName.
std::filesystem::path pathOf(const QString& fileName)
{
    return QFile::encodeName(fileName).toStdString();
}

/// True when opening @p fileName would wait until somebody reads at the other end.
bool isPipe(const QString& fileName)
{
    std::error_code error;
    return std::filesystem::is_fifo(pathOf(fileName), error);
}

/// True when @p fileName leads, under whatever name or link, to one of the @p files.
bool isOneOf(const QString& fileName, const QStringList& files)
{
    const std::filesystem::path path = pathOf(fileName);
    return std::any_of(files.cbegin(), files.cend(), [&path](const QString& file) {
        std::error_code error; // a file that is not there is not the same
        return std::filesystem::equivalent(path, pathOf(file), error);
    });
}

/// The outputs that are being written. Cancel hides the dialog before it is looked at, so that the
/// window can start another request meanwhile.
QStringList& outputsInWork()
{
    static QStringList names;
    return names;
}

/// True while the name of the open @p file leads to it, and not to another file or none.
bool hasItsName(const QFile& file)
{
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(file.handle(), &opened) == 0
           && ::stat(QFile::encodeName(file.fileName()).constData(), &named) == 0
           && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

/// A buffer of copyBlock(), which keeps it when it fails.
char* newCopyBuffer(quint64 size)
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

bool CWavConverter::copyBlock(QDataStream& in, QDataStream& out, quint64 size)
{
    if (size > quint64(std::numeric_limits<qint32>::max()))
        return false;
    char* buffer = newCopyBuffer(size);
    if (!buffer)
        return false;
    const qint64 count = readRaw(in, buffer, qint64(size));
    if (count < 0)
        return false; // the buffer is kept, as wanted
    std::fill(buffer + count, buffer + size, '\0');
    if (out.writeRawData(buffer, int(size)) < 0)
        return false; // the buffer is kept, as wanted
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

/// Asks before it overwrites, with @p question as the first words, and opens @p output for writing.
/// Whatever the answer, no file is truncated that is one of the @p inputs, still being written, or
/// an earlier output of this request under another name. Returns a ConvertError.
int CWavConverter::openOutput(QFile* output, const QString& question,
                              const QStringList& inputs) const
{
    if (output->fileName().contains(QChar::Null))
        return ConvertFileOpen; // the system would open what the name is up to that character
    if (QFile::exists(output->fileName())) { // which a link to nowhere does not
        const QString text =
            question + QFileInfo(*output).fileName() + u"\n\nDo you want to overwrite?"_s;
        const auto answer =
            QMessageBox::question(m_parent, g_appName, text, QMessageBox::Yes | QMessageBox::Cancel,
                                  QMessageBox::NoButton);
        if (answer != QMessageBox::Yes)
            return ConvertCancelled;
        QStringList kept = m_finishedOutputs;
        kept.removeAll(output->fileName()); // which the question was about
        kept += inputs + outputsInWork();
        if (isPipe(output->fileName()) || isOneOf(output->fileName(), kept))
            return ConvertFileOpen;
    }
    return output->open(QIODevice::WriteOnly) ? ConvertOk : ConvertFileOpen;
}

QStringList CWavConverter::sourceNames() const
{
    QStringList names;
    for (const CWavFileItem* item : m_sources)
        names.append(item->fileName());
    return names;
}

ConversionPass::ConversionPass(QFile* source, QFile* output, QWidget* parent)
    : in(source)
    , out(output)
    , dialog(u"Converting ..."_s, u"Cancel"_s, 0, 10000, parent)
{
    outputsInWork().append(output->fileName());
    in.setByteOrder(QDataStream::LittleEndian);
    out.setByteOrder(QDataStream::LittleEndian);
    dialog.setWindowModality(Qt::WindowModal);
    // A progress that meets the maximum on its way would hide the dialog and forget a Cancel.
    dialog.setAutoReset(false);
    dialog.setLabelText(u"Converting...\n"_s + QFileInfo(*output).fileName());
}

ConversionPass::~ConversionPass()
{
    outputsInWork().removeOne(static_cast<QFile*>(out.device())->fileName());
}

bool ConversionPass::checkSource()
{
    return checkRiffWave(in, &sourceRiffSize);
}

void ConversionPass::setProgressRange(quint32 maximum)
{
    dialog.setRange(0, int(maximum));
}

void ConversionPass::showProgress()
{
    dialog.setVisible(true);
}

void ConversionPass::setProgress(quint32 bytes)
{
    dialog.setValue(int(bytes));
}

bool ConversionPass::writeStart()
{
    const qint64 headerBytes = writeRiffHeader(out, 0);
    if (headerBytes < 0)
        return false;
    runningSize = quint32(headerBytes);
    if (findChunk(in, g_bextId, 0) >= 0)
        return true;
    const qint64 bextBytes = writeBextChunk(out);
    if (bextBytes < 0)
        return false;
    runningSize += quint32(bextBytes);
    return true;
}

bool ConversionPass::writeHeader(const ChunkHeader& source, quint32 dataSize)
{
    ChunkHeader header = source;
    if (isId(source.id, g_fmtId))
        header.size = quint32(g_fmtBodySize);
    else if (isId(source.id, g_dataId))
        header.size = dataSize;
    const qint64 bytes = writeChunkHeader(out, header);
    if (bytes < 0)
        return false;
    runningSize += quint32(bytes);
    return true;
}

int ConversionPass::writeBody(const ChunkHeader& source, const FmtChunk& fmt)
{
    if (isId(source.id, g_fmtId)) {
        if (writeFmtBody(out, fmt) < 0)
            return ConvertDataWrite;
        skipRaw(in, source.size);
        return ConvertOk;
    }
    return CWavConverter::copyBlock(in, out, copiedBodyBytes(source)) ? ConvertOk : ConvertDataCopy;
}

bool ConversionPass::finish()
{
    auto* output = static_cast<QFile*>(out.device());
    if (!output->seek(g_riffSizeOffset))
        return false;
    out << runningSize;
    if (out.status() != QDataStream::Ok || !hasItsName(*output))
        return false;
    output->close(); // which flushes, and where file systems over a network tell earlier failures
    return output->error() == QFileDevice::NoError;
}

quint64 copiedBodyBytes(const ChunkHeader& header)
{
    return isId(header.id, g_bextId) ? header.size : roundedUpToEven(header.size);
}

void removeOutput(QFile* output)
{
    const bool isReplaced = output->isOpen() && !hasItsName(*output);
    output->close();
    if (!isReplaced)
        QFile::remove(output->fileName());
}

std::unique_ptr<char[]> newSampleBuffer(qint64 size)
{
    return std::unique_ptr<char[]>(new (std::nothrow) char[size_t(size)]());
}
