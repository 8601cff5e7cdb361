// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"

#include "tests/support/testmain.h"
#include "tests/support/wavbuilder.h"

#include <QTest>

class tst_SampleCopy : public QObject
{
    Q_OBJECT

private slots:
    void copiesSamplesAndNothingElse_data()
    {
        QTest::addColumn<int>("sampleBytes");
        QTest::addColumn<int>("targetGap");
        QTest::addColumn<int>("sourceGap");
        QTest::addColumn<int>("count");

        for (const int sampleBytes : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16}) {
            QTest::addRow("%d bytes, from frames to samples without gap", sampleBytes)
                << sampleBytes << 0 << 7 * sampleBytes << 100;
            QTest::addRow("%d bytes, from samples without gap to frames", sampleBytes)
                << sampleBytes << 7 * sampleBytes << 0 << 100;
            QTest::addRow("%d bytes, odd gaps on both sides", sampleBytes)
                << sampleBytes << 5 << 1 << 100;
            QTest::addRow("%d bytes, one sample", sampleBytes) << sampleBytes << 3 << 3 << 1;
            QTest::addRow("%d bytes, no sample", sampleBytes) << sampleBytes << 3 << 3 << 0;
        }
    }

    void copiesSamplesAndNothingElse()
    {
        QFETCH(const int, sampleBytes);
        QFETCH(const int, targetGap);
        QFETCH(const int, sourceGap);
        QFETCH(const int, count);
        const int targetStep = sampleBytes + targetGap;
        const int sourceStep = sampleBytes + sourceGap;

        const QByteArray source = ::sampleBytes(count * sourceStep + 1, 1);
        QByteArray target = ::sampleBytes(count * targetStep + 1, 2);
        QByteArray expected = target;
        for (int i = 0; i < count; ++i)
            expected.replace(i * targetStep, sampleBytes, source.mid(i * sourceStep, sampleBytes));

        copySamples({target.data(), targetStep}, {source.constData(), sourceStep}, sampleBytes,
                    count);
        QCOMPARE(target.toHex(), expected.toHex());
    }

    void blocksHoldWholeFrames_data()
    {
        QTest::addColumn<quint16>("blockAlign");
        QTest::addColumn<qint64>("bytes");
        QTest::newRow("frames that fill a block of 512 KiB") << quint16(4) << qint64(524288);
        QTest::newRow("frames of 6 bytes leave two") << quint16(6) << qint64(524286);
        QTest::newRow("the longest frames") << quint16(65535) << qint64(524280);
    }

    void blocksHoldWholeFrames()
    {
        QFETCH(const quint16, blockAlign);
        QTEST(wholeFrameBytes(blockAlign), "bytes");
    }
};

SPLICORA_TEST_MAIN(tst_SampleCopy)

#include "tst_samplecopy.moc"
