// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/samplecopy.h"
#include "tests/support/conversion.h"
#include "tests/support/plainuser.h"
#include "tests/support/progresswatch.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"
#include "tests/support/windowprobe.h"
#include "ui/mainwindow.h"

#include <QDir>
#include <QDirIterator>
#include <QScopeGuard>
#include <QTest>

#include <array>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

/// What happens when a file, a directory or a name is not what it should be.
class tst_Faults : public QObject
{
    Q_OBJECT

private slots:
    void outputDirectoryThatTakesNoFile_data();
    void outputDirectoryThatTakesNoFile();
    void outputDirectoryGoneBetweenTwoOutputs();
    void outputGoneWhileItIsWritten_data();
    void outputGoneWhileItIsWritten();
    void outputsAreOneFile_data();
    void outputsAreOneFile();
    void outputIsReadByAnotherRequest_data();
    void outputIsReadByAnotherRequest();
    void finishedRequestReadsNothing();
    void outputReplacedWhileItIsWritten_data();
    void outputReplacedWhileItIsWritten();
    void outputThatMayNotBeReadIsOverwritten_data() { addConversionRows(); }
    void outputThatMayNotBeReadIsOverwritten();
    void outputNameIsTaken_data();
    void outputNameIsTaken();
    void outputDirectoryNameIsNoUnicode_data() { addConversionRows(); }
    void outputDirectoryNameIsNoUnicode();

    void sourceIsNoFileAnyMore_data();
    void sourceIsNoFileAnyMore();
    void sourceVanishedBesideAnExistingOutput_data() { addConversionRows(); }
    void sourceVanishedBesideAnExistingOutput();
    void sourceVanishedBetweenTwoOutputs();
    void splitWhoseReadsFail();
    void sourceIsNoWaveFileAnyMore_data() { addSourceRows(); }
    void sourceIsNoWaveFileAnyMore();
    void sourceIsCut_data();
    void sourceIsCut();
    void sourceGrewByAChunk_data() { addSourceRows(); }
    void sourceGrewByAChunk();
    void sourceGrewByStrayBytes_data() { addConversionRows(); }
    void sourceGrewByStrayBytes();
    void sourceHasAnotherFormatNow_data() { addSourceRows(); }
    void sourceHasAnotherFormatNow();
    void sourceIsAlsoAnOutput_data();
    void sourceIsAlsoAnOutput();

    void whatIsNoFileIsNotListed();
    void smallFilesAreListedOrNamed_data();
    void smallFilesAreListedOrNamed();
    void oddNameIsListedAndConverted_data();
    void oddNameIsListedAndConverted();
    void longestNameHasNoRoomForAnOutput_data() { addConversionRows(); }
    void longestNameHasNoRoomForAnOutput();
    void nameThatIsNoTextDoesNoHarm();
    void tenThousandFilesAreListed();

private:
    static void addSourceRows();
};

namespace {

constexpr Format g_mono = {};
constexpr Format g_stereo = {.channels = 2};

const QByteArray g_left = sampleBytes(40, 1);
const QByteArray g_right = sampleBytes(40, 2);

QByteArray stereoFile()
{
    return wavBytes({fmtChunk(g_stereo), dataChunk(interleaved({g_left, g_right}, 2))});
}

QByteArray monoFile(const QByteArray& samples)
{
    return wavBytes({fmtChunk(g_mono), dataChunk(samples)});
}

/// What the split writes for a channel of these samples.
QByteArray splitOutput(const QByteArray& samples, const QByteArrayList& chunksAfter = {})
{
    return outputBytes(QByteArrayList{fmtChunk(g_mono), dataChunk(samples)} + chunksAfter,
                       (8 + 4) + (8 + samples.size()) + (8 + 4) * chunksAfter.size());
}

QByteArray combineOutput(const QByteArrayList& channels, const QByteArray& chunkAfter = {})
{
    return outputBytes({fmtChunk(g_stereo), dataChunk(interleaved(channels, 2)), chunkAfter});
}

/// The plain copy of a file that is its header and whole chunks.
QByteArray copyOutput(const QByteArray& file)
{
    return outputBytes({file.mid(g_riffHeaderSize)});
}

/// What is in a directory, by name.
using Entries = QMap<QString, QByteArray>;

const QByteArray g_noFile = "neither file, directory nor link";

/// Everything below a directory: what it is, the bytes of files and where links lead. The date of a
/// generated `bext` is left out.
Entries everythingIn(const QString& dir)
{
    Entries found;
    QDirIterator entries(dir, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QFileInfo entry(entries.next());
        QByteArray what = g_noFile;
        if (entry.isSymLink()) {
            what = "link to " + QFile::encodeName(entry.symLinkTarget());
        } else if (entry.isDir()) {
            what = "directory";
        } else if (entry.isFile()) {
            what = "file " + readFile(entry.filePath());
            if (what.contains("VELMAR Splicora"))
                what = withoutDate(what, 12 + 5);
        }
        found[QDir(dir).relativeFilePath(entry.filePath())] = what;
    }
    return found;
}

QByteArray aFile(const QByteArray& bytes)
{
    return "file " + bytes;
}

/// What a conversion is to come to.
struct Outcome
{
    int result = ConvertOk;
    QStringList boxes;
    Entries entries;
};

/// A take that was listed: stereo as take.wav for the split and the plain copy, two mono files
/// take_01.wav and take_02.wav for the combine.
class ListedTake
{
public:
    explicit ListedTake(Conversion conversion)
        : m_conversion(conversion)
    {
        if (conversion == Conversion::Combine) {
            add(u"take_01.wav"_s, monoFile(g_left));
            add(u"take_02.wav"_s, monoFile(g_right));
        } else {
            add(u"take.wav"_s, stereoFile());
        }
    }

