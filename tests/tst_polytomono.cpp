// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"
#include "tests/support/conversionrequest.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"

#include <QGuiApplication>
#include <QPointer>
#include <QProgressBar>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

// What the parts of an output add to its RIFF size: a chunk that is not `data` counts 4 bytes and
// its header, whatever its length.
constexpr int g_header = g_chunkHeaderSize;
constexpr int g_chunk = g_header + 4;

const Format g_stereo16 = {.channels = 2, .bits = 16};

/// The format of one channel of @p poly.
Format monoOf(const Format& poly)
{
    Format mono = poly;
    mono.channels = 1;
    mono.blockAlign = poly.frameBytes() / poly.channels;
    mono.byteRate = qint64(poly.rate) * poly.frameBytes() / poly.channels;
    return mono;
}

/// The channels of a take, @p frames samples each.
QByteArrayList channelsOf(const Format& format, qsizetype frames)
{
    QByteArrayList channels;
    for (int k = 0; k < format.channels; ++k)
        channels.append(sampleBytes(frames * (format.bits / 8), k));
    return channels;
}

QByteArray polyFile(const Format& format, const QByteArray& samples)
{
    return recording(format, samples);
}

QByteArray polyFile(const Format& format, const QByteArrayList& channels)
{
    return recording(format, interleaved(channels, format.bits / 8));
}

/// The output for a source of `fmt ` and `data` alone, with @p samples bytes in its `data` chunk.
QByteArray monoFile(const Format& poly, const QByteArray& samples)
{
    const QByteArray padded = samples + QByteArray(samples.size() % 2, '\0');
    return splitBytes({fmtChunk(monoOf(poly)), dataChunk(padded)});
}

QString outputName(qsizetype channel)
{
    return u"take_0%1.wav"_s.arg(channel);
}

/// The outputs for channels 1, 2, ... of take.wav.
Files outputsOf(const QByteArrayList& files)
{
    Files outputs;
    for (const QByteArray& file : files)
        outputs[outputName(outputs.size() + 1)] = file;
    return outputs;
}

Files monoFiles(const Format& poly, const QByteArrayList& channels)
{
    QByteArrayList files;
    for (const QByteArray& channel : channels)
        files.append(monoFile(poly, channel));
    return outputsOf(files);
}

/// A whole take with the outputs of all its channels.
Request wholeTake(const Format& format, qsizetype frames)
{
    const QByteArrayList channels = channelsOf(format, frames);
    return {.before = {{u"take.wav"_s, polyFile(format, channels)}},
            .outputs = monoFiles(format, channels)};
}

/// A take of @p samples as they lie in the file, and the samples of its outputs.
Request plainTake(const Format& format, const QByteArray& samples, const QByteArrayList& channels)
{
    return {.before = {{u"take.wav"_s, polyFile(format, samples)}},
            .outputs = monoFiles(format, channels)};
}

/// A take of these chunks and its two outputs.
Request chunkedTake(const QByteArrayList& chunks, const QByteArray& first, const QByteArray& second)
{
    return {.before = {{u"take.wav"_s, wavBytes(chunks)}}, .outputs = outputsOf({first, second})};
}

// Two frames of 16-bit stereo and its two channels.
const QByteArray g_frames = "AaBbCcDd";
const QByteArray g_first = "AaCc";
const QByteArray g_second = "BbDd";
const QByteArray g_monoFmt = fmtChunk(monoOf(g_stereo16));

/// A take of these chunks and its two outputs: the second has g_second where the @p first has
/// g_first.
Request chunkedTake(const QByteArrayList& chunks, const QByteArray& first)
{
    return chunkedTake(chunks, first, QByteArray(first).replace(g_first, g_second));
}

/// A take with chunks that count little and make the range wide, and two more after the data.
Request wideTake(const QByteArray& frames, const QByteArray& first, const QByteArray& second)
{
    const QByteArray wide = chunk("JUNK", sampleBytes(8000));
    const QByteArray note = chunk("note", "four");
    const auto output = [&](const QByteArray& samples) {
        return splitBytes({wide, g_monoFmt, dataChunk(samples), note, note});
    };
    return chunkedTake({wide, fmtChunk(g_stereo16), dataChunk(frames), note, note}, output(first),
                       output(second));
}

/// Closes the last window, as far as the program knows, when events come through at a value of
/// the progress, or when it reaches its maximum, if that is the value.
class LastWindowCloser
{
public:
    explicit LastWindowCloser(int atValue)
        : m_watch([this, atValue](QProgressDialog& dialog) {
            if (dialog.value() == atValue)
                close();
            if (m_bar)
                return;
            m_bar = dialog.findChild<QProgressBar*>();
            QObject::connect(m_bar, &QProgressBar::valueChanged, m_bar, [this, atValue](int value) {
                if (value == atValue && value == m_bar->maximum())
                    close();
            });
        })
    { }

