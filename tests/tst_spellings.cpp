// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversion.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

/// Outputs whose paths are those of sources but for the spelling, where a directory keeps both
/// apart. A card that takes them for one is the business of tests/filesystems.
class tst_Spellings : public QObject
{
    Q_OBJECT

private slots:
    void otherFileIsOverwritten_data();
    void otherFileIsOverwritten();
};

void tst_Spellings::otherFileIsOverwritten_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<bool>("isThere");
    QTest::newRow("the source has another case") << u"rec/TAKE_01.WAV"_s << true;
    QTest::newRow("the directory of the source has another case") << u"REC/take_01.wav"_s << true;
    QTest::newRow("the source has another case and is gone") << u"rec/TAKE_01.WAV"_s << false;
    QTest::newRow("the hidden directory of the source has another case")
        << u".REC/take_01.wav"_s << true;
    QTest::newRow("the source is of the same name in another directory")
        << u"old/take_01.wav"_s << true;
    QTest::newRow("the source is of the same name in a directory below")
        << u"rec/old/take_01.wav"_s << true;
}

void tst_Spellings::otherFileIsOverwritten()
{
    QFETCH(const QString, source);
    QFETCH(const bool, isThere);

    const QString output = (source.startsWith(u'.') ? u".rec"_s : u"rec"_s) + u"/take_01.wav"_s;
    const TempDir dir;
    const QByteArray take = wavBytes({fmtChunk({.channels = 2}), dataChunk(sampleBytes(400))});
    Sources sources({dir.add(output.chopped(7) + u".wav"_s, take), dir.add(source, take)});
    const QByteArray earlier = "an earlier file";
    dir.add(output, earlier);
    if (dir.bytes(source) == earlier)
        QSKIP("This directory takes both names for one.");
    if (!isThere)
        QVERIFY(QFile::remove(dir.path(source)));
    sources.at(1)->setChannelEnabled(0, false);
    sources.at(1)->setChannelEnabled(1, false);
    sources.at(0)->setChannelEnabled(1, false);

    CWavConverter converter(nullptr, sources.list());
    const ConversionRun run =
        runAnswered({QMessageBox::Yes}, [&converter] { return converter.polyToMono(); });
    QCOMPARE(run.boxes.size(), 1);
    QCOMPARE(run.result, int(ConvertOk));
    QVERIFY(dir.bytes(output).startsWith("RIFF"));
    QCOMPARE(dir.bytes(source), isThere ? take : QByteArray());
}

SPLICORA_TEST_MAIN(tst_Spellings)
#include "tst_spellings.moc"
