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

constexpr qint64 g_twoGiB = Q_INT64_C(0x80000000);
constexpr char g_fill = '?';
constexpr quint32 g_untouched = 0x3f3f3f3f; // four times g_fill

const Format g_mono = {1, 16, 48000};
const QByteArray g_data = dataChunk("abcd");
const QByteArray g_bext = chunk("bext", QByteArray(602, '\0'));

/// A record in which every byte is known, so that what the parse leaves alone shows.
WavInfo filledInfo(bool hasBext = false)
{
    WavInfo info;
    std::memset(&info, g_fill, sizeof info);
    info.hasBext = hasBext;
    return info;
}

QByteArray fmtBody(const FmtChunk& fmt)
{
    return le16(fmt.formatTag) + le16(fmt.channels) + le32(fmt.sampleRate) + le32(fmt.byteRate)
           + le16(fmt.blockAlign) + le16(fmt.bitsPerSample);
}

} // namespace

class tst_ReadWavInfo : public QObject
{
    Q_OBJECT

private slots:
    void readable_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<quint32>("riffSize");
        QTest::addColumn<QByteArray>("fmtBody");
        QTest::addColumn<quint32>("dataSize");
        QTest::addColumn<bool>("hasBext");
        QTest::addColumn<qint64>("position"); // after the 16 bytes of the `fmt ` body

        const auto format = [](const char* name, const Format& fmt,
                               const QByteArray& extension = {}) {
            const QByteArray bytes = wavBytes({fmtChunk(fmt, extension), g_data});
            QTest::newRow(name) << bytes << quint32(bytes.size() - 8) << fmt.body() << quint32(4)
                                << false << qint64(36);
        };
        format("16-bit mono", g_mono);
        format("24-bit, six channels", {6, 24, 96000});
        format("floating point", {2, 32, 48000, 3});
        format("extensible, with its extension", {2, 24, 48000, 0xfffe},
               le16(22) + QByteArray(22, '\1'));
        format("fmt of 18 bytes", g_mono, le16(0));
        format("unknown format tag", {1, 4, 8000, 0x1234});
        format("channel count 0", {0, 16, 48000});
        format("ten channels", {10, 16, 48000});
        format("65535 channels of 65535 bits", {65535, 65535, 48000, 1, 65535});
        format("rate of 2^32-1", {1, 16, -1, 1, 2, 0xffffffff});
        format("block align 0", {2, 16, 48000, 1, 0});
        format("fields that contradict each other", {2, 16, 48000, 1, 7, 5});

        const auto layout = [](const char* name, const QByteArray& bytes, quint32 dataSize,
                               bool hasBext, qint64 position) {
            const auto riffSize = qFromLittleEndian<quint32>(bytes.constData() + 4);
            QTest::newRow(name) << bytes << riffSize << g_mono.body() << dataSize << hasBext
                                << position;
        };
        const QByteArray fmt = fmtChunk(g_mono); // 24 bytes
        layout("data before fmt", wavBytes({g_data, fmt}), 4, false, 48);
        layout("bext before fmt", wavBytes({g_bext, fmt, g_data}), 4, true, 12 + 610 + 24);
        layout("bext after data", wavBytes({fmt, g_data, g_bext}), 4, true, 36);
        layout("bext without a body", wavBytes({fmt, g_data, chunk("bext", {})}), 4, true, 36);
        layout("bext in upper case", wavBytes({fmt, g_data, chunk("BEXT", "ab")}), 4, false, 36);
        layout("bext after odd and padded data",
               wavBytes({fmt, paddedChunk("data", "abc"), g_bext}), 3, false, 36);
        layout("bext after odd data without pad byte", wavBytes({fmt, dataChunk("abc"), g_bext}), 3,
               true, 36);
        layout("first of two data chunks", wavBytes({fmt, g_data, dataChunk("123456")}), 4, false,
               36);
        layout("first of two fmt chunks", wavBytes({fmt, fmtChunk({6, 24, 96000}), g_data}), 4,
               false, 36);
        layout("empty data", wavBytes({fmt, dataChunk({})}), 0, false, 36);
        layout("data that claims more than there is", wavBytes({fmt, dataChunk("ab", 1000)}), 1000,
               false, 36);
        layout("data of 2^31 bytes hides the bext after it",
               wavBytes({fmt, dataChunk("abcd", g_twoGiB), g_bext}), 0x80000000, false, 36);
        layout("data of 2^32-1 bytes", wavBytes({fmt, dataChunk("abcd", 0xffffffff)}), 0xffffffff,
               false, 36);
        layout("RIFF size 0", wavBytes({fmt, g_data}, 0), 4, false, 36);
        layout("RIFF size of 2^32-1", wavBytes({fmt, g_data}, 0xffffffff), 4, false, 36);
        layout("chunk name with a high byte after data",
               wavBytes({fmt, g_data, chunk("be\xc3\xa4", "ab"), g_bext}), 4, false, 36);
        layout("cut chunk header after data", wavBytes({fmt, g_data}) + "bext\2", 4, false, 36);
        layout("stray byte after data", wavBytes({fmt, g_data}) + QByteArray(1, '\0'), 4, false,
               36);

