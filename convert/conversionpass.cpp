// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/conversionpass.h"

#include "app/apptexts.h"
#include "convert/outputfile.h"
#include "wave/chunks.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QProgressBar>

#include <limits>

using namespace Qt::Literals::StringLiterals;

LastWindowWatch::LastWindowWatch(const QWidget* parent)
{
    if (parent && parent->window()->isVisible())
        connect(qGuiApp, &QGuiApplication::lastWindowClosed, this, [this] { m_isClosed = true; });
}

bool LastWindowWatch::isClosed() const
{
    return m_isClosed;
}

ConversionPass::ConversionPass(QFile* source, OutputFile* output, QWidget* parent,
                               const LastWindowWatch* lastWindow)
    : m_source(source)
    , m_output(output)
    , m_lastWindow(lastWindow)
    , m_in(source)
    , m_out(output->device())
    , m_dialog(u"Converting ..."_s, u"Cancel"_s, 0, 10000, parent)
{
    m_in.setByteOrder(QDataStream::LittleEndian);
    m_out.setByteOrder(QDataStream::LittleEndian);

    m_dialog.setWindowModality(Qt::WindowModal);
    m_dialog.setWindowTitle(g_appName);
    m_dialog.setAccessibleName(u"Conversion progress"_s);
    m_dialog.findChild<QProgressBar*>()->setAccessibleName(u"Conversion progress"_s);
    // A progress that meets the maximum on its way would hide the dialog and forget a Cancel.
    m_dialog.setAutoReset(false);
    m_dialog.setLabelText(u"Converting...\n"_s + output->name());
}

bool ConversionPass::checkSource()
{
    return checkRiffWave(m_in, &m_sourceRiffSize);
}

quint32 ConversionPass::sourceRiffSize() const
{
    return m_sourceRiffSize;
}

void ConversionPass::setProgressRange(quint32 maximum)
{
    m_dialog.setRange(0, int(maximum));
}

void ConversionPass::showProgress()
{
    m_dialog.setVisible(true);
}

bool ConversionPass::writeStart()
{
    const qint64 headerBytes = writeRiffHeader(m_out, 0);
    if (headerBytes < 0)
        return false;
    m_runningSize = quint32(headerBytes);
    if (findChunk(m_in, g_bextId, 0) >= 0)
        return true;
    const qint64 bextBytes = writeBextChunk(m_out);
    if (bextBytes < 0)
        return false;
    m_runningSize += quint32(bextBytes);
    return true;
}

bool ConversionPass::atEnd() const
{
    return m_in.atEnd() && m_in.status() == QDataStream::Ok;
}

void ConversionPass::pumpEvents()
{
    QCoreApplication::processEvents();
}

bool ConversionPass::isAbandoned() const
{
    return m_lastWindow && m_lastWindow->isClosed();
}

bool ConversionPass::readHeader(ChunkHeader* header)
{
    return readChunkHeader(m_in, header);
}

bool ConversionPass::writeHeader(const ChunkHeader& header)
{
    const qint64 bytes = writeChunkHeader(m_out, header);
    if (bytes < 0)
        return false;
    m_runningSize += quint32(bytes);
    return true;
}

ConvertError ConversionPass::writeChunk(const ChunkHeader& source, const FmtChunk& fmt)
{
    const bool isFmt = isId(source.id, g_fmtId);
    ChunkHeader header = source;
    if (isFmt)
        header.size = quint32(g_fmtBodySize);
    if (!writeHeader(header))
        return ConvertDataWrite;
    if (!isFmt)
        return copyBody(copiedBytes(source));
    if (writeFmtBody(m_out, fmt) < 0)
        return ConvertDataWrite;
    skipRaw(m_in, source.size);
    return ConvertOk;
}

ConvertError ConversionPass::copyBody(quint64 size)
{
    const bool isCopied = size <= std::numeric_limits<quint32>::max()
                          && CWavConverter::copyBlock(m_in, m_out, quint32(size));
    return isCopied ? ConvertOk : ConvertDataCopy;
}

void ConversionPass::countBody(quint32 bytes)
{
    m_runningSize += bytes;
    m_dialog.setValue(int(m_runningSize));
}

qint64 ConversionPass::sourcePosition() const
{
    return m_source->pos();
}

qint64 ConversionPass::read(char* buffer, qint64 size)
{
    return readRaw(m_in, buffer, size);
}

void ConversionPass::writeSamples(const char* bytes, qint64 size)
{
    m_out.writeRawData(bytes, int(size));
    m_runningSize += quint32(size);
}

void ConversionPass::writePadByte()
{
    const char pad = 0;
    writeSamples(&pad, 1);
}

bool ConversionPass::pollEachFrame(qint64 frames)
{
    return showAndPoll(m_dialog, int(m_runningSize), frames);
}

void ConversionPass::showPosition(qint64 position)
{
    m_dialog.setValue(int(quint32(position)));
}

bool ConversionPass::wasCancelled() const
{
    return m_dialog.wasCanceled();
}

bool ConversionPass::writeRunningSize()
{
    if (!m_out.device()->seek(g_riffSizeOffset))
        return false;
    m_out << m_runningSize;
    return m_out.status() == QDataStream::Ok;
}

bool ConversionPass::close()
{
    m_source->close();
    return m_output->close();
}

void ConversionPass::showMaximum()
{
    m_dialog.setValue(m_dialog.maximum());
}

quint64 copiedBytes(const ChunkHeader& header)
{
    return isId(header.id, g_bextId) ? header.size : roundedUpToEven(header.size);
}

bool showAndPoll(QProgressDialog& dialog, int bytes, qint64 frames)
{
    for (qint64 k = 0; k < frames; ++k) {
        dialog.setValue(bytes);
        if (dialog.wasCanceled())
            return false;
        // Once the dialog shows the value, showing it again returns at once and delivers no event,
        // so nothing can cancel before the next block: nobody can tell the block's further polls
        // from none. A value that the dialog did not take over is shown again with every frame,
        // which delivers events once the dialog has been up for some seconds.
        if (dialog.value() == bytes)
            return true;
    }
    return true;
}