    bool isClosed() const { return m_isClosed; }

private:
    void close()
    {
        if (!std::exchange(m_isClosed, true))
            Q_EMIT qGuiApp->lastWindowClosed();
    }

    QPointer<QProgressBar> m_bar;
    bool m_isClosed = false;
    ProgressWatch m_watch;
};

} // namespace

class tst_PolyToMono : public QObject
{
    Q_OBJECT

private slots:
    void sampleFormats_data()
    {
        QTest::addColumn<Request>("request");

        QTest::newRow("16-bit stereo") << wholeTake(g_stereo16, 1000);
        QTest::newRow("8-bit stereo with an odd number of frames has padded data")
            << wholeTake({.channels = 2, .bits = 8}, 1001);
        QTest::newRow("24-bit stereo over two blocks of whole 6-byte frames")
            << wholeTake({.channels = 2, .bits = 24}, g_blockBytes / 6 + 1001);
        QTest::newRow("24-bit with three channels over three blocks of whole 9-byte frames")
            << wholeTake({.channels = 3, .bits = 24}, 2 * (g_blockBytes / 9) + 1);
        QTest::newRow("24-bit with six channels over two blocks of whole 18-byte frames")
            << wholeTake({.channels = 6, .bits = 24}, g_blockBytes / 18 + 2);
        QTest::newRow("24-bit with eight channels over two blocks of whole 24-byte frames")
            << wholeTake({.channels = 8, .bits = 24}, g_blockBytes / 24 + 3);
        QTest::newRow("16-bit stereo of exactly one block")
            << wholeTake(g_stereo16, g_blockBytes / 4);
        QTest::newRow("16-bit stereo of exactly two blocks")
            << wholeTake(g_stereo16, g_blockBytes / 2);
        QTest::newRow("16-bit stereo one frame longer than a block")
            << wholeTake(g_stereo16, g_blockBytes / 4 + 1);
        QTest::newRow("32-bit with four channels at 96000 Hz")
            << wholeTake({.channels = 4, .bits = 32, .rate = 96000}, 777);
        QTest::newRow("32-bit floating point keeps its format tag")
            << wholeTake({.channels = 2, .bits = 32, .tag = 3}, 100);
        QTest::newRow("64-bit floating point")
            << wholeTake({.channels = 2, .bits = 64, .tag = 3}, 100);
        QTest::newRow("an extensible format keeps its tag and loses the extension")
            << chunkedTake({fmtChunk({.channels = 2, .tag = 0xFFFE},
                                     le16(22) + le16(16) + le32(3) + QByteArray(16, 'G')),
                            dataChunk(g_frames)},
                           monoFile({.channels = 2, .tag = 0xFFFE}, g_first));
        QTest::newRow("a format of 18 bytes becomes one of 16") << chunkedTake(
            {fmtChunk(g_stereo16, le16(0)), dataChunk(g_frames)}, monoFile(g_stereo16, g_first));
        QTest::newRow("half a frame at the end leaves a zero byte and a pad byte")
            << plainTake(g_stereo16, "AaBbCc", {QByteArray("Aa\0", 3), QByteArray("Bb\0", 3)});
        QTest::newRow("less than a frame leaves zeros")
            << plainTake(g_stereo16, "Aa", {QByteArray("\0", 1), QByteArray("\0", 1)});
        QTest::newRow("an odd data chunk at the end of the file, without pad byte")
            << plainTake({.channels = 2, .bits = 8}, "AbCdE", {"AC", "bd"});
    }

    void sampleFormats() { checkSplit(); }