    void add(const QString& name, const QByteArray& bytes)
    {
        put(name, bytes);
        m_sources.add(path(name));
    }

    QString dir() const { return m_dir.path(); }
    QString path(const QString& name) const { return m_dir.path(name); }
    bool put(const QString& name, const QByteArray& bytes) { return writeFile(path(name), bytes); }
    Entries everything() const { return everythingIn(dir()); }

    QString sourceName() const
    {
        return m_conversion == Conversion::Combine ? u"take_01.wav"_s : u"take.wav"_s;
    }

    /// The first or only output.
    QString outputName() const { return outputNames(m_conversion).first(); }

    /// What a conversion without fault adds to everything().
    Entries outputs() const
    {
        switch (m_conversion) {
        case Conversion::Split:
            return {{u"take_01.wav"_s, aFile(splitOutput(g_left))},
                    {u"take_02.wav"_s, aFile(splitOutput(g_right))}};
        case Conversion::Combine:
            return {{outputName(), aFile(combineOutput({g_left, g_right}))}};
        case Conversion::PlainToBwf:
            break;
        }
        return {{outputName(), aFile(copyOutput(stereoFile()))}};
    }

    /// Converts, next to the sources or into @p outputDir.
    ConversionRun convert(const QList<QMessageBox::StandardButton>& answers = {QMessageBox::Ok},
                          const QString& outputDir = {})
    {
        return runConversion(m_conversion, m_sources, answers, outputDir);
    }

    /// These outputs come to all that is there now, without a box.
    Outcome success(const Entries& outputs) const
    {
        Outcome outcome = {ConvertOk, {}, everything()};
        outcome.entries.insert(outputs);
        return outcome;
    }

    /// All stays as it is now.
    Outcome failure(int error, const QStringList& boxes) const
    {
        return {m_conversion == Conversion::PlainToBwf ? int(ConvertOk) : error, boxes,
                everything()};
    }

    /// The plain copy says nothing of it, and only the combine removes its output.
    Outcome illegalFormat() const
    {
        if (m_conversion == Conversion::PlainToBwf)
            return success({{outputName(), aFile({})}});
        Outcome outcome = failure(ConvertIllegalFormat, {errorText(ConvertIllegalFormat)});
        if (m_conversion == Conversion::Split)
            outcome.entries[outputName()] = aFile({});
        return outcome;
    }

    /// A chunk header is cut. The plain copy keeps what it has @p copied of the source until then.
    Outcome cutHeader(const QByteArray& copied) const
    {
        Outcome outcome = failure(ConvertDataRead, {errorText(ConvertDataRead)});
        if (m_conversion == Conversion::PlainToBwf)
            outcome.entries[outputName()] = aFile(wavBytes({bextWithoutDate(), copied}, 0));
        return outcome;
    }

    /// A file cannot be opened, of which the plain copy says nothing.
    Outcome notOpened(const QStringList& asked = {}) const
    {
        QStringList boxes = asked;
        if (m_conversion != Conversion::PlainToBwf)
            boxes += errorText(ConvertFileOpen);
        return failure(ConvertFileOpen, boxes);
    }

private:
    Conversion m_conversion;
    TempDir m_dir;
    Sources m_sources;
};

/// Converts the take and compares all that this came to.
void checkConversion(ListedTake& take, const Outcome& expected,
                     const QList<QMessageBox::StandardButton>& answers = {QMessageBox::Ok},
                     const QString& outputDir = {})
{
    const ConversionRun run = take.convert(answers, outputDir);
    QCOMPARE(run.texts(), expected.boxes);
    QCOMPARE(run.result, expected.result);
    QCOMPARE(take.everything(), expected.entries);
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

bool makePipe(const QString& path)
{
    return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0;
}

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

/// A window in which a directory was entered, and the boxes that this brought up.
struct Listing
{
    explicit Listing(const QString& dir)
    {
        MessageBoxAnswer answer(QMessageBox::Ok);
        currentDirEdit(&window)->setText(dir);
        QTest::keyClick(currentDirEdit(&window), Qt::Key_Return);
        for (const SeenBox& box : answer.boxes())
            boxes.append(box.text);
    }

    QStringList names() const { return columnTexts(fileTable(&window), 0); }

    CMainWindow window;
    QStringList boxes;
};

QString unreadable(const QStringList& names)
{
    return g_unreadable + names.join(u'\n') + u'\n';
}

} // namespace

void tst_Faults::addSourceRows()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QString>("source");
    for (const SourceOfConversion& used : g_sources)
        QTest::newRow(used.title) << used.conversion << QString::fromLatin1(used.name);
}

