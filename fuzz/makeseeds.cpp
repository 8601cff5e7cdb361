// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// makeseeds CORPUS [FILE...]: fills the directory CORPUS with inputs to start from, made of the
// given WAV files and of files built here. CORPUS gets one directory for the targets that read one
// file and one for those that convert several.

#include "fuzz/fuzzinput.h"
#include "tests/support/wavbuilder.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray cuePoint(quint32 identifier)
{
    return le32(identifier) + le32(100) + "data" + le32(0) + le32(0) + le32(100);
}

QMap<QString, QByteArray> builtFiles()
{
    const Format stereo = {.channels = 2};
    const Format six = {.channels = 6, .bits = 24};
    const Format ten = {.channels = 10, .bits = 8};
    const QByteArray bext = chunk("bext", sampleBytes(602));
    const QByteArray cue = chunk("cue ", le32(2) + cuePoint(1) + cuePoint(2));
    const QByteArray odd = paddedChunk("note", "odd");
    return {
        {u"mono"_s, wavBytes({fmtChunk({}), dataChunk(sampleBytes(32))})},
        {u"mono-bext"_s, wavBytes({bext, fmtChunk({}), dataChunk(sampleBytes(32)), odd})},
        {u"mono-odd"_s, wavBytes({fmtChunk({.bits = 8}), dataChunk(sampleBytes(31))})},
        {u"stereo"_s, wavBytes({fmtChunk(stereo), dataChunk(sampleBytes(64))})},
        {u"stereo-half-frame"_s, wavBytes({fmtChunk(stereo), dataChunk(sampleBytes(6))})},
        {u"stereo-cue"_s, wavBytes({fmtChunk(stereo), cue, dataChunk(sampleBytes(64))})},
        {u"stereo-data-first"_s, wavBytes({dataChunk(sampleBytes(64)), fmtChunk(stereo)})},
        {u"stereo-two-data"_s,
         wavBytes({fmtChunk(stereo), dataChunk(sampleBytes(8)), dataChunk(sampleBytes(12))})},
        {u"stereo-cut"_s, wavBytes({fmtChunk(stereo), dataChunk(sampleBytes(64))}) + "LIS"},
        {u"stereo-huge-chunk"_s,
         wavBytes({fmtChunk(stereo), dataChunk({}), chunk("LIST", "x", 0xFFFFFFFF)})},
        {u"six"_s, wavBytes({bext, fmtChunk(six), dataChunk(sampleBytes(90))})},
        {u"ten"_s, wavBytes({fmtChunk(ten, le16(0)), dataChunk(sampleBytes(50))})},
        {u"no-align"_s, wavBytes({fmtChunk({.blockAlign = 0}), dataChunk(sampleBytes(8))})},
        {u"no-channel"_s, wavBytes({fmtChunk({.channels = 0}), dataChunk(sampleBytes(8))})},
        {u"wide-samples"_s, wavBytes({fmtChunk({.channels = 2, .bits = 65528, .blockAlign = 1}),
                                      dataChunk(sampleBytes(90))})},
        {u"one-id"_s, "RIFF"},
    };
}

/// Several files as one input. The control bytes follow the last.
QByteArray together(const QByteArrayList& files, const QByteArray& control = {})
{
    return files.join(g_nextFileMarker) + g_nextFileMarker + control;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::fputs("usage: makeseeds CORPUS [FILE...]\n", stderr);
        return 2;
    }
    QMap<QString, QByteArray> files = builtFiles();
    for (int i = 2; i < argc; ++i) {
        const QString path = QFile::decodeName(argv[i]);
        files[QFileInfo(path).completeBaseName()] = readFile(path);
    }

    QMap<QString, QByteArray> inputs;
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        inputs[u"one/"_s + file.key()] = *file;
        inputs[u"several/"_s + file.key()] = *file;
        inputs[u"several/twice-"_s + file.key()] = together({*file, *file});
        inputs[u"several/cancelled-"_s + file.key()] = together({*file, *file}, "\2");
        inputs[u"several/after-mono-"_s + file.key()] = together({files[u"mono"_s], *file, *file});
    }
    const QDir corpus(QFile::decodeName(argv[1]));
    for (auto input = inputs.cbegin(); input != inputs.cend(); ++input) {
        const QString path = corpus.filePath(input.key());
        if (!QDir().mkpath(QFileInfo(path).path()) || !writeFile(path, *input)) {
            std::fprintf(stderr, "Can not write %s.\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