    void inconsistentFormats_data()
    {
        QTest::addColumn<Request>("request");

        QTest::newRow("12 bits count as one byte, the rest of the block is zero")
            << plainTake({.channels = 2, .bits = 12, .blockAlign = 4}, "AaBbCcDd",
                         {QByteArray("AC\0\0", 4), QByteArray("ac\0\0", 4)});
        QTest::newRow("20 bits in a block align of 6 count as two bytes, the rest is zero")
            << plainTake({.channels = 2, .bits = 20, .blockAlign = 6}, "AaxBbyCcxDdy",
                         {QByteArray("AaCc\0\0", 6), QByteArray("xBxD\0\0", 6)});
        QTest::newRow("0 bits give silence of the right length")
            << plainTake({.channels = 2, .bits = 0, .blockAlign = 4}, "AaBbCcDd",
                         {QByteArray(4, '\0'), QByteArray(4, '\0')});
        QTest::newRow("7 bits give silence of the right length")
            << plainTake({.channels = 2, .bits = 7, .blockAlign = 2}, "AaBb",
                         {QByteArray(2, '\0'), QByteArray(2, '\0')});
        QTest::newRow("a block align beyond channels times bytes is used as it is")
            << plainTake({.channels = 2, .bits = 16, .blockAlign = 6}, "AaBb..CcDd..",
                         {QByteArray("AaCc\0\0", 6), QByteArray("BbDd\0\0", 6)});
        QTest::newRow("a block align below channels times bytes is used as it is")
            << plainTake({.channels = 2, .bits = 16, .blockAlign = 3}, "AaBbCc", {"Aab", "Bbc"});
        QTest::newRow("a block align below the bytes of a sample is used as it is")
            << plainTake({.channels = 2, .bits = 16, .blockAlign = 1}, "ABCDEF", {"ABB", "CDD"});
        QTest::newRow("a channel that lies after the only frame is zero")
            << plainTake({.channels = 2, .bits = 16, .blockAlign = 2}, "AB",
                         {QByteArray("A"), QByteArray(1, '\0')});
        QTest::newRow("channels that lie far past a full block read zeros") << plainTake(
            {.channels = 8, .bits = 65528, .blockAlign = 8}, "ABCDEFGH",
            {"A", QByteArray(1, '\0'), QByteArray(1, '\0'), QByteArray(1, '\0'),
             QByteArray(1, '\0'), QByteArray(1, '\0'), QByteArray(1, '\0'), QByteArray(1, '\0')});

        // The whole first block is 0x41 and its samples fill the front of the output buffer, then
        // the second block brings two frames.
        const QByteArray block(g_blockBytes, 'A');
        const QByteArray samples(g_blockBytes / 4, 'A');
        const QByteArray rest(g_blockBytes / 4, '\0');
        QTest::newRow("what no frame of the second block fills is left from the first")
            << plainTake({.channels = 2, .bits = 8, .blockAlign = 4}, block + "BbCcDdEe",
                         {samples + rest + "BDAA", samples + rest + "bdAA"});

        // Of each block the channels get a third, rounded down, so that one byte is never written.
        const Format wideFrames = {.channels = 3, .bits = 8, .blockAlign = 4};
        const qsizetype third = g_blockBytes / 3;
        const QByteArray thirdOfBlock = samples.leftJustified(third, '\0') + 'A';
        const QByteArray shortened =
            outputBytes({fmtChunk(monoOf(wideFrames)), dataChunk(thirdOfBlock, third + 2)},
                        g_chunk + g_header + thirdOfBlock.size());
        QTest::newRow("the size in the header decides about the pad byte, not what was written")
            << Request{.before = {{u"take.wav"_s, polyFile(wideFrames, block + "AAAA")}},
                       .outputs = outputsOf({shortened, shortened, shortened})};

        // Three bytes out of every two: the output buffer takes two thirds of a block's frames and
        // the start of one more.
        const QByteArray narrow = sampleBytes(g_blockBytes, 3);
        QByteArray overlapping(g_blockBytes, '\0');
        for (qsizetype i = 0; i < overlapping.size(); ++i)
            overlapping[i] = narrow[2 * (i / 3) + i % 3];
        QTest::newRow("samples wider than their frames fill a whole block") << plainTake(
            {.channels = 1, .bits = 24, .blockAlign = 2}, narrow + "WXYZ", {overlapping + "WXYY"});

        const Format mono = {.channels = 1, .bits = 16};
        QTest::newRow("a mono source of half a block comes out as one file")
            << wholeTake(mono, 262144 / 2);
        QTest::newRow("a mono source of more than half a block comes out as one file")
            << wholeTake(mono, 262144 / 2 + 1);
        QTest::newRow("a mono source of several blocks comes out as one file")
            << wholeTake({.channels = 1, .bits = 24}, g_blockBytes);
        QTest::newRow("a mono source with samples twice as wide as its frames") << plainTake(
            {.channels = 1, .bits = 32, .blockAlign = 2}, "ABCDEF", {QByteArray("ABCDCD")});
    }

    void inconsistentFormats() { checkSplit(); }

