// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/testmain.h"
#include "tests/support/teststreams.h"
#include "tests/support/wavbuilder.h"
#include "wave/chunks.h"

#include <QDateTime>
#include <QTest>

#include <sys/time.h>

#include <ctime>

using namespace Qt::Literals::StringLiterals;

using Writer = qint64 (*)(QDataStream& s);

namespace {

using Status = QDataStream::Status;

/// A generated `bext` chunk, put together field by field.
QByteArray bextBytes(const char* date, const char* time)
{
    return "bext" + le32(858) + QByteArray(256, '\0') // description
           + "VELMAR Splicora" + QByteArray(17, '\0') // originator
           + QByteArray(32, '\0') // its reference
           + date + time
           + QByteArray(4 + 4 + 2 + 64 + 190, '\0') // time reference, version, UMID, reserved
           + QByteArray(256, '\0'); // coding history
}

/// What the next readings of the clock find, in seconds since 1970; the time when there are none.
QList<qint64> g_clock;

} // namespace

// This takes the place of the system's call for the whole process.
extern "C" int gettimeofday(struct timeval* found, void* /*zone*/) noexcept
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (!g_clock.isEmpty())
        now = {time_t(g_clock.takeFirst()), 0};
    *found = {now.tv_sec, now.tv_nsec / 1000};
    return 0;
}

class tst_ChunkWriter : public QObject
{
    Q_OBJECT

private slots:
    void writeRiffHeader_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<qint64>("position");
        QTest::addColumn<quint32>("riffSize");

