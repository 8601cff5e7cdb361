// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/fileidentity.h"

#include "tests/support/conversionrequest.h"
#include "tests/support/plainuser.h"
#include "tests/support/testmain.h"

#include <QScopeGuard>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;

class tst_FileIdentity : public QObject
{
    Q_OBJECT

private slots:
    void isOneFile_data()
    {
        QTest::addColumn<QString>("one");
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("isOne");

        // rec/take_01.wav and rec/two.wav are there, and links to the first.
        const QString take = u"rec/take_01.wav"_s;
        QTest::newRow("the same path") << take << take << true;
        QTest::newRow("the same path, written in another way")
            << take << u"rec/../rec/take_01.wav"_s << true;
        QTest::newRow("another file") << take << u"rec/two.wav"_s << false;
        QTest::newRow("a link") << take << u"link.wav"_s << true;
        QTest::newRow("a link to a link") << take << u"again.wav"_s << true;
        QTest::newRow("a hard link") << take << u"hard.wav"_s << true;
        QTest::newRow("through a link to the directory") << take << u"dir/take_01.wav"_s << true;
        QTest::newRow("another case") << take << u"rec/TAKE_01.WAV"_s << true;
        QTest::newRow("another case of the directory") << take << u"REC/take_01.wav"_s << true;
        QTest::newRow("another case of a letter that has two small forms")
            << u"rec/take\u03c2_01.wav"_s << u"rec/TAKE\u03a3_01.WAV"_s << true;
        QTest::newRow("another composition of an accent")
            << u"rec/t\u00e4ke_01.wav"_s << u"rec/ta\u0308ke_01.wav"_s << true;
        QTest::newRow("the same name in another directory")
            << take << u"old/take_01.wav"_s << false;
        QTest::newRow("the same name in a directory below")
            << take << u"rec/old/take_01.wav"_s << false;
        QTest::newRow("a name that no file has") << take << u"rec/take_02.wav"_s << false;
    }

    void isOneFile()
    {
        QFETCH(const QString, one);
        QFETCH(const QString, other);
        QFETCH(const bool, isOne);

        const TempDir dir(Files{{u"rec/take_01.wav"_s, "one"}, {u"rec/two.wav"_s, "two"}});
        const QString take = dir.path(u"rec/take_01.wav"_s);
        std::filesystem::create_symlink(systemPath(take), systemPath(dir.path(u"link.wav"_s)));
        std::filesystem::create_symlink(u"link.wav", systemPath(dir.path(u"again.wav"_s)));
        std::filesystem::create_symlink(u"rec", systemPath(dir.path(u"dir"_s)));
        std::filesystem::create_hard_link(systemPath(take), systemPath(dir.path(u"hard.wav"_s)));

        QCOMPARE(::isOneFile(dir.path(one), dir.path(other)), isOne);
        QCOMPARE(::isOneFile(dir.path(other), dir.path(one)), isOne);
    }

    /// What the system cannot identify must not be truncated.
    void fileThatCannotBeIdentified()
    {
        const TempDir dir(Files{{u"take.wav"_s, "one"}, {u"closed/other.wav"_s, "two"}});
        const QByteArray closed = QFile::encodeName(dir.path(u"closed"_s));
        QCOMPARE(::chmod(QFile::encodeName(dir.path()).constData(), 0755), 0);
        QCOMPARE(::chmod(closed.constData(), 0), 0);
        const auto reopen = qScopeGuard([closed] { ::chmod(closed.constData(), 0700); });
        const PlainUser user;
        if (!PlainUser::canEnter(dir.path()))
            QSKIP("Nobody may enter the directory for temporary files.");
        QVERIFY(::isOneFile(dir.path(u"take.wav"_s), dir.path(u"closed/other.wav"_s)));
        QCOMPARE(int(fileType(dir.path(u"closed/other.wav"_s))),
                 int(std::filesystem::file_type::none));
    }

    void outputsOfSimilarNames_data()
    {
        QTest::addColumn<QString>("source"); // beside rec/take.wav, which is split first
        QTest::addColumn<bool>("isThere");
        QTest::addColumn<bool>("isRefused");
        QTest::newRow("the source has another case") << u"rec/TAKE_01.WAV"_s << true << true;
        QTest::newRow("the source has another case and is gone")
            << u"rec/TAKE_01.WAV"_s << false << true;
        QTest::newRow("the directory of the source has another case")
            << u"REC/take_01.wav"_s << true << true;
        QTest::newRow("the source is of the same name in another directory")
            << u"old/take_01.wav"_s << true << false;
        QTest::newRow("the source is of the same name in a directory below")
            << u"rec/old/take_01.wav"_s << true << false;
    }

    /// An output that is there is never truncated if a card could take it for a source.
    void outputsOfSimilarNames()
    {
        QFETCH(const QString, source);
        QFETCH(const bool, isThere);
        QFETCH(const bool, isRefused);

        const QString output = u"rec/take_01.wav"_s;
        const QByteArray earlier = "an earlier file";
        const Request mono = takeOf(Conversion::Split, {g_fmtHere, g_dataHere}, {sampleBytes(400)});
        const Files takes = {{u"rec/take.wav"_s, mono.before.first()},
                             {source, mono.before.first()}};
        Request request = {
            .before = takes, .sources = {u"rec/take.wav"_s, source}, .listed = takes};
        request.before[output] = earlier;
        if (!isThere)
            request.before.remove(source);
        request.ask(output);
        if (isRefused)
            request.fail(ConvertFileOpen);
        else
            request.outputs = {{output, mono.outputs.first()},
                               {source.chopped(4) + u"_01.wav"_s, mono.outputs.first()}};
        PreparedRequest prepared(request);
        if (readFile(prepared.path(source)) == earlier)
            QSKIP("This directory takes both names for one.");
        QCOMPARE(prepared.problems(), QString());
    }
};

SPLICORA_TEST_MAIN(tst_FileIdentity)
#include "tst_fileidentity.moc"