        // A `fmt ` of 14 bytes: its last field is read from the header that follows.
        const QByteArray shortFmt = chunk("fmt ", g_mono.body().left(14));
        const QByteArray bytes = wavBytes({shortFmt, g_data});
        QTest::newRow("fmt two bytes short")
            << bytes << quint32(bytes.size() - 8) << QByteArray(g_mono.body().left(14) + "da")
            << quint32(4) << false << qint64(36);
    }

    void readable()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, hasBext);
        FileStream source(bytes);
        source.file.seek(bytes.size() / 2);

        WavInfo info = filledInfo(!hasBext); // which has no say
        QVERIFY(readWavInfo(&source.file, &info));
        QTEST(info.riff.size, "riffSize");
        QTEST(fmtBody(info.fmt), "fmtBody");
        QTEST(info.dataSize, "dataSize");
        QCOMPARE(info.hasBext, hasBext);
        QTEST(source.file.pos(), "position");
        const QByteArray fill(4, g_fill);
        QCOMPARE(QByteArray(info.riff.id, 4), fill);
        QCOMPARE(QByteArray(info.riff.format, 4), fill);
        QCOMPARE(QByteArray(info.fmt.id, 4), fill);
        QCOMPARE(info.fmt.size, g_untouched);
    }

    void unreadable_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>(
            "fmtRead"); // the steps are taken in order, each fills its own fields
        const auto row = [](const char* name, const QByteArray& bytes, bool fmtRead) {
            QTest::newRow(name) << bytes << fmtRead;
        };

        const QByteArray fmt = fmtChunk(g_mono);
        const QByteArray whole = wavBytes({fmt, g_data});
        row("empty file", {}, false);
        row("text file", "Not a recording, only a name that looks like one.\n", false);
        row("other RIFF file", "RIFF" + whole.mid(4, 4) + "AVI " + whole.mid(12), false);
        row("big-endian sister format", "RIFX" + whole.mid(4), false);
        row("RIFF header alone", wavBytes({}), false);
        row("no fmt", wavBytes({g_data}), false);
        row("no data", wavBytes({fmt, g_bext}), true);
        row("fmt body cut after 15 bytes", wavBytes({fmt}).left(12 + 8 + 15), false);
        row("fmt header without a body", wavBytes({g_data, chunk("fmt ", {})}), false);
        row("fmt of 14 bytes at the end of the file",
            wavBytes({g_data, chunk("fmt ", g_mono.body().left(14))}), false);
        row("data header cut in its size", wavBytes({fmt, g_data}).left(36 + 6), true);

        row("odd and padded chunk between fmt and data",
            wavBytes({fmt, paddedChunk("LIST", "abc"), g_data}), true);
        row("odd and padded chunk before fmt", wavBytes({paddedChunk("LIST", "abc"), fmt, g_data}),
            false);
        row("chunk name with byte 128 between fmt and data",
            wavBytes({fmt, chunk("ab\x80\x81", "ab"), g_data}), true);
        row("chunk name with byte 128 before fmt", wavBytes({chunk("\x80xyz", "ab"), fmt, g_data}),
            false);
        row("chunk of 2^31 bytes between fmt and data",
            wavBytes({fmt, chunk("junk", {}, g_twoGiB), g_data}), true);
        row("chunk of 2^32-1 bytes before fmt",
            wavBytes({chunk("junk", {}, 0xffffffff), fmt, g_data}), false);
        row("data of 2^31 bytes before fmt", wavBytes({dataChunk("abcd", g_twoGiB), fmt}), false);
        row("fmt that claims more than the file holds",
            wavBytes({chunk("fmt ", g_mono.body(), 1000), g_data}), true);
    }

    void unreadable()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, fmtRead);
        FileStream source(bytes);

        WavInfo info = filledInfo();
        QVERIFY(!readWavInfo(&source.file, &info));
        QCOMPARE(info.dataSize, g_untouched);
        QVERIFY(!info.hasBext);
        if (fmtRead)
            QCOMPARE(fmtBody(info.fmt), g_mono.body());
    }
};

SPLICORA_TEST_MAIN(tst_ReadWavInfo)
#include "tst_readwavinfo.moc"