void tst_Faults::outputDirectoryThatTakesNoFile_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QString>("outputDir");
    for (const auto& [conversion, name] : g_conversions) {
        QTest::addRow("%s into a directory that is missing", name) << conversion << u"missing"_s;
        QTest::addRow("%s into a regular file", name) << conversion << u"regular"_s;
        QTest::addRow("%s into a read-only directory", name) << conversion << u"read-only"_s;
        QTest::addRow("%s into a directory of the kernel", name) << conversion << u"/proc/self"_s;
        // The system takes a name up to a zero character for the name of the output.
        QTest::addRow("%s into the name of its source and a zero character", name)
            << conversion << ListedTake(conversion).sourceName() + u"\0out"_s;
        QTest::addRow("%s into the name of another file and a zero character", name)
            << conversion << u"regular\0out"_s;
    }
}

void tst_Faults::outputDirectoryThatTakesNoFile()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QString, outputDir);

    ListedTake take(conversion);
    take.put(u"regular"_s, "not a directory");
    const ReadOnlyDirectory readOnly(take.path(u"read-only"_s));
    if (outputDir == u"read-only"_s && !readOnly.isReadOnly())
        QSKIP("The superuser may write everywhere, and may not mount a read-only directory here.");
    checkConversion(take, take.notOpened(), {QMessageBox::Ok},
                    QDir(take.dir()).absoluteFilePath(outputDir));
}

void tst_Faults::outputDirectoryGoneBetweenTwoOutputs()
{
    ListedTake take(Conversion::Split);
    const QString out = take.path(u"out"_s);
    const Outcome expected =
        take.notOpened({overwriteQuestion(u"take_02.wav"_s, Conversion::Split)});
    QVERIFY(QDir().mkdir(out));
    QVERIFY(writeFile(out + u"/take_02.wav"_s, "old"));
    const Once removal(isQuestionUp, [out] { QDir(out).removeRecursively(); });
    checkConversion(take, expected, {QMessageBox::Yes, QMessageBox::Ok}, out);
}

void tst_Faults::outputGoneWhileItIsWritten_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isDirectoryGone");
    for (const auto& [conversion, name] : g_conversions) {
        QTest::addRow("the file that a %s writes is removed", name) << conversion << false;
        QTest::addRow("the directory that a %s writes to is removed", name) << conversion << true;
    }
}

/// Every write succeeds, into a file that has no name any more.
void tst_Faults::outputGoneWhileItIsWritten()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isDirectoryGone);

    ListedTake take(conversion);
    const QString out = take.path(u"out"_s);
    QVERIFY(QDir().mkdir(out));
    Outcome expected = take.failure(ConvertDataWrite, {errorText(ConvertDataWrite)});
    if (isDirectoryGone)
        expected.entries.remove(u"out"_s);
    const QString output = out + u'/' + take.outputName();
    const Once removal([output] { return QFile::exists(output); },
                       [=] {
                           QFile::remove(output);
                           if (isDirectoryGone)
                               QDir().rmdir(out);
                       });
    checkConversion(take, expected, {QMessageBox::Ok}, out);
}

void tst_Faults::outputsAreOneFile_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isHardLink");
    QTest::newRow("the outputs of a split are two names of one file") << Conversion::Split << true;
    QTest::newRow("the second output of a split is a link to the first")
        << Conversion::Split << false;
    QTest::newRow("the outputs of a plain copy are two names of one file")
        << Conversion::PlainToBwf << true;
    QTest::newRow("the second output of a plain copy is a link to the first")
        << Conversion::PlainToBwf << false;
}

/// As tools leave them that keep equal files once. The user was asked twice and said Yes.
void tst_Faults::outputsAreOneFile()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isHardLink);

    ListedTake take(conversion);
    const QByteArray nextFile = wavBytes({fmtChunk(g_stereo), dataChunk(g_left)});
    if (conversion == Conversion::PlainToBwf)
        take.add(u"next.wav"_s, nextFile);
    const QString first = take.outputName();
    const QString second = conversion == Conversion::Split ? u"take_02.wav"_s : u"next_bwf.wav"_s;
    take.put(first, "old");
    const QByteArray firstPath = QFile::encodeName(take.path(first));
    const QByteArray secondPath = QFile::encodeName(take.path(second));
    QCOMPARE((isHardLink ? ::link : ::symlink)(firstPath.constData(), secondPath.constData()), 0);

    const QByteArray last =
        aFile(conversion == Conversion::Split ? splitOutput(g_right) : copyOutput(nextFile));
    Outcome expected = take.success({{first, last}});
    if (isHardLink)
        expected.entries[second] = last;
    expected.boxes = {overwriteQuestion(first, conversion), overwriteQuestion(second, conversion)};
    checkConversion(take, expected, {QMessageBox::Yes, QMessageBox::Yes});
}

void tst_Faults::outputIsReadByAnotherRequest_data()
{
    QTest::addColumn<bool>("hasTwin");
    QTest::newRow("by one") << false;
    QTest::newRow("by one still, when another that read it too has ended") << true;
}

