// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"
#include "tests/support/conversionrequest.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The take's channel files take_01.wav, take_02.wav and so on.
Files takeFiles(const QByteArrayList& channels)
{
    Files files;
    for (qsizetype k = 0; k < channels.size(); ++k)
        files.insert(u"take_0%1.wav"_s.arg(k + 1), channels[k]);
    return files;
}

/// The format of @p count files of @p format side by side.
Format wide(Format format, int count)
{
    format.byteRate = qint64(format.rate) * format.frameBytes() * count;
    format.blockAlign = format.frameBytes() * count;
    format.channels *= count;
    return format;
}

/// The output for @p count sources of `fmt ` and `data` alone.
QByteArray combined(const Format& format, int count, const QByteArray& samples)
{
    return outputBytes({fmtChunk(wide(format, count)), dataChunk(samples)});
}

/// One block of the combine by its rule: of each input a sample of @p sampleBytes after the other,
/// laid into frames of @p blockAlign bytes for each input. What lies after an input is zero.
QByteArray framesOf(const QByteArrayList& inputs, int sampleBytes, int blockAlign, qsizetype count)
{
    const qsizetype frames = count / blockAlign;
    const qsizetype frameBytes = blockAlign * inputs.size();
    QByteArray out(count * inputs.size() + sampleBytes * inputs.size(), '\0');
    for (qsizetype f = 0; f < frames; ++f) {
        for (qsizetype k = 0; k < inputs.size(); ++k) {
            const QByteArray sample = inputs[k].mid(f * sampleBytes, sampleBytes);
            out.replace(f * frameBytes + k * sampleBytes, sampleBytes,
                        sample.leftJustified(sampleBytes, '\0'));
        }
    }
    return out.left(count * inputs.size());
}

/// A combine of take_01.wav, take_02.wav and so on that ends with this error.
Request combineOf(const QByteArrayList& files, int error)
{
    const Files before = takeFiles(files);
    Request request = {
        .conversion = Conversion::Combine, .before = before, .sources = before.keys()};
    if (error != ConvertOk)
        request.fail(error);
    return request;
}

/// A row in which take_01.wav, take_02.wav and so on are combined in this order.
void addTake(const char* name, const QByteArrayList& files, const QByteArray& output)
{
    Request request = combineOf(files, ConvertOk);
    request.outputs[request.output()] = output;
    QTest::newRow(name) << request;
}

/// A row with so many sources of whole frames, @p bytes in each, that claim this RIFF size.
void addSamples(const char* name, const Format& format, int count, qsizetype bytes,
                qint64 riffSize = -1)
{
    QByteArrayList samples;
    QByteArrayList files;
    for (int k = 0; k < count; ++k) {
        samples.append(sampleBytes(bytes, k));
        files.append(wavBytes({fmtChunk(format), dataChunk(samples.last())}, riffSize));
    }
    const QByteArray pad(count * bytes % 2, '\0');
    addTake(name, files, combined(format, count, interleaved(samples, format.frameBytes()) + pad));
}

/// Bytes of samples in three blocks, and where the blocks end in a file of them.
constexpr qint64 g_threeBlocks = 2 * g_blockBytes + 8;
constexpr int g_blockEnds[] = {int(g_sampleStart + g_blockBytes),
                               int(g_sampleStart + 2 * g_blockBytes),
                               int(g_sampleStart + g_threeBlocks)};

QByteArray threeBlocks()
{
    return wavBytes({fmtChunk({.bits = 16}), dataChunk(sampleBytes(g_threeBlocks)),
                     chunk("note", QByteArray(100, 'x'))});
}

} // namespace

class tst_MonoToPoly : public QObject
{
    Q_OBJECT

private slots:
    void everyWidthAndCount_data()
    {
        QTest::addColumn<Request>("request");
        const QList<Format> formats = {{.bits = 8, .rate = 8000},
                                       {.bits = 16, .rate = 44100},
                                       {.bits = 24, .rate = 96000},
                                       {.bits = 32, .rate = 192000, .tag = 3}};
        for (const Format& format : formats) {
            for (int count = 1; count <= 8; ++count) {
                const auto name = QByteArray::number(count) + " source(s) of "
                                  + QByteArray::number(format.bits) + " bit";
                addSamples(name.constData(), format, count, 10 * format.frameBytes());
            }
        }

        const Format mono = {.bits = 24};
        const QByteArray left = sampleBytes(6, 1);
        const QByteArray right = sampleBytes(6, 2);
        addTake("two 24-bit sources have channel count 2, block align 6 and double byte rate",
                {recording(mono, left), recording(mono, right)},
                outputBytes({chunk("fmt ", le16(1) + le16(2) + le32(48000) + le32(2 * 48000 * 3)
                                               + le16(6) + le16(24)),
                             dataChunk(interleaved({left, right}, 3))}));
    }

    void everyWidthAndCount() { checkCombine(); }

