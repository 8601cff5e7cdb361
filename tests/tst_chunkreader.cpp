// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"
#include "tests/support/teststreams.h"
#include "wave/chunks.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr quint32 g_untouched = 0xdeadbeef;
constexpr qint64 g_twoGiB = Q_INT64_C(0x80000000);

using Status = QDataStream::Status;

const QByteArray g_fmt = fmtChunk(Format()); // 24 bytes
const QByteArray g_data4 = dataChunk("abcd"); // 12 bytes
const QByteArray g_plainWav = wavBytes({g_fmt, g_data4}); // fmt body at 20, data body at 44

using Reader = bool (*)(QDataStream& s);

/// Readers that succeed on a stream with g_plainWav at byte 12.
void addReaders()
{
    QTest::addColumn<Reader>("reads");

    QTest::newRow("RIFF check") << Reader([](QDataStream& s) {
        quint32 riffSize = 0;
        return checkRiffWave(s, &riffSize);
    });
    QTest::newRow("search for the first chunk")
        << Reader([](QDataStream& s) { return findChunk(s, "fmt ", 0) == 20; });
    QTest::newRow("search for a later chunk")
        << Reader([](QDataStream& s) { return findChunk(s, "data", 0) == 44; });
    QTest::newRow("chunk header") << Reader([](QDataStream& s) {
        ChunkHeader header = {};
        return readChunkHeader(s, &header) && header.size == 16;
    });
}

} // namespace

class tst_ChunkReader : public QObject
{
    Q_OBJECT

private slots:
    /// What is refused is refused in silence, before the device could complain about it.
    void init() { QTest::failOnWarning(QRegularExpression(u"."_s)); }

    void checkRiffWave_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<quint32>("riffSize");
        QTest::addColumn<Status>("status");

        QTest::newRow("ordinary file") << g_plainWav << true << quint32(40) << Status::Ok;
        QTest::newRow("header and nothing else")
            << wavBytes({}) << true << quint32(4) << Status::Ok;
        QTest::newRow("size 0 in a longer file")
            << wavBytes({g_data4}, 0) << true << quint32(0) << Status::Ok;
        QTest::newRow("size far beyond the file")
            << wavBytes({g_data4}, 0xffffffff) << true << quint32(0xffffffff) << Status::Ok;