/// A cancelled dialog hides before the conversion checks it: the window can start another request
/// meanwhile, which must not truncate what the first one still reads.
void tst_Faults::outputIsReadByAnotherRequest()
{
    QFETCH(const bool, hasTwin);

    const TempDir dir;
    const Sources read({dir.add(u"take_01.wav"_s, stereoFile())});
    const Sources other({dir.add(u"take.wav"_s, stereoFile())});
    CWavConverter reading(nullptr, read.list());
    CWavConverter twin(nullptr, read.list());
    CWavConverter overwriting(nullptr, other.list());
    int result = ConvertOk;
    const Once start(isProgressUp, [&] {
        if (hasTwin)
            twin.plainToBwf();
        result = overwriting.polyToMono();
    });

    const ConversionRun run =
        runAnswered({QMessageBox::Yes, QMessageBox::Ok}, [&] { return reading.polyToMono(); });
    QCOMPARE(run.texts(), QStringList({overwriteQuestion(u"take_01.wav"_s, Conversion::Split),
                                       errorText(ConvertFileOpen)}));
    QCOMPARE(result, int(ConvertFileOpen));
    QCOMPARE(run.result, int(ConvertOk));
    QCOMPARE(QFile::exists(dir.path(u"take_01_bwf.wav"_s)), hasTwin);
    QCOMPARE(dir.bytes(u"take_01.wav"_s), stereoFile());
    QCOMPARE(withoutDate(dir.bytes(u"take_01_01.wav"_s)), splitOutput(g_left));
    QCOMPARE(withoutDate(dir.bytes(u"take_01_02.wav"_s)), splitOutput(g_right));
}

/// Its sources can become outputs of the next one.
void tst_Faults::finishedRequestReadsNothing()
{
    ListedTake take(Conversion::Combine);
    QCOMPARE(take.convert({}).result, int(ConvertOk));
    take.put(u"take.wav"_s, stereoFile());
    const Outcome expected = take.success({{u"take_01.wav"_s, aFile(splitOutput(g_left))},
                                           {u"take_02.wav"_s, aFile(splitOutput(g_right))}});
    const ConversionRun run = runConversion(Conversion::Split, Sources({take.path(u"take.wav"_s)}),
                                            {QMessageBox::Yes, QMessageBox::Yes});
    QCOMPARE(run.result, int(ConvertOk));
    QCOMPARE(take.everything(), expected.entries);
}

void tst_Faults::outputReplacedWhileItIsWritten_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<bool>("isCancelled");
    QTest::addColumn<QByteArray>("other");
    const QByteArray shorter = aFile("of another program");
    const QByteArray longer = aFile(QByteArray(100000, 'x'));
    for (const auto& [conversion, name] : g_conversions)
        QTest::addRow("a %s that goes on to its end", name) << conversion << false << shorter;
    QTest::newRow("a split that is cancelled then") << Conversion::Split << true << shorter;
    QTest::newRow("a combine that is cancelled then") << Conversion::Combine << true << shorter;
    QTest::newRow("a split, by a longer file") << Conversion::Split << false << longer;
    QTest::newRow("a split, by a directory")
        << Conversion::Split << false << QByteArray("directory");
    for (const auto& [conversion, name] : g_conversions)
        QTest::addRow("a %s, by a pipe", name) << conversion << false << g_noFile;
    QTest::newRow("a split that is cancelled then, by a pipe")
        << Conversion::Split << true << g_noFile;
    QTest::newRow("a combine, by a socket") << Conversion::Combine << false << QByteArray("socket");
    QTest::newRow("a combine, by a link to a device")
        << Conversion::Combine << false << QByteArray("link to /dev/null");
}

/// Another program puts something of its own in the place of the output. That one is no result of
/// the conversion, nor the conversion's to remove.
void tst_Faults::outputReplacedWhileItIsWritten()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const bool, isCancelled);
    QFETCH(const QByteArray, other);

    ListedTake take(conversion);
    Outcome expected = isCancelled ? take.failure(ConvertCancelled, {})
                                   : take.failure(ConvertDataWrite, {errorText(ConvertDataWrite)});
    expected.entries[take.outputName()] = other == "socket" ? g_noFile : other;
    const QString otherPath = take.path(u"other"_s);
    if (other == "directory")
        QVERIFY(QDir().mkdir(otherPath));
    else if (other == g_noFile)
        QVERIFY(makePipe(otherPath));
    else if (other == "socket")
        QVERIFY(::mknod(QFile::encodeName(otherPath).constData(), S_IFSOCK | 0600, 0) == 0);
    else if (other.startsWith("link"))
        QVERIFY(QFile::link(u"/dev/null"_s, otherPath));
    else
        QVERIFY(take.put(u"other"_s, other.mid(aFile({}).size())));
    const QByteArray otherName = QFile::encodeName(otherPath);
    const QByteArray output = QFile::encodeName(take.path(take.outputName()));
    bool isReplaced = false;
    const Once replacement([&output] { return ::access(output.constData(), F_OK) == 0; },
                           [&] {
                               isReplaced =
                                   ::unlink(output.constData()) == 0
                                   && ::rename(otherName.constData(), output.constData()) == 0;
                           });
    const CancelClicker clicker([&](QProgressDialog&) { return isCancelled && isReplaced; });

    checkConversion(take, expected);
    QCOMPARE(clicker.wasClicked(), isCancelled);
}

void tst_Faults::outputThatMayNotBeReadIsOverwritten()
{
    QFETCH(const Conversion, conversion);

    const PlainUser user;
    ListedTake take(conversion);
    const QString name = take.outputName();
    const Outcome expected = take.success(take.outputs());
    QVERIFY(take.put(name, "old") && QFile::setPermissions(take.path(name), QFile::WriteOwner));
    QVERIFY(!QFile(take.path(name)).open(QFile::ReadOnly));

    const ConversionRun run = take.convert({QMessageBox::Yes});
    QVERIFY(QFile::setPermissions(take.path(name), QFile::ReadOwner | QFile::WriteOwner));
    QCOMPARE(run.texts(), QStringList{overwriteQuestion(name, conversion)});
    QCOMPARE(run.result, int(ConvertOk));
    QCOMPARE(take.everything(), expected.entries);
}

