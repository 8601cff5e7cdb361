// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"
#include "tests/support/conversion.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <numeric>
#include <utility>

#include <malloc.h>

using namespace Qt::Literals::StringLiterals;

/// How much memory a conversion needs beside the window, and what happens when there is none.
class tst_Memory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void splitHoldsTwoBuffers_data();
    void splitHoldsTwoBuffers();
    void combineHoldsABufferForEachSourceAndOne_data();
    void combineHoldsABufferForEachSourceAndOne();
    void copiedChunksHoldNothing();
    void largestCopyAsksForItsMemory();
    void missingMemoryIsTold_data();
    void missingMemoryIsTold();
};

namespace {

constexpr size_t g_smallestBufferBytes = 65536; ///< what is shorter holds no samples

/// The sizes of the buffers that were made while a MemoryWatch looked on.
struct BufferLog
{
    bool isOn = false;
    std::vector<size_t> sizes;
} g_bufferLog;

/// The number, from 1, of the next array for which there is no memory; 0 for none.
int g_arrayWithoutMemory = 0;

/// The arrays that were made and not deleted. Counted under a checker of memory, too.
int g_heldArrays = 0;

void* newArray(size_t size)
{
    void* memory = std::malloc(size);
    g_heldArrays += memory ? 1 : 0;
    return memory;
}

void deleteArray(void* memory)
{
    g_heldArrays -= memory ? 1 : 0;
    std::free(memory);
}

} // namespace

// Conversions get all their buffers from here, where a failure is a null pointer; the toolkit none.
void* operator new[](size_t size, const std::nothrow_t&) noexcept
{
    if (g_bufferLog.isOn && size >= g_smallestBufferBytes)
        g_bufferLog.sizes.push_back(size);
    if (g_arrayWithoutMemory > 0 && --g_arrayWithoutMemory == 0)
        return nullptr;
    return newArray(size);
}

void operator delete[](void* memory) noexcept
{
    deleteArray(memory);
}

void operator delete[](void* memory, size_t) noexcept
{
    deleteArray(memory);
}

void* operator new[](size_t size)
{
    void* memory = newArray(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

namespace {

/// What the dialog, its pixels and the files' own buffers may take beside the sample buffers; less
/// than one more buffer for samples would.
constexpr qint64 g_slackBytes = 491520;

qint64 allocatedBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return qint64(info.uordblks + info.hblkhd);
}

/// False where a checker of memory manages it in place of the system.
bool areBytesCounted()
{
    static const bool counted = [] {
        constexpr qint64 more = 1 << 20;
        const qint64 before = allocatedBytes();
        const QByteArray probe(more, 'x');
        return allocatedBytes() - before >= more;
    }();
    return counted;
}

/// Watches the memory of this process whenever a conversion delivers events.
class MemoryWatch : public QObject
{
public:
    MemoryWatch()
        : m_before(allocatedBytes())
    {
        connect(&m_timer, &QTimer::timeout, this,
                [this] { m_most = std::max(m_most, allocatedBytes() - m_before); });
        m_timer.start(0);
        g_bufferLog = {true, {}};
    }
    ~MemoryWatch() override { g_bufferLog.isOn = false; }
    Q_DISABLE_COPY_MOVE(MemoryWatch)

    /// The most bytes that were held beyond those before the watch.
    qint64 most() const { return m_most; }

    /// The sizes in bytes of the sample buffers, in the order in which they were made.
    QList<qint64> buffers() const { return {g_bufferLog.sizes.cbegin(), g_bufferLog.sizes.cend()}; }

private:
    qint64 m_before;
    qint64 m_most = 0;
    QTimer m_timer;
};

/// A source whose samples are @p blocks blocks of zeros.
bool writeSource(const QString& path, const Format& format, int blocks)
{
    const qint64 dataSize = blocks * g_blockBytes;
    const QByteArray start = wavBytes({fmtChunk(format), dataChunk({}, dataSize)});
    return writeFile(path, start) && QFile::resize(path, start.size() + dataSize);
}

constexpr int g_shortBlocks = 2;
constexpr int g_longBlocks = 32;

/// Runs a conversion and stores the most bytes that it held. It must have made these @p buffers,
/// held them at one time, and hold little beside them, as far as bytes are counted.
void checkBuffers(const std::function<int()>& convert, const QList<qint64>& buffers, qint64* most)
{
    const MemoryWatch watch;
    QCOMPARE(convert(), int(ConvertOk));
    QCOMPARE(watch.buffers(), buffers);
    if (!areBytesCounted())
        return;
    *most = watch.most();
    const qint64 beside = *most - std::accumulate(buffers.cbegin(), buffers.cend(), qint64(0));
    QVERIFY2(beside >= 0 && beside < g_slackBytes, qPrintable(QString::number(beside)));
}

/// The extra memory of a conversion must not depend on the length of its files. @p convert converts
/// files of as many blocks and stores the most bytes that it held.
void compareLengths(const std::function<void(int blocks, qint64* most)>& convert)
{
    qint64 ofShortFiles = 0;
    convert(g_shortBlocks, &ofShortFiles);
    qint64 ofLongFiles = 0;
    convert(g_longBlocks, &ofLongFiles);
    const qint64 more = ofLongFiles - ofShortFiles;
    QVERIFY2(qAbs(more) < qint64(g_smallestBufferBytes), qPrintable(QString::number(more)));
}

} // namespace

/// Fonts and the like are loaded once, by the first dialog.
void tst_Memory::initTestCase()
{
    const TempDir dir;
    const QString path = dir.path(u"take.wav"_s);
    QVERIFY(writeSource(path, {}, 1));
    QCOMPARE(runConversion(Conversion::Split, Sources({path})).result, int(ConvertOk));
    if (!areBytesCounted())
        qInfo("The buffers alone are counted here, not the bytes beside them.");
}

void tst_Memory::splitHoldsTwoBuffers_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("bits");
    QTest::newRow("1 channel, whose samples need the longer output buffer") << 1 << 16;
    QTest::newRow("2 channels") << 2 << 16;
    QTest::newRow("8 channels") << 8 << 32;
}

