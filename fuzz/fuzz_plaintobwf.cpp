// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The plain copy of one or several sources.

#include "convert/wavconverter.h"
#include "fuzz/fuzzdesk.h"
#include "fuzz/fuzzinput.h"
#include "wave/wavfileitem.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The second name is also that of an output of the first.
const QStringList g_names = {u"take.wav"_s, u"take_bwf.wav"_s, u"other"_s};

/// False for an input that only costs time.
bool isWorthConverting(const QByteArray& file)
{
    return copyingWalk(file).largestCopy <= g_largestFuzzedCopy;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzing(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const FuzzInput input(data, size);
    const QByteArrayList files = input.files().mid(0, g_names.size());
    if (!std::all_of(files.cbegin(), files.cend(), isWorthConverting))
        return 0;
    const DeskSources sources = putSources(input, g_names);

    FuzzDesk& desk = fuzzDesk();
    CWavConverter converter(nullptr, sources.list());
    desk.run(answersOf(input), [&] {
        converter.plainToBwf();
        return 0;
    });
    for (const QString& name : desk.outputs()) {
        const QByteArray output = desk.read(name);
        require(name.endsWith(u"_bwf.wav"), "no other file comes to be");
        require(output.isEmpty() || hasWaveHeader(output), "what is left is a WAVE file");
    }
    return 0;
}
