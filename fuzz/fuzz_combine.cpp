// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The combine of up to eight sources, which are as equal, short or missing as the input likes.

#include "convert/wavconverter.h"
#include "fuzz/fuzzdesk.h"
#include "fuzz/fuzzinput.h"
#include "wave/wavfileitem.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int g_answersAt = 0; // positions of control bytes
constexpr int g_countAt = 1;
constexpr int g_listedAt = 2;
constexpr int g_sourcesAt = 16;

/// A source after the first: the number in its name and the file there.
struct Channel
{
    int number;
    bool isThere;
    QByteArray bytes;
};

QString nameOf(int number)
{
    return u"take_0%1.wav"_s.arg(number);
}

QList<Channel> channelsOf(const FuzzInput& input)
{
    const QByteArrayList& files = input.files();
    const int count =
        input.control(g_countAt) == 0 ? int(files.size()) : 1 + input.control(g_countAt) % 8;
    QList<Channel> channels = {{1, true, files.first()}};
    for (int i = 1; i < count; ++i) {
        const int choice = input.control(g_sourcesAt + i);
        const bool isThere = choice % 8 != 7;
        const int number = choice == 0 ? i + 1 : choice / 8 % 10;
        channels.append({number, isThere, files[i % files.size()]});
    }
    return channels;
}

/// False for an input whose conversion goes on until a person cancels it: the count of the block's
/// last read is what brings the rest down to zero, so that the last file that can be opened must
/// hold the reference's data chunk whole, and the reference must not be read twice for one block.
bool hasEnd(const QList<Channel>& channels, const Walk& walk)
{
    const Channel& reference = channels.first();
    qsizetype last = 0;
    while (last + 1 < channels.size()
           && (channels[last + 1].number == reference.number || channels[last + 1].isThere)) {
        ++last;
        if (channels[last].number == reference.number)
            return false;
    }
    const qint64 length = channels[last].bytes.size();
    return std::all_of(walk.data.cbegin(), walk.data.cend(), [length](const MetData& data) {
        return data.offset + data.size <= length && data.size <= g_surelyOneBlock;
    });
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

    QList<Channel> channels = channelsOf(input);
    // Of two sources of one name the later is the file there.
    for (Channel& channel : channels) {
        for (const Channel& other : channels) {
            if (other.number == channel.number) {
                channel.isThere = other.isThere || channel.number == 1;
                channel.bytes = other.bytes;
            }
        }
    }
    const FuzzDesk::Answers answers = answersOf(input);
    const Walk walk = convertingWalk(channels.first().bytes);
    if (walk.largestCopy > g_largestFuzzedCopy || !hasEnd(channels, walk))
        return 0;

    const WavInfo info = input.listed(channels.first().bytes, g_listedAt);
    DeskSources sources;
    for (const Channel& channel : channels) {
        const QString name = nameOf(channel.number);
        if (channel.isThere)
            desk.put(name, channel.bytes);
        else
            desk.putDirectory(name);
        sources.add(name, info);
    }
    const QString output = u"take_combined.wav"_s;
    const bool isOutputThere = (input.control(g_answersAt) & 4) != 0;
    const bool isOutputKept = isOutputThere && !answers.overwrites;
    if (isOutputKept)
        desk.put(output, "before");
    else if (isOutputThere)
        desk.write(output, "before");

    CWavConverter converter(nullptr, sources.list());
    const int result = desk.run(answers, [&] { return converter.monoToPoly(); });
    require(result >= ConvertOk && result <= ConvertCancelled, "a result that has a meaning");
    const QByteArray written = desk.read(output);
    if (result == ConvertOk)
        require(hasWaveHeader(written), "success leaves a file");
    else
        require(!desk.exists(output) || written == "before", "a failure leaves no output");
    for (const QString& name : desk.outputs())
        require(name == output, "no other file comes to be");
    return 0;
}
