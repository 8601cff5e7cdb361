// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"
#include "tests/support/conversionrequest.h"
#include "tests/support/plainuser.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QTest>

#include <array>
#include <functional>
#include <utility>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QByteArray g_left = sampleBytes(40, 1);
const QByteArray g_right = sampleBytes(40, 2);

/// The outputs of a take that holds nothing but these chunks after its RIFF header.
Files outputsOf(Conversion conversion, const QByteArrayList& chunks,
                const QByteArrayList& channels = {g_left, g_right},
                const QByteArrayList& copied = {})
{
    return takeOf(conversion, chunks, channels, copied).outputs;
}

/// The output that a source which is no recording leaves.
void becomeIllegal(Request& request)
{
    request.fail(ConvertIllegalFormat);
    if (request.conversion != Conversion::Combine)
        request.outputs[request.output()] = QByteArray();
}

/// A chunk header is cut. The plain copy keeps what it has @p copied of the source until then.
void endInCutHeader(Request& request, const QByteArray& copied)
{
    request.fail(ConvertDataRead);
    if (request.conversion == Conversion::PlainToBwf)
        request.outputs[request.output()] = wavBytes({bextWithoutDate(), copied}, 0);
}

/// A file that a conversion cannot do without.
struct SourceOfConversion
{
    const char* title;
    Conversion conversion;
    const char* name;
};
constexpr std::array<SourceOfConversion, 4> g_sources = {{
    {"source of the split", Conversion::Split, "take.wav"},
    {"first source of the combine", Conversion::Combine, "take_01.wav"},
    {"second source of the combine", Conversion::Combine, "take_02.wav"},
    {"source of the plain copy", Conversion::PlainToBwf, "take.wav"},
}};

/// A row for each source, in which @p change was made to the valid request.
void addForEachSource(const QString& what,
                      const std::function<void(Request&, const QString& source)>& change)
{
    for (const auto& [title, conversion, source] : g_sources) {
        Request request = takeOf(conversion);
        change(request, QString::fromLatin1(source));
        QTest::addRow("%s, %s", title, qPrintable(what)) << request;
    }
}

const QByteArray g_socket = "a socket";

/// A directory that nobody writes to: by its permissions, or for the superuser, whom they do not
/// hold back, as a file system of its own.
class ReadOnlyDirectory
{
public:
    explicit ReadOnlyDirectory(const QString& path)
        : m_path(QFile::encodeName(path))
    {
        QDir().mkpath(path);
        if (::geteuid() != 0)
            m_isReadOnly = ::chmod(m_path.constData(), 0555) == 0;
        else
            m_isMounted = m_isReadOnly =
                ::mount("none", m_path.constData(), "tmpfs", MS_RDONLY, "size=64k") == 0;
    }
    ~ReadOnlyDirectory()
    {
        if (m_isMounted)
            ::umount(m_path.constData());
        else
            ::chmod(m_path.constData(), 0755);
    }
    Q_DISABLE_COPY_MOVE(ReadOnlyDirectory)

    /// False where the superuser may not mount.
    bool isReadOnly() const { return m_isReadOnly; }

private:
    QByteArray m_path;
    bool m_isMounted = false;
    bool m_isReadOnly = false;
};

bool isProgressUp()
{
    return qobject_cast<QProgressDialog*>(QApplication::activeModalWidget()) != nullptr;
}

bool isQuestionUp()
{
    return qobject_cast<QMessageBox*>(QApplication::activeModalWidget()) != nullptr;
}

/// Makes every further read of a file fail that this process has open. False when it has not.
bool breakReads(const QString& path)
{
    const QDir descriptors(u"/proc/self/fd"_s);
    const QStringList numbers =
        descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& number : numbers) {
        if (QFile::symLinkTarget(descriptors.filePath(number)) != path)
            continue;
        const int writeOnly = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        const bool isBroken = ::dup2(writeOnly, number.toInt()) >= 0;
        ::close(writeOnly);
        return isBroken;
    }
    return false;
}

} // namespace

