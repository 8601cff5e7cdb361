// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversionrequest.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"
#include "tests/support/teststreams.h"

#include <QDir>
#include <QTest>

#include <algorithm>
#include <limits>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace {

using Status = QDataStream::Status;

const Format g_mono = {1, 16, 48000};
const QByteArrayList g_channels = {sampleBytes(40, 1), sampleBytes(40, 2)};
constexpr int g_channelBytes = 12; // six samples of 16 bits

/// The samples of a channel, which has its own in every file.
QByteArray channelBytes(int channel, int file = 0)
{
    return sampleBytes(g_channelBytes, 100 * file + channel);
}

/// A file of that many channels without a bext chunk.
QByteArray sourceBytes(int channels, int file = 0)
{
    QByteArrayList samples;
    for (int channel = 1; channel <= channels; ++channel)
        samples.append(channelBytes(channel, file));
    return recording({.channels = channels}, interleaved(samples, 2));
}

/// What the combine makes of the mono files 0 to count - 1, without date and time.
QByteArray combinedBytes(int count)
{
    QByteArrayList samples;
    for (int file = 0; file < count; ++file)
        samples.append(channelBytes(1, file));
    return outputBytes({fmtChunk({.channels = count}), dataChunk(interleaved(samples, 2))});
}

QStringList sorted(QStringList names)
{
    names.sort();
    return names;
}

bool isOpenInThisProcess(const QString& path)
{
    const QDir descriptors(u"/proc/self/fd"_s);
    const QStringList numbers =
        descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    return std::any_of(numbers.cbegin(), numbers.cend(), [&](const QString& number) {
        return QFile::symLinkTarget(descriptors.filePath(number)) == path;
    });
}

/// Counts how often a progress dialog appears.
class ShowCounter : public QObject
{
public:
    ShowCounter() { qApp->installEventFilter(this); }

    int count() const { return m_count; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<QProgressDialog*>(watched))
            ++m_count;
        return false;
    }

private:
    int m_count = 0;
};

} // namespace

class tst_WavConverter : public QObject
{
    Q_OBJECT

private slots:
    void leftOfLast_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QString>("left");