    void blocks_data()
    {
        QTest::addColumn<Request>("request");
        addSamples("16 bit, exactly one block", {.bits = 16}, 2, g_blockBytes);
        addSamples("16 bit, one frame more than a block", {.bits = 16}, 2, g_blockBytes + 2);
        addSamples("24 bit, a block ends after its last whole frame", {.bits = 24}, 2,
                   g_blockBytes - 2 + 3);
        addSamples("24 bit, three blocks of three sources, odd in all", {.bits = 24}, 3, 1100001);
        addSamples("32 bit, two blocks of eight sources", {.bits = 32}, 8, 600000);
        addSamples("8 bit, two blocks of seven sources, odd in all", {.bits = 8}, 7,
                   g_blockBytes + 1);
        addSamples("40 bit, a block align that does not divide a block", {.bits = 40}, 2, 1048575);
        addSamples("56 bit, a block align that does not divide a block", {.bits = 56}, 2,
                   g_blockBytes - 2 + 7);

        const Format bits8 = {.bits = 8};
        addTake("an odd product gets a pad byte that counts in the data size",
                {recording(bits8, "abc"), recording(bits8, "123"), recording(bits8, "xyz")},
                combined(bits8, 3, QByteArray("a1xb2yc3z\0", 10)));
        addTake("odd sources with an even product get no pad byte",
                {recording(bits8, "abc"), recording(bits8, "123")}, combined(bits8, 2, "a1b2c3"));

        const Format bits16 = {.bits = 16};
        addTake("a cut last frame comes out as zeros",
                {recording(bits16, "aAbBc"), recording(bits16, "1!2@3")},
                combined(bits16, 2, QByteArray("aA1!bB2@\0\0", 10)));
        addTake("a cut last frame comes out as zeros before the pad byte",
                {recording(bits16, "aAb"), recording(bits16, "1!2"), recording(bits16, "xXy")},
                combined(bits16, 3, QByteArray("aA1!xX\0\0\0\0", 10)));

        const Format bits24 = {.bits = 24};
        const QByteArray left = sampleBytes(g_blockBytes + 2, 1);
        const QByteArray right = sampleBytes(g_blockBytes + 2, 2);
        const qsizetype first = g_blockBytes - 2; // whole frames of 3 bytes
        const QByteArray firstFrames = interleaved({left.left(first), right.left(first)}, 3);
        addTake("a cut last frame of a second block is what the first block left there",
                {recording(bits24, left), recording(bits24, right)},
                combined(bits24, 2,
                         firstFrames + left.mid(first, 3) + right.mid(first, 3)
                             + firstFrames.mid(6, 2)));

        addTake("a channel file that ends early goes on as zeros",
                {recording(bits8, "abcd"), recording(bits8, "12"), recording(bits8, "wxyz")},
                combined(bits8, 3, QByteArray("a1wb2xc\0yd\0z", 12)));

        // Files that were cut after the listing: their headers still claim all samples.
        const qsizetype size = g_blockBytes + 4;
        const QByteArrayList whole = {sampleBytes(size, 1), sampleBytes(size, 2),
                                      sampleBytes(size, 3)};
        const std::pair<qsizetype, const char*> cuts[] = {{100, "its first block"},
                                                          {g_blockBytes + 1, "a later block"}};
        for (const auto& [length, block] : cuts) {
            for (const qsizetype cut : {0, 1}) {
                QByteArrayList channels = whole;
                channels[cut] = channels[cut].left(length).leftJustified(size, '\0');
                QByteArrayList files;
                for (qsizetype k = 0; k < whole.size(); ++k) {
                    files.append(
                        wavBytes({fmtChunk(bits8),
                                  dataChunk(whole[k].left(k == cut ? length : size), size)}));
                }
                addTake(qPrintable(u"the %1 file ends in %2 and goes on as silence"_s.arg(
                            cut == 0 ? u"first"_s : u"middle"_s, QString::fromLatin1(block))),
                        files, combined(bits8, 3, interleaved(channels, 1)));
            }
        }
    }

    void blocks() { checkCombine(); }