        const QByteArray old = QByteArray(12, '-') + "half written";
        QTest::newRow("empty file") << QByteArray() << qint64(0) << quint32(0);
        QTest::newRow("at the end of a half-written file")
            << old << qint64(old.size()) << quint32(0x01020304);
        QTest::newRow("in the middle of a half-written file") << old << qint64(17) << quint32(0);
        QTest::newRow("largest size") << old << qint64(0) << quint32(0xffffffff);
    }

    void writeRiffHeader()
    {
        QFETCH(QByteArray, before);
        QFETCH(qint64, position);
        QFETCH(quint32, riffSize);
        FileStream output(before, QIODevice::ReadWrite);
        output.file.seek(position);

        QCOMPARE(::writeRiffHeader(output.stream, riffSize), 12);
        QCOMPARE(output.file.pos(), 12);
        QCOMPARE(output.bytes(), "RIFF" + le32(riffSize) + "WAVE" + before.mid(12));
    }

    void writeRiffHeaderWhenStartIsOutOfReach()
    {
        FaultyStream output("half written");
        output.device.seek(4);
        output.device.refusedSeek = 0;

        QCOMPARE(::writeRiffHeader(output.stream, 40), -1);
        QCOMPARE(output.device.data(), "half written"_ba);
        QCOMPARE(output.device.pos(), 4);
    }

    void writeChunkHeader_data()
    {
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<quint32>("size");

        QTest::newRow("ordinary header") << "data"_ba << quint32(0x01020304);
        QTest::newRow("odd size as it is") << "LIST"_ba << quint32(3);
        QTest::newRow("largest size") << "junk"_ba << quint32(0xffffffff);
        QTest::newRow("name that is not text") << "\x01\x80\xff\n"_ba << quint32(0);
    }

    void writeChunkHeader()
    {
        QFETCH(QByteArray, id);
        QFETCH(quint32, size);
        FileStream output("0123456789ABCDEF", QIODevice::ReadWrite);
        output.file.seek(5);

        const ChunkHeader header = {{id[0], id[1], id[2], id[3]}, size};
        QCOMPARE(::writeChunkHeader(output.stream, header), 8);
        QCOMPARE(output.file.pos(), 13);
        QCOMPARE(output.bytes(), "01234" + id + le32(size) + "DEF");
    }

    void writeFmtBody_data()
    {
        QTest::addColumn<FmtChunk>("fmt");
        const auto row = [](const char* name, quint16 tag, quint16 channels, quint32 rate,
                            quint32 byteRate, quint16 blockAlign, quint16 bits) {
            QTest::newRow(name) << FmtChunk{
                {'?', '?', '?', '?'}, 0xdeadbeef, tag, channels, rate, byteRate, blockAlign, bits};
        };
        row("16-bit mono", 1, 1, 48000, 96000, 2, 16);
        row("extensible tag, every field with its own bytes", 0xfffe, 0x0102, 0x03040506,
            0x0708090a, 0x0b0c, 0x0d0e);
        row("largest values", 0xffff, 0xffff, 0xffffffff, 0xffffffff, 0xffff, 0xffff);
        row("zeros", 0, 0, 0, 0, 0, 0);
    }

    void writeFmtBody()
    {
        QFETCH(FmtChunk, fmt);
        FileStream output("01234", QIODevice::ReadWrite);
        output.file.seek(5);

        QCOMPARE(::writeFmtBody(output.stream, fmt), 16);
        QCOMPARE(output.file.pos(), 21);
        QCOMPARE(output.bytes(), "01234" + le16(fmt.formatTag) + le16(fmt.channels)
                                     + le32(fmt.sampleRate) + le32(fmt.byteRate)
                                     + le16(fmt.blockAlign) + le16(fmt.bitsPerSample));
    }

    void bextBody_data()
    {
        QTest::addColumn<QDate>("day");
        QTest::addColumn<QTime>("clock");
        QTest::addColumn<QByteArray>("date");
        QTest::addColumn<QByteArray>("time");

        const auto row = [](const char* name, const QDate& day, const QTime& clock,
                            const char* date, const char* time) {
            QTest::newRow(name) << day << clock << QByteArray(date) << QByteArray(time);
        };
        row("9 March 2025, 7:05:03 in the morning", {2025, 3, 9}, {7, 5, 3}, "2025-03-09",
            "07:05:03");
        row("afternoon on the 24-hour clock", {2026, 12, 31}, {19, 5, 3}, "2026-12-31", "19:05:03");
        row("midnight", {2026, 1, 1}, {0, 0, 0}, "2026-01-01", "00:00:00");
        row("last millisecond of a day", {2024, 2, 29}, {23, 59, 59, 999}, "2024-02-29",
            "23:59:59");
    }

    void bextBody()
    {
        QFETCH(QDate, day);
        QFETCH(QTime, clock);
        QFETCH(QByteArray, date);
        QFETCH(QByteArray, time);
        const QByteArray body = ::bextBody(day, clock);
        QCOMPARE(body.size(), 858);
        QCOMPARE(body.mid(320, 10), date);
        QCOMPARE(body.mid(330, 8), time);
        QCOMPARE(body, bextBytes(date.constData(), time.constData()).mid(8));
    }

    void writeBextChunk()
    {
        const QByteArray before = wavBytes({}) + QByteArray(4, '-');
        FileStream output(before, QIODevice::ReadWrite);
        output.file.seek(12);

        QCOMPARE(::writeBextChunk(output.stream), g_bextChunkSize);
        QCOMPARE(output.file.pos(), g_outputStart);
        QCOMPARE(withoutDate(output.bytes()), wavBytes({}) + bextWithoutDate());
    }

    /// Read the other way round, a chunk of a recording at midnight could be a day ahead.
    void bextDateIsReadBeforeTheTime()
    {
        g_clock = {0};
        if (QDateTime::currentMSecsSinceEpoch() != 0)
            QSKIP("The toolkit reads the clock by another call here.");
        for (const int day : {9, 11}) {
            const QDateTime midnight(QDate(2025, 3, day + 1), QTime(0, 0));
            g_clock = {midnight.toSecsSinceEpoch() - 1, midnight.toSecsSinceEpoch()};
            FileStream output({}, QIODevice::ReadWrite);
            QCOMPARE(::writeBextChunk(output.stream), g_bextChunkSize);
            QVERIFY(g_clock.isEmpty());
            const QByteArray date = "2025-03-" + QByteArray::number(day).rightJustified(2, '0');
            QCOMPARE(output.bytes().mid(8 + 320, 18), date + "00:00:00");
        }
    }

    void deviceRefusesWrite_data() { addWriters(); }

    /// On a device that has room for each number of bytes up to those that the writer needs.
    void deviceRefusesWrite()
    {
        QFETCH(Writer, writes);
        QFETCH(qint64, bytes);
        FaultyStream whole;
        whole.device.capacity = bytes;
        QCOMPARE(writes(whole.stream), bytes);
        QCOMPARE(whole.device.data().size(), bytes);

        for (qint64 capacity = 0; capacity < bytes; ++capacity) {
            FaultyStream output;
            output.device.capacity = capacity;
            QCOMPARE(writes(output.stream), -1);
            QCOMPARE(output.stream.status(), Status::WriteFailed);
            QVERIFY(whole.device.data().startsWith(output.device.data()));
        }
    }

    void streamFailedBefore_data() { addWriters(); }

    /// A write that did not go through makes every later writer of the stream fail.
    void streamFailedBefore()
    {
        QFETCH(Writer, writes);
        FaultyStream output("old");
        output.device.seek(3);
        output.device.capacity = 3;
        output.stream << quint32(1);
        QCOMPARE(output.stream.status(), Status::WriteFailed);

        output.device.capacity = FaultyBuffer::never;
        QCOMPARE(writes(output.stream), -1);
        QCOMPARE(output.device.data(), "old"_ba);
    }

private:
    static void addWriters()
    {
        QTest::addColumn<Writer>("writes");
        QTest::addColumn<qint64>("bytes");

        const auto row = [](const char* name, qint64 bytes, Writer writes) {
            QTest::newRow(name) << writes << bytes;
        };
        row("RIFF header", 12, [](QDataStream& s) { return ::writeRiffHeader(s, 40); });
        row("chunk header", 8, [](QDataStream& s) {
            return ::writeChunkHeader(s, {{'d', 'a', 't', 'a'}, 4});
        });
        row("fmt body", 16, [](QDataStream& s) { return ::writeFmtBody(s, FmtChunk()); });
        row("bext chunk", g_bextChunkSize, [](QDataStream& s) { return ::writeBextChunk(s); });
        row("cue chunk without points", 4, [](QDataStream& s) { return writeCueChunk(s, {}); });
        row("cue chunk with a point", 28, [](QDataStream& s) {
            return writeCueChunk(s, {{}, 1, {{1, 2, {'d', 'a', 't', 'a'}, 0, 0, 3}}});
        });
    }
};

SPLICORA_TEST_MAIN(tst_ChunkWriter)
#include "tst_chunkwriter.moc"