        QTest::newRow("extension") << u"/rec/take.wav"_s << u"."_s << u"/rec/take"_s;
        QTest::newRow("last of several dots")
            << u"/rec/take.1.2.wav"_s << u"."_s << u"/rec/take.1.2"_s;
        QTest::newRow("no dot") << u"/rec/take"_s << u"."_s << u"/rec/take"_s;
        QTest::newRow("dot only in a folder") << u"/rec.d/take"_s << u"."_s << u"/rec"_s;
        QTest::newRow("dot at the start") << u".wav"_s << u"."_s << u""_s;
        QTest::newRow("dot at the end") << u"take."_s << u"."_s << u"take"_s;
        QTest::newRow("underscore") << u"/rec/my_take_01.wav"_s << u"_"_s << u"/rec/my_take"_s;
        QTest::newRow("separator of two characters") << u"a--b--c"_s << u"--"_s << u"a--b"_s;
        QTest::newRow("letter in the other case") << u"aXbxc"_s << u"X"_s << u"a"_s;
        QTest::newRow("empty text") << u""_s << u"."_s << u""_s;
    }

    void leftOfLast()
    {
        QFETCH(QString, text);
        QFETCH(QString, separator);
        QTEST(CWavConverter::leftOfLast(text, separator), "left");
    }

    void channelNumber_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<int>("number");

        QTest::newRow("two digits") << u"/rec/take_03.wav"_s << 3;
        QTest::newRow("two digits without zero") << u"/rec/take_12.wav"_s << 12;
        QTest::newRow("third digit is not checked") << u"/rec/take_012.wav"_s << 1;
        QTest::newRow("digit and dot") << u"/rec/take_3.wav"_s << 0;
        QTest::newRow("single digit at the end") << u"/rec/take_7"_s << 7;
        QTest::newRow("nothing after the underscore") << u"/rec/take_"_s << 0;
        QTest::newRow("letters") << u"/rec/take_left.wav"_s << 0;
        QTest::newRow("digit and letter") << u"/rec/take_1a.wav"_s << 0;
        QTest::newRow("sign and digit") << u"/rec/take_-3.wav"_s << -3;
        QTest::newRow("start of a hexadecimal number") << u"/rec/take_0x1.wav"_s << 0;
        QTest::newRow("last of several underscores") << u"/rec/05_take_06.wav"_s << 6;
        QTest::newRow("underscore only in a folder") << u"/rec_04/take.wav"_s << 4;
        QTest::newRow("no underscore, name starts with digits") << u"07take.wav"_s << 7;
        QTest::newRow("no underscore, path starts with a slash") << u"/rec/take.wav"_s << 0;
        QTest::newRow("empty name") << u""_s << 0;
    }

    void channelNumber()
    {
        QFETCH(QString, fileName);
        QTEST(CWavConverter::channelNumber(fileName), "number");
    }

    void copyBlock_data()
    {
        QTest::addColumn<quint32>("size");
        QTest::addColumn<bool>("done");
        QTest::addColumn<QByteArray>("written");
        QTest::addColumn<qint64>("inputPosition");

        // The source holds "abcdefgh" and is at "c".
        const auto row = [](const char* name, quint32 size, bool done, const QByteArray& written,
                            qint64 inputPosition) {
            QTest::newRow(name) << size << done << written << inputPosition;
        };
        row("some bytes", 3, true, "cde", 5);
        row("all that is left", 6, true, "cdefgh", 8);
        row("nothing", 0, true, "", 2);
        row("short read is filled up with zeros", 10, true, "cdefgh"_ba + QByteArray(4, '\0'), 8);
        row("2^31 bytes", 0x80000000, false, "", 2);
        row("2^32-1 bytes", 0xffffffff, false, "", 2);
    }

    void copyBlock()
    {
        QFETCH(quint32, size);
        QFETCH(QByteArray, written);
        FileStream source("abcdefgh");
        source.file.seek(2);
        FileStream output("0123", QIODevice::ReadWrite);
        output.file.seek(4);

        QTEST(CWavConverter::copyBlock(source.stream, output.stream, size), "done");
        QTEST(source.file.pos(), "inputPosition");
        QCOMPARE(output.file.pos(), 4 + written.size());
        QCOMPARE(output.bytes(), "0123" + written);
        QCOMPARE(source.stream.status(), Status::Ok);
        QCOMPARE(output.stream.status(), Status::Ok);
    }

    void copyBlockOnFaultyDevice_data()
    {
        QTest::addColumn<qint64>("unreadableFrom");
        QTest::addColumn<qint64>("capacity");
        QTest::addColumn<bool>("done");

        QTest::newRow("devices that do not fail")
            << FaultyBuffer::never << FaultyBuffer::never << true;
        QTest::newRow("source can not be read") << qint64(0) << FaultyBuffer::never << false;
        QTest::newRow("output takes nothing") << FaultyBuffer::never << qint64(0) << false;
        QTest::newRow("output has room for all but one byte")
            << FaultyBuffer::never << qint64(7) << false;
    }

    void copyBlockOnFaultyDevice()
    {
        QFETCH(qint64, unreadableFrom);
        QFETCH(qint64, capacity);
        QFETCH(bool, done);
        FaultyStream source("abcdefgh");
        source.device.unreadableFrom = unreadableFrom;
        FaultyStream output;
        output.device.capacity = capacity;

        QCOMPARE(CWavConverter::copyBlock(source.stream, output.stream, 8), done);
        QCOMPARE(output.device.data(), done ? "abcdefgh"_ba : ""_ba);
    }

    void copyBlockFromFailedStream()
    {
        FileStream source("abcdefgh");
        source.file.seek(6);
        quint32 cut = 0;
        source.stream >> cut;
        QCOMPARE(source.stream.status(), Status::ReadPastEnd);
        source.file.seek(0);

        FileStream output({}, QIODevice::ReadWrite);
        QVERIFY(CWavConverter::copyBlock(source.stream, output.stream, 8)); // raw bytes still come
        QCOMPARE(output.bytes(), "abcdefgh"_ba);
    }

    void copyBlockWritesNoStrayMemory()
    {
        const size_t size = 1000;
        FileStream source("abcdefgh");
        FileStream output({}, QIODevice::ReadWrite);
        std::vector<char>(size, '-').clear(); // what a buffer of that size finds in its memory
        QVERIFY(CWavConverter::copyBlock(source.stream, output.stream, size));
        QCOMPARE(output.bytes(), "abcdefgh" + QByteArray(size - 8, '\0'));
    }

    void reportError_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");

        int code = 0;
        for (const auto& [error, reason] : g_errors)
            QTest::addRow("code %d is \"%s\"", ++code, qPrintable(reason))
                << code << errorText(error);
        QTest::newRow("code -1 has no reason") << -1 << g_failed;
        QTest::newRow("the lowest code has no reason")
            << std::numeric_limits<int>::min() << g_failed;
        QTest::newRow("code 11 has no reason") << 11 << g_failed;
        QTest::newRow("code 1000 has no reason") << 1000 << g_failed;
    }

    void reportError()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        QWidget parent;
        const CWavConverter converter(&parent, {});

        const MessageBoxAnswer answer(QMessageBox::Ok);
        converter.reportError(code);
        QVERIFY(answer.wasAsked());
        QCOMPARE(answer.box().title, u"Splicora"_s);
        QCOMPARE(answer.box().text, text);
        QCOMPARE(answer.box().icon, QMessageBox::Warning);
        QCOMPARE(answer.box().buttons, QMessageBox::Ok);
        QCOMPARE(answer.box().parent, &parent);
    }

    void reportNothing()
    {
        const CWavConverter converter(nullptr, {});
        const MessageBoxAnswer answer(QList<QMessageBox::StandardButton>{});
        converter.reportError(ConvertOk);
        converter.reportError(ConvertCancelled);
        QVERIFY(answer.wasAsked());
    }

    void reportErrorWithoutParent()
    {
        const CWavConverter converter(nullptr, {});
        const MessageBoxAnswer answer(QMessageBox::NoButton);
        converter.reportError(ConvertFileOpen);
        QVERIFY(answer.wasAsked());
        QCOMPARE(answer.box().text, errorText(ConvertFileOpen));
        QCOMPARE(answer.box().parent, nullptr);
    }

    void outputNames_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<int>("channels");
        QTest::addColumn<QStringList>("sources"); // below the work directory
        QTest::addColumn<QString>("outputDir"); // the same; empty for none
        QTest::addColumn<QStringList>("outputs"); // the same, in the order they are made
        QTest::addColumn<bool>("relative"); // paths as they stand, from the current directory

        const auto row = [](const char* name, Conversion conversion, const QStringList& sources,
                            const QString& outputDir, const QStringList& stems, int channels = 2,
                            bool relative = false) {
            QStringList outputs;
            for (const QString& stem : stems) {
                for (int k = 1; conversion == Conversion::Split && k <= channels; ++k)
                    outputs.append(stem + u"_0%1.wav"_s.arg(k));
                if (conversion != Conversion::Split)
                    outputs.append(
                        stem
                        + (conversion == Conversion::Combine ? u"_combined.wav"_s : u"_bwf.wav"_s));
            }
            QTest::newRow(name) << conversion << channels << sources << outputDir << outputs
                                << relative;
        };
        const auto split = Conversion::Split;
        const auto combine = Conversion::Combine;
        const auto copy = Conversion::PlainToBwf;
        const QStringList take = {u"rec/take.wav"_s};
        const QStringList monos = {u"rec/take_01.wav"_s, u"rec/take_02.wav"_s};
        const QStringList twoFolders = {u"a/take.wav"_s, u"b/other.wav"_s};
        const QString out = u"out"_s;
        const QString places = u"out %2 %1"_s;

        row("split of eight channels", split, take, {}, {u"rec/take"_s}, 8);
        row("split of eight channels into an output directory", split, take, out, {u"out/take"_s},
            8);
        row("split of a name with two dots", split, {u"take.v2.wav"_s}, {}, {u"take.v2"_s});
        row("split of a name with two dots in a row", split, {u"my..take.wav"_s}, {},
            {u"my..take"_s});
        row("split of a name with two dots into an output directory", split, {u"rec/take.v2.wav"_s},
            out, {u"out/take.v2"_s});
        row("split into an output directory with blanks at both ends", split, take, u" out "_s,
            {u" out /take"_s}, 2, true);
        row("split of a name with an extension in upper case", split, {u"TAKE.WAV"_s}, {},
            {u"TAKE"_s});
        row("split of a path without a dot", split, {u"take"_s}, {}, {u"take"_s}, 2, true);
        row("split of a path without a dot into an output directory", split, {u"take"_s}, out,
            {u"out/take"_s}, 2, true);
        row("split of a path with a dot only in its folder", split, {u"rec.d/take"_s}, {},
            {u"rec"_s});
        row("split of a path with a dot only in its folder into an output directory", split,
            {u"rec.d/take"_s}, out, {u"out/rec"_s});
        row("split of a path with number places", split, {u"100%2 %1/take%2%1.wav"_s}, {},
            {u"100%2 %1/take%2%1"_s});
        row("split into an output directory with number places", split, {u"take%1%2%3.wav"_s},
            places, {u"out %2 %1/take%1%2%3"_s});

        row("combine of two files", combine, monos, {}, {u"rec/take"_s}, 1);
        row("combine into an output directory", combine, monos, out, {u"out/take"_s}, 1);
        row("combine into an output directory with an underscore and a dot", combine, monos,
            u"out_02.wav"_s, {u"out_02.wav/take"_s}, 1);
        row("combine of a name with two underscores", combine,
            {u"my_take_01.wav"_s, u"my_take_02.wav"_s}, {}, {u"my_take"_s}, 1);
        row("combine of a name that is a number alone into an output directory", combine,
            {u"rec/_01.wav"_s, u"rec/_02.wav"_s}, out, {u"out/"_s}, 1);
        row("combine of a name with dots", combine, {u"take.v2_01.wav"_s, u"take.v2_02.wav"_s}, {},
            {u"take.v2"_s}, 1);
        row("combine into an output directory with number places", combine,
            {u"take%1%2_01.wav"_s, u"take%1%2_02.wav"_s}, places, {u"out %2 %1/take%1%2"_s}, 1);

        row("plain copy of a name with two dots", copy, {u"take.v2.WAV"_s}, {}, {u"take.v2"_s});
        row("plain copy of one file", copy, take, {}, {u"rec/take"_s}, 8);
        row("plain copy of two files in two folders", copy, twoFolders, {},
            {u"a/take"_s, u"b/other"_s}, 1);
        row("plain copy of two files in two folders into an output directory", copy, twoFolders,
            out, {u"out/take"_s, u"out/other"_s}, 1);
        row("plain copy of a path without a dot", copy, {u"take"_s}, {}, {u"take"_s}, 2, true);
        row("plain copy into an output directory with number places", copy, {u"take%1%2.wav"_s},
            places, {u"out %2 %1/take%1%2"_s});
    }

    void outputNames()
    {
        QFETCH(Conversion, conversion);
        QFETCH(int, channels);
        QFETCH(QStringList, sources);
        QFETCH(QString, outputDir);
        QFETCH(QStringList, outputs);
        QFETCH(bool, relative);

        const TempDir work;
        const CurrentDirectory current(work.path());
        for (int i = 0; i < sources.size(); ++i)
            work.add(sources[i], sourceBytes(channels, i));
        const Sources items(relative ? sources : work.paths(sources));
        CWavConverter converter(nullptr, items.list());
        if (!outputDir.isEmpty()) {
            work.addFolder(outputDir);
            converter.setOutputDirectory(relative ? outputDir : work.path(outputDir));
        }

        const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
        QCOMPARE(convert(converter, conversion), ConvertOk);
        QVERIFY(noBox.wasAsked());
        QCOMPARE(work.names(), sorted(sources + outputs));
        for (int i = 0; i < sources.size(); ++i)
            QCOMPARE(work.bytes(sources[i]), sourceBytes(channels, i));
        for (int i = 0; i < outputs.size(); ++i) {
            const QByteArray expected =
                conversion == Conversion::Split
                    ? splitBytes({fmtChunk(g_mono), dataChunk(channelBytes(i + 1))})
                : conversion == Conversion::Combine
                    ? combinedBytes(int(sources.size()))
                    : outputBytes({sourceBytes(channels, i).mid(g_riffHeaderSize)});
            QCOMPARE(withoutDate(work.bytes(outputs[i])), expected);
        }
    }

    void outputDirectoryIsReplaced_data()
    {
        QTest::addColumn<QString>("second");
        QTest::addColumn<QStringList>("outputs");

        QTest::newRow("by another one") << u"b"_s << QStringList{u"b/take_bwf.wav"_s};
        QTest::newRow("by none") << u""_s << QStringList{u"take_bwf.wav"_s};
    }

    void outputDirectoryIsReplaced()
    {
        QFETCH(QString, second);
        QFETCH(QStringList, outputs);
        const TempDir work;
        const Sources items({work.add(u"take.wav"_s, sourceBytes(1))});
        work.addFolder(u"b"_s);

        CWavConverter converter(nullptr, items.list());
        converter.setOutputDirectory(work.addFolder(u"a"_s));
        converter.setOutputDirectory(second.isEmpty() ? QString() : work.path(second));
        const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
        converter.plainToBwf();
        QVERIFY(noBox.wasAsked());
        QCOMPARE(work.names(), sorted(outputs + QStringList{u"take.wav"_s}));
    }

    void sourceListIsCopied()
    {
        const TempDir work;
        const Sources items({work.add(u"take.wav"_s, sourceBytes(2))});

        QList<CWavFileItem*> list = items.list();
        CWavConverter converter(nullptr, list);
        list.clear();
        const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
        QCOMPARE(converter.polyToMono(), ConvertOk);
        QCOMPARE(work.names(), QStringList({u"take.wav"_s, u"take_01.wav"_s, u"take_02.wav"_s}));
    }

    void emptySourceList_data() { addConversionRows(); }

    void emptySourceList()
    {
        QFETCH(Conversion, conversion);
        QCOMPARE(problemsOf({.conversion = conversion, .sources = {}}), QString());
    }

    void chunks_data()
    {
        QTest::addColumn<Request>("request");
        const QByteArray fmt = g_fmtHere;
        const QByteArray data = g_dataHere;
        const QByteArray list = chunk("LIST", "INFOab");
        const QByteArray bext = chunk("bext", sampleBytes(602, 7));
        const QByteArray odd = paddedChunk("note", "abc");
        const QByteArray noText = chunk("\x80xyz", "ab");

        struct Row
        {
            const char* name;
            QByteArrayList chunks;
            QByteArrayList copied = {}; ///< if others
        };
        const Row rows[] = {
            {"a bext is generated before all chunks", {fmt, data}},
            {"other chunks keep their places and their bytes",
             {list, fmt, chunk("JUNK", ""), data, list, chunk("cue ", "")}},
            {"data before fmt stays before it", {data, fmt}},
            {"two data chunks", {fmt, data, data}},
            {"an id in other letters is another chunk",
             {chunk("DATA", "abcd"), fmt, data, chunk("Bext", "abcd")}},
            {"a last chunk that claims more than there is, is filled with zeros",
             {fmt, data, chunk("LIST", "INFO", 1000)},
             {fmt, data, chunk("LIST", "INFO" + QByteArray(996, '\0'), 1000)}},
            {"a bext at the start is copied, none is generated", {bext, fmt, data}},
            {"a bext at the end stays at the end", {fmt, data, list, bext}},
            {"an empty bext counts as one", {fmt, data, chunk("bext", "")}},
            {"two bext chunks are both copied", {bext, fmt, data, chunk("bext", "second")}},
            {"an odd bext is copied without rounding", {fmt, data, chunk("bext", "abc"), list}},
        };
        const Row rowsWithPadBytes[] = {
            {"an odd chunk keeps its odd size and its pad byte", {fmt, data, odd, list, odd}},
            {"a pad byte that is not zero is copied as it is",
             {fmt, data, chunk("note", "abc") + "P"}},
            {"an odd last chunk without pad byte gets a zero one",
             {fmt, data, chunk("note", "abc")},
             {fmt, data, odd}},
            {"an odd last chunk that claims more than there is, is filled with zeros to an even "
             "size",
             {fmt, data, chunk("LIST", "INFO", 1001)},
             {fmt, data, chunk("LIST", "INFO" + QByteArray(998, '\0'), 1001)}},
        };
        // An id that is not text ends the search for a `bext`, and so does an odd chunk.
        const Row rowsWithTwoBexts[] = {
            {"a bext after an id that is not text is not found, so there are two",
             {fmt, data, noText, bext}},
            {"a bext after an odd chunk is not found, so there are two", {fmt, data, odd, bext}},
        };
        for (const auto& [conversion, name] : g_conversions) {
            for (const Row& row : rows) {
                QTest::addRow("%s, %s", name, row.name)
                    << takeOf(conversion, row.chunks, g_channels, row.copied);
            }
            const bool isCopy = conversion == Conversion::PlainToBwf;
            for (const Row& row : rowsWithPadBytes) {
                if (!isCopy) // which knows no pad bytes
                    QTest::addRow("%s, %s", name, row.name)
                        << takeOf(conversion, row.chunks, g_channels, row.copied);
            }
            for (const Row& row : rowsWithTwoBexts) {
                Request request = takeOf(conversion, row.chunks, g_channels);
                for (QByteArray& output : request.outputs) {
                    output.insert(g_riffHeaderSize, bextWithoutDate());
                    output.replace(4, 4, le32(le32At(output, 4) + g_bextChunkSize));
                }
                if (!isCopy || !row.chunks.contains(odd))
                    QTest::addRow("%s, %s", name, row.name) << request;
            }
            QTest::addRow("%s, no samples at all", name)
                << takeOf(conversion, {fmt, data}, {"", ""});

            Request request = takeOf(conversion, {bext, fmt, data});
            request.listed = takeOf(conversion).before;
            QTest::addRow("%s, a bext that came since the listing is copied", name) << request;
            for (const quint32 size : {0u, 0xFFFFFFFFu}) {
                request = takeOf(conversion);
                for (QByteArray& source : request.before)
                    source.replace(4, 4, le32(size));
                if (size == 0 || conversion != Conversion::Combine)
                    QTest::addRow("%s, a RIFF size of %u does not matter", name, size) << request;
            }
        }
    }

    void chunks() { checkRow(); }

    void failedChunks_data()
    {
        QTest::addColumn<Request>("request");
        const QByteArray fmt = g_fmtHere;
        const QByteArray data = g_dataHere;
        const QByteArray bext = chunk("bext", "ab");
        const auto huge = [](const char* id, quint32 size) { return chunk(id, "text", size); };

        struct Row
        {
            const char* name;
            QByteArrayList chunks;
            int left; ///< bytes from the end that the plain copy leaves out
            int error;
        };
        const Row rows[] = {
            {"the pad byte of an odd last bext is a cut header",
             {fmt, data, paddedChunk("bext", "abc")},
             1,
             ConvertDataRead},
            {"seven bytes after the last chunk of a source with bext",
             {bext, fmt, data, "LISTabc"},
             7,
             ConvertDataRead},
            {"a chunk of 2^31 bytes", {fmt, data, huge("LIST", 0x80000000)}, 4, ConvertDataCopy},
            {"a chunk of the largest size",
             {fmt, data, huge("LIST", 0xFFFFFFFF)},
             4,
             ConvertDataCopy},
            {"a chunk that is rounded up to 2^31 bytes",
             {fmt, data, huge("LIST", 0x7FFFFFFF)},
             -1,
             ConvertDataCopy},
            {"a bext of 2^31 bytes", {fmt, data, huge("bext", 0x80000000)}, 4, ConvertDataCopy},
        };
        for (const auto& [conversion, name] : g_conversions) {
            for (const Row& row : rows) {
                Request request = takeOf(conversion, row.chunks);
                const QByteArray whole = request.outputs.first();
                request.fail(row.error);
                if (conversion == Conversion::PlainToBwf) {
                    if (row.left < 0) // which rounds nothing up
                        continue;
                    request.outputs[request.output()] =
                        QByteArray(whole).replace(4, 4, le32(0)).chopped(row.left);
                }
                QTest::addRow("%s, %s", name, row.name) << request;
            }
        }
    }

    void failedChunks() { checkRow(); }

    void overwritePrompt_data()
    {
        QTest::addColumn<Request>("request");
        constexpr std::pair<const char*, QMessageBox::StandardButton> answers[] = {
            {"answered Yes", QMessageBox::Yes},
            {"answered Cancel", QMessageBox::Cancel},
            {"closed with Escape", QMessageBox::NoButton},
        };
        for (const auto& [conversion, name] : g_conversions) {
            const auto renamed = [](QString file) { return file.replace(u"take"_s, u"take%1"_s); };
            for (const auto& [how, answer] : answers) {
                const Request valid =
                    takeOf(conversion, {g_fmtHere, g_dataHere}, g_channels.first(1));
                Request request = {.conversion = conversion, .sources = {renamed(valid.source())}};
                request.before[request.source()] = valid.before.first();
                request.outputDir = u"out"_s;
                const QString output = u"out/"_s + renamed(valid.output());
                request.before[output] = QByteArray(5000, '-'); // longer than what comes
                request.ask(output, answer);
                if (answer == QMessageBox::Yes)
                    request.outputs[output] = valid.outputs.first();
                else
                    request.fail(ConvertCancelled);
                QTest::addRow("%s, %s", name, how) << request;
            }
        }
    }

    void overwritePrompt() { checkRow(); }

    void progressDialog_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<int>("channels");
        QTest::addColumn<QStringList>("sources");
        QTest::addColumn<QStringList>("labels");
        QTest::addColumn<int>("maximum");
        QTest::addColumn<bool>("shownAtOnce");

        // RIFF sizes of the sources: form type, fmt chunk, data header, samples.
        constexpr int stereoSize = 4 + 24 + 8 + 2 * g_channelBytes;
        constexpr int monoSize = 4 + 24 + 8 + g_channelBytes;
        QTest::newRow("split, one for every output")
            << Conversion::Split << 2 << QStringList{u"rec/take%1.wav"_s}
            << QStringList{g_converting + u"take%1_01.wav"_s, g_converting + u"take%1_02.wav"_s}
            << stereoSize / 2 << true;
        QTest::newRow("combine, reference size not multiplied")
            << Conversion::Combine << 1
            << QStringList{u"rec/take%1_01.wav"_s, u"rec/take%1_02.wav"_s}
            << QStringList{g_converting + u"take%1_combined.wav"_s} << monoSize << true;
        QTest::newRow("plain copy, one for every source, hidden at first")
            << Conversion::PlainToBwf << 2 << QStringList{u"rec/take%1.wav"_s, u"rec/other.wav"_s}
            << QStringList{g_converting + u"take%1_bwf.wav"_s, g_converting + u"other_bwf.wav"_s}
            << stereoSize << false;
    }

    void progressDialog()
    {
        QFETCH(Conversion, conversion);
        QFETCH(int, channels);
        QFETCH(QStringList, sources);
        QFETCH(QStringList, labels);
        QFETCH(int, maximum);
        QFETCH(bool, shownAtOnce);

        const TempDir work;
        for (int i = 0; i < sources.size(); ++i)
            work.add(sources[i], sourceBytes(channels, i));
        const Sources items(work.paths(sources));
        QWidget parent;
        CWavConverter converter(&parent, items.list());
        const ProgressWatch watch;
        const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
        QCOMPARE(convert(converter, conversion), ConvertOk);
        QVERIFY(noBox.wasAsked());

        QStringList seen;
        for (const SeenProgress& dialog : watch.seen()) {
            seen.append(dialog.label);
            QCOMPARE(dialog.title, u"Splicora"_s);
            QCOMPARE(dialog.spokenTitle, g_progress);
            QCOMPARE(dialog.spokenBar, g_progress);
            QCOMPARE(dialog.cancelText, u"Cancel"_s);
            QCOMPARE(dialog.visible, shownAtOnce);
            QCOMPARE(dialog.modality, Qt::WindowModal);
            QCOMPARE(dialog.minimum, 0);
            QCOMPARE(dialog.maximum, maximum);
            QCOMPARE(dialog.parent, &parent);
        }
        QCOMPARE(seen, labels);
        QVERIFY(!parent.findChild<QProgressDialog*>()); // gone with its output
    }

    void outputIsClosedBesideTheMaximum_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<bool>("isOpen");
        QTest::newRow("split, closed before the dialog shows the maximum")
            << Conversion::Split << false;
        QTest::newRow("combine, closed after the dialog shows the maximum")
            << Conversion::Combine << true;
        QTest::newRow("plain copy, closed before the dialog shows the maximum")
            << Conversion::PlainToBwf << false;
    }

    void outputIsClosedBesideTheMaximum()
    {
        QFETCH(Conversion, conversion);
        QFETCH(bool, isOpen);
        const QString output = ::outputNames(conversion).first();

        const TempDir work;
        const bool isCombine = conversion == Conversion::Combine;
        // A RIFF size that no running size meets on its way; most are beyond it.
        const Sources items({work.add(isCombine ? u"take_01.wav"_s : u"take.wav"_s,
                                      sourceBytes(isCombine ? 1 : 2).replace(4, 4, le32(100)))});
        items.at(0)->setChannelEnabled(1, false);
        QWidget parent;
        CWavConverter converter(&parent, items.list());
        QList<bool> openAtMaximum;
        const Once follow([&parent] { return parent.findChild<QProgressBar*>() != nullptr; },
                          [&] {
                              const auto* bar = parent.findChild<QProgressBar*>();
                              connect(bar, &QProgressBar::valueChanged, bar, [&, bar](int value) {
                                  if (value == bar->maximum())
                                      openAtMaximum.append(isOpenInThisProcess(work.path(output)));
                              });
                          });
        QCOMPARE(convert(converter, conversion), ConvertOk);
        QCOMPARE(openAtMaximum, QList<bool>{isOpen});
    }

    void errorBoxBesideProgress_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<bool>("hasProgress"); // while the box is shown
        QTest::addColumn<QStringList>("names"); // of the files that are there then

        const QString source = u"take_01.wav"_s;
        QTest::newRow("split, progress and output are gone")
            << Conversion::Split << false << QStringList{source};
        QTest::newRow("combine, progress and output are gone")
            << Conversion::Combine << false << QStringList{source};
        QTest::newRow("plain copy, progress and output are still there")
            << Conversion::PlainToBwf << true << QStringList{source, u"take_01_bwf.wav"_s};
    }

    void errorBoxBesideProgress()
    {
        QFETCH(Conversion, conversion);
        QFETCH(bool, hasProgress);
        QFETCH(QStringList, names);

        const TempDir work;
        const Sources items({work.add(u"take_01.wav"_s, sourceBytes(1) + "cut")});
        QWidget parent;
        CWavConverter converter(&parent, items.list());

        bool hadProgress = !hasProgress;
        bool wasOpen = !hasProgress;
        QStringList namesThen;
        MessageBoxAnswer answer(QMessageBox::Ok);
        answer.whenSeen([&](QMessageBox*) {
            hadProgress = parent.findChild<QProgressDialog*>() != nullptr;
            wasOpen = isOpenInThisProcess(work.path(u"take_01_bwf.wav"_s));
            namesThen = work.names();
        });
        convert(converter, conversion);
        QVERIFY(answer.wasAsked());
        QCOMPARE(answer.box().text, errorText(ConvertDataRead));
        QCOMPARE(hadProgress, hasProgress);
        QCOMPARE(wasOpen, hasProgress); // the plain copy closes its output after the box
        QCOMPARE(namesThen, names);
    }

    void refusedBeforeTheProgress_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<QByteArray>("now");
        QTest::newRow("combine beyond the RIFF size")
            << Conversion::Combine << sourceBytes(1).replace(4, 4, le32(0x80000000));
        QTest::newRow("combine of no recording") << Conversion::Combine << QByteArray("text");
        QTest::newRow("split of no recording") << Conversion::Split << QByteArray("text");
    }

    void refusedBeforeTheProgress()
    {
        QFETCH(Conversion, conversion);
        QFETCH(QByteArray, now);
        const TempDir work;
        work.add(u"take_01.wav"_s, now);
        Sources items;
        items.add(work.path(u"take_01.wav"_s), monoInfo());
        const ShowCounter shows;
        QCOMPARE(runConversion(conversion, items, {QMessageBox::Ok}).boxes.size(), 1);
        QCOMPARE(shows.count(), 0);
    }

    void blockAlignZero_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<Files>("before");
        QTest::addColumn<int>("error");
        const Files missing = {{u"take_combined.wav"_s, "old"}, {u"take_01_01.wav"_s, "old"}};
        Files there = missing;
        there[u"take_01.wav"_s] = sourceBytes(1);
        QTest::newRow("split") << Conversion::Split << there << int(ConvertIllegalFormat);
        QTest::newRow("combine") << Conversion::Combine << there << int(ConvertIllegalFormat);
        QTest::newRow("split of a missing source")
            << Conversion::Split << missing << int(ConvertFileOpen);
        QTest::newRow("combine of a missing source")
            << Conversion::Combine << missing << int(ConvertFileOpen);
    }

    /// The format is refused before anything is asked or touched, but a source has to be there.
    void blockAlignZero()
    {
        QFETCH(Conversion, conversion);
        QFETCH(Files, before);
        QFETCH(int, error);
        Files listed = before;
        listed[u"take_01.wav"_s] = wavBytes({fmtChunk({.blockAlign = 0}), dataChunk("ab")});
        Request request = {.conversion = conversion,
                           .before = before,
                           .sources = {u"take_01.wav"_s},
                           .listed = listed};
        request.fail(error);
        QCOMPARE(problemsOf(request), QString());
    }

private:
    static void checkRow()
    {
        QFETCH(const Request, request);
        QCOMPARE(problemsOf(request), QString());
    }
};

SPLICORA_TEST_MAIN(tst_WavConverter)
#include "tst_wavconverter.moc"
