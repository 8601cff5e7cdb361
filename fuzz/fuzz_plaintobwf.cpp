// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The plain copy of one or several sources.

#include "convert/wavconverter.h"
#include "fuzz/fuzzdesk.h"
#include "fuzz/fuzzinput.h"
#include "wave/wavfileitem.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The second name is also that of an output of the first.
constexpr std::array g_names = {"take.wav", "take_bwf.wav", "other"};

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
        if (copyingWalk(file).largestCopy > g_largestFuzzedCopy)
            return 0;
        const QString name = QString::fromLatin1(g_names[size_t(i)]);
        const WavInfo info = input.listed(file, 2);
        items.push_back(std::make_unique<CWavFileItem>(desk.path(name), info));
        sources.append(items.back().get());
        desk.put(name, file);
    }

    CWavConverter converter(nullptr, sources);
    desk.run(answers, [&] {
        converter.plainToBwf();
        return 0;
    });
    return 0;
}
