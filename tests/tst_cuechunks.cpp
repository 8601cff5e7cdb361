// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/testmain.h"
#include "tests/support/teststreams.h"
#include "tests/support/wavbuilder.h"
#include "wave/chunks.h"

#include <QTest>

#include <cstring>

using namespace Qt::Literals::StringLiterals;

namespace {

using Status = QDataStream::Status;

struct Point
{
    quint32 identifier = 1;
    quint32 position = 100; ///< sample frames
    const char* chunkId = "data";
    quint32 chunkStart = 0;
    quint32 blockStart = 0;
    quint32 sampleOffset = 200; ///< sample frames

    QByteArray bytes() const
    {
        return le32(identifier) + le32(position) + QByteArray(chunkId, 4) + le32(chunkStart)
               + le32(blockStart) + le32(sampleOffset);
    }

    CuePoint record() const
    {
        CuePoint point = {identifier, position, {}, chunkStart, blockStart, sampleOffset};
        std::memcpy(point.chunkId, chunkId, 4);
        return point;
    }
};

const Point g_first = {1, 0x01020304, "data", 0, 0, 0x05060708};
const Point g_second = {0xffffffff, 0, "data", 0, 0, 0xffffffff};
const Point g_third = {7, 30, "data", 0, 0, 40};

QByteArray bytesOf(const QList<Point>& points)
{
    QByteArray bytes;
    for (const Point& point : points)
        bytes += point.bytes();
    return bytes;
}

QList<Point> thousandPoints()
{
    QList<Point> points;
    for (quint32 i = 1; i <= 1000; ++i)
        points.append({i, i * 3, "data", 0, 0, i * 5});
    return points;
}

/// The points that were read, as they would lie in a file.
QByteArray pointBytes(const CueChunk& cue)
{
    return {reinterpret_cast<const char*>(cue.points.constData()),
            cue.points.size() * qsizetype(sizeof(CuePoint))};
}

} // namespace

class tst_CueChunks : public QObject
{
    Q_OBJECT

private slots:
    void read_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<quint32>("pointCount");
        QTest::addColumn<QByteArray>("points");
        QTest::addColumn<qint64>("position");

        const auto accepted = [](const char* name, const QByteArray& body, quint32 count,
                                 const QByteArray& points) {
            QTest::newRow(name) << body << true << count << points << qint64(4 + points.size());
        };
        const auto refused = [](const char* name, const QByteArray& body, quint32 count,
                                const QByteArray& points, qint64 position) {
            QTest::newRow(name) << body << false << count << points << position;
        };

        const QByteArray first = g_first.bytes();
        const QByteArray second = g_second.bytes();
        accepted("no points", le32(0), 0, {});
        accepted("no points counted, though one follows", le32(0) + first, 0, {});
        accepted("one point", le32(1) + first, 1, first);
        accepted("one point counted, though two follow", le32(1) + first + second, 1, first);
        accepted("two points", le32(2) + first + second, 2, first + second);
        const QByteArray thousand = bytesOf(thousandPoints());
        accepted("a thousand points", le32(1000) + thousand, 1000, thousand);

        refused("identifier 0", le32(1) + Point{0}.bytes(), 1, {}, 8);
        refused("identifier 0 in the second point", le32(2) + first + Point{0}.bytes(), 2, first,
                32);
        refused("chunk name of a wave list", le32(1) + Point{1, 0, "slnt"}.bytes(), 1, {}, 16);
        refused("chunk name in upper case", le32(1) + Point{1, 0, "DATA"}.bytes(), 1, {}, 16);
        refused("chunk start other than 0", le32(1) + Point{1, 0, "data", 1}.bytes(), 1, {}, 28);
        refused("block start other than 0", le32(1) + Point{1, 0, "data", 0, 1}.bytes(), 1, {}, 28);
        refused("block start of 2^31", le32(1) + Point{1, 0, "data", 0, 0x80000000}.bytes(), 1, {},
                28);
        refused("bad second point ends before a good third",
                le32(3) + first + Point{2, 0, "data", 9}.bytes() + second, 3, first, 52);