/// What happens when a file, a directory or a name is not what it should be.
class tst_Faults : public QObject
{
    Q_OBJECT

private slots:
    void outputDirectoryThatTakesNoFile_data()
    {
        QTest::addColumn<Request>("request");
        for (const auto& [conversion, name] : g_conversions) {
            Request request = takeOf(conversion);
            request.before[u"regular"_s] = "not a directory";
            request.before[u"read-only"_s] = g_emptyDirectory;
            request.fail(ConvertFileOpen);
            const std::pair<const char*, QString> directories[] = {
                {"a directory that is missing", u"missing"_s},
                {"a regular file", u"regular"_s},
                {"a read-only directory", u"read-only"_s},
                {"a directory of the kernel", u"/proc/self"_s},
                // The system takes a name up to a zero character for the name of the output.
                {"the name of its source and a zero character", request.source() + u"\0out"_s},
                {"the name of another file and a zero character", u"regular\0out"_s},
            };
            for (const auto& [what, directory] : directories) {
                request.outputDir = directory;
                QTest::addRow("%s into %s", name, what) << request;
            }
        }
    }

    void outputDirectoryThatTakesNoFile()
    {
        QFETCH(const Request, request);

        PreparedRequest prepared(request);
        const ReadOnlyDirectory readOnly(prepared.path(u"read-only"_s));
        if (request.outputDir == u"read-only"_s && !readOnly.isReadOnly())
            QSKIP("The superuser may write everywhere, and may not mount a read-only directory "
                  "here.");
        QCOMPARE(prepared.problems(), QString());
    }

    void outputDirectoryGoneBetweenTwoOutputs()
    {
        Request request = takeOf(Conversion::Split);
        const QString second = u"out/take_02.wav"_s;
        request.before[second] = "old";
        request.outputDir = u"out"_s;
        request.ask(second);
        request.fail(ConvertFileOpen);
        request.removed.append(second);
        PreparedRequest prepared(request);
        const Once removal(isQuestionUp,
                           [&prepared] { QDir(prepared.path(u"out"_s)).removeRecursively(); });
        QCOMPARE(prepared.problems(), QString());
    }