        const auto refused = [](const char* name, const QByteArray& bytes, Status status) {
            QTest::newRow(name) << bytes << false << quint32(0) << status;
        };
        refused("id in lower case", "riff" + g_plainWav.mid(4), Status::Ok);
        refused("big-endian sister format", "RIFX" + g_plainWav.mid(4), Status::Ok);
        refused("64-bit sister format", "RF64" + g_plainWav.mid(4), Status::Ok);
        refused("form type in mixed case", "RIFF" + le32(40) + "WAVe" + g_fmt, Status::Ok);
        refused("other form type", "RIFF" + le32(40) + "AVI " + g_fmt, Status::Ok);
        refused("form type cut after three characters", "RIFF" + le32(3) + "WAV", Status::Ok);
        refused("end after the size", "RIFF" + le32(0), Status::Ok);
        refused("size cut after two bytes", "RIFF" + QByteArray(2, '\0'), Status::ReadPastEnd);
        refused("end after the id", "RIFF", Status::ReadPastEnd);
        refused("empty file", {}, Status::ReadPastEnd);
    }

    void checkRiffWave()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, accepted);
        FileStream source(bytes);
        source.file.seek(bytes.size() / 2);

        quint32 riffSize = g_untouched;
        QCOMPARE(::checkRiffWave(source.stream, &riffSize), accepted);
        QTEST(riffSize, "riffSize");
        QTEST(source.stream.status(), "status");
        if (accepted)
            QCOMPARE(source.file.pos(), 12);
    }

    void checkRiffWaveOnFaultyDevice_data()
    {
        QTest::addColumn<qint64>("refusedSeek");
        QTest::addColumn<qint64>("unreadableFrom");

        QTest::newRow("seek to the start") << qint64(0) << FaultyBuffer::never;
        QTest::newRow("read of the id") << FaultyBuffer::never << qint64(0);
        QTest::newRow("read of the size") << FaultyBuffer::never << qint64(4);
        QTest::newRow("read of the form type") << FaultyBuffer::never << qint64(8);
    }

    void checkRiffWaveOnFaultyDevice()
    {
        QFETCH(qint64, refusedSeek);
        QFETCH(qint64, unreadableFrom);
        FaultyStream source(g_plainWav);
        source.device.refusedSeek = refusedSeek;
        source.device.unreadableFrom = unreadableFrom;

        quint32 riffSize = g_untouched;
        QVERIFY(!::checkRiffWave(source.stream, &riffSize));
        QCOMPARE(riffSize, 0u);
    }

    void findChunk_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<qint64>("from");
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<quint32>("size");
        QTest::addColumn<Status>("status");

        const auto found = [](const char* name, const QByteArray& bytes, const char* id,
                              qint64 offset, quint32 size, qint64 from = 0) {
            QTest::newRow(name) << bytes << QByteArray(id) << from << offset << size << Status::Ok;
        };
        const auto missed = [](const char* name, const QByteArray& bytes, const char* id,
                               qint64 from = 0, Status status = Status::Ok) {
            QTest::newRow(name) << bytes << QByteArray(id) << from << qint64(-1) << g_untouched
                                << status;
        };

        found("first chunk of the file", g_plainWav, "fmt ", 20, 16);
        found("data after fmt", g_plainWav, "data", 44, 4);
        found("fmt after data", wavBytes({g_data4, g_fmt}), "fmt ", 32, 16);
        missed("no chunk of the name", g_plainWav, "bext");
        missed("name in upper case", g_plainWav, "DATA");
        missed("name that differs in its last character", g_plainWav, "datb");
        missed("no chunk at all", wavBytes({}), "data");
        missed("empty file", {}, "data");
        missed("file that ends in the RIFF header", g_plainWav.left(9), "fmt ");
        found("RIFF header that says something else", QByteArray(12, '\0') + g_data4, "data", 20,
              4);
        found("first of two chunks of one name", wavBytes({g_data4, dataChunk("12345678")}), "data",
              20, 4);
        found("after an empty chunk", wavBytes({chunk("junk", {}), g_data4}), "data", 28, 4);
        found("wanted chunk without a body", wavBytes({chunk("data", {})}), "data", 20, 0);
        found("name of blanks and digits", wavBytes({g_fmt, chunk(" 1 2", "ab")}), " 1 2", 44, 2);

        missed("odd chunk with its pad byte before the wanted one",
               wavBytes({g_fmt, paddedChunk("LIST", "abc"), g_data4}), "data");
        found("odd chunk without pad byte before the wanted one",
              wavBytes({g_fmt, chunk("LIST", "abc"), g_data4}), "data", 55, 4);
        found("wanted chunk is odd and padded", wavBytes({g_fmt, paddedChunk("data", "abc")}),
              "data", 44, 3);
        missed("odd last chunk with its pad byte", wavBytes({g_fmt, paddedChunk("data", "abc")}),
               "bext");

        missed("chunk named with byte 128 before the wanted one",
               wavBytes({g_fmt, chunk("ab\x80z", "ab"), g_data4}), "data");
        missed("chunk named with byte 255 before the wanted one",
               wavBytes({g_fmt, chunk("abc\xff", "ab"), g_data4}), "data");
        missed("chunk named with byte 31 before the wanted one",
               wavBytes({g_fmt, chunk("\x1fxyz", "ab"), g_data4}), "data");
        found("chunk named with byte 127 before the wanted one",
              wavBytes({g_fmt, chunk("abc\x7f", "ab"), g_data4}), "data", 54, 4);
        missed("wanted name has a control byte itself", wavBytes({g_fmt, chunk("ab\nd", "ab")}),
               "ab\nd");

        missed("chunk of 2^31 bytes before the wanted one",
               wavBytes({g_fmt, chunk("junk", {}, g_twoGiB), g_data4}), "data");
        missed("chunk of 2^32-1 bytes before the wanted one",
               wavBytes({g_fmt, chunk("junk", {}, 0xffffffff), g_data4}), "data");
        missed("chunk of 2^31-1 bytes ends past the end of the file",
               wavBytes({g_fmt, chunk("junk", {}, g_twoGiB - 1), g_data4}), "data");
        missed("chunk that claims one byte more than the file holds",
               wavBytes({g_fmt, dataChunk("abcd", 5)}), "bext");
        found("wanted chunk claims 2^31 bytes", wavBytes({g_fmt, dataChunk("abcd", g_twoGiB)}),
              "data", 44, 0x80000000);
        found("wanted chunk claims 2^32-1 bytes", wavBytes({g_fmt, dataChunk("abcd", 0xffffffff)}),
              "data", 44, 0xffffffff);
        found("wanted header is the end of the file", wavBytes({g_fmt, dataChunk({}, 4)}), "data",
              44, 4);

        // A cut name must not be filled up with the characters of the name before it.
        missed("one stray letter at the end", g_plainWav + "b", "bext");
        missed("three stray letters at the end", g_plainWav + "bex", "bext");
        missed("wanted name without its size at the end", g_plainWav + "bext", "bext", 0,
               Status::ReadPastEnd);
        missed("wanted name with half its size at the end",
               g_plainWav + "bext" + QByteArray(2, '\1'), "bext", 0, Status::ReadPastEnd);
        missed("other name with three bytes of its size at the end",
               g_plainWav + "LIST" + QByteArray(3, '\1'), "bext", 0, Status::ReadPastEnd);

        found("from the first chunk header, counted from there", g_plainWav, "fmt ", 8, 16, 12);
        found("from the first chunk header, over a chunk", g_plainWav, "data", 32, 4, 12);
        found("from the second chunk header, counted from there", g_plainWav, "data", 8, 4, 36);
        missed("from a header after the wanted chunk", g_plainWav, "fmt ", 36);
        missed("from byte 1, where the RIFF header is taken for a chunk", g_plainWav, "fmt ", 1);
        missed("from the middle of a body", g_plainWav, "data", 20);
        missed("from before the file", g_plainWav, "data", -1);
        missed("from the end of the file", g_plainWav, "fmt ", g_plainWav.size());
        missed("from past the end of the file", g_plainWav, "fmt ", g_plainWav.size() + 100);
    }

    void findChunk()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, id);
        QFETCH(qint64, from);
        FileStream source(bytes);
        const qint64 position = bytes.size() / 3;
        source.file.seek(position);

        quint32 size = g_untouched;
        QTEST(::findChunk(source.stream, id.constData(), from, &size), "offset");
        QTEST(size, "size");
        QCOMPARE(source.file.pos(), position);
        QTEST(source.stream.status(), "status");

        source.stream.resetStatus();
        QTEST(::findChunk(source.stream, id.constData(), from), "offset");
        QCOMPARE(source.file.pos(), position);
        QTEST(source.stream.status(), "status");
    }

    void findChunkOnFaultyDevice_data()
    {
        QTest::addColumn<qint64>("from");
        QTest::addColumn<qint64>("refusedSeek");
        QTest::addColumn<qint64>("unreadableFrom");
        QTest::addColumn<bool>("goesBack");

        QTest::newRow("seek to the start")
            << qint64(36) << qint64(36) << FaultyBuffer::never << false;
        QTest::newRow("seek over the RIFF header")
            << qint64(0) << qint64(12) << FaultyBuffer::never << true;
        QTest::newRow("read of a header") << qint64(0) << FaultyBuffer::never << qint64(36) << true;
    }

    void findChunkOnFaultyDevice()
    {
        QFETCH(qint64, from);
        QFETCH(qint64, refusedSeek);
        QFETCH(qint64, unreadableFrom);
        FaultyStream source(g_plainWav);
        source.device.seek(5);
        source.device.seeks.clear();
        source.device.refusedSeek = refusedSeek;
        source.device.unreadableFrom = unreadableFrom;

        quint32 size = g_untouched;
        QCOMPARE(::findChunk(source.stream, "data", from, &size), -1);
        QCOMPARE(size, g_untouched);
        QTEST(source.device.seeks.contains(5), "goesBack");
        QCOMPARE(source.device.pos(), 5);
        QCOMPARE(source.stream.status(), Status::ReadCorruptData); // later readers fail
    }

    void readChunkHeader_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("whole");
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<quint32>("size");

        QTest::newRow("header with a body")
            << chunk("data", "ab") << true << "data"_ba << quint32(2);
        QTest::newRow("header alone") << chunk("LIST", {}, 7) << true << "LIST"_ba << quint32(7);
        QTest::newRow("size of 2^32-1")
            << chunk("junk", {}, 0xffffffff) << true << "junk"_ba << quint32(0xffffffff);
        QTest::newRow("name that is not text")
            << chunk("\x01\x80\xff\n", "ab") << true << "\x01\x80\xff\n"_ba << quint32(2);
        QTest::newRow("size cut after three bytes")
            << chunk("data", {}).left(7) << false << ""_ba << quint32(0);
        QTest::newRow("name alone") << "data"_ba << false << ""_ba << quint32(0);
        QTest::newRow("name cut after three characters")
            << "dat"_ba << false << ""_ba << quint32(0);
        QTest::newRow("nothing left") << QByteArray() << false << ""_ba << quint32(0);
    }

    void readChunkHeader()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, whole);
        const qint64 position = 5;
        FileStream source(QByteArray(position, '-') + bytes);
        source.file.seek(position);

        ChunkHeader header = {{'?', '?', '?', '?'}, g_untouched};
        QCOMPARE(::readChunkHeader(source.stream, &header), whole);
        QTEST(header.size, "size");
        if (whole) {
            QTEST(QByteArray(header.id, 4), "id");
            QCOMPARE(source.file.pos(), position + 8);
        }
        QCOMPARE(source.stream.status(), whole ? Status::Ok : Status::ReadPastEnd);
    }

    void readChunkHeaderOnUnreadableDevice()
    {
        FaultyStream source(g_data4);
        source.device.unreadableFrom = 0;

        ChunkHeader header = {{'?', '?', '?', '?'}, g_untouched};
        QVERIFY(!::readChunkHeader(source.stream, &header));
        QCOMPARE(header.size, g_untouched); // not even tried
        QCOMPARE(source.stream.status(), Status::ReadCorruptData); // later readers fail
    }

    void shortTypedReadSticks_data() { addReaders(); }

    /// A search that ends in a cut chunk size spoils the stream for every reader that follows.
    void shortTypedReadSticks()
    {
        QFETCH(Reader, reads);
        FileStream source(g_plainWav + "LIST" + QByteArray(3, '\1'));
        source.file.seek(12);
        QVERIFY(reads(source.stream));

        source.file.seek(12);
        QCOMPARE(::findChunk(source.stream, "bext", 0), -1);
        QCOMPARE(source.stream.status(), Status::ReadPastEnd);
        QCOMPARE(source.file.pos(), 12);
        QVERIFY(!reads(source.stream));
        QCOMPARE(source.stream.status(), Status::ReadPastEnd);
    }

    void shortRawReadLeavesStatus_data() { addReaders(); }

    /// Raw reads and skips that come up short leave the stream fit for every reader that follows.
    void shortRawReadLeavesStatus()
    {
        QFETCH(Reader, reads);
        FileStream source(g_plainWav + QByteArray(1, '\0'));
        QCOMPARE(::findChunk(source.stream, "bext", 0), -1); // ends at the stray byte
        char buffer[8] = {};
        source.file.seek(source.file.size() - 3);
        QCOMPARE(readRaw(source.stream, buffer, 8), 3);
        QCOMPARE(readRaw(source.stream, buffer, 8), 0);
        source.file.seek(source.file.size() - 3);
        QCOMPARE(skipRaw(source.stream, 100), 3);
        QCOMPARE(source.stream.status(), Status::Ok);

        source.file.seek(12);
        QVERIFY(reads(source.stream));
        QCOMPARE(source.stream.status(), Status::Ok);
    }

    void readRawAndSkipRaw_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<qint64>("count");

        // The source holds "abcdefgh" and is at "c".
        QTest::newRow("some bytes") << qint64(3) << qint64(3);
        QTest::newRow("all that is left") << qint64(6) << qint64(6);
        QTest::newRow("more than is left") << qint64(8) << qint64(6);
        QTest::newRow("nothing") << qint64(0) << qint64(0);
        QTest::newRow("negative count") << qint64(-1) << qint64(-1);
        QTest::newRow("2^31-1 bytes, the most there is") << g_twoGiB - 1 << qint64(6);
        QTest::newRow("2^31 bytes") << g_twoGiB << qint64(-1);
        QTest::newRow("2^32-1 bytes") << qint64(0xffffffff) << qint64(-1);
        QTest::newRow("2^32 bytes, the rounded-up largest size") << 2 * g_twoGiB << qint64(-1);
    }

    void readRawAndSkipRaw()
    {
        QFETCH(qint64, size);
        QFETCH(qint64, count);
        const qint64 moved = std::max(count, qint64(0));
        FileStream source("abcdefgh");
        source.file.seek(2);

        QByteArray buffer(8, '-');
        QCOMPARE(readRaw(source.stream, buffer.data(), size), count);
        QCOMPARE(buffer, "cdefgh"_ba.first(moved).leftJustified(8, '-'));
        QCOMPARE(source.file.pos(), 2 + moved);
        source.file.seek(2);
        QCOMPARE(skipRaw(source.stream, size), count);
        QCOMPARE(source.file.pos(), 2 + moved);
        QCOMPARE(source.stream.status(), Status::Ok);
    }

    void readRawOnUnreadableDevice()
    {
        FaultyStream source("abcdefgh");
        source.device.unreadableFrom = 0;
        char byte = '-';
        QCOMPARE(readRaw(source.stream, &byte, 1), -1);
        QCOMPARE(byte, '-');
        QCOMPARE(source.stream.status(), Status::ReadCorruptData); // later readers fail
    }

    void isPrintableId_data()
    {
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<uint>("length");
        QTest::addColumn<bool>("printable");

        QTest::newRow("letters and a blank") << "fmt "_ba << 4u << true;
        QTest::newRow("no byte checked") << "\0\0\0\0"_ba << 0u << true;
        QTest::newRow("byte 32") << "\x20\x20\x20\x20"_ba << 4u << true;
        QTest::newRow("byte 127") << "\x7f\x7f\x7f\x7f"_ba << 4u << true;
        QTest::newRow("byte 31") << "\x1fxyz"_ba << 4u << false;
        QTest::newRow("byte 0") << QByteArray("a\0cd", 4) << 4u << false;
        QTest::newRow("byte 128") << "ab\x80z"_ba << 4u << false;
        QTest::newRow("byte 255") << "abc\xff"_ba << 4u << false;
        QTest::newRow("bad byte after the length") << "abc\xff"_ba << 3u << true;
        QTest::newRow("bad byte at the end of a longer text") << "abcdefg\n"_ba << 8u << false;
    }

    void isPrintableId()
    {
        QFETCH(QByteArray, id);
        QFETCH(uint, length);
        QTEST(::isPrintableId(id.constData(), length), "printable");
    }

    void isId_data()
    {
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<bool>("same");

        QTest::newRow("same four characters") << "data"_ba << true;
        QTest::newRow("same start of a longer text") << "database"_ba << true;
        QTest::newRow("other case") << "Data"_ba << false;
        QTest::newRow("other last character") << "dat "_ba << false;
    }

    void isId()
    {
        QFETCH(QByteArray, id);
        QTEST(::isId(id.constData(), "data"), "same");
    }

    void openRegularFile_data()
    {
        QTest::addColumn<Files>("files");
        QTest::addColumn<bool>("opened");

        const QString name = u"take.wav"_s;
        const QString other = u"other.wav"_s;
        QTest::newRow("regular file") << Files{{name, g_plainWav}} << true;
        QTest::newRow("link to one")
            << Files{{other, g_plainWav}, {name, g_linkTo + "other.wav"}} << true;
        QTest::newRow("folder of that name") << Files{{name, g_emptyDirectory}} << false;
        QTest::newRow("nothing of that name") << Files{{other, g_plainWav}} << false;
        QTest::newRow("pipe") << Files{{name, g_pipe}} << false;
    }

    void openRegularFile()
    {
        QFETCH(Files, files);
        QFETCH(bool, opened);
        const TempDir dir(files);
        QFile file(dir.path(u"take.wav"_s));
        QCOMPARE(::openRegularFile(&file), opened);
        QCOMPARE(file.openMode(), opened ? QIODevice::ReadOnly : QIODevice::NotOpen);
        if (opened)
            QCOMPARE(file.readAll(), g_plainWav);
    }
};

SPLICORA_TEST_MAIN(tst_ChunkReader)
#include "tst_chunkreader.moc"
