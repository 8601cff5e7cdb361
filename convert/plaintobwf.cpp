// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionprogress.h"
#include "convert/filenames.h"
#include "convert/filesinwork.h"
#include "convert/outputfile.h"
#include "convert/wavwriter.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Copies every chunk as it is, without the pad byte after an odd one. The cancel button is never
/// polled. Kept as it is; pinned by tst_plaintobwf.
ConvertError copyChunks(QDataStream& in, WavWriter& out, ConversionProgress& progress)
{
    while (!isAtEnd(in)) {
        QCoreApplication::processEvents();
        ChunkHeader header = {};
        if (!readChunkHeader(in, &header))
            return ConvertDataRead;
        if (!out.writeChunkHeader(header))
            return ConvertDataWrite;
        if (!out.copyBody(in, header.size))
            return ConvertDataCopy;
        out.addToRunningSize(header.size);
        progress.setValue(out.runningSize());
    }
    return ConvertOk;
}

} // namespace

void CWavConverter::plainToBwf() const
{
    const FilesInWorkGuard guard(sourceNames());
    // Stays set until the request ends: each source after one that failed gets the same box and
    // keeps RIFF size 0. Kept as it is; pinned by tst_plaintobwf.
    ConvertError error = ConvertOk;
    for (const CWavFileItem* item : m_sources) {
        QFile source(item->fileName());
        if (!openRegularFile(&source))
            return;
        const QString stem = leftOfLast(item->fileName(), u"."_s);
        OutputFile output(bwfFileName(outputBase(stem, m_outputDir)));
        if (openOutput(&output, u"Output file already exists.\n"_s) != ConvertOk)
            return;

        QDataStream in(&source);
        in.setByteOrder(QDataStream::LittleEndian);
        WavWriter out(output.device());
        ConversionProgress progress(m_parent, output.name());
        quint32 riffSize = 0;
        if (!checkRiffWave(in, &riffSize))
            return;
        progress.setMaximum(riffSize);
        if (!out.writeStart(in))
            return;

        const ConvertError copied = copyChunks(in, out, progress);
        if (copied != ConvertOk)
            error = copied;
        const bool isSized = error == ConvertOk && out.writeRiffSize();
        reportError(error);
        source.close();
        const bool isClosed = output.close();
        if (error == ConvertOk && !(isSized && isClosed))
            reportError(ConvertDataWrite); // of this source alone
        progress.setValueToMaximum();
    }
}
