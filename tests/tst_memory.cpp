// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"
#include "tests/support/conversionrequest.h"
#include "tests/support/testmain.h"

#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include <malloc.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The size of the last array that a conversion asked for.
size_t g_lastArray = 0;

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
    g_lastArray = size;
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
    }

    /// The most bytes that were held beyond those before the watch.
    qint64 most() const { return m_most; }

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

/// The most bytes that a conversion of two channels of @p blocks blocks each holds.
qint64 bytesFor(Conversion conversion, int blocks)
{
    const TempDir dir;
    const bool isSplit = conversion == Conversion::Split;
    QStringList paths;
    for (int number = 1; number <= (isSplit ? 1 : 2); ++number) {
        paths.append(dir.path(u"take_0%1.wav"_s.arg(number)));
        if (!writeSource(paths.last(), {.channels = isSplit ? 2 : 1},
                         isSplit ? 2 * blocks : blocks))
            return -1;
    }
    const Sources sources(paths);
    const MemoryWatch watch;
    const ConversionRun run = runConversion(conversion, sources);
    return run.result == ConvertOk ? watch.most() : -1;
}

} // namespace

/// How much memory a conversion needs beside the window, and what happens when there is none.
class tst_Memory : public QObject
{
    Q_OBJECT

private slots:
    /// Fonts and the like are loaded once, by the first dialog.
    void initTestCase()
    {
        const TempDir dir;
        const QString path = dir.path(u"take.wav"_s);
        QVERIFY(writeSource(path, {}, 1));
        QCOMPARE(runConversion(Conversion::Split, Sources({path})).result, int(ConvertOk));
        if (!areBytesCounted())
            qInfo("No bytes are counted under this checker of memory.");
    }

    void memoryDoesNotGrowWithTheFiles_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<int>("blocks");
        QTest::newRow("a split holds an input and an output buffer") << Conversion::Split << 2;
        QTest::newRow("a combine holds two inputs and the output") << Conversion::Combine << 4;
    }

    void memoryDoesNotGrowWithTheFiles()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const int, blocks);

        const qint64 ofShort = bytesFor(conversion, 2);
        const qint64 ofLong = bytesFor(conversion, 32);
        QVERIFY(ofShort >= 0 && ofLong >= 0);
        const QByteArray seen = QByteArray::number(ofShort) + " and " + QByteArray::number(ofLong);
        QVERIFY2(qAbs(ofLong - ofShort) < g_blockBytes / 8, seen.constData());
        // The dialog, its pixels and the files' own buffers take less than a block.
        QVERIFY2(ofLong < (blocks + 1) * g_blockBytes, seen.constData());
    }

    /// A copied chunk leaves nothing behind, however many there are. The leak checker cannot see
    /// it: a copy that fails may keep its buffer.
    void copiedChunksHoldNothing()
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

    void largestCopyAsksForItsMemory()
    {
        const TempDir dir;
        const Sources sources({dir.add(u"take.wav"_s, wavBytes({fmtChunk({}), dataChunk("ab"),
                                                                chunk("note", "a", 0x7FFFFFFF)}))});
        g_arrayWithoutMemory = 3; // after the bodies of fmt and data
        const ConversionRun run = runConversion(Conversion::PlainToBwf, sources, {QMessageBox::Ok});
        QCOMPARE(std::exchange(g_arrayWithoutMemory, 0), 0);
        QCOMPARE(run.texts(), QStringList{errorText(ConvertDataCopy)});
        QCOMPARE(g_lastArray, size_t(0x7FFFFFFF));
    }

    void missingMemoryIsReported_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<int>("array");
        QTest::addColumn<int>("code");

        const Conversion split = Conversion::Split;
        const Conversion combine = Conversion::Combine;
        QTest::newRow("split, the body of a copied chunk") << split << 1 << int(ConvertDataCopy);
        QTest::newRow("split, the input buffer") << split << 2 << int(ConvertNoMemory);
        QTest::newRow("split, the output buffer") << split << 3 << int(ConvertNoMemory);
        QTest::newRow("combine, the body of a copied chunk")
            << combine << 1 << int(ConvertDataCopy);
        QTest::newRow("combine, the list of input buffers") << combine << 2 << int(ConvertNoMemory);
        QTest::newRow("combine, the first input buffer") << combine << 3 << int(ConvertNoMemory);
        QTest::newRow("combine, the second input buffer") << combine << 4 << int(ConvertNoMemory);
        QTest::newRow("combine, the output buffer") << combine << 5 << int(ConvertNoMemory);
    }

    void missingMemoryIsReported()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const int, array);
        QFETCH(const int, code);

        Request request = takeOf(conversion, {g_fmtHere, chunk("note", "abcd"), g_dataHere});
        request.fail(code);
        PreparedRequest prepared(request);
        g_arrayWithoutMemory = array;
        const ConversionRun run = prepared.run();
        QCOMPARE(std::exchange(g_arrayWithoutMemory, 0), 0);
        QCOMPARE(prepared.problemsAfter(run), QString());
    }
};

SPLICORA_TEST_MAIN(tst_Memory)
#include "tst_memory.moc"