    void channelFiles_data()
    {
        QTest::addColumn<Request>("request");
        const Format format = {.bits = 8};
        const auto file = [&format](const QByteArray& samples) {
            return recording(format, samples);
        };
        struct Row
        {
            const char* name;
            Files samples; ///< of each file
            QStringList list;
            QByteArray data; ///< of the output
            QString output = u"take_combined.wav"_s;
        };
        const Row rows[] = {
            {"list order, not number order, sets the channels",
             {{u"take_01.wav"_s, "aa"}, {u"take_02.wav"_s, "bb"}},
             {u"take_02.wav"_s, u"take_01.wav"_s},
             "baba"},
            {"numbers with gaps and out of order",
             {{u"take_02.wav"_s, "bb"}, {u"take_05.wav"_s, "ee"}, {u"take_08.wav"_s, "hh"}},
             {u"take_05.wav"_s, u"take_08.wav"_s, u"take_02.wav"_s},
             "ehbehb"},
            {"a source of another directory and name is read beside the first",
             {{u"rec/a_01.wav"_s, "aa"}, {u"rec/a_02.wav"_s, "bb"}, {u"other/b_02.wav"_s, "xx"}},
             {u"rec/a_01.wav"_s, u"other/b_02.wav"_s},
             "abab",
             u"rec/a_combined.wav"_s},
            {"a first name with one digit stands for channel file 0",
             {{u"take_00.wav"_s, "aa"}, {u"take_02.wav"_s, "bb"}, {u"take_3.wav"_s, "xx"}},
             {u"take_3.wav"_s, u"take_02.wav"_s},
             "abab"},
            {"a two-digit number gets its literal 0 in front",
             {{u"take_012.wav"_s, "aa"}, {u"take_12.wav"_s, "xx"}, {u"take_02.wav"_s, "bb"}},
             {u"take_12.wav"_s, u"take_02.wav"_s},
             "abab"},
            {"a later name without digits stands for channel file 0",
             {{u"take_00.wav"_s, "bb"}, {u"take_01.wav"_s, "aa"}, {u"take_left.wav"_s, "xx"}},
             {u"take_01.wav"_s, u"take_left.wav"_s},
             "abab"},
            {"only the last underscore of a name counts",
             {{u"a_02_01.wav"_s, "aa"}, {u"a_02_02.wav"_s, "bb"}},
             {u"a_02_01.wav"_s, u"a_02_02.wav"_s},
             "abab",
             u"a_02_combined.wav"_s},
            {"an underscore of the directory counts when the name has none",
             {{u"day_05/take.wav"_s, "xx"},
              {u"day_05.wav"_s, "aa"},
              {u"day_02.wav"_s, "bb"},
              {u"night_02.wav"_s, "yy"}},
             {u"day_05/take.wav"_s, u"night_02.wav"_s},
             "abab",
             u"day_combined.wav"_s},
            {"places in a path stay as they are",
             {{u"%2 and %1/100%2_01.wav"_s, "aa"}, {u"%2 and %1/100%2_02.wav"_s, "bb"}},
             {u"%2 and %1/100%2_01.wav"_s, u"%2 and %1/100%2_02.wav"_s},
             "abab",
             u"%2 and %1/100%2_combined.wav"_s},
            {"a number that comes twice is read twice",
             {{u"take_01.wav"_s, "aa"}, {u"take_02.wav"_s, "bb"}},
             {u"take_01.wav"_s, u"take_02.wav"_s, u"take_02.wav"_s},
             "abbabb"},
        };
        for (const Row& row : rows) {
            Files files = row.samples;
            for (QByteArray& samples : files)
                samples = file(samples);
            addCombine(row.name, files, row.list, combined(format, int(row.list.size()), row.data),
                       row.output);
        }

        const QString first = u"take_01.wav"_s;
        const QString second = u"take_02.wav"_s;
        // Every source of the reference number reads on in the reference itself.
        addCombine("the reference number again takes the bytes after the data",
                   {{first, wavBytes({fmtChunk(format), dataChunk("abcdefgh"), chunk("note", {})})},
                    {u"other/b_01.wav"_s, file("xxxxxxxx")}},
                   {first, u"other/b_01.wav"_s},
                   combined(format, 2, QByteArray("anboctdee\0f\0g\0h\0", 16)));
        // After its own block the reference has four samples left, which its second reading takes.
        const QByteArray left = sampleBytes(g_blockBytes + 4, 1);
        const QByteArray right = sampleBytes(g_blockBytes + 8, 2);
        const QByteArray again = left.right(4) + QByteArray(g_blockBytes - 4, '\0');
        const QByteArray silence(4, '\0');
        addCombine(
            "the others go on block by block, whatever the reference number again takes",
            {{first, file(left)}, {second, file(right)}}, {first, first, second},
            combined(format, 3,
                     interleaved({left.first(g_blockBytes), again, right.first(g_blockBytes)}, 1)
                         + interleaved({silence, silence, right.mid(g_blockBytes, 4)}, 1)));
        addCombine(
            "the walk goes on after what the reference number again has taken",
            {{first, wavBytes({fmtChunk(format), dataChunk("ab"), "cd", chunk("note", "left")})}},
            {first, first},
            outputBytes({fmtChunk(wide(format, 2)), dataChunk("acbd"), chunk("note", "left")}));
    }

    void channelFiles() { checkCombine(); }

    void namesWithoutDirectory_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("reference");
        QTest::addColumn<QString>("output");

