// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"
#include "tests/support/wavbuilder.h"
#include "wave/wavfileitem.h"

#include <QTest>

#include <cstddef>
#include <limits>

using namespace Qt::Literals::StringLiterals;

using Change = void (*)(WavInfo* info);

namespace {

WavInfo infoOf(quint16 channels)
{
    WavInfo info = {};
    info.riff.size = 40;
    info.fmt.formatTag = 1;
    info.fmt.channels = channels;
    info.fmt.sampleRate = 48000;
    info.fmt.byteRate = 96000;
    info.fmt.blockAlign = 2;
    info.fmt.bitsPerSample = 16;
    info.dataSize = 4;
    info.hasBext = true;
    return info;
}

/// The flags 0 to 8 as a text of ones and zeros.
QString flags(const CWavFileItem& item)
{
    QString text;
    for (int i = 0; i < 9; ++i)
        text += item.isChannelEnabled(i) ? u'1' : u'0';
    return text;
}

QByteArray recordBytes(const FmtChunk& fmt)
{
    return {reinterpret_cast<const char*>(&fmt), qsizetype(sizeof fmt)};
}

} // namespace

class tst_WavFileItem : public QObject
{
    Q_OBJECT

private slots:
    void recordsLieAsInTheFile()
    {
        if (Q_BYTE_ORDER != Q_LITTLE_ENDIAN)
            QSKIP("Numbers lie the other way round here.");
        const FmtChunk fmt = {{'f', 'm', 't', ' '}, 16, 1, 2, 48000, 192000, 4, 16};
        QCOMPARE(recordBytes(fmt), fmtChunk({2, 16, 48000}));
        const RiffHeader riff = {{'R', 'I', 'F', 'F'}, 4, {'W', 'A', 'V', 'E'}};
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(&riff), sizeof riff), wavBytes({}));
    }

    void isPlainFile()
    {
        const TempDir dir;
        const QString path = dir.add(u"take.wav"_s, wavBytes({}));
        const CWavFileItem item(path, infoOf(2));
        QCOMPARE(item.fileName(), path);
        QVERIFY(item.exists());
        QVERIFY(!item.isOpen());
        QCOMPARE(item.metaObject(), &QFile::staticMetaObject); // no signals or slots of its own
    }

    void startsEmptyWithoutHeader()
    {
        const CWavFileItem item(u"missing/take.wav"_s);
        QCOMPARE(item.fileName(), u"missing/take.wav"_s);
        QCOMPARE(recordBytes(item.fmtChunk()), QByteArray(24, '\0'));
        QCOMPARE(item.m_info.riff.size, 0u);
        QCOMPARE(item.dataSize(), 0u);
        QVERIFY(!item.hasBext());
        QCOMPARE(flags(item), u"000000000"_s);
    }

    void keepsItsHeader()
    {
        WavInfo info = infoOf(2);
        CWavFileItem item(u"take.wav"_s, info);
        const QByteArray fmt = recordBytes(info.fmt);
        info = {};
        QCOMPARE(recordBytes(item.fmtChunk()), fmt);
        QCOMPARE(item.m_info.riff.size, 40u);
        QCOMPARE(item.dataSize(), 4u);
        QVERIFY(item.hasBext());

        item.m_info.dataSize = 0xffffffff;
        item.m_info.hasBext = false;
        QCOMPARE(item.dataSize(), 0xffffffff);
        QVERIFY(!item.hasBext());
    }

    void startFlags_data()
    {
        QTest::addColumn<quint16>("channels");
        QTest::addColumn<QString>("expected");

        QTest::newRow("no channel") << quint16(0) << u"000000000"_s;
        QTest::newRow("mono") << quint16(1) << u"100000000"_s;
        QTest::newRow("stereo") << quint16(2) << u"110000000"_s;
        QTest::newRow("four channels") << quint16(4) << u"111100000"_s;
        QTest::newRow("six channels") << quint16(6) << u"111111000"_s;
        QTest::newRow("seven channels") << quint16(7) << u"111111100"_s;
        QTest::newRow("eight channels") << quint16(8) << u"111111110"_s;
        QTest::newRow("nine channels") << quint16(9) << u"111111110"_s;
        QTest::newRow("ten channels") << quint16(10) << u"111111110"_s;
        QTest::newRow("32768 channels, negative as a signed number")
            << quint16(32768) << u"111111110"_s;
        QTest::newRow("65535 channels") << quint16(65535) << u"111111110"_s;
    }

    void startFlags()
    {
        QFETCH(quint16, channels);
        const CWavFileItem item(u"take.wav"_s, infoOf(channels));
        QTEST(flags(item), "expected");
    }

    void setChannelEnabled_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("on"); // of a stereo item
        QTest::addColumn<QString>("off"); // of one with eight channels

        const auto row = [](const char* name, int index, const QString& on, const QString& off) {
            QTest::newRow(name) << index << on << off;
        };
        row("channel 1", 0, u"110000000"_s, u"011111110"_s);
        row("channel 2", 1, u"110000000"_s, u"101111110"_s);
        row("channel 3", 2, u"111000000"_s, u"110111110"_s);
        row("channel 5", 4, u"110010000"_s, u"111101110"_s);
        row("channel 8", 7, u"110000010"_s, u"111111100"_s);
        row("spare flag after channel 8", 8, u"110000001"_s, u"111111110"_s);
        for (const int index :
             {9, -1, 1000000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
            QTest::addRow("no flag at %d", index) << index << u"110000000"_s << u"111111110"_s;
    }

    void setChannelEnabled()
    {
        QFETCH(int, index);
        CWavFileItem stereo(u"take.wav"_s, infoOf(2));
        stereo.setChannelEnabled(index, true);
        QTEST(flags(stereo), "on");
        QCOMPARE(recordBytes(stereo.fmtChunk()), recordBytes(infoOf(2).fmt));
        QCOMPARE(stereo.dataSize(), 4u);
        QVERIFY(stereo.hasBext());

        CWavFileItem eight(u"take.wav"_s, infoOf(8));
        eight.setChannelEnabled(index, false);
        QTEST(flags(eight), "off");
        eight.setChannelEnabled(index, true);
        QCOMPARE(flags(eight), index == 8 ? u"111111111"_s : u"111111110"_s);
    }

    void isSameFormat_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<bool>("same");

        const auto row = [](const char* name, bool same, Change change) {
            QTest::newRow(name) << change << same;
        };
        row("equal headers", true, [](WavInfo*) {});
        row("RIFF size of a byte less", false, [](WavInfo* info) { info->riff.size -= 1; });
        row("data size of a byte less", false, [](WavInfo* info) { info->dataSize -= 1; });
        row("other format tag", false, [](WavInfo* info) { info->fmt.formatTag = 3; });
        row("other channel count", false, [](WavInfo* info) { info->fmt.channels = 2; });
        row("other sample rate", false, [](WavInfo* info) { info->fmt.sampleRate = 44100; });
        row("other byte rate", false, [](WavInfo* info) { info->fmt.byteRate = 1; });
        row("other block align", false, [](WavInfo* info) { info->fmt.blockAlign = 4; });
        row("other bits", false, [](WavInfo* info) { info->fmt.bitsPerSample = 24; });
        row("other id word of fmt", false, [](WavInfo* info) { info->fmt.id[0] = 'f'; });
        row("other size word of fmt", false, [](WavInfo* info) { info->fmt.size = 18; });
        row("other bext flag alone", true, [](WavInfo* info) { info->hasBext = false; });
        row("other RIFF id alone", true, [](WavInfo* info) { info->riff.id[0] = 'R'; });
        row("other RIFF form type alone", true, [](WavInfo* info) { info->riff.format[0] = 'W'; });
    }

    void isSameFormat()
    {
        QFETCH(Change, change);
        QFETCH(bool, same);
        WavInfo info = infoOf(1);
        const CWavFileItem item(u"a_01.wav"_s, info);
        change(&info);
        CWavFileItem other(u"elsewhere/b_02.wav"_s, info);
        other.setChannelEnabled(0, false); // has no say
        QCOMPARE(item.isSameFormat(&other), same);
        QCOMPARE(other.isSameFormat(&item), same);
        QVERIFY(item.isSameFormat(&item));
    }
};

SPLICORA_TEST_MAIN(tst_WavFileItem)
#include "tst_wavfileitem.moc"
