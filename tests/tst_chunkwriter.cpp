// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/testmain.h"
#include "tests/support/teststreams.h"
#include "tests/support/wavbuilder.h"
#include "wave/chunks.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTest>

#include <sys/time.h>

#include <ctime>

using namespace Qt::Literals::StringLiterals;

using Writer = qint64 (*)(QDataStream& s);
Q_DECLARE_METATYPE(Writer)

class tst_ChunkWriter : public QObject
{
    Q_OBJECT

private slots:
    void writeRiffHeader_data();
    void writeRiffHeader();
    void writeRiffHeaderWhenStartIsOutOfReach();
    void writeChunkHeader_data();
    void writeChunkHeader();
    void writeFmtBody_data();
    void writeFmtBody();

    void bextBody_data();
    void bextBody();
    void writeBextChunk();
    void bextDateAndTime();
    void bextDateIsReadBeforeTheTime();

    void deviceRefusesWrite_data();
    void deviceRefusesWrite();
    void deviceHoldsJustEnough_data();
    void deviceHoldsJustEnough();
    void streamFailedBefore_data();
    void streamFailedBefore();
};

namespace {

using Status = QDataStream::Status;

FmtChunk fmtRecord(quint16 tag, quint16 channels, quint32 rate, quint32 byteRate,
                   quint16 blockAlign, quint16 bits)
{
    return {{'?', '?', '?', '?'}, 0xdeadbeef, tag, channels, rate, byteRate, blockAlign, bits};
}

const Writer g_writesRiffHeader = [](QDataStream& s) { return writeRiffHeader(s, 40); };
const Writer g_writesChunkHeader = [](QDataStream& s) {
    return writeChunkHeader(s, {{'d', 'a', 't', 'a'}, 4});
};
const Writer g_writesFmtBody = [](QDataStream& s) {
    return writeFmtBody(s, fmtRecord(1, 1, 48000, 96000, 2, 16));
};
const Writer g_writesBext = [](QDataStream& s) { return writeBextChunk(s); };
const Writer g_writesEmptyCue = [](QDataStream& s) { return writeCueChunk(s, {}); };
const Writer g_writesCue = [](QDataStream& s) {
    return writeCueChunk(s, {{}, 1, {{1, 2, {'d', 'a', 't', 'a'}, 0, 0, 3}}});
};

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

void tst_ChunkWriter::writeRiffHeader_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<qint64>("position");
    QTest::addColumn<quint32>("riffSize");
    QTest::addColumn<QByteArray>("after");

    const QByteArray old = QByteArray(12, '-') + "half written";
    QTest::newRow("empty file") << QByteArray() << qint64(0) << quint32(0)
                                << QByteArray("RIFF" + le32(0) + "WAVE");
    QTest::newRow("at the end of a half-written file")
        << old << qint64(old.size()) << quint32(0x01020304)
        << QByteArray("RIFF\x04\x03\x02\x01WAVEhalf written");
    QTest::newRow("in the middle of a half-written file")
        << old << qint64(17) << quint32(0) << QByteArray("RIFF" + le32(0) + "WAVEhalf written");
    QTest::newRow("largest size") << old << qint64(0) << quint32(0xffffffff)
                                  << QByteArray("RIFF\xff\xff\xff\xffWAVEhalf written");
}

void tst_ChunkWriter::writeRiffHeader()
{
    QFETCH(QByteArray, before);
    QFETCH(qint64, position);
    QFETCH(quint32, riffSize);
    FileStream output(before, QIODevice::ReadWrite);
    output.file.seek(position);

    QCOMPARE(::writeRiffHeader(output.stream, riffSize), 12);
    QCOMPARE(output.file.pos(), 12);
    QTEST(output.bytes(), "after");
}

void tst_ChunkWriter::writeRiffHeaderWhenStartIsOutOfReach()
{
    FaultyStream output("half written");
    output.device.seek(4);
    output.device.refusedSeek = 0;

    QCOMPARE(::writeRiffHeader(output.stream, 40), -1);
    QCOMPARE(output.device.data(), "half written"_ba);
    QCOMPARE(output.device.pos(), 4);
}

void tst_ChunkWriter::writeChunkHeader_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<quint32>("size");
    QTest::addColumn<QByteArray>("written");

    QTest::newRow("ordinary header")
        << "data"_ba << quint32(0x01020304) << "data\x04\x03\x02\x01"_ba;
    QTest::newRow("odd size as it is") << "LIST"_ba << quint32(3) << QByteArray("LIST" + le32(3));
    QTest::newRow("largest size") << "junk"_ba << quint32(0xffffffff) << "junk\xff\xff\xff\xff"_ba;
    QTest::newRow("name that is not text")
        << "\x01\x80\xff\n"_ba << quint32(0) << QByteArray("\x01\x80\xff\n" + le32(0));
}

void tst_ChunkWriter::writeChunkHeader()
{
    QFETCH(QByteArray, id);
    QFETCH(quint32, size);
    QFETCH(QByteArray, written);
    FileStream output("0123456789ABCDEF", QIODevice::ReadWrite);
    output.file.seek(5);

    const ChunkHeader header = {{id[0], id[1], id[2], id[3]}, size};
    QCOMPARE(::writeChunkHeader(output.stream, header), 8);
    QCOMPARE(output.file.pos(), 13);
    QCOMPARE(output.bytes(), "01234" + written + "DEF");
}

