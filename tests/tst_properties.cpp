// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversion.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What a running size counts less when a `bext` chunk is copied than when it is generated.
constexpr quint32 g_generatedOverCopied = g_bextChunkSize - (8 + 4);

/// Random cases of each format; fewer, where they take too long, with SPLICORA_CASES.
int casesOfFormat()
{
    bool isSet = false;
    const int cases = qEnvironmentVariableIntValue("SPLICORA_CASES", &isSet);
    return isSet ? std::max(cases, 1) : 8;
}

/// The seed of the whole run: another one each time, unless a run is repeated with SPLICORA_SEED.
quint32 baseSeed()
{
    static const quint32 seed = [] {
        bool isSet = false;
        const int repeated = qEnvironmentVariableIntValue("SPLICORA_SEED", &isSet);
        return isSet ? quint32(repeated) : QRandomGenerator::system()->bounded(1u << 31);
    }();
    return seed;
}

/// Random facts of a row. The same seed of the run gives the same facts.
class RowRandom
{
public:
    RowRandom()
        : m_generator(quint32(qHash(QByteArray::number(baseSeed()) + QTest::currentTestFunction()
                                        + QTest::currentDataTag(),
                                    0)))
    { }

    int between(int lowest, int highest) { return m_generator.bounded(lowest, highest + 1); }
    bool coin() { return between(0, 1) == 1; }

    QByteArray bytes(int count) { return sampleBytes(count, between(0, 1 << 30)); }

    template <typename T>
    T oneOf(const QList<T>& values)
    {
        return values[between(0, int(values.size()) - 1)];
    }

    template <typename T>
    void shuffle(QList<T>* values)
    {
        std::shuffle(values->begin(), values->end(), m_generator);
    }

private:
    QRandomGenerator m_generator;
};

/// The chunks but `fmt ` and `data`, and but a leading `bext` if it was generated.
QList<FoundChunk> otherChunks(const QByteArray& file, Padding padding, bool isBextGenerated)
{
    QList<FoundChunk> chunks = chunksOf(file, padding);
    if (isBextGenerated)
        chunks.removeFirst();
    chunks.removeIf([](const FoundChunk& any) { return any.id == "fmt " || any.id == "data"; });
    return chunks;
}

/// A recording with random samples and chunks.
struct Recording
{
    Format format;
    QByteArrayList channels; ///< the samples of each
    QByteArrayList chunksBefore; ///< of `fmt `
    QByteArrayList chunksBetween; ///< `fmt ` and `data`
    QByteArrayList chunksAfter; ///< `data`
    QByteArray fmtExtension;
    bool hasBext = false;

    QByteArray file() const
    {
        return wavBytes(
            chunksBefore + QByteArrayList{fmtChunk(format, fmtExtension)} + chunksBetween
            + QByteArrayList{dataChunk(interleaved(channels, format.bits / 8))} + chunksAfter);
    }
};

Format randomFormat(RowRandom& random, int channels, int width)
{
    Format format;
    format.channels = channels;
    format.bits = width;
    format.rate = random.oneOf<int>({8000, 44100, 48000, 96000, 192000});
    format.tag = random.oneOf<int>({1, 3, 0xFFFE});
    return format;
}

/// A chunk of a printable id that is not one of those with a meaning of their own.
QByteArray randomChunk(RowRandom& random, int bodyBytes)
{
    QByteArray id = "x";
    for (int i = 0; i < 3; ++i)
        id += char(random.between(32, 127));
    return chunk(id.constData(), random.bytes(bodyBytes));
}

/// Chunks around `fmt ` and `data`. Those before the last one of a search are even, since no pad
/// byte is skipped there; those after `data` are also odd, with their pad byte.
void addRandomChunks(RowRandom& random, Recording* recording)
{
    recording->hasBext = random.coin();
    if (recording->hasBext)
        recording->chunksBefore += chunk("bext", random.bytes(602 + 2 * random.between(0, 60)));
    for (int i = random.between(0, 2); i > 0; --i)
        recording->chunksBefore += randomChunk(random, 2 * random.between(0, 40));
    for (int i = random.between(0, 2); i > 0; --i)
        recording->chunksBetween += randomChunk(random, 2 * random.between(0, 40));
    for (int i = random.between(0, 3); i > 0; --i) {
        const int size = random.between(0, 81);
        recording->chunksAfter += randomChunk(random, size) + QByteArray(size % 2, '\0');
    }
    recording->fmtExtension = random.bytes(random.oneOf<int>({0, 2, 24}));
}

