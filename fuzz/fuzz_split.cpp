// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The split of one or several sources.

#include "convert/wavconverter.h"
#include "fuzz/fuzzdesk.h"
#include "fuzz/fuzzinput.h"
#include "wave/wavfileitem.h"

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The second name is also that of an output of the first.
constexpr std::array g_names = {"take.wav", "take_01.wav", "other"};

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

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzing(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const FuzzInput input(data, size);
    FuzzDesk& desk = fuzzDesk();
    desk.clear();
    const FuzzDesk::Answers answers = {(input.control(0) & 1) == 0, (input.control(0) & 2) != 0};

    std::vector<std::unique_ptr<CWavFileItem>> items;
    QList<CWavFileItem*> sources;
    const qsizetype count = std::min<qsizetype>(input.files().size(), g_names.size());
    for (qsizetype i = 0; i < count; ++i) {
        const QByteArray& file = input.files()[i];
        if (!isWorthConverting(file))
            return 0;
        const QString name = QString::fromLatin1(g_names[size_t(i)]);
        const WavInfo info = input.listed(file, 2);
        items.push_back(std::make_unique<CWavFileItem>(desk.path(name), info));
        // One or two outputs of each source show what eight would.
        const unsigned wanted = input.control(1) == 0 ? 0b10000001u : unsigned(input.control(1));
        int enabled = 0;
        for (int channel = 0; channel < 8; ++channel) {
            const bool isOn = (wanted >> channel & 1u) != 0 && enabled < 2;
            enabled += isOn;
            items.back()->setChannelEnabled(channel, isOn);
        }
        sources.append(items.back().get());
        desk.put(name, file);
    }

    CWavConverter converter(nullptr, sources);
    const int result = desk.run(answers, [&] { return converter.polyToMono(); });
    require(result >= ConvertOk && result <= ConvertCancelled, "a result that has a meaning");
    const FmtChunk fmt = sources.first()->fmtChunk();
    if (result == ConvertOk && fmt.channels > 0 && sources.first()->isChannelEnabled(0)
        && count == 1) {
        const QByteArray output = desk.read(u"take_01.wav"_s);
        require(output.startsWith("RIFF") && output.mid(8, 4) == "WAVE", "success leaves a file");
    }
    return 0;
}