    void outputGoneWhileItIsWritten_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<bool>("isDirectoryGone");
        for (const auto& [conversion, name] : g_conversions) {
            QTest::addRow("the file that a %s writes is removed", name) << conversion << false;
            QTest::addRow("the directory that a %s writes to is removed", name)
                << conversion << true;
        }
    }

    /// Every write succeeds, into a file that has no name any more.
    void outputGoneWhileItIsWritten()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const bool, isDirectoryGone);

        Request request = takeOf(conversion);
        request.outputDir = u"out"_s;
        request.before[request.outputDir] = g_emptyDirectory;
        request.fail(ConvertDataWrite);
        if (isDirectoryGone)
            request.removed.append(request.outputDir);
        PreparedRequest prepared(request);
        const QString output = prepared.path(request.output());
        const Once removal([&output] { return QFile::exists(output); },
                           [&] {
                               QFile::remove(output);
                               if (isDirectoryGone)
                                   QDir().rmdir(prepared.path(request.outputDir));
                           });
        QCOMPARE(prepared.problems(), QString());
    }

    /// As tools leave them that keep equal files once. The user was asked twice and said Yes.
    void outputsAreOneFile_data()
    {
        QTest::addColumn<Request>("request");
        const auto add = [](const char* name, const QByteArray& link, Request request,
                            const QString& second) {
            const QString first = request.output();
            request.before[first] = "old";
            request.before[second] = link + first.toUtf8();
            request.outputs = {{first, request.outputs[second]}};
            request.ask(first);
            request.ask(second);
            QTest::newRow(name) << request;
        };
        const Request split = takeOf(Conversion::Split);
        const QString second = u"take_02.wav"_s;
        add("the outputs of a split are two names of one file", g_sameAs, split, second);
        add("the second output of a split is a link to the first", g_linkTo, split, second);

        Request copy = takeOf(Conversion::PlainToBwf);
        const Request other = takeOf(copy.conversion, {g_fmtHere, g_dataHere}, {g_left, g_left});
        const QString otherOutput = u"the next_bwf.wav"_s;
        copy.sources.append(u"the next.wav"_s);
        copy.before[u"the next.wav"_s] = other.before.first();
        copy.outputs[otherOutput] = other.outputs.first();
        add("the outputs of a plain copy are two names of one file", g_sameAs, copy, otherOutput);
        add("the second output of a plain copy is a link to the first", g_linkTo, copy,
            otherOutput);
    }

    void outputsAreOneFile() { checkRow(); }

    void outputIsReadByAnotherRequest_data()
    {
        QTest::addColumn<bool>("hasTwin");
        QTest::newRow("by one") << false;
        QTest::newRow("by one still, when another that read it too has ended") << true;
    }

    /// A cancelled dialog hides before the conversion checks it: the window can start another
    /// request meanwhile, which must not truncate what the first one still reads.
    void outputIsReadByAnotherRequest()
    {
        QFETCH(const bool, hasTwin);

        Request request = takeOf(Conversion::Split);
        const QString shared = request.output();
        request.sources = QStringList{shared};
        request.before[shared] = request.before.first();
        request.outputs = {{u"take_01_01.wav"_s, request.outputs.first()},
                           {u"take_01_02.wav"_s, request.outputs.last()}};
        if (hasTwin)
            request.outputs[u"take_01_bwf.wav"_s] = takeOf(Conversion::PlainToBwf).outputs.first();
        request.ask(shared);
        request.boxes.append(errorText(ConvertFileOpen));

        PreparedRequest prepared(request);
        const Sources read({prepared.path(shared)});
        const Sources other({prepared.path(u"take.wav"_s)});
        const CWavConverter twin(prepared.window(), read.list());
        const CWavConverter overwriting(prepared.window(), other.list());
        int result = ConvertOk;
        const Once start(isProgressUp, [&] {
            if (hasTwin)
                twin.plainToBwf();
            result = overwriting.polyToMono();
        });
        QCOMPARE(prepared.problems(), QString());
        QCOMPARE(result, int(ConvertFileOpen));
    }

    /// Its sources can become outputs of the next one.
    void finishedRequestReadsNothing()
    {
        const Request finished = takeOf(Conversion::Combine);
        Request request = takeOf(Conversion::Split);
        request.before.insert(finished.before);
        request.outputs.insert(finished.outputs);
        for (const QString& name : finished.sources)
            request.ask(name);
        PreparedRequest prepared(request);
        const Sources sources({prepared.path(u"take_01.wav"_s), prepared.path(u"take_02.wav"_s)});
        QCOMPARE(runConversion(Conversion::Combine, sources).result, int(ConvertOk));
        QCOMPARE(prepared.problems(), QString());
    }

    void outputReplacedWhileItIsWritten_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<bool>("isCancelled");
        QTest::addColumn<QByteArray>("other");
        const QByteArray shorter = "of another program";
        for (const auto& [conversion, name] : g_conversions) {
            QTest::addRow("a %s that goes on to its end", name) << conversion << false << shorter;
            QTest::addRow("a %s, by a pipe", name) << conversion << false << g_pipe;
        }
        QTest::newRow("a split that is cancelled then") << Conversion::Split << true << shorter;
        QTest::newRow("a combine that is cancelled then") << Conversion::Combine << true << shorter;
        QTest::newRow("a split, by a longer file")
            << Conversion::Split << false << QByteArray(100000, 'x');
        QTest::newRow("a split, by a directory") << Conversion::Split << false << g_emptyDirectory;
        QTest::newRow("a split that is cancelled then, by a pipe")
            << Conversion::Split << true << g_pipe;
        QTest::newRow("a combine, by a socket") << Conversion::Combine << false << g_socket;
        QTest::newRow("a combine, by a link to a device")
            << Conversion::Combine << false << g_linkTo + "/dev/null";
    }

    /// Another program puts something of its own in the place of the output. That one is no result
    /// of the conversion, nor the conversion's to remove.
    void outputReplacedWhileItIsWritten()
    {
        QFETCH(const Conversion, conversion);
        QFETCH(const bool, isCancelled);
        QFETCH(const QByteArray, other);

        Request request = takeOf(conversion);
        request.fail(isCancelled ? ConvertCancelled : ConvertDataWrite);
        request.outputs[request.output()] = other == g_socket ? g_pipe : other;
        PreparedRequest prepared(request);
        const std::filesystem::path otherPath = encoded(prepared.path(u"other"_s));
        if (other == g_socket)
            QCOMPARE(::mknod(otherPath.c_str(), S_IFSOCK | 0600, 0), 0);
        else
            QVERIFY(makeEntry(prepared.path(u"other"_s), other));
        const std::filesystem::path output = encoded(prepared.path(request.output()));
        bool isReplaced = false;
        const Once replacement([&output] { return ::access(output.c_str(), F_OK) == 0; },
                               [&] {
                                   isReplaced = ::unlink(output.c_str()) == 0
                                                && ::rename(otherPath.c_str(), output.c_str()) == 0;
                               });
        const CancelClicker clicker([&](QProgressDialog&) { return isCancelled && isReplaced; });

        QCOMPARE(prepared.problems(), QString());
        QCOMPARE(clicker.wasClicked(), isCancelled);
    }

    void outputThatMayNotBeReadIsOverwritten_data() { addConversionRows(); }

    void outputThatMayNotBeReadIsOverwritten()
    {
        QFETCH(const Conversion, conversion);

        const PlainUser user;
        Request request = takeOf(conversion);
        request.before[request.output()] = "old";
        request.ask(request.output());
        PreparedRequest prepared(request);
        const QString path = prepared.path(request.output());
        QVERIFY(QFile::setPermissions(path, QFile::WriteOwner));
        QVERIFY(!QFile(path).open(QFile::ReadOnly));

        const ConversionRun run = prepared.run();
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
        QCOMPARE(prepared.problemsAfter(run), QString());
    }

    void outputNameIsTaken_data()
    {
        QTest::addColumn<Request>("request");
        QTest::addColumn<QByteArray>("successor"); // takes its place at the question
        for (const auto& [conversion, name] : g_conversions) {
            const Request valid = takeOf(conversion);
            const QString output = valid.output();
            const auto add = [&,
                              named = name](const char* by, const QByteArray& entry,
                                            QMessageBox::StandardButton answer = QMessageBox::Yes,
                                            const QByteArray& successor = {}) {
                Request request = valid;
                request.before[output] = entry;
                request.before[u"a pipe"_s] = g_pipe;
                if (answer != QMessageBox::NoButton)
                    request.ask(output, answer);
                request.fail(answer == QMessageBox::Cancel ? ConvertCancelled : ConvertFileOpen);
                if (!successor.isEmpty())
                    request.outputs[output] = successor;
                QTest::addRow("%s, by %s", named, by) << request << successor;
            };
            add("a directory", g_emptyDirectory);
            add("a link to nowhere", g_linkTo + "missing/elsewhere", QMessageBox::NoButton);
            add("a pipe", g_pipe);
            add("a pipe that is to be kept", g_pipe, QMessageBox::Cancel);
            add("a link to a pipe", g_linkTo + "a pipe");
            add("a file that becomes a pipe", "old", QMessageBox::Yes, g_pipe);
            add("a file that becomes the source", "old", QMessageBox::Yes,
                g_sameAs + valid.source().toUtf8());

            // The link stays, and its target comes to be.
            Request linked = valid;
            linked.before[output] = g_linkTo + "elsewhere";
            linked.outputs[u"elsewhere"_s] = linked.outputs.take(output);
            QTest::addRow("%s, by a link to a new file", name) << linked << QByteArray();
        }
    }

    /// Nobody reads at the other end of a pipe, for which opening it would wait.
    void outputNameIsTaken()
    {
        QFETCH(const Request, request);
        QFETCH(const QByteArray, successor);

        PreparedRequest prepared(request);
        const QString path = prepared.path(request.output());
        const Once replacement([&] { return !successor.isEmpty() && isQuestionUp(); },
                               [&] { QVERIFY(QFile::remove(path) && makeEntry(path, successor)); });
        QCOMPARE(prepared.problems(), QString());
    }

    void outputDirectoryNameIsNoUnicode_data() { addConversionRows(); }

    /// Half of a surrogate pair has no bytes of its own; the toolkit puts others in its place.
    void outputDirectoryNameIsNoUnicode()
    {
        QFETCH(const Conversion, conversion);

        const QString text = u"out "_s + QChar(0xD800);
        const QString directory = QFile::decodeName(QFile::encodeName(text));
        QVERIFY(directory != text);
        Request request = takeOf(conversion);
        request.before[directory + u'/' + request.output()] = "old";
        request.ask(request.output());
        for (const QString& name : request.outputs.keys())
            request.outputs[directory + u'/' + name] = request.outputs.take(name);
        request.outputDir = text;
        QCOMPARE(problemsOf(request), QString());
    }

    void sourceIsNoFileAnyMore_data()
    {
        QTest::addColumn<Request>("request");
        const std::pair<QString, QByteArray> successors[] = {
            {u"a directory"_s, g_emptyDirectory},
            {u"a pipe"_s, g_pipe},
            {u"a link to nowhere"_s, g_linkTo + "elsewhere"},
            {u"a link to itself"_s, g_linkTo + "itself"},
            {u"a link to a pipe"_s, g_linkTo + "pipe"},
        };
        for (const auto& [what, successor] : successors) {
            addForEachSource(
                u"is %1 now"_s.arg(what), [&](Request& request, const QString& source) {
                    request.change(source, successor.endsWith("itself") ? g_linkTo + source.toUtf8()
                                                                        : successor);
                    request.before[u"pipe"_s] = g_pipe;
                    request.fail(ConvertFileOpen);
                });
        }
        addForEachSource(u"is nothing now"_s, [](Request& request, const QString& source) {
            request.listed = request.before;
            request.before.remove(source);
            request.fail(ConvertFileOpen);
        });
        // There is no point in asking what is to become of an output that cannot be made.
        for (const auto& [conversion, name] : g_conversions) {
            Request request = takeOf(conversion);
            request.listed = request.before;
            request.before.remove(request.source());
            request.before[request.output()] = "old";
            request.fail(ConvertFileOpen);
            QTest::addRow("%s, whose source is nothing now and whose output exists", name)
                << request;
        }
    }

    void sourceIsNoFileAnyMore() { checkRow(); }

    void sourceVanishedBetweenTwoOutputs()
    {
        Request request = takeOf(Conversion::Split);
        const QByteArray first = request.outputs.first();
        request.fail(ConvertFileOpen);
        request.outputs[request.output()] = first;
        request.removed.append(request.source());
        PreparedRequest prepared(request);
        const Once removal(isProgressUp,
                           [&] { QVERIFY(QFile::remove(prepared.path(request.source()))); });
        QCOMPARE(prepared.problems(), QString());
    }

    /// The source is read once for each output; its reads fail in the middle of the second one.
    void splitWhoseReadsFail()
    {
        constexpr qint64 size = 3 * g_blockBytes / 2;
        Request request = takeOf(Conversion::Split, {g_fmtHere, g_dataHere},
                                 {sampleBytes(size, 1), sampleBytes(size, 2)});
        const QByteArray first = request.outputs.first();
        request.fail(ConvertFileRead);
        request.outputs[request.output()] = first;
        PreparedRequest prepared(request);
        const int dataStart = g_outputStart + (8 + 4) + 8;
        bool isBroken = false;
        const ProgressWatch watch([&](QProgressDialog& dialog) {
            if (!isBroken && dialog.labelText().endsWith(u"take_02.wav")
                && dialog.value() > dataStart)
                isBroken = breakReads(prepared.path(request.source()));
        });
        QCOMPARE(prepared.problems(), QString());
        QVERIFY(isBroken);
    }

    void sourceIsNoRecordingAnyMore_data()
    {
        QTest::addColumn<Request>("request");
        const QByteArray text = QByteArray("Nothing to hear here, move along.\n").repeated(3);
        const std::pair<QString, QByteArray> starts[] = {
            {u"is a text now"_s, text},
            {u"does not begin with RIFF now"_s, "RIFX    WAVE"},
            {u"begins with small letters now"_s, "riff    WAVE"},
            {u"is a RIFF that is not WAVE now"_s, "RIFF    AVI "},
        };
        for (const auto& [what, start] : starts) {
            addForEachSource(what, [&start = start](Request& request, const QString& source) {
                const QByteArray now = start + request.before[source].mid(start.size());
                request.change(source, now);
                if (source == request.source())
                    becomeIllegal(request);
                else // The bytes at the place of the samples are all that counts.
                    request.outputs = outputsOf(request.conversion, {g_fmtHere, g_dataHere},
                                                {g_left, now.mid(g_sampleStart, 40)});
            });
        }
    }

    void sourceIsNoRecordingAnyMore() { checkRow(); }

    void sourceIsCut_data()
    {
        QTest::addColumn<Request>("request");
        for (const auto& [conversion, name] : g_conversions) {
            // Cut within its samples a source keeps a split going without end, and a combine until
            // Cancel.
            const bool isCopy = conversion == Conversion::PlainToBwf;
            QList<int> sizes = {0, 7, 11, 12, 13, 20, 36, 43};
            if (isCopy)
                sizes += {44, 63, 64};
            for (const int size : sizes) {
                Request request = takeOf(conversion);
                const QByteArray whole = request.before[request.source()];
                const QByteArray cut = whole.left(size);
                request.change(request.source(), cut);
                // The RIFF header ends with byte 12, the `fmt ` chunk with byte 36, the `data`
                // header with 44.
                const bool hasFormat = size > 12;
                if (size < 12) {
                    becomeIllegal(request);
                } else if ((size > 12 && size < 12 + 8) || (size > 36 && size < 36 + 8)) {
                    // The search for a `bext` marks the stream as failed where it meets a size that
                    // is cut.
                    endInCutHeader(request, size > 36 && size < 36 + 4 ? whole.mid(12, 24) : "");
                } else if (isCopy) {
                    // A file that ends between two chunks is a whole one, and a missing part of a
                    // body is zeros.
                    const qsizetype end = size > 36 ? whole.size() : hasFormat ? 36 : 12;
                    request.outputs = outputsOf(conversion, {cut.leftJustified(end, '\0').mid(12)});
                } else {
                    request.outputs = outputsOf(conversion, hasFormat ? QByteArrayList{g_fmtHere}
                                                                      : QByteArrayList());
                }
                QTest::addRow("%s of %d bytes", name, size) << request;
            }
        }
    }

    void sourceIsCut() { checkRow(); }

    void sourceGrew_data()
    {
        QTest::addColumn<Request>("request");
        const QByteArray added = chunk("LIST", "INFOISFT");
        addForEachSource(u"grew by a chunk"_s, [&](Request& request, const QString& source) {
            request.change(source, request.before[source] + added);
            if (source == request.source())
                request.outputs = outputsOf(request.conversion, {g_fmtHere, g_dataHere, added});
        });
        for (const QByteArray stray : {"abc", "LISTabc"}) {
            const QString what = u"grew by %1 stray bytes"_s.arg(stray.size());
            addForEachSource(what, [&](Request& request, const QString& source) {
                const QByteArray whole = request.before[source];
                request.change(source, whole + stray);
                // The search for a `bext` reaches these bytes first, as an id.
                if (source == request.source())
                    endInCutHeader(request, stray.size() < 4 ? whole.mid(12) : "");
            });
        }
    }

    void sourceGrew() { checkRow(); }

    /// The listed format counts: frames of two 16-bit samples for the split, samples of 16 bits for
    /// the combine.
    void sourceHasAnotherFormatNow_data()
    {
        QTest::addColumn<Request>("request");
        const QByteArray left = sampleBytes(20, 3);
        const QByteArray right = sampleBytes(20, 4);
        const QByteArray samples = interleaved({left, right}, 2);
        addForEachSource(u"has another format now"_s, [&](Request& request, const QString& source) {
            const QByteArray file = recording({.channels = 5, .bits = 32}, samples);
            request.change(source, file);
            const QByteArrayList chunks = {g_fmtHere, g_dataHere};
            if (request.conversion == Conversion::Split)
                request.outputs = outputsOf(request.conversion, chunks, {left, right});
            else if (request.conversion == Conversion::PlainToBwf)
                request.outputs = outputsOf(request.conversion, {file.mid(g_riffHeaderSize)});
            else if (source == request.source())
                request.outputs = outputsOf(request.conversion, chunks, {samples, g_right});
            else
                request.outputs = outputsOf(request.conversion, chunks, {g_left, samples});
        });
    }

    void sourceHasAnotherFormatNow() { checkRow(); }

    void sourceIsAlsoAnOutput_data()
    {
        QTest::addColumn<Request>("request");
        for (const auto& [conversion, name] : g_conversions) {
            Request request = takeOf(conversion);
            request.ask(request.output());
            request.fail(ConvertFileOpen);
            request.before[request.output()] = g_linkTo + request.source().toUtf8();
            QTest::addRow("the output of the %s is a link to its source", name) << request;
            request.before[request.output()] = g_sameAs + request.source().toUtf8();
            QTest::addRow("the output of the %s is another name of its source", name) << request;
            request.before[request.output()] = request.before[request.source()];
            request.sources.append(request.output());
            QTest::addRow("the output of the %s is its last source", name) << request;
        }
    }

    void sourceIsAlsoAnOutput() { checkRow(); }

    void longestNameHasNoRoomForAnOutput_data() { addConversionRows(); }

    void longestNameHasNoRoomForAnOutput()
    {
        QFETCH(const Conversion, conversion);

        Request request = takeOf(conversion);
        request.sources = QStringList{QString(248, u'x') + u"_01.wav"_s};
        request.before = {{request.source(), recording({.channels = 2}, g_left)}};
        request.fail(ConvertFileOpen);
        QCOMPARE(problemsOf(request), QString());
    }

private:
    static void checkRow()
    {
        QFETCH(const Request, request);
        QCOMPARE(problemsOf(request), QString());
    }
};

SPLICORA_TEST_MAIN(tst_Faults)
#include "tst_faults.moc"