void tst_ChunkWriter::writeFmtBody_data()
{
    QTest::addColumn<quint16>("tag");
    QTest::addColumn<quint16>("channels");
    QTest::addColumn<quint32>("rate");
    QTest::addColumn<quint32>("byteRate");
    QTest::addColumn<quint16>("blockAlign");
    QTest::addColumn<quint16>("bits");

    QTest::newRow("16-bit mono") << quint16(1) << quint16(1) << quint32(48000) << quint32(96000)
                                 << quint16(2) << quint16(16);
    QTest::newRow("extensible tag, every field with its own bytes")
        << quint16(0xfffe) << quint16(0x0102) << quint32(0x03040506) << quint32(0x0708090a)
        << quint16(0x0b0c) << quint16(0x0d0e);
    QTest::newRow("largest values") << quint16(0xffff) << quint16(0xffff) << quint32(0xffffffff)
                                    << quint32(0xffffffff) << quint16(0xffff) << quint16(0xffff);
    QTest::newRow("zeros") << quint16(0) << quint16(0) << quint32(0) << quint32(0) << quint16(0)
                           << quint16(0);
}

void tst_ChunkWriter::writeFmtBody()
{
    QFETCH(quint16, tag);
    QFETCH(quint16, channels);
    QFETCH(quint32, rate);
    QFETCH(quint32, byteRate);
    QFETCH(quint16, blockAlign);
    QFETCH(quint16, bits);
    FileStream output("01234", QIODevice::ReadWrite);
    output.file.seek(5);

    const FmtChunk fmt = fmtRecord(tag, channels, rate, byteRate, blockAlign, bits);
    QCOMPARE(::writeFmtBody(output.stream, fmt), 16);
    QCOMPARE(output.file.pos(), 21);
    QCOMPARE(output.bytes(), "01234" + le16(tag) + le16(channels) + le32(rate) + le32(byteRate)
                                 + le16(blockAlign) + le16(bits));
}

void tst_ChunkWriter::bextBody_data()
{
    QTest::addColumn<QDateTime>("moment");
    QTest::addColumn<QByteArray>("date");
    QTest::addColumn<QByteArray>("time");

    const auto row = [](const char* name, const QDate& day, const QTime& clock, const char* date,
                        const char* time) {
        QTest::newRow(name) << QDateTime(day, clock, Qt::UTC) << QByteArray(date)
                            << QByteArray(time);
    };
    row("9 March 2025, 7:05:03 in the morning", {2025, 3, 9}, {7, 5, 3}, "2025-03-09", "07:05:03");
    row("afternoon on the 24-hour clock", {2026, 12, 31}, {19, 5, 3}, "2026-12-31", "19:05:03");
    row("midnight", {2026, 1, 1}, {0, 0, 0}, "2026-01-01", "00:00:00");
    row("last millisecond of a day", {2024, 2, 29}, {23, 59, 59, 999}, "2024-02-29", "23:59:59");
}

void tst_ChunkWriter::bextBody()
{
    QFETCH(QDateTime, moment);
    QFETCH(QByteArray, date);
    QFETCH(QByteArray, time);
    const QByteArray body = ::bextBody(moment.date(), moment.time());
    QCOMPARE(body.size(), 858);
    QCOMPARE(body.mid(320, 10), date);
    QCOMPARE(body.mid(330, 8), time);
    QCOMPARE(body, bextBytes(date.constData(), time.constData()).mid(8));
}

void tst_ChunkWriter::writeBextChunk()
{
    const QByteArray before = wavBytes({}) + QByteArray(4, '-');
    FileStream output(before, QIODevice::ReadWrite);
    output.file.seek(12);

    QCOMPARE(::writeBextChunk(output.stream), g_bextChunkSize);
    QCOMPARE(output.file.pos(), g_outputStart);
    const QByteArray noDate(10, '\0');
    const QByteArray noTime(8, '\0');
    QCOMPARE(withoutDate(output.bytes()), wavBytes({}) + "bext" + le32(858) + QByteArray(256, '\0')
                                              + "VELMAR Splicora" + QByteArray(17 + 32, '\0')
                                              + noDate + noTime + QByteArray(264 + 256, '\0'));
}