void tst_Memory::splitHoldsTwoBuffers()
{
    QFETCH(const int, channels);
    QFETCH(const int, bits);

    // Behind its block the input has room for a sample that is wider than its frame.
    const QList<qint64> buffers = {g_blockBytes + channels * (bits / 8),
                                   std::max<qint64>(262144, g_blockBytes / channels)};
    compareLengths([=](int blocks, qint64* most) {
        const TempDir dir;
        const QString path = dir.path(u"take.wav"_s);
        QVERIFY(writeSource(path, {.channels = channels, .bits = bits}, blocks));
        const Sources sources({path});
        for (int k = 0; k < channels - 1; ++k)
            sources.at(0)->setChannelEnabled(k, false);
        CWavConverter converter(nullptr, sources.list());
        checkBuffers([&converter] { return converter.polyToMono(); }, buffers, most);
    });
}

void tst_Memory::combineHoldsABufferForEachSourceAndOne_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("1 source") << 1;
    QTest::newRow("2 sources") << 2;
    QTest::newRow("8 sources") << 8;
}

void tst_Memory::combineHoldsABufferForEachSourceAndOne()
{
    QFETCH(const int, count);

    const QList<qint64> buffers =
        QList<qint64>(count, g_blockBytes) + QList<qint64>{count * (g_blockBytes + 2)};
    compareLengths([=](int blocks, qint64* most) {
        const TempDir dir;
        Sources sources;
        for (int number = 1; number <= count; ++number) {
            const QString path = dir.path(u"take_0%1.wav"_s.arg(number));
            QVERIFY(writeSource(path, {}, blocks));
            sources.add(path);
        }
        CWavConverter converter(nullptr, sources.list());
        checkBuffers([&converter] { return converter.monoToPoly(); }, buffers, most);
    });
}

/// A copied chunk leaves nothing behind, however many there are. The leak checker cannot tell: a
/// copy that fails may keep its buffer.
void tst_Memory::copiedChunksHoldNothing()
{
    const TempDir dir;
    QByteArrayList chunks = {fmtChunk({}), dataChunk("ab")};
    for (int i = 0; i < 100; ++i)
        chunks.append(chunk("note", "four"));
    const Sources sources({dir.add(u"take.wav"_s, wavBytes(chunks))});
    CWavConverter converter(nullptr, sources.list());
    const int before = g_heldArrays;
    converter.plainToBwf();
    QCOMPARE(g_heldArrays, before);
}

void tst_Memory::largestCopyAsksForItsMemory()
{
    const TempDir dir;
    const QString path = dir.path(u"take.wav"_s);
    QVERIFY(
        writeFile(path, wavBytes({fmtChunk({}), dataChunk("ab"), chunk("note", "a", 0x7FFFFFFF)})));
    const Sources sources({path});
    g_bufferLog = {true, {}};
    g_arrayWithoutMemory = 3; // behind the bodies of fmt and data
    const ConversionRun run = runConversion(Conversion::PlainToBwf, sources, {QMessageBox::Ok});
    g_bufferLog.isOn = false;
    QCOMPARE(std::exchange(g_arrayWithoutMemory, 0), 0);
    QCOMPARE(run.texts(), QStringList{errorText(ConvertDataCopy)});
    QCOMPARE(g_bufferLog.sizes, std::vector<size_t>{0x7FFFFFFF});
}

void tst_Memory::missingMemoryIsTold_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("array");
    QTest::addColumn<int>("code");

    QTest::newRow("split, the body of a copied chunk") << 2 << 1 << int(ConvertDataCopy);
    QTest::newRow("split, the input buffer") << 2 << 2 << int(ConvertNoMemory);
    QTest::newRow("split, the output buffer") << 2 << 3 << int(ConvertNoMemory);
    QTest::newRow("combine, the body of a copied chunk") << 1 << 1 << int(ConvertDataCopy);
    QTest::newRow("combine, the list of input buffers") << 1 << 2 << int(ConvertNoMemory);
    QTest::newRow("combine, the first input buffer") << 1 << 3 << int(ConvertNoMemory);
    QTest::newRow("combine, the second input buffer") << 1 << 4 << int(ConvertNoMemory);
    QTest::newRow("combine, the output buffer") << 1 << 5 << int(ConvertNoMemory);
}

void tst_Memory::missingMemoryIsTold()
{
    QFETCH(const int, channels);
    QFETCH(const int, array);
    QFETCH(const int, code);

    const TempDir dir;
    const QByteArray file = wavBytes(
        {fmtChunk({.channels = channels}), chunk("note", "abcd"), dataChunk(sampleBytes(40))});
    QStringList names = {u"take_01.wav"_s};
    if (channels == 1)
        names.append(u"take_02.wav"_s);
    Sources sources;
    for (const QString& name : names) {
        dir.add(name, file);
        sources.add(dir.path(name));
    }

    g_arrayWithoutMemory = array;
    const ConversionRun run = runConversion(channels == 1 ? Conversion::Combine : Conversion::Split,
                                            sources, {QMessageBox::Ok});
    QCOMPARE(std::exchange(g_arrayWithoutMemory, 0), 0);
    QCOMPARE(run.result, code);
    QCOMPARE(run.texts(), QStringList{errorText(code)});
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), names);
    for (const QString& name : names)
        QCOMPARE(dir.bytes(name), file);
}

SPLICORA_TEST_MAIN(tst_Memory)
#include "tst_memory.moc"