/// A recording of whole frames whose `data` chunk is even, so that it needs no pad byte.
Recording randomRecording(RowRandom& random, int channels, int width)
{
    Recording recording;
    recording.format = randomFormat(random, channels, width);
    const int frameBytes = recording.format.frameBytes();
    int frames = random.between(0, 60);
    if (frames * frameBytes % 2 != 0)
        ++frames;
    for (int c = 0; c < channels; ++c)
        recording.channels += random.bytes(frames * (width / 8));
    addRandomChunks(random, &recording);
    return recording;
}

/// The samples of one channel as a mono file holds them: with the pad byte of an odd length.
QByteArray padded(const QByteArray& samples)
{
    return samples + QByteArray(samples.size() % 2, '\0');
}

/// A directory with one recording, take.wav, and what is converted from it. Every step returns
/// false when it did not succeed without a box.
class TakeDirectory : public TempDir
{
public:
    explicit TakeDirectory(const QByteArray& recording) { add(u"take.wav"_s, recording); }

    QByteArray mono(const QString& stem, int channel) const
    {
        return bytes(monoName(stem, channel));
    }

    static QString monoName(const QString& stem, int channel)
    {
        return stem + u"_0"_s + QString::number(channel) + u".wav"_s;
    }

    bool split(const QString& name, const QList<int>& disabledChannels = {}) const
    {
        const Sources sources({path(name)});
        for (const int channel : disabledChannels)
            sources.at(0)->setChannelEnabled(channel - 1, false);
        return succeeds(Conversion::Split, sources);
    }

    bool combine(const QList<int>& numbers) const
    {
        Sources sources;
        for (const int number : numbers)
            sources.add(path(monoName(u"take"_s, number)));
        return succeeds(Conversion::Combine, sources);
    }

    bool copy(const QString& name) const
    {
        return succeeds(Conversion::PlainToBwf, Sources({path(name)}));
    }

private:
    static bool succeeds(Conversion conversion, const Sources& sources)
    {
        const ConversionRun run = runConversion(conversion, sources);
        return run.result == ConvertOk && run.boxes.isEmpty();
    }
};

/// The numbers 1 to @p count.
QList<int> firstNumbers(int count)
{
    QList<int> numbers;
    for (int number = 1; number <= count; ++number)
        numbers.append(number);
    return numbers;
}

} // namespace