void tst_ChunkWriter::bextDateAndTime()
{
    // The clock is read for each chunk, whatever an earlier one had.
    FileStream earlier({}, QIODevice::ReadWrite);
    QCOMPARE(::writeBextChunk(earlier.stream), g_bextChunkSize);
    const int second = QTime::currentTime().second();
    QTRY_VERIFY(QTime::currentTime().second() != second);

    QDateTime before;
    QDateTime after;
    QByteArray bext;
    do { // again when midnight fell between the chunk's two readings of the clock
        before = QDateTime::currentDateTime();
        FileStream output({}, QIODevice::ReadWrite);
        QCOMPARE(::writeBextChunk(output.stream), g_bextChunkSize);
        bext = output.bytes();
        after = QDateTime::currentDateTime();
    } while (before.date() != after.date());

    const QString date = QString::fromLatin1(bext.mid(8 + 320, 10));
    const QString time = QString::fromLatin1(bext.mid(8 + 330, 8));
    static const QRegularExpression dateForm(u"\\A\\d{4}-\\d{2}-\\d{2}\\z"_s);
    static const QRegularExpression timeForm(u"\\A\\d{2}:\\d{2}:\\d{2}\\z"_s);
    QVERIFY2(dateForm.match(date).hasMatch(), qPrintable(date));
    QVERIFY2(timeForm.match(time).hasMatch(), qPrintable(time));

    QCOMPARE(QDate::fromString(date, Qt::ISODate), before.date());
    const QTime written = QTime::fromString(time, Qt::ISODate);
    QVERIFY2(written >= before.time().addMSecs(-before.time().msec()), qPrintable(time));
    QVERIFY2(written <= after.time(), qPrintable(time));
}

/// Read the other way round, a chunk of a recording at midnight could be a day ahead.
void tst_ChunkWriter::bextDateIsReadBeforeTheTime()
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

void tst_ChunkWriter::deviceRefusesWrite_data()
{
    QTest::addColumn<Writer>("writes");
    QTest::addColumn<qint64>("capacity");
    QTest::addColumn<QByteArray>("left");

    const QByteArray riff = "RIFF" + le32(40) + "WAVE";
    QTest::newRow("RIFF header, id") << g_writesRiffHeader << qint64(0) << QByteArray();
    QTest::newRow("RIFF header, size") << g_writesRiffHeader << qint64(7) << riff.left(4);
    QTest::newRow("RIFF header, form type") << g_writesRiffHeader << qint64(11) << riff.left(8);

    const QByteArray header = chunk("data", {}, 4);
    QTest::newRow("chunk header, id") << g_writesChunkHeader << qint64(0) << QByteArray();
    QTest::newRow("chunk header, size") << g_writesChunkHeader << qint64(7) << header.left(4);

    const QByteArray fmt = Format().body();
    QTest::newRow("fmt body, first field") << g_writesFmtBody << qint64(0) << QByteArray();
    QTest::newRow("fmt body, field in the middle") << g_writesFmtBody << qint64(6) << fmt.left(4);
    QTest::newRow("fmt body, last field") << g_writesFmtBody << qint64(15) << fmt.left(14);

    const QByteArray bext = bextBytes("", "");
    QTest::newRow("bext chunk, id") << g_writesBext << qint64(0) << QByteArray();
    QTest::newRow("bext chunk, size") << g_writesBext << qint64(7) << bext.left(4);
    QTest::newRow("bext chunk, body") << g_writesBext << qint64(865) << bext.left(8);

    const QByteArray cue = le32(1) + le32(1) + le32(2) + "data" + le32(0) + le32(0) + le32(3);
    QTest::newRow("cue chunk without points") << g_writesEmptyCue << qint64(0) << QByteArray();
    QTest::newRow("cue chunk, count") << g_writesCue << qint64(3) << QByteArray();
    QTest::newRow("cue chunk, identifier") << g_writesCue << qint64(7) << cue.left(4);
    QTest::newRow("cue chunk, chunk name") << g_writesCue << qint64(15) << cue.left(12);
    QTest::newRow("cue chunk, last field") << g_writesCue << qint64(27) << cue.left(24);
}

void tst_ChunkWriter::deviceRefusesWrite()
{
    QFETCH(Writer, writes);
    QFETCH(qint64, capacity);
    FaultyStream output;
    output.device.capacity = capacity;

    QCOMPARE(writes(output.stream), -1);
    QTEST(output.device.data(), "left");
}

void tst_ChunkWriter::deviceHoldsJustEnough_data()
{
    QTest::addColumn<Writer>("writes");
    QTest::addColumn<qint64>("bytes");

    QTest::newRow("RIFF header") << g_writesRiffHeader << qint64(12);
    QTest::newRow("chunk header") << g_writesChunkHeader << qint64(8);
    QTest::newRow("fmt body") << g_writesFmtBody << qint64(16);
    QTest::newRow("bext chunk") << g_writesBext << qint64(g_bextChunkSize);
    QTest::newRow("cue chunk without points") << g_writesEmptyCue << qint64(4);
    QTest::newRow("cue chunk with a point") << g_writesCue << qint64(28);
}

void tst_ChunkWriter::deviceHoldsJustEnough()
{
    QFETCH(Writer, writes);
    QFETCH(qint64, bytes);
    FaultyStream output;
    output.device.capacity = bytes;

    QCOMPARE(writes(output.stream), bytes);
    QCOMPARE(output.device.data().size(), bytes);
}

void tst_ChunkWriter::streamFailedBefore_data()
{
    deviceHoldsJustEnough_data();
}

/// A write that did not go through makes every later writer of the stream fail.
void tst_ChunkWriter::streamFailedBefore()
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

SPLICORA_TEST_MAIN(tst_ChunkWriter)
#include "tst_chunkwriter.moc"