    void chunks_data()
    {
        QTest::addColumn<Request>("request");
        const QByteArray fmt = fmtChunk(g_stereo16);
        const QByteArray data = dataChunk(g_frames);
        const QByteArray first = dataChunk(g_first);
        const QByteArray second = dataChunk(g_second);
        const QByteArray pad(1, '\0');
        // With a pad byte nobody skips, the next header is read one byte early: id "\0LIS" and the
        // size made of "T" and the first three bytes of the real one, 'T' + 256 x 4.
        const QByteArray shifted = chunk(QByteArray("\0LIS", 4).constData(),
                                         QByteArray("\0info", 5) + QByteArray(1103, '\0'));
        // The skip over the body of a fmt of 2^31 bytes moves nothing, so its 16 bytes are read as
        // a chunk: tag and channels are the id, the rate is the size.
        const Format slow = {.channels = 2, .bits = 16, .rate = 8};

        struct Row
        {
            const char* name;
            QByteArrayList chunks;
            QByteArrayList first; ///< chunks of the first output
            QByteArrayList second = {}; ///< those of the second, if g_second for g_first is not all
        };
        const Row rows[] = {
            {"two data chunks are both split",
             {fmt, data, dataChunk("EeFfGgHhIiJj")},
             {g_monoFmt, first, dataChunk("EeGgIi")},
             {g_monoFmt, second, dataChunk("FfHhJj")}},
            {"the buffers of a second data chunk are fresh",
             {fmt, data, dataChunk("EeFfG")},
             {g_monoFmt, first, dataChunk("Ee")},
             {g_monoFmt, second, dataChunk("Ff")}},
            {"half a frame in a second data chunk is zero",
             {fmt, data, dataChunk("Ee")},
             {g_monoFmt, first, dataChunk(QByteArray(2, '\0'))}},
            {"every fmt becomes the format of the first",
             {fmt, data, fmtChunk({.channels = 6, .bits = 24}, le16(0))},
             {g_monoFmt, first, g_monoFmt}},
            {"a further fmt of 14 bytes comes out with 16",
             {fmt, data, chunk("fmt ", QByteArray(14, '\0'))},
             {g_monoFmt, first, g_monoFmt}},
            {"the pad byte of an odd bext is read as the start of the next header",
             {fmt, data, chunk("bext", "abc"), pad, chunk("LIST", "info")},
             {g_monoFmt, first, chunk("bext", "abc"), shifted}},
            {"the pad byte of an odd data chunk is read as the start of the next header",
             {fmt, dataChunk("AaBbC"), pad, chunk("LIST", "info")},
             {g_monoFmt, dataChunk("Aa"), shifted},
             {g_monoFmt, dataChunk("Bb"), shifted}},
            {"the body of a fmt of 2^31 bytes is not skipped",
             {data, chunk("fmt ", slow.body(), qint64(1) << 31)},
             {first, fmtChunk(monoOf(slow)), slow.body()}},
        };
        for (const Row& row : rows) {
            const QByteArray output = splitBytes(row.first);
            QTest::newRow(row.name)
                << (row.second.isEmpty() ? chunkedTake(row.chunks, output)
                                         : chunkedTake(row.chunks, output, splitBytes(row.second)));
        }
    }

    void chunks() { checkSplit(); }

    void channelsAndSources_data()
    {
        QTest::addColumn<Request>("request");

        const Format four = {.channels = 4, .bits = 16};
        const Request wholeFour = wholeTake(four, 50);
        const auto addDisabled = [&](const char* name, const QList<int>& disabled) {
            Request request = wholeFour;
            request.disabled = disabled;
            for (const int channel : disabled)
                request.outputs.remove(outputName(channel));
            QTest::newRow(name) << request;
        };
        addDisabled("disabled channels 2 and 4 yield no file", {2, 4});
        addDisabled("disabled channel 1 yields no file", {1});
        addDisabled("all channels disabled yield nothing, without a word", {1, 2, 3, 4});

        const Format ten = {.channels = 10, .bits = 16};
        const QByteArrayList tenChannels = channelsOf(ten, 33);
        QTest::newRow("of ten channels the first eight are split")
            << Request{.before = {{u"take.wav"_s, polyFile(ten, tenChannels)}},
                       .outputs = monoFiles(ten, tenChannels.first(8))};
        const Format none = {.channels = 0, .bits = 16, .blockAlign = 4};
        const QByteArray noneFile = wavBytes({fmtChunk(none), dataChunk(g_frames)});
        QTest::newRow("no channels yield nothing, without a word")
            << Request{.before = {{u"take.wav"_s, noneFile}}};
        QTest::newRow("no channels and block align 0 yield nothing, without a word") << Request{
            .before = {{u"take.wav"_s, wavBytes({fmtChunk({.channels = 0, .blockAlign = 0}),
                                                 dataChunk(g_frames)})}}};
        const Format many = {.channels = 65535, .bits = 8, .rate = 1, .blockAlign = 65535};
        const QByteArrayList manyChannels = channelsOf(many, 2);
        QTest::newRow("the largest number of channels is read without a sign")
            << Request{.before = {{u"take.wav"_s, polyFile(many, manyChannels)}},
                       .outputs = {{u"take_01.wav"_s, monoFile(many, manyChannels[0])},
                                   {u"take_08.wav"_s, monoFile(many, manyChannels[7])}},
                       .disabled = {2, 3, 4, 5, 6, 7}};

        Request several = {.before = {{u"a.wav"_s, polyFile(g_stereo16, g_frames)},
                                      {u"none.wav"_s, noneFile},
                                      {u"b.wav"_s, wholeFour.before.first()}},
                           .sources = {u"a.wav"_s, u"none.wav"_s, u"b.wav"_s},
                           .outputs = {{u"a_01.wav"_s, monoFile(g_stereo16, g_first)},
                                       {u"a_02.wav"_s, monoFile(g_stereo16, g_second)}}};
        for (int channel = 1; channel <= four.channels; ++channel)
            several.outputs[u"b_0%1.wav"_s.arg(channel)] = wholeFour.outputs[outputName(channel)];
        QTest::newRow("several sources, the one without channels is passed over") << several;
    }

    void channelsAndSources() { checkSplit(); }