/// What holds for every recording, tried on random ones.
class tst_Properties : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qInfo("SPLICORA_SEED=%u, %d cases of each format", baseSeed(), casesOfFormat());
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            qInfo("SPLICORA_SEED=%u repeats it", baseSeed());
    }

    void splitCombineAndSplitKeepEverySampleByte_data() { addFormatRows(); }

    void splitCombineAndSplitKeepEverySampleByte()
    {
        QFETCH(const int, channels);
        QFETCH(const int, width);

        RowRandom random;
        const Recording recording = randomRecording(random, channels, width);
        const TakeDirectory take(recording.file());

        QVERIFY(take.split(u"take.wav"_s));
        for (int c = 1; c <= channels; ++c) {
            QVERIFY(bodyOf(take.mono(u"take"_s, c), "data") == padded(recording.channels[c - 1]));
        }
        QVERIFY(take.combine(firstNumbers(channels)));
        // The pad byte of an odd channel comes back as well, after the samples.
        const bool isOdd = recording.channels.first().size() % 2 != 0;
        QVERIFY(bodyOf(take.bytes(u"take_combined.wav"_s), "data")
                == interleaved(recording.channels, width / 8)
                       + QByteArray(isOdd ? channels : 0, '\0'));
        QVERIFY(take.bytes(u"take.wav"_s) == recording.file());

        QVERIFY(take.split(u"take_combined.wav"_s));
        for (int c = 1; c <= channels; ++c) {
            QByteArray first = take.mono(u"take"_s, c);
            QByteArray second = take.mono(u"take_combined"_s, c);
            // The first split counts the whole of a `bext` that it made itself.
            const quint32 more = recording.hasBext ? 0 : g_generatedOverCopied;
            QVERIFY(le32At(second, 4) + more == le32At(first, 4));
            // Each channel's is of its own moment, and the combine takes over the first one's.
            if (!recording.hasBext) {
                first = withoutDate(first);
                second = withoutDate(second);
            }
            QVERIFY(second.mid(8) == first.mid(8));
        }
    }

    void recordingLongerThanABlockComesBack_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("width");
        for (const int channels : {2, 3, 8}) {
            QTest::addRow("%d channels of 16 bits", channels) << channels << 16;
            QTest::addRow("%d channels of 24 bits", channels) << channels << 24;
        }
    }

    void recordingLongerThanABlockComesBack()
    {
        QFETCH(const int, channels);
        QFETCH(const int, width);

        RowRandom random;
        Recording recording;
        recording.format = randomFormat(random, channels, width);
        // More than one block for the split and, for the larger half, for the combine.
        const int frames = random.between(550000, 1100000) / recording.format.frameBytes() / 2 * 2;
        for (int c = 0; c < channels; ++c)
            recording.channels += random.bytes(frames * (width / 8));
        const TakeDirectory take(recording.file());

        QVERIFY(take.split(u"take.wav"_s));
        for (int c = 1; c <= channels; ++c) {
            QVERIFY(bodyOf(take.mono(u"take"_s, c), "data") == recording.channels[c - 1]);
        }
        QVERIFY(take.combine(firstNumbers(channels)));
        QVERIFY(bodyOf(take.bytes(u"take_combined.wav"_s), "data")
                == interleaved(recording.channels, width / 8));
    }

    void combineOrderIsListOrder_data() { addFormatRows(); }

    void combineOrderIsListOrder()
    {
        QFETCH(const int, channels);
        QFETCH(const int, width);

        RowRandom random;
        Recording mono = randomRecording(random, 1, width);
        const TakeDirectory take({});
        QList<int> numbers = firstNumbers(9);
        random.shuffle(&numbers);
        numbers.resize(channels);
        QByteArrayList inListOrder;
        for (const int number : numbers) {
            mono.channels = {random.bytes(int(mono.channels.first().size()))};
            inListOrder += mono.channels.first();
            take.add(TakeDirectory::monoName(u"take"_s, number), mono.file());
        }

        QVERIFY(take.combine(numbers));
        QVERIFY(bodyOf(take.bytes(u"take_combined.wav"_s), "data")
                == interleaved(inListOrder, width / 8));
    }

    void disabledChannelsWriteNothing_data() { addFormatRows(); }

    void disabledChannelsWriteNothing()
    {
        QFETCH(const int, channels);
        QFETCH(const int, width);

        RowRandom random;
        const Recording recording = randomRecording(random, channels, width);
        const TakeDirectory take(recording.file());
        QList<int> disabled;
        QStringList expected = {u"take.wav"_s};
        for (int c = 1; c <= channels; ++c) {
            if (random.coin())
                disabled.append(c);
            else
                expected.append(TakeDirectory::monoName(u"take"_s, c));
        }
        expected.sort();

        QVERIFY(take.split(u"take.wav"_s, disabled));
        QVERIFY(take.names() == expected);
        for (int c = 1; c <= channels; ++c) {
            const QByteArray samples = bodyOf(take.mono(u"take"_s, c), "data");
            const QByteArray wanted =
                disabled.contains(c) ? QByteArray() : recording.channels[c - 1];
            QVERIFY(samples == padded(wanted));
        }
        QVERIFY(take.bytes(u"take.wav"_s) == recording.file());
    }

    void otherChunkBodiesComeThroughUnchanged_data() { addFormatRows(); }

    void otherChunkBodiesComeThroughUnchanged()
    {
        QFETCH(const int, channels);
        QFETCH(const int, width);

        RowRandom random;
        const Recording poly = randomRecording(random, channels, width);
        const TakeDirectory take(poly.file());
        QList<int> others = firstNumbers(channels);
        const int kept = others.takeAt(random.between(0, channels - 1));
        QVERIFY(take.split(u"take.wav"_s, others));
        QVERIFY(otherChunks(take.mono(u"take"_s, kept), WithPadBytes, !poly.hasBext)
                == otherChunks(poly.file(), WithPadBytes, false));

        const Recording mono = randomRecording(random, 1, width);
        for (const int number : {1, 2})
            take.add(TakeDirectory::monoName(u"take"_s, number), mono.file());
        QVERIFY(take.combine({1, 2}));
        QVERIFY(otherChunks(take.bytes(u"take_combined.wav"_s), WithPadBytes, !mono.hasBext)
                == otherChunks(mono.file(), WithPadBytes, false));

        // The plain copy reads odd chunks without pad bytes, wherever they stand.
        Recording plain = randomRecording(random, channels, width);
        plain.chunksAfter = {randomChunk(random, 2 * random.between(0, 40) + 1),
                             randomChunk(random, random.between(0, 80))};
        take.add(u"plain.wav"_s, plain.file());
        QVERIFY(take.copy(u"plain.wav"_s));
        const QByteArray copied = take.bytes(u"plain_bwf.wav"_s);
        QVERIFY(chunksOf(copied, WithoutPadBytes).mid(plain.hasBext ? 0 : 1)
                == chunksOf(plain.file(), WithoutPadBytes));
    }

private:
    static void addFormatRows()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("width");
        for (const int channels : {2, 3, 8}) {
            for (const int width : {8, 16, 24, 40}) {
                for (int number = 1; number <= casesOfFormat(); ++number) {
                    QTest::addRow("%d channels of %d bits, case %d", channels, width, number)
                        << channels << width;
                }
            }
        }
    }
};

SPLICORA_TEST_MAIN(tst_Properties)
#include "tst_properties.moc"