        refused("one point more counted than there is", le32(3) + first + second, 3, first + second,
                52);
        refused("2^32-1 points counted", le32(0xffffffff) + first + second, 0xffffffff,
                first + second, 52);
        refused("2^31 points counted and none there", le32(0x80000000), 0x80000000, {}, 4);
        refused("last field of a point cut", le32(1) + first.left(23), 1, {}, 27);
        refused("chunk name of a point cut", le32(1) + first.left(10), 1, {}, 14);
        refused("second point cut after its identifier", le32(2) + first + second.left(4), 2, first,
                32);
        // A number that is cut short reads as 0.
        QTest::newRow("count cut after three bytes")
            << QByteArray(3, '\1') << true << quint32(0) << QByteArray() << qint64(3);
        QTest::newRow("empty body")
            << QByteArray() << true << quint32(0) << QByteArray() << qint64(0);
    }

    void read()
    {
        QFETCH(QByteArray, body);
        FileStream source(body);

        CueChunk cue = {{{'c', 'u', 'e', ' '}, 4711}, 99, {}};
        QTEST(readCueChunk(source.stream, &cue), "accepted");
        QTEST(cue.pointCount, "pointCount");
        QTEST(pointBytes(cue), "points");
        QTEST(source.file.pos(), "position");
        QCOMPARE(QByteArray(cue.header.id, 4), "cue "_ba); // the header is the caller's
        QCOMPARE(cue.header.size, 4711u);
    }

    void readReplacesEarlierPoints()
    {
        FileStream source(le32(2) + g_first.bytes() + g_second.bytes() + le32(1) + g_third.bytes());
        CueChunk cue = {};
        QVERIFY(readCueChunk(source.stream, &cue));
        QVERIFY(readCueChunk(source.stream, &cue));
        QCOMPARE(cue.pointCount, 1u);
        QCOMPARE(pointBytes(cue), g_third.bytes());
    }

    void readOnUnreadableChunkName()
    {
        FaultyStream source(le32(1) + g_first.bytes());
        source.device.unreadableFrom = 12;
        CueChunk cue = {};
        QVERIFY(!readCueChunk(source.stream, &cue));
        QVERIFY(cue.points.isEmpty());
        QCOMPARE(source.device.pos(), 12);
        QCOMPARE(source.stream.status(), Status::ReadCorruptData);
    }

    void readOnFailedStream()
    {
        FileStream source(le32(2) + g_first.bytes() + g_second.bytes());
        source.file.seek(source.file.size());
        quint32 beyond = 0;
        source.stream >> beyond;
        QCOMPARE(source.stream.status(), Status::ReadPastEnd);

        source.file.seek(0);
        CueChunk cue = {};
        QVERIFY(!readCueChunk(source.stream, &cue));
        QVERIFY(cue.points.isEmpty());
    }

    void write_data()
    {
        QTest::addColumn<quint32>("pointCount");
        QTest::addColumn<QList<Point>>("points");
        QTest::addColumn<QByteArray>("written"); // nothing where that is refused

        const auto row = [](const char* name, quint32 count, const QList<Point>& points,
                            const QByteArray& written) {
            QTest::newRow(name) << count << points << written;
        };
        row("no points", 0, {}, le32(0));
        row("points at hand but none counted", 0, {g_first}, le32(0));
        row("one point", 1, {g_first},
            QByteArray("\x01\0\0\0" // one point
                       "\x01\0\0\0\x04\x03\x02\x01" // identifier, position
                       "data\0\0\0\0\0\0\0\0" // chunk name, chunk start, block start
                       "\x08\x07\x06\x05", // sample offset
                       28));
        row("three points in order", 3, {g_third, g_first, g_second},
            le32(3) + bytesOf({g_third, g_first, g_second}));
        row("a thousand points", 1000, thousandPoints(), le32(1000) + bytesOf(thousandPoints()));
        row("fewer counted than at hand", 1, {g_third, g_first}, le32(1) + g_third.bytes());
        row("more counted than at hand", 2, {g_first}, {});
        const Point playlist = {0, 1, "\x80ls ", 2, 3, 4};
        row("point that the reader would refuse", 1, {playlist}, le32(1) + playlist.bytes());
    }

    void write()
    {
        QFETCH(quint32, pointCount);
        QFETCH(QList<Point>, points);
        QFETCH(QByteArray, written);
        FileStream output("cue -", QIODevice::ReadWrite);
        output.file.seek(5);

        CueChunk cue = {{}, pointCount, {}};
        for (const Point& point : points)
            cue.points.append(point.record());
        QCOMPARE(writeCueChunk(output.stream, cue), written.isEmpty() ? -1 : written.size());
        QCOMPARE(output.file.pos(), 5 + written.size());
        QCOMPARE(output.bytes(), "cue -" + written);
    }
};

SPLICORA_TEST_MAIN(tst_CueChunks)
#include "tst_cuechunks.moc"