void tst_Faults::outputNameIsTaken_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QString>("by");
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    for (const auto& [conversion, name] : g_conversions) {
        for (const char* by :
             {"a directory", "a link to a new file", "a link to nowhere", "a pipe",
              "a link to a pipe", "a file that becomes a pipe", "a file that becomes the source"}) {
            QTest::addRow("%s, by %s", name, by)
                << conversion << QString::fromLatin1(by) << QMessageBox::Yes;
        }
        QTest::addRow("%s, by a pipe that is to be kept", name)
            << conversion << u"a pipe"_s << QMessageBox::Cancel;
    }
}

/// Nobody reads at the other end of a pipe, for which opening it would wait.
void tst_Faults::outputNameIsTaken()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QString, by);
    QFETCH(const QMessageBox::StandardButton, answer);

    ListedTake take(conversion);
    const QString path = take.path(take.outputName());
    const bool isLink = by.startsWith(u"a link"_s);
    const QString target = by.endsWith(u"nowhere"_s) ? u"missing/elsewhere"_s : u"elsewhere"_s;
    if (isLink)
        QVERIFY(QFile::link(target, path));
    if (by == u"a directory"_s)
        QVERIFY(QDir().mkdir(path));
    else if (by.startsWith(u"a file"_s))
        QVERIFY(take.put(take.outputName(), "old"));
    else if (by.endsWith(u"pipe"_s))
        QVERIFY(makePipe(isLink ? take.path(target) : path));

    QStringList asked;
    if (!isLink || by.endsWith(u"pipe"_s))
        asked.append(overwriteQuestion(take.outputName(), conversion));
    Outcome expected =
        answer == QMessageBox::Yes ? take.notOpened(asked) : take.failure(ConvertCancelled, asked);
    if (by.endsWith(u"new file"_s)) {
        // The link stays, and its target comes to be.
        Entries outputs = take.outputs();
        outputs[target] = outputs.take(take.outputName());
        expected = take.success(outputs);
    }
    if (by.startsWith(u"a file"_s))
        expected.entries[take.outputName()] =
            by.endsWith(u"pipe"_s) ? g_noFile : take.everything()[take.sourceName()];
    const Once replacement([&by] { return by.startsWith(u"a file"_s) && isQuestionUp(); },
                           [&] {
                               QFile::remove(path);
                               if (by.endsWith(u"pipe"_s))
                                   makePipe(path);
                               else
                                   ::link(
                                       QFile::encodeName(take.path(take.sourceName())).constData(),
                                       QFile::encodeName(path).constData());
                           });
    checkConversion(take, expected, {answer, QMessageBox::Ok});
}

/// Half of a surrogate pair has no bytes of its own; the toolkit puts others in its place.
void tst_Faults::outputDirectoryNameIsNoUnicode()
{
    QFETCH(const Conversion, conversion);

    ListedTake take(conversion);
    const QString text = take.path(u"out "_s + QChar(0xD800));
    const QString directory = QFile::decodeName(QFile::encodeName(text));
    QVERIFY(directory != text);
    QVERIFY(QDir().mkdir(directory));
    QVERIFY(writeFile(directory + u'/' + take.outputName(), "old"));

    const ConversionRun run = take.convert({QMessageBox::Yes}, text);
    QCOMPARE(run.texts(), QStringList{overwriteQuestion(take.outputName(), conversion)});
    QCOMPARE(run.result, int(ConvertOk));
    QCOMPARE(everythingIn(directory), take.outputs());
}

void tst_Faults::sourceIsNoFileAnyMore_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("successor");
    for (const char* successor : {"nothing", "a directory", "a pipe", "a link to nowhere",
                                  "a link to itself", "a link to a pipe"}) {
        for (const SourceOfConversion& used : g_sources) {
            QTest::addRow("%s, is %s now", used.title, successor)
                << used.conversion << QString::fromLatin1(used.name)
                << QString::fromLatin1(successor);
        }
    }
}

void tst_Faults::sourceIsNoFileAnyMore()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QString, source);
    QFETCH(const QString, successor);

    ListedTake take(conversion);
    const QString path = take.path(source);
    QVERIFY(QFile::remove(path));
    const bool isLinked = successor.startsWith(u"a link");
    if (isLinked)
        QVERIFY(QFile::link(successor.endsWith(u"itself") ? source : u"elsewhere"_s, path));
    if (successor.endsWith(u"directory"))
        QVERIFY(QDir().mkdir(path));
    if (successor.endsWith(u"pipe"))
        QVERIFY(makePipe(isLinked ? take.path(u"elsewhere"_s) : path));
    checkConversion(take, take.notOpened());
}

/// There is no point in asking what is to become of an output that cannot be made.
void tst_Faults::sourceVanishedBesideAnExistingOutput()
{
    QFETCH(const Conversion, conversion);

    ListedTake take(conversion);
    QVERIFY(QFile::remove(take.path(take.sourceName())));
    QVERIFY(take.put(take.outputName(), "old"));
    checkConversion(take, take.notOpened());
}

void tst_Faults::sourceVanishedBetweenTwoOutputs()
{
    ListedTake take(Conversion::Split);
    Outcome expected = take.notOpened();
    expected.entries.remove(take.sourceName());
    expected.entries[take.outputName()] = take.outputs()[take.outputName()];
    const Once removal(isProgressUp, [&take] { QFile::remove(take.path(take.sourceName())); });
    checkConversion(take, expected);
}

