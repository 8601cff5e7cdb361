// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversionrequest.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QByteArray g_fmt = fmtChunk({.channels = 2, .bits = 16});
const QByteArray g_data = dataChunk("AaBbCcDd");
const QByteArray g_plain = wavBytes({g_fmt, g_data});

/// An output of these chunks that was stopped before the RIFF size was written.
QByteArray unfinishedFile(const QByteArrayList& chunks)
{
    return wavBytes(QByteArrayList{bextWithoutDate()} + chunks, 0);
}

const QByteArray g_copied = outputBytes({g_fmt, g_data});

Request take(const QByteArray& source, const QByteArray& output)
{
    return {.before = {{u"take.wav"_s, source}}, .outputs = {{u"take_bwf.wav"_s, output}}};
}

Request failingTake(const QByteArrayList& chunks, const QByteArray& output, int error)
{
    Request request = take(wavBytes(chunks), output);
    request.boxes = {errorText(error)};
    return request;
}

/// Sources a.wav, b.wav and so on, and as many outputs as are made of them.
Request several(const QByteArrayList& files, const QByteArrayList& outputs,
                const QStringList& boxes = {})
{
    Request request = {.sources = {}, .boxes = boxes};
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString stem = QChar(char16_t(u'a' + i));
        request.sources.append(stem + u".wav"_s);
        request.before[request.sources.last()] = files[i];
        request.listed[request.sources.last()] = g_plain;
        if (i < outputs.size())
            request.outputs[stem + u"_bwf.wav"_s] = outputs[i];
    }
    return request;
}

} // namespace

