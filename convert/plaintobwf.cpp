// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"

#include "convert/conversionpass.h"
#include "convert/outputfile.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QFile>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Copies every chunk as it is, without the pad byte behind an odd one. Nothing polls the cancel
/// button: the copy has no result that could tell of an output that was given up.
ConvertError copyChunks(ConversionPass& pass)
{
    while (!pass.atEnd()) {
        pass.pumpEvents();
        ChunkHeader header = {};
        if (!pass.readHeader(&header))
            return ConvertDataRead;
        if (!pass.writeHeader(header))
            return ConvertDataWrite;
        const ConvertError error = pass.copyBody(header.size);
        if (error != ConvertOk)
            return error;
        pass.countBody(header.size);
    }
    return ConvertOk;
}

} // namespace

void CWavConverter::plainToBwf()
{
    const FilesInWork sources(sourceNames());
    // A failed copy marks the rest of the request: each later file gets the same box and
    // keeps RIFF size 0, which says that the request it belongs to did not come through.
    ConvertError error = ConvertOk;
    for (const CWavFileItem* item : std::as_const(m_sources)) {
        QFile source(item->fileName());
        if (!openSource(&source))
            return;
        OutputFile output(u"%1_bwf.wav"_s.arg(outputBase(leftOfLast(item->fileName(), u"."_s))));
        if (output.open(m_parent, u"Output file already exists.\n"_s) != ConvertOk)
            return;

        ConversionPass pass(&source, &output, m_parent);
        if (!pass.checkSource())
            return;
        pass.setProgressRange(pass.sourceRiffSize());
        if (!pass.writeStart())
            return;

        const ConvertError copied = copyChunks(pass);
        if (copied != ConvertOk)
            error = copied;
        const bool isSized = error == ConvertOk && pass.writeRunningSize();
        reportError(error);
        const bool isClosed = pass.close();
        if (error == ConvertOk && !(isSized && isClosed))
            reportError(ConvertDataWrite); // of this source alone
        pass.showMaximum();
    }
}