/// The source is read once for each output; its reads fail in the middle of the second one.
void tst_Faults::splitWhoseReadsFail()
{
    const TempDir dir;
    const QString source = dir.path(u"take.wav"_s);
    const QByteArray left = sampleBytes(3 * g_blockBytes / 2, 1);
    const QByteArray right = sampleBytes(3 * g_blockBytes / 2, 2);
    QVERIFY(writeFile(source,
                      wavBytes({fmtChunk(g_stereo), dataChunk(interleaved({left, right}, 2))})));
    auto expected = everythingIn(dir.path());
    expected[u"take_01.wav"_s] = aFile(splitOutput(left));
    const int dataStart = g_outputStart + (8 + 4) + 8;
    bool isBroken = false;
    const ProgressWatch watch([&](QProgressDialog& dialog) {
        if (!isBroken && dialog.labelText().endsWith(u"take_02.wav") && dialog.value() > dataStart)
            isBroken = breakReads(source);
    });

    const ConversionRun run =
        runConversion(Conversion::Split, Sources({source}), {QMessageBox::Ok});
    QVERIFY(isBroken);
    QCOMPARE(run.result, int(ConvertFileRead));
    QCOMPARE(run.texts(), QStringList{errorText(ConvertFileRead)});
    QCOMPARE(everythingIn(dir.path()), expected);
}

void tst_Faults::sourceIsNoWaveFileAnyMore()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QString, source);

    ListedTake take(conversion);
    const QByteArray text = QByteArray("Nothing to hear here, move along.\n").repeated(3);
    QVERIFY(take.put(source, text));
    // Of the further files of a combine the bytes at the place of the samples are all that counts.
    const bool isFirst = source == take.sourceName();
    checkConversion(take, isFirst
                              ? take.illegalFormat()
                              : take.success({{take.outputName(),
                                               aFile(combineOutput({g_left, text.mid(44, 40)}))}}));
}

void tst_Faults::sourceIsCut_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<int>("size"); // bytes that are left
    for (const auto& [conversion, name] : g_conversions) {
        // Cut within its samples a source keeps a split going without end, and a combine until
        // Cancel.
        QList<int> sizes = {0, 11, 12, 13, 20, 36, 43};
        if (conversion == Conversion::PlainToBwf)
            sizes += {44, 63, 64};
        for (const int size : sizes)
            QTest::addRow("%s of %d bytes", name, size) << conversion << size;
    }
}

void tst_Faults::sourceIsCut()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const int, size);

    ListedTake take(conversion);
    const QByteArray whole = readFile(take.path(take.sourceName()));
    const QByteArray cut = whole.left(size);
    QVERIFY(take.put(take.sourceName(), cut));
    // The RIFF header ends with byte 12, the `fmt ` chunk with byte 36, the `data` header with 44.
    if (size < 12)
        return checkConversion(take, take.illegalFormat());
    if ((size > 12 && size < 12 + 8) || (size > 36 && size < 36 + 8)) {
        // The search for a `bext` spoils the stream where it meets a size that is cut.
        const bool isFormatCopied = size > 36 && size < 36 + 4;
        return checkConversion(take,
                               take.cutHeader(isFormatCopied ? whole.mid(12, 24) : QByteArray()));
    }
    // A file that ends between two chunks is a whole one, and a missing part of a body is zeros.
    const bool hasFormat = size > 12;
    Entries outputs;
    switch (conversion) {
    case Conversion::Split:
        outputs[u"take_01.wav"_s] = outputs[u"take_02.wav"_s] =
            aFile(hasFormat ? outputBytes({fmtChunk(g_mono)}, 8 + 4) : outputBytes({}));
        break;
    case Conversion::Combine:
        outputs[take.outputName()] =
            aFile(hasFormat ? outputBytes({fmtChunk(g_stereo)}) : outputBytes({}));
        break;
    default:
        const qsizetype end = size > 36 ? whole.size() : hasFormat ? 36 : 12;
        outputs[take.outputName()] = aFile(copyOutput(cut.leftJustified(end, '\0')));
    }
    checkConversion(take, take.success(outputs));
}

void tst_Faults::sourceGrewByAChunk()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QString, source);

    const QByteArray added = chunk("LIST", "INFOISFT");
    ListedTake take(conversion);
    QVERIFY(take.put(source, readFile(take.path(source)) + added));
    Entries outputs = take.outputs();
    switch (conversion) {
    case Conversion::Split:
        outputs[u"take_01.wav"_s] = aFile(splitOutput(g_left, {added}));
        outputs[u"take_02.wav"_s] = aFile(splitOutput(g_right, {added}));
        break;
    case Conversion::Combine:
        // Only the chunks of the first file come through.
        if (source == take.sourceName())
            outputs[take.outputName()] = aFile(combineOutput({g_left, g_right}, added));
        break;
    default:
        outputs[take.outputName()] = aFile(copyOutput(stereoFile() + added));
    }
    checkConversion(take, take.success(outputs));
}

void tst_Faults::sourceGrewByStrayBytes()
{
    QFETCH(const Conversion, conversion);

    ListedTake take(conversion);
    const QByteArray whole = readFile(take.path(take.sourceName()));
    QVERIFY(take.put(take.sourceName(), whole + "abc"));
    checkConversion(take, take.cutHeader(whole.mid(12)));
}

