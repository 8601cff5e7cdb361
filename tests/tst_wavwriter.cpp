// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavwriter.h"
#include "tests/support/testmain.h"
#include "tests/support/teststreams.h"
#include "tests/support/wavbuilder.h"

#include <QTest>

/// What a conversion makes of a false is in tst_diskfull, deviceThatTakesNothing.
class tst_WavWriter : public QObject
{
    Q_OBJECT

private slots:
    void startThatFails_data()
    {
        QTest::addColumn<qint64>("capacity");
        QTest::addColumn<bool>("isWritten");
        QTest::newRow("no room for the RIFF header") << qint64(11) << false;
        QTest::newRow("no room for the header of the generated bext") << qint64(12) << false;
        QTest::newRow("no room for its body") << qint64(500) << false;
        QTest::newRow("no room for its last byte") << qint64(g_outputStart - 1) << false;
        QTest::newRow("room for all of it") << qint64(g_outputStart) << true;
    }

    void startThatFails()
    {
        QFETCH(const qint64, capacity);
        QFETCH(const bool, isWritten);

        FaultyStream source(wavBytes({fmtChunk({}), dataChunk("ab")}));
        FaultyStream output;
        output.device.capacity = capacity;
        WavWriter writer(&output.device);
        QCOMPARE(writer.writeStart(source.stream), isWritten);
        if (isWritten)
            QCOMPARE(writer.runningSize(), quint32(g_outputStart));
    }
};

SPLICORA_TEST_MAIN(tst_WavWriter)
#include "tst_wavwriter.moc"