    void failures_data()
    {
        QTest::addColumn<Request>("request");
        const auto add = [](const char* name, Request request, int error, const Files& left = {}) {
            request.fail(error);
            request.outputs = left;
            QTest::newRow(name) << request;
        };
        const QByteArray fmt = fmtChunk(g_stereo16);
        const QByteArray data = dataChunk(g_frames);
        const QByteArray good = polyFile(g_stereo16, g_frames);
        const QByteArray first = monoFile(g_stereo16, g_first);
        const QByteArray noBlocks =
            wavBytes({fmtChunk({.channels = 2, .bits = 16, .blockAlign = 0}), data});
        const QByteArray pad(1, '\0');

        Request taken = {.before = {{u"take.wav"_s, good}, {u"take_02.wav/notes.txt"_s, "kept"}}};
        taken.ask(u"take_02.wav"_s);
        add("a directory with the name of the second output keeps its file and leaves the first "
            "output",
            taken, ConvertFileOpen, {{u"take_01.wav"_s, first}});
        Request text = {.before = {{u"take.wav"_s, "text"}, {u"take_01.wav"_s, "old"}},
                        .listed = {{u"take.wav"_s, good}}};
        text.ask(u"take_01.wav"_s);
        add("a source that is not RIFF leaves an overwritten output empty", text,
            ConvertIllegalFormat, {{u"take_01.wav"_s, {}}});
        add("a block align of 0 with an output directory that is not there",
            {.before = {{u"take.wav"_s, noBlocks}}, .outputDir = u"nowhere"_s},
            ConvertIllegalFormat);
        add("the pad byte of an odd last data chunk is a cut header",
            {.before = {{u"take.wav"_s, wavBytes({fmt, dataChunk("AaBbC"), pad})}}},
            ConvertDataRead);
        add("the pad byte of an odd last fmt is a cut header",
            {.before = {{u"take.wav"_s, wavBytes({data, fmtChunk(g_stereo16, "x"), pad})}}},
            ConvertDataRead);

        const auto second = [&good](const QByteArray& source) {
            return Request{.before = {{u"a.wav"_s, good}, {u"b.wav"_s, source}, {u"c.wav"_s, good}},
                           .sources = {u"a.wav"_s, u"b.wav"_s, u"c.wav"_s}};
        };
        const Files ofFirst = {{u"a_01.wav"_s, first},
                               {u"a_02.wav"_s, monoFile(g_stereo16, g_second)}};
        add("a block align of 0 in the second source leaves the outputs of the first",
            second(noBlocks), ConvertIllegalFormat, ofFirst);
        add("a cut header in the second source ends the request",
            second(wavBytes({fmt, data, "LIST"})), ConvertDataRead, ofFirst);
    }

    void failures() { checkSplit(); }

    void existingOutputs_data()
    {
        QTest::addColumn<Request>("request");

        const Request valid = wholeTake({.channels = 3, .bits = 16}, 20);
        const QString first = u"take_01.wav"_s;
        const QString second = u"take_02.wav"_s;
        const QString third = u"take_03.wav"_s;
        const QByteArray longer = sampleBytes(5000, 9);

        Request all = valid;
        all.before.insert({{first, longer}, {second, ""}, {third, longer}});
        addAsking("every output that is there is asked about", all, {first, second, third});
        Request off = valid;
        off.before[second] = longer;
        off.disabled = {2};
        off.outputs.remove(second);
        addAsking("an output that is switched off is not asked about", off, {});
        Request last = valid;
        last.before[third] = longer;
        last.outputs.remove(third);
        addAsking("Cancel for the third output leaves the first two, without a word", last, {third},
                  QMessageBox::Cancel);
        Request several = valid;
        several.before.insert({{u"b.wav"_s, valid.before.first()}, {first, "old"}});
        several.sources.append(u"b.wav"_s);
        several.outputs.clear();
        addAsking("Cancel for the first source ends the request", several, {first},
                  QMessageBox::Cancel);

        const Request mono = wholeTake({.channels = 1, .bits = 16}, 10);
        Request sameNames = {.before = {{u"a/take.wav"_s, valid.before.first()},
                                        {u"b/take.wav"_s, mono.before.first()},
                                        {u"out"_s, g_emptyDirectory}},
                             .sources = {u"a/take.wav"_s, u"b/take.wav"_s},
                             .outputs = {{u"out/take_01.wav"_s, mono.outputs[first]},
                                         {u"out/take_02.wav"_s, valid.outputs[second]},
                                         {u"out/take_03.wav"_s, valid.outputs[third]}},
                             .outputDir = u"out"_s};
        addAsking("Yes overwrites an earlier output of the same request and name", sameNames,
                  {first});
        sameNames.before[u"a/take.wav"_s] = sameNames.before[u"c/take.wav"_s] = mono.before.first();
        sameNames.sources.append(u"c/take.wav"_s);
        sameNames.outputs = {{u"out/take_01.wav"_s, mono.outputs[first]}};
        addAsking("Yes overwrites it a second time", sameNames, {first, first});
    }