void tst_Faults::sourceHasAnotherFormatNow()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QString, source);

    const Format other = {.channels = 5, .bits = 32};
    const QByteArray samples = sampleBytes(40, 3);
    const QByteArray file = wavBytes({fmtChunk(other), dataChunk(samples)});
    ListedTake take(conversion);
    QVERIFY(take.put(source, file));
    // The listed format counts: frames of two 16-bit samples for the split, samples of 16 bits for
    // the combine.
    Entries outputs;
    switch (conversion) {
    case Conversion::Split: {
        QByteArray left;
        QByteArray right;
        for (qsizetype frame = 0; frame < samples.size(); frame += 4) {
            left += samples.mid(frame, 2);
            right += samples.mid(frame + 2, 2);
        }
        outputs[u"take_01.wav"_s] = aFile(splitOutput(left));
        outputs[u"take_02.wav"_s] = aFile(splitOutput(right));
        break;
    }
    case Conversion::Combine: {
        const bool isFirst = source == take.sourceName();
        outputs[take.outputName()] =
            aFile(combineOutput({isFirst ? samples : g_left, isFirst ? g_right : samples}));
        break;
    }
    default:
        outputs[take.outputName()] = aFile(copyOutput(file));
    }
    checkConversion(take, take.success(outputs));
}

void tst_Faults::sourceIsAlsoAnOutput_data()
{
    QTest::addColumn<Conversion>("conversion");
    QTest::addColumn<QString>("way");
    QTest::newRow("the split's first output is its second source")
        << Conversion::Split << u"source"_s;
    QTest::newRow("the combine's output is its third source") << Conversion::Combine << u"source"_s;
    QTest::newRow("the plain copy's first output is its second source")
        << Conversion::PlainToBwf << u"source"_s;
    for (const auto& [conversion, name] : g_conversions) {
        QTest::addRow("the output of the %s is a link to its source", name)
            << conversion << u"link"_s;
        QTest::addRow("the output of the %s is another name of its source", name)
            << conversion << u"name"_s;
    }
}

void tst_Faults::sourceIsAlsoAnOutput()
{
    QFETCH(const Conversion, conversion);
    QFETCH(const QString, way);

    ListedTake take(conversion);
    const QByteArray output = QFile::encodeName(take.path(take.outputName()));
    const QByteArray source = QFile::encodeName(take.path(take.sourceName()));
    if (way == u"source"_s)
        take.add(take.outputName(),
                 conversion == Conversion::Combine ? monoFile(g_left) : stereoFile());
    else if (way == u"link"_s)
        QCOMPARE(::symlink(source.constData(), output.constData()), 0);
    else
        QCOMPARE(::link(source.constData(), output.constData()), 0);
    checkConversion(take, take.notOpened({overwriteQuestion(take.outputName(), conversion)}),
                    {QMessageBox::Yes, QMessageBox::Ok});
}

void tst_Faults::whatIsNoFileIsNotListed()
{
    const TempDir dir;
    dir.add(u"good.wav"_s, monoFile(g_left));
    QVERIFY(makePipe(dir.path(u"fifo.wav"_s)));
    QVERIFY(QDir(dir.path()).mkdir(u"directory.wav"_s));
    QVERIFY(QFile::link(u"missing"_s, dir.path(u"dangling.wav"_s)));
    QVERIFY(QFile::link(u"looping.wav"_s, dir.path(u"looping.wav"_s)));
    QVERIFY(QFile::link(u"good.wav"_s, dir.path(u"linked.wav"_s)));
    QVERIFY(QFile::link(u"fifo.wav"_s, dir.path(u"to-fifo.wav"_s)));
    QVERIFY(QFile::link(u"directory.wav"_s, dir.path(u"to-directory.wav"_s)));
    const auto before = everythingIn(dir.path());

    // Of all these, a link to a pipe alone passes for a file; it is not waited for.
    const Listing listing(dir.path());
    QCOMPARE(listing.boxes, QStringList{unreadable({u"to-fifo.wav"_s})});
    QCOMPARE(listing.names(), QStringList({u"good.wav"_s, u"linked.wav"_s}));
    QCOMPARE(everythingIn(dir.path()), before);
}

void tst_Faults::smallFilesAreListedOrNamed_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("readableFrom"); // bytes
    QTest::newRow("zeros") << QByteArray(64, '\0') << 65;
    QTest::newRow("bytes of ones") << QByteArray(64, '\xFF') << 65;
    QTest::newRow("RIFF again and again") << QByteArray("RIFF").repeated(16) << 65;
    QTest::newRow("the start of a WAVE file, readable with the data header")
        << monoFile(g_left).left(64) << 44;
}

void tst_Faults::smallFilesAreListedOrNamed()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const int, readableFrom);

    const TempDir dir;
    QStringList readableNames = {u"a.wav"_s};
    QStringList unreadableNames;
    dir.add(u"a.wav"_s, monoFile(g_left));
    for (int size = 0; size <= 64; ++size) {
        const QString name = u"b%1.wav"_s.arg(size, 2, 10, QLatin1Char('0'));
        dir.add(name, bytes.left(size));
        (size < readableFrom ? unreadableNames : readableNames).append(name);
    }
    const auto before = everythingIn(dir.path());

    const Listing listing(dir.path());
    QCOMPARE(listing.boxes, QStringList{unreadable(unreadableNames)});
    QCOMPARE(listing.names(), readableNames);
    QCOMPARE(everythingIn(dir.path()), before);
}

