// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionpass.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QCoreApplication>
#include <QFile>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Copies every chunk as it is, without pad bytes. The dialog's cancel button is not polled, which
/// is wanted.
int copyChunks(ConversionPass& pass)
{
    while (!pass.in.atEnd()) {
        QCoreApplication::processEvents();
        ChunkHeader header = {};
        if (!readChunkHeader(pass.in, &header))
            return ConvertDataRead;
        if (writeChunkHeader(pass.out, header) < 0)
            return ConvertDataWrite;
        if (!CWavConverter::copyBlock(pass.in, pass.out, header.size))
            return ConvertDataCopy;
        pass.runningSize += header.size + quint32(g_chunkHeaderSize);
        pass.setProgress(pass.runningSize);
    }
    return ConvertOk;
}

} // namespace

void CWavConverter::plainToBwf()
{
    int error = ConvertOk; // kept from source to source, as wanted
    for (const CWavFileItem* item : std::as_const(m_sources)) {
        if (!copySource(*item, &error))
            return;
    }
}

/// Copies one source and shows the box of @p error, in which a failed copy leaves its code. False
/// when the request is to end in silence, with the output left as it is.
bool CWavConverter::copySource(const CWavFileItem& item, int* error)
{
    QFile source(item.fileName());
    if (!openSource(&source))
        return false;
    const QString base = outputBase(leftOfLast(item.fileName(), u"."_s));
    QFile output(u"%1_bwf.wav"_s.arg(base));
    if (openOutput(&output, u"Output file already exists.\n"_s, sourceNames()) != ConvertOk)
        return false;

    ConversionPass pass(&source, &output, m_parent);
    if (!pass.checkSource())
        return false;
    pass.setProgressRange(pass.sourceRiffSize);
    if (!pass.writeStart())
        return false;

    const int copied = copyChunks(pass);
    if (copied != ConvertOk)
        *error = copied;
    if (*error == ConvertOk && !pass.finish())
        *error = ConvertDataWrite;
    reportError(*error);

    source.close();
    output.close();
    m_finishedOutputs.append(output.fileName());
    pass.dialog.setValue(pass.dialog.maximum());
    return true;
}