    void existingOutputs() { checkSplit(); }

    void sourcesAsOutputs_data()
    {
        QTest::addColumn<Request>("request");

        const QByteArray poly = polyFile(g_stereo16, g_frames);
        const QByteArray other = polyFile(g_stereo16, sampleBytes(80, 3));
        const QString first = u"take_01.wav"_s;
        const QString second = u"take_02.wav"_s;
        const auto addRefused = [](const char* name, Request request, const QString& output,
                                   const Files& left = {}) {
            request.ask(output);
            request.fail(ConvertFileOpen);
            request.outputs = left;
            QTest::newRow(name) << request;
        };
        addRefused("the second output is refused, the first stays",
                   {.before = {{u"take.wav"_s, poly}, {second, other}},
                    .sources = {u"take.wav"_s, second}},
                   second, {{first, monoFile(g_stereo16, g_first)}});
        addRefused("a source whose channels are switched off is refused, too",
                   {.before = {{u"take.wav"_s, poly}, {second, monoFile({}, g_first)}},
                    .sources = {u"take.wav"_s, second},
                    .disabled = {1}},
                   second);
        addRefused(
            "an output that is a link to a later source is refused",
            {.before = {{u"take.wav"_s, poly}, {u"b.wav"_s, other}, {first, g_linkTo + "b.wav"}},
             .sources = {u"take.wav"_s, u"b.wav"_s}},
            first);
        addAsking("an output that is a link to some other file is written through the link",
                  {.before = {{u"take.wav"_s, poly},
                              {u"other.wav"_s, other},
                              {first, g_linkTo + "other.wav"}},
                   .outputs = {{u"other.wav"_s, monoFile(g_stereo16, g_first)},
                               {second, monoFile(g_stereo16, g_second)}}},
                  {first});
        const QByteArrayList monos = {monoFile(g_stereo16, g_first),
                                      monoFile(g_stereo16, g_second)};
        QTest::newRow("a source with an output's name in other letters is none of its outputs")
            << Request{.before = {{u"take.wav"_s, poly}, {u"TAKE_01.wav"_s, poly}},
                       .sources = {u"take.wav"_s, u"TAKE_01.wav"_s},
                       .outputs = {{first, monos[0]},
                                   {second, monos[1]},
                                   {u"TAKE_01_01.wav"_s, monos[0]},
                                   {u"TAKE_01_02.wav"_s, monos[1]}}};
    }

    void sourcesAsOutputs() { checkSplit(); }

    void cancels_data()
    {
        QTest::addColumn<Request>("request");
        QTest::addColumn<QString>("output");
        QTest::addColumn<int>("atValue");
        QTest::addColumn<int>("atLook");

        const qsizetype frames = 3 * g_blockBytes / 4;
        Request longTake = wholeTake(g_stereo16, frames);
        longTake.result = ConvertCancelled;
        Request firstKept = longTake;
        firstKept.outputs.remove(u"take_02.wav"_s);
        Request nothingKept = longTake;
        nothingKept.outputs.clear();

        const int atStart = g_outputStart + g_chunk + g_header;
        QTest::newRow("in the first block of the first output")
            << nothingKept << u"take_01.wav"_s << atStart << 1;
        QTest::newRow("in the second block of the first output")
            << nothingKept << u"take_01.wav"_s << atStart + int(g_blockBytes / 2) << 1;
        Request atMaximum = nothingKept;
        const int firstBlockEnd = atStart + int(g_blockBytes / 2);
        const QByteArray toEnd = le32(2 * quint32(firstBlockEnd));
        atMaximum.before[u"take.wav"_s].replace(4, 4, toEnd);
        QTest::newRow("in the second block, the end of the first being the maximum of the dialog")
            << atMaximum << u"take_01.wav"_s << firstBlockEnd << 2;
        QTest::newRow("in the third block of the second output, which leaves the first")
            << firstKept << u"take_02.wav"_s << atStart + int(g_blockBytes) << 1;

        // With a RIFF size this small no value is within the range of the dialog, and events come
        // through with every frame.
        const QByteArrayList channels = channelsOf(g_stereo16, 1000);
        const QByteArray understated =
            wavBytes({fmtChunk(g_stereo16), dataChunk(interleaved(channels, 2))}, 100);
        const Request inBlock = {.before = {{u"take.wav"_s, understated}},
                                 .result = ConvertCancelled};
        QTest::newRow("between two frames of one block")
            << inBlock << u"take_01.wav"_s << -1 << 200;
        Request secondInBlock = inBlock;
        secondInBlock.outputs = {{u"take_01.wav"_s, monoFile(g_stereo16, channels[0])}};
        QTest::newRow("between two frames of the second output, which leaves the first")
            << secondInBlock << u"take_02.wav"_s << -1 << 200;
        Request twoSources = inBlock;
        twoSources.before[u"b.wav"_s] = understated;
        twoSources.sources = {u"take.wav"_s, u"b.wav"_s};
        QTest::newRow("of the first source, which leaves the second alone")
            << twoSources << u"take_01.wav"_s << -1 << 200;

        // Without further frames it comes too late.
        const int fmtDone = g_outputStart + g_chunk;
        const int noteDone = fmtDone + g_chunk + g_header + 4 + g_chunk;
        const QByteArray zeros(2, '\0');
        QTest::newRow("before the last of two chunks after the data")
            << wideTake(g_frames, g_first, g_second) << u"take_01.wav"_s << noteDone << 1;
        QTest::newRow("before the format of a take with data of less than a frame")
            << wideTake("Aa", zeros, zeros) << u"take_01.wav"_s << fmtDone << 1;
        QTest::newRow("before the format of a take without samples")
            << wideTake({}, {}, {}) << u"take_01.wav"_s << fmtDone << 1;
    }