void tst_Faults::oddNameIsListedAndConverted_data()
{
    QTest::addColumn<QString>("stem");
    QTest::newRow("blanks") << u" a  b "_s;
    QTest::newRow("a line break") << u"a\nb"_s;
    QTest::newRow("places of a text") << u"%1 %2 %L1"_s;
    QTest::newRow("a tag") << u"<b>bold<i>"_s;
    QTest::newRow("a number sign and a question mark") << u"#1?x=y&z"_s;
    QTest::newRow("an emoji") << u"\U0001F3A4\U0001F3B9"_s;
    QTest::newRow("quotes and a backslash") << u"'a\"b\\c"_s;
    QTest::newRow("dots") << u"a..b."_s;
    QTest::newRow("as many letters as the longest output name has room for")
        << QString(255 - 13, u'x');
}

void tst_Faults::oddNameIsListedAndConverted()
{
    QFETCH(const QString, stem);

    const TempDir parent;
    const QString dir = parent.path(stem);
    QVERIFY(QDir().mkdir(dir));
    const QString path = dir + u'/' + stem + u".wav"_s;
    QVERIFY(writeFile(path, monoFile(g_left)));
    const Listing listing(dir);
    QCOMPARE(listing.boxes, QStringList());
    QCOMPARE(listing.names(), QStringList{stem + u".wav"_s});

    QVERIFY(writeFile(path, stereoFile()));
    const QString base = dir + u'/' + stem;
    const QList<QPair<Conversion, QStringList>> steps = {
        {Conversion::Split, {path}},
        {Conversion::PlainToBwf, {path}},
        {Conversion::Combine, {base + u"_01.wav"_s, base + u"_02.wav"_s}},
    };
    for (const auto& [conversion, paths] : steps) {
        const ConversionRun run = runConversion(conversion, Sources(paths));
        QCOMPARE(run.result, int(ConvertOk));
        QCOMPARE(run.texts(), QStringList());
    }
    const Entries expected = {
        {stem + u".wav"_s, aFile(stereoFile())},
        {stem + u"_01.wav"_s, aFile(splitOutput(g_left))},
        {stem + u"_02.wav"_s, aFile(splitOutput(g_right))},
        {stem + u"_bwf.wav"_s, aFile(copyOutput(stereoFile()))},
        {stem + u"_combined.wav"_s, aFile(combineOutput({g_left, g_right}))},
    };
    QCOMPARE(everythingIn(dir), expected);
}

void tst_Faults::longestNameHasNoRoomForAnOutput()
{
    QFETCH(const Conversion, conversion);

    const TempDir dir;
    const QString path = dir.path(QString(248, u'x') + u"_01.wav"_s);
    QVERIFY(writeFile(path, stereoFile()));
    const Entries before = everythingIn(dir.path());
    const ConversionRun run = runConversion(conversion, Sources({path}), {QMessageBox::Ok});
    const bool isCopy = conversion == Conversion::PlainToBwf;
    QCOMPARE(run.result, int(isCopy ? ConvertOk : ConvertFileOpen));
    QCOMPARE(run.texts(), isCopy ? QStringList() : QStringList{errorText(ConvertFileOpen)});
    QCOMPARE(everythingIn(dir.path()), before);
}

void tst_Faults::nameThatIsNoTextDoesNoHarm()
{
    const TempDir dir;
    const QString good = dir.path(u"good.wav"_s);
    QVERIFY(writeFile(good, monoFile(g_left)));
    const QByteArray path = QFile::encodeName(dir.path()) + "/\xFF\xFE.wav";
    QCOMPARE(::link(QFile::encodeName(good).constData(), path.constData()), 0);
    const auto cleanup = qScopeGuard([&path] { ::unlink(path.constData()); });

    // Qt 6.4 and 6.11 leave such a name out, 6.8 ends the list of the directory there. Were it
    // listed, no text would lead to its file.
    QStringList names;
    QStringList refused;
    for (const QString& name : QDir(dir.path()).entryList(QDir::Files, QDir::Name))
        (QFile::exists(dir.path(name)) ? names : refused).append(name);
    const Listing listing(dir.path());
    QStringList boxes;
    if (!refused.isEmpty())
        boxes.append(unreadable(refused));
    else if (names.isEmpty())
        boxes.append(g_noWavFiles);
    QCOMPARE(listing.boxes, boxes);
    QCOMPARE(listing.names(), names);
    QCOMPARE(::access(path.constData(), F_OK), 0);
    QCOMPARE(readFile(good), monoFile(g_left));
}

void tst_Faults::tenThousandFilesAreListed()
{
    const TempDir dir;
    QStringList names;
    for (int i = 0; i < 10000; ++i) {
        names.append(u"take%1.wav"_s.arg(i, 5, 10, QLatin1Char('0')));
        QVERIFY(writeFile(dir.path(names.last()), monoFile(g_left)));
    }
    const Entries before = everythingIn(dir.path());
    const Listing listing(dir.path());
    QCOMPARE(listing.boxes, QStringList());
    QCOMPARE(listing.names(), names);
    QCOMPARE(everythingIn(dir.path()), before);
}

SPLICORA_TEST_MAIN(tst_Faults)
#include "tst_faults.moc"
