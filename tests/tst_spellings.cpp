// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversion.h"
#include "tests/support/plainuser.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QScopeGuard>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;

/// Outputs whose paths are those of sources but for the spelling, where a directory keeps both
/// apart. A card that takes them for one is the business of tests/filesystems.
class tst_Spellings : public QObject
{
    Q_OBJECT

private slots:
    void otherFileIsOverwritten_data();
    void otherFileIsOverwritten();
    void unlistedNamesCountAsOne_data();
    void unlistedNamesCountAsOne();
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

    const ConversionRun run = runConversion(Conversion::Split, sources, {QMessageBox::Yes});
    QCOMPARE(run.boxes.size(), 1);
    QCOMPARE(run.result, int(ConvertOk));
    QVERIFY(dir.bytes(output).startsWith("RIFF"));
    QCOMPARE(dir.bytes(source), isThere ? take : QByteArray());
}

void tst_Spellings::unlistedNamesCountAsOne_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("source");
    QTest::newRow("another case") << u"take_01.wav"_s << u"TAKE_01.WAV"_s;
    QTest::newRow("another case of a letter that has two small forms")
        << u"take\u03c2_01.wav"_s << u"TAKE\u03a3_01.WAV"_s;
    QTest::newRow("another composition of an accent")
        << u"t\u00e4ke_01.wav"_s << u"ta\u0308ke_01.wav"_s;
}

/// In a directory that may be entered but not listed, nobody can tell whether it keeps both apart.
void tst_Spellings::unlistedNamesCountAsOne()
{
    QFETCH(const QString, output);
    QFETCH(const QString, source);

    const TempDir dir;
    const QByteArray take = wavBytes({fmtChunk({.channels = 2}), dataChunk(sampleBytes(400))});
    Sources sources({dir.add(output.chopped(7) + u".wav"_s, take), dir.add(source, take)});
    dir.add(output, "an earlier file");
    const Files before = dir.files();
    const QByteArray path = QFile::encodeName(dir.path());
    for (const QString& name : before.keys())
        QCOMPARE(::chmod(QFile::encodeName(dir.path(name)).constData(), 0666), 0);
    QCOMPARE(::chmod(path.constData(), 0333), 0);
    const auto reopen = qScopeGuard([path] { ::chmod(path.constData(), 0700); });
    const PlainUser user;
    if (!PlainUser::canEnter(dir.path()))
        QSKIP("Nobody may enter the directory for temporary files.");
    const ConversionRun run =
        runConversion(Conversion::Split, sources, {QMessageBox::Yes, QMessageBox::Ok});
    QCOMPARE(run.result, int(ConvertFileOpen));
    for (auto file = before.cbegin(); file != before.cend(); ++file)
        QCOMPARE(dir.bytes(file.key()), file.value());
}

SPLICORA_TEST_MAIN(tst_Spellings)
#include "tst_spellings.moc"