        QTest::newRow("a name without underscore is the stem")
            << u"take.wav"_s << u"take.wav_00.wav"_s << u"take.wav_combined.wav"_s;
        QTest::newRow("a name without underscore starts with its number")
            << u"07take.wav"_s << u"07take.wav_07.wav"_s << u"07take.wav_combined.wav"_s;
        QTest::newRow("a name without directory is read in the current one")
            << u"take_01.wav"_s << u"take_01.wav"_s << u"take_combined.wav"_s;
    }

    void namesWithoutDirectory()
    {
        QFETCH(QString, first);
        QFETCH(QString, reference);
        QFETCH(QString, output);
        const Format format = {.bits = 8};
        Files files = {{first, recording(format, "xxxx")}};
        files.insert(reference, recording(format, "abcd"));
        const TempDir dir(files);
        const CurrentDirectory current(dir.path());

        const ConversionRun run = runConversion(Conversion::Combine, Sources({first}));

        QCOMPARE(run.result, int(ConvertOk));
        QCOMPARE(withoutDate(readFile(dir.path(output))),
                 outputBytes({fmtChunk(format), dataChunk("abcd")}, (8 + 16) + (8 + 4)));
    }

    void chunks_data()
    {
        QTest::addColumn<Request>("request");
        const Format format = {.bits = 8};
        const QByteArray fmt = fmtChunk(format);
        const QByteArray fmtOut = fmtChunk(wide(format, 2));
        const QByteArray data = dataChunk("abcd");
        const QByteArray second = recording(format, "1234");
        const QByteArray dataOut = dataChunk("a1b2c3d4");
        const QByteArray bext = chunk("bext", sampleBytes(610, 7));

        addTake("a fmt chunk of 18 bytes adds 18 and comes out with 16",
                {wavBytes({fmtChunk(format, QByteArray(2, '\0')), data}),
                 wavBytes({fmtChunk(format, QByteArray(2, '\0')), dataChunk("1234")})},
                outputBytes({fmtOut, dataOut}, (8 + 18) + (8 + 8)));
        const Format extensible = {.bits = 8, .tag = 0xFFFE};
        addTake("an extensible fmt chunk of 40 bytes adds 40 and keeps its tag",
                {wavBytes({fmtChunk(extensible, sampleBytes(24)), data}),
                 wavBytes({fmtChunk(extensible, sampleBytes(24)), dataChunk("1234")})},
                outputBytes({fmtChunk(wide(extensible, 2)), dataOut}, (8 + 40) + (8 + 8)));

        addTake("an odd fmt chunk adds its odd size",
                {wavBytes({fmtChunk(format, "x"), data}),
                 wavBytes({fmtChunk(format, "x"), dataChunk("1234")})},
                outputBytes({fmtOut, dataOut}, (8 + 17) + (8 + 8)));
        addTake("a bext chunk of another source is not used",
                {wavBytes({fmt, data}), wavBytes({fmt, dataChunk("1234"), bext})},
                outputBytes({fmtOut, dataOut}));

        addTake("a chunk directly after odd data is found",
                {wavBytes({fmt, dataChunk("abc"), chunk("note", "left")}),
                 wavBytes({fmt, dataChunk("123"), chunk("note", "----")})},
                outputBytes({fmtOut, dataChunk("a1b2c3"), chunk("note", "left")}));
        // The id is "\0not"; 'e' and the first size byte make the size 0x0465.
        addTake("a pad byte after odd data shifts the next header by one",
                {wavBytes({fmt, paddedChunk("data", "abc"), chunk("note", "left")}),
                 recording(format, "123")},
                outputBytes({fmtOut, dataChunk("a1b2c3"),
                             chunk("\0not", QByteArray("\0left", 5) + QByteArray(1126 - 5, '\0'),
                                   0x0465)}));
        // The "d" of "data" is copied as the pad byte, so that "ata\x10" and "rest" follow.
        addTake("an odd chunk without pad byte takes the first letter of the data id",
                {wavBytes({fmt, chunk("note", "abc"),
                           dataChunk('\0' + QByteArray("rest") + le32(7) + "1234567")}),
                 second},
                outputBytes({fmtOut, chunk("note", "abcd", 3), chunk("ata\x10", {}),
                             paddedChunk("rest", "1234567")}));

        addTake("each of two data chunks is interleaved",
                {wavBytes({fmt, data, dataChunk("ef")}),
                 wavBytes({fmt, dataChunk("1234"), dataChunk("56")})},
                outputBytes({fmtOut, dataOut, dataChunk("e5f6")}));
        const QByteArray fmt16 = fmtChunk({.bits = 16});
        addTake("the buffers of a second data chunk are fresh",
                {wavBytes({fmt16, dataChunk("aAbB"), dataChunk("cCd")}),
                 wavBytes({fmt16, dataChunk("1!2@"), dataChunk("3#4")})},
                outputBytes({fmtChunk(wide({.bits = 16}, 2)), dataChunk("aA1!bB2@"),
                             dataChunk(QByteArray("cC3#\0\0", 6))}));
        addCombine("an empty data chunk asks for no channel file",
                   {{u"take_01.wav"_s, recording(format, {})},
                    {u"other/take_02.wav"_s, recording(format, {})}},
                   {u"take_01.wav"_s, u"other/take_02.wav"_s}, combined(format, 2, {}));
        addTake("the others are read at the byte position of the reference",
                {wavBytes({fmt, data}), wavBytes({fmt, chunk("note", "5678"), dataChunk("1234")})},
                outputBytes({fmtOut, dataChunk("a5b6c7d8")}));

        // The skip is refused, so the body is read as the header of a chunk of 48000 bytes.
        addTake("a fmt chunk that claims 2^31 bytes is not skipped",
                {wavBytes({data, chunk("fmt ", format.body(), 0x80000000)}),
                 wavBytes({dataChunk("1234"), fmt})},
                outputBytes({dataOut, fmtOut,
                             chunk("\1\0\1\0", format.body().mid(8) + QByteArray(48000 - 8, '\0'))},
                            (8 + 8) + (8 + 0x80000000) + (8 + 48000)));

        const QByteArrayList oddNotes = {fmt, data, chunk("note", "ax", 1), chunk("nod!", {})};
        addTake(
            "a search that ends at a byte that is no text leaves the walk alone",
            {wavBytes(oddNotes + QByteArrayList{chunk("tail", QByteArray(24, 't') + "\x01xyz")}),
             second},
            outputBytes({fmtOut, dataOut, chunk("note", "ax", 1), chunk("nod!", {}),
                         chunk("tail", QByteArray(24, 't') + "\x01xyz")}));
    }

    void chunks() { checkCombine(); }

    void inconsistentHeaders_data()
    {
        QTest::addColumn<Request>("request");
        const auto addPair = [](const char* name, const Format& format, const QByteArray& left,
                                const QByteArray& right, const QByteArray& data) {
            addTake(name, {recording(format, left), recording(format, right)},
                    combined(format, 2, data));
        };
        const QByteArray zeros(64, '\0');

        const Format align1 = {.bits = 32, .blockAlign = 1};
        addPair("four bytes per sample in a block align of 1 leave half of the first source",
                align1, "abcdefgh", "12345678", "abef" + zeros.left(12));
        const Format narrow = {.bits = 16, .blockAlign = 1};
        addPair("two bytes per sample in a block align of 1", narrow, "abcdefgh", "12345678",
                framesOf({"abcdefgh", "12345678"}, 2, 1, 8));
        const Format align2 = {.bits = 32, .blockAlign = 2};
        addPair("four bytes per sample in a block align of 2 leave the first source", align2,
                "abcdefgh", "12345678", "abcdefgh" + zeros.left(8));

        const QByteArray left = sampleBytes(g_blockBytes + 8, 1);
        const QByteArray right = sampleBytes(g_blockBytes + 8, 2);
        const auto secondBlock = [](const QByteArray& samples) {
            return samples.mid(g_blockBytes) + samples.mid(8, g_blockBytes - 8);
        };
        addPair("samples that run past a whole block are zero there", align1, left, right,
                framesOf({left.left(g_blockBytes), right.left(g_blockBytes)}, 4, 1, g_blockBytes)
                    + framesOf({secondBlock(left), secondBlock(right)}, 4, 1, 8));
        const Format align3 = {.bits = 56, .blockAlign = 3};
        const QByteArray exactLeft = left.left(g_blockBytes - 2);
        const QByteArray exactRight = right.left(g_blockBytes - 2);
        addPair("seven bytes per sample in a block align of 3 end within the buffers", align3,
                exactLeft, exactRight, framesOf({exactLeft, exactRight}, 7, 3, g_blockBytes - 2));

        addPair("three bytes per sample in a block align of 4 start again with each block",
                {.bits = 24, .blockAlign = 4}, left, right,
                framesOf({left.left(g_blockBytes), right.left(g_blockBytes)}, 3, 4, g_blockBytes)
                    + framesOf({secondBlock(left), secondBlock(right)}, 3, 4, 8));
        addPair("a block align above the bytes per sample leaves gaps of zeros",
                {.bits = 16, .blockAlign = 4}, "aAbBcCdD", "1!2@3#4$",
                "aA1!" + zeros.left(4) + "bB2@" + zeros.left(4));
        addPair("12 bits count as one byte", {.bits = 12, .blockAlign = 2}, "aAbB", "1!2@",
                "a1" + zeros.left(2) + "A!" + zeros.left(2));
        addPair("below 8 bits there is no sample byte", {.bits = 4, .blockAlign = 1}, "abcd",
                "1234", zeros.left(8));
        addPair("a block align above the data size moves no frame", {.bits = 16, .blockAlign = 100},
                "aAbB", "1!2@", zeros.left(8));

        addPair("stereo sources give their first half in half of the frames",
                {.channels = 2, .bits = 16}, "aAbBcCdD", "1!2@3#4$",
                "aA1!" + zeros.left(4) + "bB2@" + zeros.left(4));
        const QByteArray longLeft = left.left(g_blockBytes - 2) + "abcdefghijkl";
        const QByteArray longRight = right.left(g_blockBytes - 2) + "123456789!@#";
        addPair("stereo 24-bit sources start again with each block", {.channels = 2, .bits = 24},
                longLeft, longRight,
                framesOf({exactLeft, exactRight}, 3, 6, g_blockBytes - 2) + "abc123" + zeros.left(6)
                    + "def456" + zeros.left(6));

        const Format many = {
            .channels = 40000, .bits = 16, .blockAlign = 40000, .byteRate = 0x90000000};
        const Format wrapped = {
            .channels = 14464, .bits = 16, .blockAlign = 14464, .byteRate = 0x20000000};
        const QByteArray rest(39998, 'x');
        addTake("widened header fields wrap",
                {recording(many, "aA" + rest), recording(many, "1!" + rest)},
                outputBytes({fmtChunk(wrapped), dataChunk("aA1!" + QByteArray(79996, '\0'))}));
    }

    void inconsistentHeaders() { checkCombine(); }

    void riffSizesThatPass_data()
    {
        QTest::addColumn<Request>("request");
        const auto add = [](const char* name, int count, quint32 riffSize) {
            addSamples(name, {.bits = 8}, count, 4, riffSize);
        };
        add("eight times 268435455 is the last product below the limit", 8, 268435455);
        add("one source of 2^31 - 1", 1, 0x7FFFFFFF);
        add("two times 2^31 wraps to zero", 2, 0x80000000);
        add("four times 2^30 wraps to zero", 4, 0x40000000);
        add("three times 0x60000000 wraps past zero into the positive range", 3, 0x60000000);
        add("a RIFF size of 0", 2, 0);
    }

    void riffSizesThatPass() { checkCombine(); }

    void failures_data()
    {
        QTest::addColumn<Request>("request");
        const Format format = {.bits = 8};
        const QByteArray fmt = fmtChunk(format);
        const QByteArray data = dataChunk("abcd");
        const QByteArray second = recording(format, "1234");
        const QString first = u"take_01.wav"_s;
        const QString other = u"take_02.wav"_s;
        const QString third = u"take_03.wav"_s;
        const auto add = [&second](const char* name, const Files& files, const QStringList& list,
                                   int error = ConvertFileOpen) {
            Request request = {.conversion = Conversion::Combine, .before = files, .sources = list};
            for (const QString& listed : list)
                request.listed[listed] = second;
            request.fail(error);
            QTest::newRow(name) << request;
        };
        add("no file under the rebuilt name of the first source", {{u"take_3.wav"_s, second}},
            {u"take_3.wav"_s});
        add("the first source's ending is in upper case", {{u"take_01.WAV"_s, second}},
            {u"take_01.WAV"_s});
        add("a source between others is gone", {{first, second}, {third, second}},
            {first, other, third});
        add("a source between others is gone, and the one after it holds no samples",
            {{first, second}, {third, "short"}}, {first, other, third});
        add("the rebuilt name is not in the first source's directory",
            {{u"rec/a_01.wav"_s, second}, {u"other/b_02.wav"_s, second}},
            {u"rec/a_01.wav"_s, u"other/b_02.wav"_s});

        add("a pad byte after odd data at the end",
            {{first, wavBytes({fmt, paddedChunk("data", "abc")})}, {other, second}}, {first, other},
            ConvertDataRead);
        // Without pad bytes the search ends on the last four letters, which look like a cut header.
        const QByteArray cut = wavBytes({fmt, data, chunk("note", "ax", 1), chunk("nod!", {}),
                                         chunk("tail", QByteArray(28, 't'))});
        add("a search that ends in a cut header spoils the walk", {{first, cut}, {other, second}},
            {first, other}, ConvertDataRead);

        const auto addRiffSize = [&](const char* name, int count, quint32 riffSize) {
            const Files files = takeFiles(QByteArrayList(count, wavBytes({fmt, data}, riffSize)));
            add(name, files, files.keys(), ConvertFileRestriction);
        };
        addRiffSize("eight times 268435456 is 2^31", 8, 268435456);
        addRiffSize("two times 2^30 is 2^31", 2, 0x40000000);
        addRiffSize("one source of 2^31", 1, 0x80000000);
        addRiffSize("two times 0xC0000000 wraps to 2^31", 2, 0xC0000000);
    }

    void failures() { checkCombine(); }

    void dataSizesThatWrap_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<quint32>("sourceSize");
        QTest::addColumn<quint32>("outputSize");

        QTest::newRow("two times 2^31 - 1 is the last product below 2^32")
            << 2 << 0x7FFFFFFFu << 0xFFFFFFFEu;
        QTest::newRow("two times 2^31 is 0") << 2 << 0x80000000u << 0u;
        QTest::newRow("two times 0x80000002 is 4") << 2 << 0x80000002u << 4u;
        QTest::newRow("three times 0xAAAAAAAB is 1 and a pad byte") << 3 << 0xAAAAAAABu << 2u;
        QTest::newRow("three times 0x55555555 is rounded up to 0") << 3 << 0x55555555u << 0u;
    }

    /// The files hold much less than they claim, so the header is checked before Cancel is pressed.
    void dataSizesThatWrap()
    {
        QFETCH(int, count);
        QFETCH(quint32, sourceSize);
        QFETCH(quint32, outputSize);
        const QByteArray source =
            wavBytes({fmtChunk({.bits = 8}), dataChunk(sampleBytes(20000), sourceSize)});
        const Request request = combineOf(QByteArrayList(count, source), ConvertCancelled);
        PreparedRequest prepared(request);
        QByteArray header;
        const CancelClicker clicker([&](QProgressDialog&) {
            header =
                readFile(prepared.path(request.output())).mid(g_outputStart + g_fmtChunkSize, 8);
            return header.size() == 8;
        });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(clicker.wasClicked());
        QCOMPARE(header, "data" + le32(outputSize));
    }

    void missingChannelFileEndsAfterTheWholePass()
    {
        Request request = combineOf({threeBlocks(), threeBlocks()}, ConvertFileOpen);
        request.listed = request.before;
        request.before.remove(request.sources.last());
        PreparedRequest prepared(request);
        const ProgressWatch watch;
        QCOMPARE(prepared.problems(), QString());
        QCOMPARE(watch.only().values.mid(0, 4),
                 QList<int>({g_outputStart + g_fmtChunkSize, g_blockEnds[0], g_blockEnds[1],
                             g_blockEnds[2]}));
    }

    void channelFileReplacedBetweenTwoBlocks()
    {
        const Format format = {.bits = 16};
        const QByteArray left = sampleBytes(g_threeBlocks, 1);
        const QByteArray right = sampleBytes(g_threeBlocks, 2);
        const QByteArray other = sampleBytes(g_threeBlocks, 3);
        Request request = combineOf({recording(format, left), recording(format, right)}, ConvertOk);
        const QString second = request.sources.last();
        request.outputs = {
            {second, recording(format, other)},
            {request.output(),
             combined(format, 2,
                      interleaved({left, right.left(g_blockBytes) + other.mid(g_blockBytes)}, 2))}};
        PreparedRequest prepared(request);
        const ProgressWatch watch;
        const Once replacement([&watch] { return watch.value() == g_blockEnds[0]; },
                               [&] {
                                   QFile::remove(prepared.path(second));
                                   writeFile(prepared.path(second), request.outputs[second]);
                               });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(replacement.isDone());
    }

    void channelFileMissingForOneBlock()
    {
        PreparedRequest prepared(combineOf({threeBlocks(), threeBlocks()}, ConvertFileOpen));
        const QString second = prepared.path(u"take_02.wav"_s);
        const QString elsewhere = prepared.path(u"elsewhere.wav"_s);
        const ProgressWatch watch;
        const Once away([&watch] { return watch.value() == g_blockEnds[0]; },
                        [&] { QFile::rename(second, elsewhere); });
        const Once back([&watch] { return watch.value() == g_blockEnds[1]; },
                        [&] { QFile::rename(elsewhere, second); });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(away.isDone());
        QVERIFY(back.isDone());
        QVERIFY(watch.only().values.contains(g_blockEnds[2]));
    }

    void failureRemovesTheOverwrittenFile()
    {
        const QByteArray source = recording({.bits = 8}, "ab");
        Request request = combineOf({source, source}, ConvertOk);
        request.listed = request.before;
        request.before.remove(request.sources.last());
        request.before[request.output()] = "overwritten";
        request.ask(request.output());
        request.fail(ConvertFileOpen);
        request.removed.append(request.output());
        QCOMPARE(problemsOf(request), QString());
    }

    void outputThatIsASource_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("a link to another channel file") << u"take_02.wav"_s;
        QTest::newRow("a link to a listed file that is not read") << u"other/take_02.wav"_s;
    }

    void outputThatIsASource()
    {
        QFETCH(QString, target);
        const Format format = {.bits = 8};
        Files files = takeFiles({recording(format, "ab"), recording(format, "12")});
        files.insert(u"other/take_02.wav"_s, recording(format, "xx"));
        files[u"take_combined.wav"_s] = g_linkTo + target.toUtf8();
        Request request = {.conversion = Conversion::Combine,
                           .before = files,
                           .sources = {u"take_01.wav"_s, u"other/take_02.wav"_s}};
        request.ask(request.output());
        request.fail(ConvertFileOpen);
        QCOMPARE(problemsOf(request), QString());
    }

    void shownValues_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<qint64>("riffSize"); // -1 for that of the file
        QTest::addColumn<int>("maximum");

        QTest::newRow("the running size after the note is more than the range and not shown")
            << 2 << qint64(-1) << 4 + g_fmtChunkSize + (8 + 1000) + (8 + 4);
        QTest::newRow("2^31 - 1 is the largest range") << 1 << qint64(0x7FFFFFFF) << 0x7FFFFFFF;
        // The range is a signed number. One without room takes every value over.
        QTest::newRow("two files of 2^31") << 2 << qint64(0x80000000) << 0;
        QTest::newRow("three files of 0xAAAAAAAB") << 3 << qint64(0xAAAAAAAB) << 0;
        QTest::newRow("four files of 0xC0000000") << 4 << qint64(0xC0000000) << 0;
    }

    /// The running size after the fmt chunk, the reference's position in the data, the running size
    /// after the note and at last the maximum.
    void shownValues()
    {
        QFETCH(int, count);
        QFETCH(qint64, riffSize);
        QFETCH(int, maximum);
        const QByteArray source = wavBytes(
            {fmtChunk({.bits = 8}), dataChunk(sampleBytes(1000)), chunk("note", "four")}, riffSize);
        const Files files = takeFiles(QByteArrayList(count, source));
        const TempDir dir(files);
        const ProgressWatch watch;

        const ConversionRun run =
            runConversion(Conversion::Combine, Sources(dir.paths(files.keys())));

        QCOMPARE(run.texts(), QStringList());
        QCOMPARE(run.result, int(ConvertOk));
        QCOMPARE(watch.only().minimum, 0);
        QCOMPARE(watch.only().maximum, maximum);
        const int fmtDone = g_outputStart + g_fmtChunkSize;
        QList<int> values = {fmtDone, g_sampleStart + 1000};
        if (riffSize >= 0)
            values.append(fmtDone + 8 + 1000 * count + (8 + 4));
        values.append(maximum);
        QCOMPARE(watch.only().values.mid(0, values.size()), values);
    }

    void cancel_data()
    {
        QTest::addColumn<Request>("request");
        QTest::addColumn<int>("value");
        QTest::addColumn<bool>("isImpatient"); // lets events through as after seconds

        const Request take = combineOf({threeBlocks(), threeBlocks()}, ConvertCancelled);
        QTest::newRow("before the first chunk") << take << -1 << false;
        QTest::newRow("before the first of three blocks")
            << take << g_outputStart + g_fmtChunkSize << false;
        QTest::newRow("before the second of three blocks") << take << g_blockEnds[0] << false;
        QTest::newRow("before the last of three blocks") << take << g_blockEnds[1] << false;
        QTest::newRow("in the events of the last block") << take << g_blockEnds[2] << true;
        Request incomplete = take;
        incomplete.listed = take.before;
        incomplete.before.remove(take.sources.last());
        QTest::newRow("with a channel file missing") << incomplete << g_blockEnds[0] << false;

        // The count of the last read decides what is left, so that the last file is waited for.
        const QByteArray whole = recording({.bits = 8}, sampleBytes(g_blockBytes + 100));
        const auto cutAt = [&whole](int end) {
            return combineOf({whole, whole, whole.left(end)}, ConvertCancelled);
        };
        const int early = g_sampleStart + 100;
        const int late = g_sampleStart + int(g_blockBytes + 1);
        QTest::newRow("where the last file ends in its first block")
            << cutAt(early) << early << false;
        QTest::newRow("where the last file ends in a later block") << cutAt(late) << late << false;
        const QByteArray note = chunk("note", QByteArray(100, 'x'));
        QTest::newRow("after the data, which is too late")
            << takeOf(Conversion::Combine, {g_fmtHere, g_dataHere, note}) << g_sampleStart + 40
            << false;
    }

    void cancel()
    {
        QFETCH(Request, request);
        QFETCH(int, value);
        QFETCH(bool, isImpatient);
        PreparedRequest prepared(request);
        bool hadOutput = false;
        const CancelClicker clicker([&](QProgressDialog& dialog) {
            if (isImpatient)
                makeImpatient(dialog);
            hadOutput = QFile::exists(prepared.path(request.output()));
            return dialog.value() == value;
        });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(clicker.wasClicked());
        QVERIFY(hadOutput);
    }

private:
    static void addCombine(const char* name, const Files& files, const QStringList& list,
                           const QByteArray& output,
                           const QString& outputName = u"take_combined.wav"_s)
    {
        QTest::newRow(name) << Request{.conversion = Conversion::Combine,
                                       .before = files,
                                       .sources = list,
                                       .outputs = {{outputName, output}}};
    }

    static void checkCombine()
    {
        QFETCH(Request, request);
        QCOMPARE(problemsOf(request), QString());
    }
};

SPLICORA_TEST_MAIN(tst_MonoToPoly)
#include "tst_monotopoly.moc"
