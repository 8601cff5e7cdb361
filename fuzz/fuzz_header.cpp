// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The header parse of the file browser.

#include "fuzz/fuzzdesk.h"
#include "fuzz/fuzzinput.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QFile>

using namespace Qt::Literals::StringLiterals;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzing(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    FuzzDesk& desk = fuzzDesk();
    const auto bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    desk.put(u"take.wav"_s, bytes);
    QFile file(desk.path(u"take.wav"_s));
    WavInfo info = {};
    require(openRegularFile(&file), "an ordinary file opens");
    if (!readWavInfo(&file, &info))
        return 0;

    require(hasWaveHeader(bytes), "only a WAVE file is readable");
    require(bytes.mid(file.pos() - 16, 2)
                == QByteArray::fromRawData(reinterpret_cast<const char*>(&info.fmt.formatTag), 2),
            "the position is after the format body");
    const CWavFileItem item(file.fileName(), info);
    for (int channel = 0; channel < 8; ++channel) {
        require(item.isChannelEnabled(channel) == (channel < info.fmt.channels),
                "the channels that are there start enabled");
    }
    require(item.isSameFormat(&item), "a file has its own format");
    return 0;
}