    void cancels()
    {
        QFETCH(Request, request);
        QFETCH(QString, output);
        QFETCH(int, atValue);
        QFETCH(int, atLook);

        PreparedRequest prepared(request);
        const ProgressWatch impatient(makeImpatient);
        int looks = 0;
        CancelClicker clicker([&](QProgressDialog& dialog) {
            const bool isOutput = dialog.labelText().endsWith(output);
            return isOutput && dialog.value() >= atValue && ++looks == atLook;
        });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(clicker.wasClicked());
    }

    void lastWindowIsClosed_data()
    {
        QTest::addColumn<Request>("request");
        QTest::addColumn<int>("atValue");
        QTest::addColumn<bool>("isShown"); // the window of the request

        const Request whole = wideTake(g_frames, g_first, g_second);
        const int noteDone = int(g_outputStart + 2 * g_chunk + g_header + g_first.size() + g_chunk);

        Request nothingKept = whole;
        nothingKept.outputs.clear();
        nothingKept.result = ConvertCancelled;
        QTest::newRow("before the last of two chunks after the data")
            << nothingKept << noteDone << true;

        Request firstKept = whole;
        firstKept.outputs.remove(u"take_02.wav"_s);
        firstKept.before[u"take_02.wav"_s] = "of earlier";
        firstKept.result = ConvertCancelled;
        const int maximum = int(whole.before.first().size() - 8) / 2;
        QTest::newRow("at the end of an output, so that nobody is asked about the next one")
            << firstKept << maximum << true;

        Request nextSource = firstKept;
        nextSource.before[u"b.wav"_s] = whole.before.first();
        nextSource.before[u"b_01.wav"_s] = "of earlier";
        nextSource.sources = {u"take.wav"_s, u"b.wav"_s};
        nextSource.disabled = {2};
        QTest::newRow("at the end of a source, so that nobody is asked about the next one")
            << nextSource << maximum << true;

        Request inData = wholeTake(g_stereo16, g_blockBytes / 2);
        inData.outputs.clear();
        inData.result = ConvertCancelled;
        QTest::newRow("before the second of two blocks, with which the source ends")
            << inData << g_outputStart + g_chunk + g_header << true;

        QTest::newRow("which is not that of the request, whose own was never shown")
            << whole << noteDone << false;
    }

    void lastWindowIsClosed()
    {
        QFETCH(Request, request);
        QFETCH(int, atValue);
        QFETCH(bool, isShown);

        PreparedRequest prepared(request);
        prepared.window()->setVisible(isShown);
        const LastWindowCloser closer(atValue);
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(closer.isClosed());
    }

    void shownValues_data()
    {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<QList<int>>("values"); // all but the maximum at the end

        const QByteArray fmt = fmtChunk(g_stereo16);
        const QByteArray wide = chunk("JUNK", sampleBytes(4000));
        const QByteArray data = dataChunk(sampleBytes(2 * g_blockBytes + 8));
        const int half = g_blockBytes / 2; // what a block leaves in one channel
        const int rest = 4;

        const int start = g_outputStart;
        const int samples = start + 2 * g_chunk + g_header;
        QTest::newRow("each chunk, and each block with what lies before it")
            << QByteArrayList{wide, fmt, data, chunk("note", "four")}
            << QList<int>{start + g_chunk, samples - g_header, samples,
                          samples + half,  samples + 2 * half, samples + 2 * half + rest + g_chunk};
        QTest::newRow("an odd channel with its pad byte")
            << QByteArrayList{wide, fmt, dataChunk(sampleBytes(6)), chunk("note", "four")}
            << QList<int>{start + g_chunk, samples - g_header, samples, samples + 3 + 1 + g_chunk};
        const int own = g_riffHeaderSize + 3 * g_chunk + g_header; // with a bext that is copied
        QTest::newRow("a bext of the source counts like any other chunk")
            << QByteArrayList{wide, chunk("bext", sampleBytes(603)), fmt, data}
            << QList<int>{int(g_riffHeaderSize + g_chunk),
                          int(g_riffHeaderSize + 2 * g_chunk),
                          own - g_header,
                          own,
                          own + half,
                          own + 2 * half};
        QTest::newRow("nothing beyond the maximum")
            << QByteArrayList{fmt, dataChunk(g_frames)} << QList<int>{};
    }