class tst_PlainToBwf : public QObject
{
    Q_OBJECT

private slots:
    void copies_data()
    {
        QTest::addColumn<Request>("request");

        const QByteArray list = chunk("LIST", "INFOab");
        const auto add = [](const char* name, const QByteArrayList& chunks,
                            const QByteArrayList& others = {}) {
            const QByteArrayList& copied = others.isEmpty() ? chunks : others;
            QTest::newRow(name) << take(wavBytes(chunks), outputBytes(copied));
        };
        add("a format of 18 bytes is kept whole", {fmtChunk({.channels = 2}, le16(0)), g_data});
        const QByteArray extensible =
            fmtChunk({.channels = 6, .bits = 24, .tag = 0xFFFE},
                     le16(22) + le16(24) + le32(0x3F)
                         + QByteArray("\1\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 16));
        add("an extensible format of 40 bytes is kept whole",
            {extensible, dataChunk(sampleBytes(36))});
        add("a mono file is copied just the same", {fmtChunk({.bits = 24}), dataChunk("AbcDef")});
        add("a format of nothing but zeros does not matter",
            {fmtChunk({.channels = 0, .bits = 0, .blockAlign = 0}), g_data});
        add("more samples than a block of the other conversions",
            {g_fmt, dataChunk(sampleBytes(1500000))});
        add("an odd last chunk without pad byte gets none", {g_fmt, g_data, chunk("note", "abc")});
        add("an odd data chunk without pad byte gets none", {g_fmt, dataChunk("AaBbC"), list});
        add("a data chunk that claims more than there is, is filled with zeros",
            {g_fmt, dataChunk("AaBb", 3001)}, {g_fmt, dataChunk("AaBb" + QByteArray(2997, '\0'))});
        add("the claim of a chunk that is filled with zeros covers the rest of the file",
            {g_fmt, g_data, chunk("note", "", 100), list},
            {g_fmt, g_data, chunk("note", list + QByteArray(100 - 14, '\0'))});

        // The pad byte is read as the start of the next header: id "\0LIS" and the size made of "T"
        // and the first three bytes of the real one, 'T' + 256 x 6.
        const QByteArray shifted =
            chunk(QByteArray("\0LIS", 4).constData(),
                  QByteArray("\0INFOab", 7) + QByteArray('T' + 256 * 6 - 7, '\0'));
        add("the pad byte of an odd chunk is read as the start of the next header",
            {g_fmt, g_data, paddedChunk("note", "abc"), list},
            {g_fmt, g_data, chunk("note", "abc"), shifted});
        add("the pad byte of an odd data chunk is read as the start of the next header",
            {g_fmt, paddedChunk("data", "AaBbC"), list}, {g_fmt, dataChunk("AaBbC"), shifted});
        Request disabled = take(g_plain, g_copied);
        disabled.disabled = {1, 2};
        QTest::newRow("disabled channels do not matter") << disabled;
    }

    void copies() { checkCopy(); }

    void silentEnds_data()
    {
        QTest::addColumn<Request>("request");

        Request gone = several({g_plain, g_plain, g_plain}, {g_copied});
        gone.before.remove(u"b.wav"_s);
        QTest::newRow("a source that is gone ends the request, finished outputs stay") << gone;
        QTest::newRow("a source that is not RIFF leaves an empty output and ends the request")
            << several({"RIFX" + g_plain.mid(4), g_plain}, {""});
        Request declined = several({g_plain, g_plain, g_plain}, {g_copied});
        declined.before[u"b_bwf.wav"_s] = sampleBytes(5000, 9);
        declined.ask(u"b_bwf.wav"_s, QMessageBox::Cancel);
        QTest::newRow("Cancel ends the request, finished outputs stay") << declined;
    }

    void silentEnds() { checkCopy(); }

    void failedChunks_data()
    {
        QTest::addColumn<Request>("request");

        const QByteArray bext = chunk("bext", "ab");
        const QByteArray pad(1, '\0');
        const QByteArray huge = chunk("LIST", "INFO", qint64(1) << 31);
        const QByteArray hugeHeader = huge.first(8);

        QTest::newRow("the pad byte of an odd last chunk is a cut header, all before it is there")
            << failingTake({g_fmt, g_data, chunk("note", "abc"), pad},
                           unfinishedFile({g_fmt, g_data, chunk("note", "abc")}), ConvertDataRead);
        QTest::newRow("the pad byte of an odd last data chunk is a cut header")
            << failingTake({g_fmt, dataChunk("AaBbC"), pad},
                           unfinishedFile({g_fmt, dataChunk("AaBbC")}), ConvertDataRead);
        QTest::newRow("a fmt of 2^31 bytes cannot be copied, its header is there") << failingTake(
            {g_data, chunk("fmt ", g_fmt.mid(8), qint64(1) << 31)},
            unfinishedFile({g_data, chunk("fmt ", "", qint64(1) << 31)}), ConvertDataCopy);
        QTest::newRow("a data chunk of the largest size cannot be copied, its header is there")
            << failingTake({g_fmt, dataChunk("AaBb", 0xFFFFFFFF)},
                           unfinishedFile({g_fmt, dataChunk("", 0xFFFFFFFF)}), ConvertDataCopy);

        const QByteArray unfinished = unfinishedFile({g_fmt, g_data});
        const QByteArray withHuge = wavBytes({g_fmt, g_data, huge});
        const QByteArray hugeCopied = unfinishedFile({g_fmt, g_data, hugeHeader});
        const QString copyError = errorText(ConvertDataCopy);
        const QString readError = errorText(ConvertDataRead);
        QTest::newRow("later sources are copied but get the same box and RIFF size 0")
            << several({g_plain, withHuge, g_plain, wavBytes({bext, g_fmt, g_data})},
                       {g_copied, hugeCopied, unfinished, wavBytes({bext, g_fmt, g_data}, 0)},
                       {copyError, copyError, copyError});
        QTest::newRow("a later failure of another kind changes the box from there on")
            << several({withHuge, g_plain, wavBytes({g_fmt, g_data, "LIST"}), g_plain},
                       {hugeCopied, unfinished, unfinishedFile({}), unfinished},
                       {copyError, copyError, readError, readError});
        QTest::newRow("after a failure the request can still end in silence")
            << several({withHuge, "not a wave file", g_plain}, {hugeCopied, ""}, {copyError});
    }

    void failedChunks() { checkCopy(); }

    void cancelIsIgnored()
    {
        QByteArrayList chunks = {g_fmt, g_data};
        for (int i = 0; i < 100; ++i)
            chunks.append(chunk("note", sampleBytes(1000, i)));
        Request request = take(wavBytes(chunks), outputBytes(chunks));
        request.conversion = Conversion::PlainToBwf;
        request.before[u"b.wav"_s] = g_plain;
        request.sources.append(u"b.wav"_s);
        request.outputs[u"b_bwf.wav"_s] = g_copied;

        PreparedRequest prepared(request);
        const ProgressWatch impatient(makeImpatient);
        bool wasHidden = false;
        CancelClicker clicker([](QProgressDialog& dialog) { return dialog.value() > 50000; });
        const ProgressWatch afterClick([&](QProgressDialog& dialog) {
            if (clicker.wasClicked() && !dialog.isVisible())
                wasHidden = true;
        });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(clicker.wasClicked());
        QVERIFY(wasHidden);
    }

    void shownValues_data()
    {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<qint64>("riffSize"); // that the source claims
        QTest::addColumn<int>("maximum");
        QTest::addColumn<QList<int>>("values");

        const QByteArray wide = chunk("JUNK", sampleBytes(4000));
        const QByteArray data = dataChunk(sampleBytes(1000));
        const int start = g_outputStart;
        const int fmtDone = start + 4008 + 24;
        QTest::newRow("each chunk within the range, then the maximum")
            << QByteArrayList{wide, g_fmt, data, chunk("note", "four")} << qint64(7000) << 7000
            << QList<int>{start + 4008, fmtDone, fmtDone + 1008, fmtDone + 1008 + 12, 7000};
        QTest::newRow("nothing beyond the maximum")
            << QByteArrayList{wide, g_fmt, data} << qint64(5044) << 5044
            << QList<int>{start + 4008, fmtDone, 5044};
        const int bextDone = g_riffHeaderSize + 610;
        QTest::newRow("a bext of the source counts like any other chunk")
            << QByteArrayList{chunk("bext", sampleBytes(602)), g_fmt, data} << qint64(5000) << 5000
            << QList<int>{bextDone, bextDone + 24, bextDone + 24 + 1008, 5000};
        QTest::newRow("the largest positive range")
            << QByteArrayList{wide, g_fmt} << qint64(0x7FFFFFFF) << 2147483647
            << QList<int>{start + 4008, fmtDone, 2147483647};
        QTest::newRow("the maximum after a chunk that cannot be copied")
            << QByteArrayList{wide, g_fmt, chunk("LIST", "INFO", qint64(1) << 31)} << qint64(7000)
            << 7000 << QList<int>{start + 4008, fmtDone, 7000};
        // Without a range the dialog takes every value over.
        QTest::newRow("2^31 is a negative number, which leaves no range")
            << QByteArrayList{wide, g_fmt} << qint64(0x80000000) << 0
            << QList<int>{start + 4008, fmtDone, 0};
        QTest::newRow("2^32 - 1 is a negative number, which leaves no range")
            << QByteArrayList{wide, g_fmt} << qint64(0xFFFFFFFF) << 0
            << QList<int>{start + 4008, fmtDone, 0};
    }

    void shownValues()
    {
        QFETCH(QByteArrayList, chunks);
        QFETCH(qint64, riffSize);
        QFETCH(int, maximum);
        QFETCH(QList<int>, values);
        PreparedRequest prepared({.conversion = Conversion::PlainToBwf,
                                  .before = {{u"take.wav"_s, wavBytes(chunks, riffSize)}},
                                  .listed = {{u"take.wav"_s, g_plain}},
                                  .answers = {QMessageBox::Ok}});
        QList<int> valuesInEvents;
        const ProgressWatch watch(
            [&valuesInEvents](QProgressDialog& dialog) { valuesInEvents.append(dialog.value()); });
        prepared.run();

        QCOMPARE(watch.only().maximum, maximum);
        QCOMPARE(watch.only().values, values);
        QVERIFY(valuesInEvents.contains(values.first())); // they come through before the next chunk
    }

private:
    static void checkCopy()
    {
        QFETCH(Request, request);
        request.conversion = Conversion::PlainToBwf;
        QCOMPARE(problemsOf(request), QString());
    }
};

SPLICORA_TEST_MAIN(tst_PlainToBwf)
#include "tst_plaintobwf.moc"
