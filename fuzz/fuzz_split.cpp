// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The split of one or several sources.

#include "convert/wavconverter.h"
#include "fuzz/fuzzdesk.h"
#include "fuzz/fuzzinput.h"
#include "wave/wavfileitem.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The second name is also that of an output of the first.
const QStringList g_names = {u"take.wav"_s, u"take_01.wav"_s, u"other"_s};

/// False for an input whose conversion has no end or only costs time.
bool isWorthConverting(const QByteArray& file)
{
    const Walk walk = convertingWalk(file);
    // A data chunk that claims more than the file holds never ends the split: no read is left that
    // could bring the rest down to zero, and no frame that would poll the cancel button.
    const bool hasEnd = std::all_of(walk.data.cbegin(), walk.data.cend(), [&](const MetData& data) {
        return data.offset + data.size <= file.size();
    });
    return hasEnd && walk.largestCopy <= g_largestFuzzedCopy;
}

/// Enables one or two channels of the wanted ones, which show what eight would. Returns the names
/// of the outputs.
QStringList enableTwoChannels(int control, CWavFileItem& item, const QString& name)
{
    const unsigned wanted = control == 0 ? 0b10000001u : unsigned(control);
    QStringList outputs;
    int enabled = 0;
    for (int channel = 0; channel < g_maxChannels; ++channel) {
        const bool isOn = (wanted >> channel & 1u) != 0 && enabled < 2;
        enabled += isOn;
        item.setChannelEnabled(channel, isOn);
        if (isOn && channel < item.fmtChunk().channels)
            outputs.append(u"%1_0%2.wav"_s.arg(name.section(u'.', 0, 0)).arg(channel + 1));
    }
    return outputs;
}

/// The RIFF size comes last.
bool isFinished(const QByteArray& output)
{
    return hasWaveHeader(output) && output.mid(4, 4) != QByteArray(4, '\0');
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
    QStringList wanted;
    for (size_t i = 0; i < sources.items.size(); ++i)
        wanted += enableTwoChannels(input.control(1), *sources.items[i], g_names[qsizetype(i)]);
    wanted.sort();

    FuzzDesk& desk = fuzzDesk();
    CWavConverter converter(nullptr, sources.list());
    const int result = desk.run(answersOf(input), [&] { return converter.polyToMono(); });
    require(result >= ConvertOk && result <= ConvertCancelled, "a result that has a meaning");
    const QStringList outputs = desk.outputs();
    require(result != ConvertOk || outputs == wanted, "success leaves every output");
    for (const QString& name : outputs) {
        const QByteArray output = desk.read(name);
        require(wanted.contains(name), "no other file comes to be");
        require(isFinished(output) || (output.isEmpty() && result == ConvertIllegalFormat),
                "what is left is finished");
    }
    return 0;
}