    void shownValues()
    {
        QFETCH(QByteArrayList, chunks);
        QFETCH(QList<int>, values);
        const Request request = {.before = {{u"take.wav"_s, wavBytes(chunks)}}};
        PreparedRequest prepared(request);
        const ProgressWatch watch;
        QCOMPARE(prepared.run().result, int(ConvertOk));

        const int maximum = (int(request.before[u"take.wav"_s].size()) - 8) / 2;
        values.append(maximum);
        QCOMPARE(watch.seen().size(), 2);
        for (int k = 0; k < 2; ++k) {
            QCOMPARE(watch.seen()[k].label, g_converting + outputName(k + 1));
            QCOMPARE(watch.seen()[k].maximum, maximum);
            QCOMPARE(watch.seen()[k].values, values);
        }
    }

    void headersOfLargeDataSizes_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<quint32>("sourceSize");
        QTest::addColumn<quint32>("outputSize");
        QTest::newRow("2^31 in two channels") << 2 << 0x80000000u << 0x40000000u;
        QTest::newRow("2^32 - 1 in two channels is rounded up to 2^31")
            << 2 << 0xFFFFFFFFu << 0x80000000u;
        QTest::newRow("2^32 - 1 in three channels") << 3 << 0xFFFFFFFFu << 0x55555556u;
    }

    /// The file holds much less than it claims, so the header is checked before Cancel is pressed.
    void headersOfLargeDataSizes()
    {
        QFETCH(int, channels);
        QFETCH(quint32, sourceSize);
        QFETCH(quint32, outputSize);
        const Format format = {.channels = channels,
                               .bits = 8 * 4096}; // few frames take little time
        const QByteArray source = wavBytes(
            {fmtChunk(format), dataChunk(sampleBytes(channels * 3 * g_blockBytes), sourceSize)},
            100);
        const Request request = {.before = {{u"take.wav"_s, source}}, .result = ConvertCancelled};
        PreparedRequest prepared(request);
        const ProgressWatch impatient(makeImpatient);
        QByteArray header;
        const CancelClicker clicker([&](QProgressDialog&) {
            header =
                readFile(prepared.path(u"take_01.wav"_s)).mid(g_outputStart + g_fmtChunkSize, 8);
            return header.size() == 8;
        });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(clicker.wasClicked());
        QCOMPARE(header, "data" + le32(outputSize));
    }

    void rangesOfLargeRiffSizes_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<quint32>("riffSize");
        QTest::addColumn<int>("maximum");

        QTest::newRow("2^31 - 1 in two channels") << 2 << 0x7FFFFFFFu << 1073741823;
        QTest::newRow("2^31 in two channels") << 2 << 0x80000000u << 1073741824;
        QTest::newRow("2^32 - 1 in two channels") << 2 << 0xFFFFFFFFu << 2147483647;
        QTest::newRow("2^32 - 1 in three channels") << 3 << 0xFFFFFFFFu << 1431655765;
        QTest::newRow("2^32 - 1 in ten channels, of which eight come out")
            << 10 << 0xFFFFFFFFu << 429496729;
        QTest::newRow("2^31 in one channel is a negative number") << 1 << 0x80000000u << 0;
        QTest::newRow("2^32 - 1 in one channel is a negative number") << 1 << 0xFFFFFFFFu << 0;
    }

    void rangesOfLargeRiffSizes()
    {
        QFETCH(int, channels);
        QFETCH(quint32, riffSize);
        QFETCH(int, maximum);
        const Format format = {.channels = channels};
        const QByteArrayList samples = channelsOf(format, 10);
        const QByteArray file =
            wavBytes({fmtChunk(format), dataChunk(interleaved(samples, 2))}, riffSize);
        const Request request = {.before = {{u"take.wav"_s, file}},
                                 .outputs = monoFiles(format, samples.mid(0, g_maxChannels))};
        PreparedRequest prepared(request);
        const ProgressWatch watch;
        QCOMPARE(prepared.problems(), QString());
        QCOMPARE(watch.seen().size(), request.outputs.size());
        for (const SeenProgress& shown : watch.seen())
            QCOMPARE(shown.maximum, maximum);
    }

private:
    static void checkSplit()
    {
        QFETCH(Request, request);
        QCOMPARE(problemsOf(request), QString());
    }

    /// A row in which each of these outputs is there, and is asked about with this answer.
    static void addAsking(const char* name, Request request, const QStringList& asked,
                          QMessageBox::StandardButton answer = QMessageBox::Yes)
    {
        for (const QString& output : asked)
            request.ask(output, answer);
        if (answer == QMessageBox::Cancel)
            request.result = ConvertCancelled;
        QTest::newRow(name) << request;
    }
};

SPLICORA_TEST_MAIN(tst_PolyToMono)
#include "tst_polytomono.moc"
