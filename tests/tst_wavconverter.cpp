// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/wavconverter.h"
#include "tests/support/messageboxanswer.h"
#include "tests/support/teststreams.h"
#include "tests/support/wavbuilder.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QPointer>
#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

using namespace Qt::Literals::StringLiterals;

enum class Function { Split, Combine, Bwf };
Q_DECLARE_METATYPE(Function)

namespace {

using Status = QDataStream::Status;

const Format g_mono = {1, 16, 48000};
constexpr int g_channelBytes = 12; // six samples of 16 bits
constexpr quint32 g_startSize = 12 + 866; // RIFF header and generated bext chunk

const QString g_errorText = u"An error occurred during a convert operation.\n\n"_s;

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
    return wavBytes({fmtChunk({channels, 16, 48000}), dataChunk(interleaved(samples, 2))});
}

/// What the split makes of one channel of such a file, without date and time.
QByteArray splitBytes(int channel)
{
    return wavBytes({bextWithoutDate(), fmtChunk(g_mono), dataChunk(channelBytes(channel))},
                    g_startSize + (8 + 4) + (8 + g_channelBytes));
}

/// What the combine makes of the mono files 0 to count - 1, without date and time.
QByteArray combinedBytes(int count)
{
    QByteArrayList samples;
    for (int file = 0; file < count; ++file)
        samples.append(channelBytes(1, file));
    return wavBytes(
        {bextWithoutDate(), fmtChunk({count, 16, 48000}), dataChunk(interleaved(samples, 2))},
        g_startSize + (8 + 16) + (8 + count * g_channelBytes));
}

/// What the plain-to-BWF conversion makes of a source, without date and time.
QByteArray bwfBytes(const QByteArray& source)
{
    return wavBytes({bextWithoutDate(), source.mid(12)}, g_startSize + source.size() - 12);
}

/// Stays in a directory of its own, which is the current one as long as it lives.
class WorkDirectory
{
public:
    WorkDirectory()
        : m_before(QDir::currentPath())
    {
        QDir::setCurrent(m_dir.path());
    }
    ~WorkDirectory() { QDir::setCurrent(m_before); }
    Q_DISABLE_COPY_MOVE(WorkDirectory)

    QString path(const QString& name) const { return m_dir.filePath(name); }

    QByteArray bytes(const QString& name) const { return readFile(path(name)); }

    /// Writes a file and, where they are missing, the folders it lies in.
    void add(const QString& name, const QByteArray& bytes) const
    {
        addFolder(QFileInfo(name).path());
        if (!writeFile(path(name), bytes))
            qFatal("Can not write %s.", qPrintable(name));
    }

    void addFolder(const QString& name) const
    {
        if (!QDir(m_dir.path()).mkpath(name))
            qFatal("Can not make the folder %s.", qPrintable(name));
    }

    /// The names of all files, those in folders as "folder/name", in order.
    QStringList names() const
    {
        QStringList names;
        QDirIterator it(m_dir.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext())
            names.append(QDir(m_dir.path()).relativeFilePath(it.next()));
        names.sort();
        return names;
    }

private:
    QTemporaryDir m_dir;
    QString m_before;
};

/// Items of files that are there, as the file list makes them.
class Sources
{
public:
    void add(const QString& path)
    {
        QFile file(path);
        WavInfo info = {};
        if (!file.open(QIODevice::ReadOnly) || !readWavInfo(&file, &info))
            qFatal("Can not read %s.", qPrintable(path));
        add(path, info);
    }

    void add(const QString& path, const WavInfo& info)
    {
        m_items.push_back(std::make_unique<CWavFileItem>(path, info));
    }

    QList<CWavFileItem*> list() const
    {
        QList<CWavFileItem*> list;
        for (const auto& item : m_items)
            list.append(item.get());
        return list;
    }

private:
    std::vector<std::unique_ptr<CWavFileItem>> m_items;
};

/// The header of a mono file as the file list read it, whatever became of the file since.
WavInfo monoInfo()
{
    WavInfo info = {};
    info.fmt.channels = 1;
    info.fmt.blockAlign = 2;
    info.fmt.bitsPerSample = 16;
    return info;
}

/// Runs one conversion; the one without a result counts as a success.
int run(CWavConverter& converter, Function function)
{
    switch (function) {
    case Function::Split:
        return converter.polyToMono();
    case Function::Combine:
        return converter.monoToPoly();
    case Function::Bwf:
        converter.plainToBwf();
        break;
    }
    return ConvertOk;
}

QStringList sorted(QStringList names)
{
    names.sort();
    return names;
}

/// What a person could see of a progress dialog when the conversion first let events through.
struct SeenProgress
{
    QString title;
    QString spokenTitle;
    QString spokenBar;
    QString label;
    QString cancelText;
    bool visible = false;
    Qt::WindowModality modality = Qt::NonModal;
    int minimum = -1;
    int maximum = -1;
    const QWidget* parent = nullptr;
};

/// Notes every progress dialog during its life.
class ProgressProbe : public QObject
{
public:
    ProgressProbe()
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { look(); });
        m_timer.start(0);
    }

    const QList<SeenProgress>& dialogs() const { return m_seen; }

private:
    void look()
    {
        const auto widgets = QApplication::topLevelWidgets();
        for (const QWidget* widget : widgets) {
            const auto* dialog = qobject_cast<const QProgressDialog*>(widget);
            if (!dialog || (!m_seen.isEmpty() && m_seen.last().label == dialog->labelText()))
                continue;
            m_seen.append({dialog->windowTitle(), dialog->accessibleName(),
                           dialog->findChild<QProgressBar*>()->accessibleName(),
                           dialog->labelText(), dialog->findChild<QPushButton*>()->text(),
                           dialog->isVisible(), dialog->windowModality(), dialog->minimum(),
                           dialog->maximum(), dialog->parentWidget()});
        }
    }

    QTimer m_timer;
    QList<SeenProgress> m_seen;
};

bool isOpenInThisProcess(const QString& path)
{
    const QDir descriptors(u"/proc/self/fd"_s);
    const QStringList numbers =
        descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    return std::any_of(numbers.cbegin(), numbers.cend(), [&](const QString& number) {
        return QFile::symLinkTarget(descriptors.filePath(number)) == path;
    });
}

/// Looks whether a file is open at the moment at which a progress dialog of a window shows its
/// maximum.
class MaximumWatch : public QObject
{
public:
    MaximumWatch(const QWidget* window, const QString& path)
    {
        connect(&m_timer, &QTimer::timeout, this, [this, window, path] {
            const auto* dialog = window->findChild<QProgressDialog*>();
            if (!dialog || m_bar)
                return;
            m_bar = dialog->findChild<QProgressBar*>();
            connect(m_bar, &QProgressBar::valueChanged, this, [this, path](int value) {
                if (value == m_bar->maximum())
                    m_openAtMaximum.append(isOpenInThisProcess(path));
            });
        });
        m_timer.start(0);
    }

    const QList<bool>& openAtMaximum() const { return m_openAtMaximum; }

private:
    QPointer<QProgressBar> m_bar;
    QList<bool> m_openAtMaximum;
    QTimer m_timer;
};

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

class TestWavConverter : public QObject
{
    Q_OBJECT

private slots:
    void leftOfLast_data();
    void leftOfLast();
    void channelNumber_data();
    void channelNumber();

    void copyBlock_data();
    void copyBlock();
    void copyBlockOnFaultyDevice_data();
    void copyBlockOnFaultyDevice();
    void copyBlockFromSpoiledStream();
    void copyBlockWritesNoStrayMemory();

    void reportError_data();
    void reportError();
    void reportNothing_data();
    void reportNothing();
    void reportErrorWithoutParent();

    void outputNames_data();
    void outputNames();
    void outputDirectoryIsReplaced_data();
    void outputDirectoryIsReplaced();
    void sourceListIsCopied();
    void emptySourceList_data();
    void emptySourceList();

    void overwritePrompt_data();
    void overwritePrompt();
    void declinedThirdOutput_data();
    void declinedThirdOutput();

    void progressDialog_data();
    void progressDialog();

    void outputIsClosedBesideTheMaximum_data();
    void outputIsClosedBesideTheMaximum();
    void errorBoxBeforeReturn_data();
    void errorBoxBeforeReturn();
    void errorBoxBesideProgress_data();
    void errorBoxBesideProgress();
    void refusedBeforeTheProgress_data();
    void refusedBeforeTheProgress();
    void blockAlignZero_data();
    void blockAlignZero();
    void blockAlignZeroOfAMissingSource_data() { blockAlignZero_data(); }
    void blockAlignZeroOfAMissingSource();
};

void TestWavConverter::leftOfLast_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("separator");
    QTest::addColumn<QString>("left");

    QTest::newRow("extension") << u"/rec/take.wav"_s << u"."_s << u"/rec/take"_s;
    QTest::newRow("last of several dots") << u"/rec/take.1.2.wav"_s << u"."_s << u"/rec/take.1.2"_s;
    QTest::newRow("no dot") << u"/rec/take"_s << u"."_s << u"/rec/take"_s;
    QTest::newRow("dot only in a folder") << u"/rec.d/take"_s << u"."_s << u"/rec"_s;
    QTest::newRow("dot at the start") << u".wav"_s << u"."_s << u""_s;
    QTest::newRow("dot at the end") << u"take."_s << u"."_s << u"take"_s;
    QTest::newRow("underscore") << u"/rec/my_take_01.wav"_s << u"_"_s << u"/rec/my_take"_s;
    QTest::newRow("separator of two characters") << u"a--b--c"_s << u"--"_s << u"a--b"_s;
    QTest::newRow("letter in the other case") << u"aXbxc"_s << u"X"_s << u"a"_s;
    QTest::newRow("empty text") << u""_s << u"."_s << u""_s;
}

void TestWavConverter::leftOfLast()
{
    QFETCH(QString, text);
    QFETCH(QString, separator);
    QTEST(CWavConverter::leftOfLast(text, separator), "left");
}

void TestWavConverter::channelNumber_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<int>("number");

    QTest::newRow("two digits") << u"/rec/take_03.wav"_s << 3;
    QTest::newRow("two digits without zero") << u"/rec/take_12.wav"_s << 12;
    QTest::newRow("third digit is not looked at") << u"/rec/take_012.wav"_s << 1;
    QTest::newRow("digit and dot") << u"/rec/take_3.wav"_s << 0;
    QTest::newRow("single digit at the end") << u"/rec/take_7"_s << 7;
    QTest::newRow("nothing behind the underscore") << u"/rec/take_"_s << 0;
    QTest::newRow("letters") << u"/rec/take_left.wav"_s << 0;
    QTest::newRow("digit and letter") << u"/rec/take_1a.wav"_s << 0;
    QTest::newRow("start of a hexadecimal number") << u"/rec/take_0x1.wav"_s << 0;
    QTest::newRow("last of several underscores") << u"/rec/05_take_06.wav"_s << 6;
    QTest::newRow("underscore only in a folder") << u"/rec_04/take.wav"_s << 4;
    QTest::newRow("no underscore, name starts with digits") << u"07take.wav"_s << 7;
    QTest::newRow("no underscore, path starts with a slash") << u"/rec/take.wav"_s << 0;
    QTest::newRow("empty name") << u""_s << 0;
}

void TestWavConverter::channelNumber()
{
    QFETCH(QString, fileName);
    QTEST(CWavConverter::channelNumber(fileName), "number");
}

void TestWavConverter::copyBlock_data()
{
    QTest::addColumn<quint32>("size");
    QTest::addColumn<bool>("done");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<qint64>("inputPosition");

    // The source holds "abcdefgh" and stands at "c".
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

void TestWavConverter::copyBlock()
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

void TestWavConverter::copyBlockOnFaultyDevice_data()
{
    QTest::addColumn<qint64>("unreadableFrom");
    QTest::addColumn<qint64>("capacity");
    QTest::addColumn<bool>("done");

    QTest::newRow("sound devices") << FaultyBuffer::never << FaultyBuffer::never << true;
    QTest::newRow("source can not be read") << qint64(0) << FaultyBuffer::never << false;
    QTest::newRow("output takes nothing") << FaultyBuffer::never << qint64(0) << false;
    QTest::newRow("output has room for all but one byte")
        << FaultyBuffer::never << qint64(7) << false;
}

void TestWavConverter::copyBlockOnFaultyDevice()
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

void TestWavConverter::copyBlockFromSpoiledStream()
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

void TestWavConverter::copyBlockWritesNoStrayMemory()
{
    const size_t size = 1000;
    FileStream source("abcdefgh");
    FileStream output({}, QIODevice::ReadWrite);
    std::vector<char>(size, '-').clear(); // what a buffer of that size finds in its memory
    QVERIFY(CWavConverter::copyBlock(source.stream, output.stream, size));
    QCOMPARE(output.bytes(), "abcdefgh" + QByteArray(size - 8, '\0'));
}

void TestWavConverter::reportError_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");

    QTest::newRow("no memory") << 1 << u"Can not allocate memory."_s;
    QTest::newRow("file not opened") << 2 << u"Can not open file."_s;
    QTest::newRow("file not read") << 3 << u"File read error."_s;
    QTest::newRow("data not read") << 4 << u"Data read error."_s;
    QTest::newRow("file not written") << 5 << u"File write error."_s;
    QTest::newRow("data not written") << 6 << u"Data write error."_s;
    QTest::newRow("data not copied") << 7 << u"Data copy error."_s;
    QTest::newRow("illegal format") << 8 << u"Illegal file format."_s;
    QTest::newRow("restriction") << 9 << u"File restriction."_s;
    QTest::newRow("code -1 has no reason") << -1 << u""_s;
    QTest::newRow("the lowest code has no reason") << std::numeric_limits<int>::min() << u""_s;
    QTest::newRow("code 11 has no reason") << 11 << u""_s;
    QTest::newRow("code 1000 has no reason") << 1000 << u""_s;
}

void TestWavConverter::reportError()
{
    QFETCH(int, code);
    QFETCH(QString, reason);
    QWidget parent;
    const CWavConverter converter(&parent, {});

    const MessageBoxAnswer answer(QMessageBox::Ok);
    converter.reportError(code);
    QVERIFY(answer.wasAsked());
    QCOMPARE(answer.box().title, u"Splicora"_s);
    QCOMPARE(answer.box().text, g_errorText + reason);
    QCOMPARE(answer.box().icon, QMessageBox::Warning);
    QCOMPARE(answer.box().buttons, QMessageBox::Ok);
    QCOMPARE(answer.box().parent, &parent);
}

void TestWavConverter::reportNothing_data()
{
    QTest::addColumn<int>("code");

    QTest::newRow("success") << 0;
    QTest::newRow("cancelled") << 10;
}

void TestWavConverter::reportNothing()
{
    QFETCH(int, code);
    QWidget parent;
    const CWavConverter converter(&parent, {});

    const MessageBoxAnswer answer(QList<QMessageBox::StandardButton>{});
    converter.reportError(code);
    QVERIFY(answer.wasAsked());
}

void TestWavConverter::reportErrorWithoutParent()
{
    const CWavConverter converter(nullptr, {});
    const MessageBoxAnswer answer(QMessageBox::NoButton);
    converter.reportError(ConvertFileOpen);
    QVERIFY(answer.wasAsked());
    QCOMPARE(answer.box().text, g_errorText + u"Can not open file."_s);
    QCOMPARE(answer.box().parent, nullptr);
}

void TestWavConverter::outputNames_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<int>("channels");
    QTest::addColumn<QStringList>("sources"); // below the work directory
    QTest::addColumn<QString>("outputDir"); // the same; empty for none
    QTest::addColumn<QStringList>("outputs"); // the same, in the order they are made
    QTest::addColumn<bool>("relative"); // paths as they stand, from the current directory

    const auto row = [](const char* name, Function function, int channels,
                        const QStringList& sources, const QString& outputDir,
                        const QStringList& outputs, bool relative = false) {
        QTest::newRow(name) << function << channels << sources << outputDir << outputs << relative;
    };

    row("split of eight channels", Function::Split, 8, {u"rec/take.wav"_s}, {},
        {u"rec/take_01.wav"_s, u"rec/take_02.wav"_s, u"rec/take_03.wav"_s, u"rec/take_04.wav"_s,
         u"rec/take_05.wav"_s, u"rec/take_06.wav"_s, u"rec/take_07.wav"_s, u"rec/take_08.wav"_s});
    row("split of eight channels into an output directory", Function::Split, 8, {u"rec/take.wav"_s},
        u"out"_s,
        {u"out/take_01.wav"_s, u"out/take_02.wav"_s, u"out/take_03.wav"_s, u"out/take_04.wav"_s,
         u"out/take_05.wav"_s, u"out/take_06.wav"_s, u"out/take_07.wav"_s, u"out/take_08.wav"_s});
    row("split of a name with two dots", Function::Split, 2, {u"take.v2.wav"_s}, {},
        {u"take.v2_01.wav"_s, u"take.v2_02.wav"_s});
    row("split of a name with an extension in upper case", Function::Split, 2, {u"TAKE.WAV"_s}, {},
        {u"TAKE_01.wav"_s, u"TAKE_02.wav"_s});
    row("split of a path without a dot", Function::Split, 2, {u"take"_s}, {},
        {u"take_01.wav"_s, u"take_02.wav"_s}, true);
    row("split of a path without a dot into an output directory", Function::Split, 2, {u"take"_s},
        u"out"_s, {u"out/take_01.wav"_s, u"out/take_02.wav"_s}, true);
    row("split of a path with a dot only in its folder", Function::Split, 2, {u"rec.d/take"_s}, {},
        {u"rec_01.wav"_s, u"rec_02.wav"_s});
    row("split of a path with a dot only in its folder into an output directory", Function::Split,
        2, {u"rec.d/take"_s}, u"out"_s, {u"out/rec_01.wav"_s, u"out/rec_02.wav"_s});
    row("split of a path with number places", Function::Split, 2, {u"100%2 %1/take%2%1.wav"_s}, {},
        {u"100%2 %1/take%2%1_01.wav"_s, u"100%2 %1/take%2%1_02.wav"_s});
    row("split into an output directory with number places", Function::Split, 2,
        {u"take%1%2%3.wav"_s}, u"out %2 %1"_s,
        {u"out %2 %1/take%1%2%3_01.wav"_s, u"out %2 %1/take%1%2%3_02.wav"_s});

    row("combine of two files", Function::Combine, 1, {u"rec/take_01.wav"_s, u"rec/take_02.wav"_s},
        {}, {u"rec/take_combined.wav"_s});
    row("combine into an output directory", Function::Combine, 1,
        {u"rec/take_01.wav"_s, u"rec/take_02.wav"_s}, u"out"_s, {u"out/take_combined.wav"_s});
    row("combine of a name with two underscores", Function::Combine, 1,
        {u"my_take_01.wav"_s, u"my_take_02.wav"_s}, {}, {u"my_take_combined.wav"_s});
    row("combine of a name with dots", Function::Combine, 1,
        {u"take.v2_01.wav"_s, u"take.v2_02.wav"_s}, {}, {u"take.v2_combined.wav"_s});
    row("combine of paths with number places", Function::Combine, 1,
        {u"100%2 %1/take%2%1_01.wav"_s, u"100%2 %1/take%2%1_02.wav"_s}, {},
        {u"100%2 %1/take%2%1_combined.wav"_s});
    row("combine into an output directory with number places", Function::Combine, 1,
        {u"take%1%2_01.wav"_s, u"take%1%2_02.wav"_s}, u"out %2 %1"_s,
        {u"out %2 %1/take%1%2_combined.wav"_s});

    row("BWF of one file", Function::Bwf, 8, {u"rec/take.wav"_s}, {}, {u"rec/take_bwf.wav"_s});
    row("BWF into an output directory", Function::Bwf, 8, {u"rec/take.wav"_s}, u"out"_s,
        {u"out/take_bwf.wav"_s});
    row("BWF of two files in two folders", Function::Bwf, 1, {u"a/take.wav"_s, u"b/other.wav"_s},
        {}, {u"a/take_bwf.wav"_s, u"b/other_bwf.wav"_s});
    row("BWF of two files in two folders into an output directory", Function::Bwf, 1,
        {u"a/take.wav"_s, u"b/other.wav"_s}, u"out"_s,
        {u"out/take_bwf.wav"_s, u"out/other_bwf.wav"_s});
    row("BWF of a path without a dot", Function::Bwf, 2, {u"take"_s}, {}, {u"take_bwf.wav"_s},
        true);
    row("BWF of a path with number places", Function::Bwf, 2, {u"100%2 %1/take%2%1.wav"_s}, {},
        {u"100%2 %1/take%2%1_bwf.wav"_s});
    row("BWF into an output directory with number places", Function::Bwf, 2, {u"take%1%2.wav"_s},
        u"out %2 %1"_s, {u"out %2 %1/take%1%2_bwf.wav"_s});
}

void TestWavConverter::outputNames()
{
    QFETCH(Function, function);
    QFETCH(int, channels);
    QFETCH(QStringList, sources);
    QFETCH(QString, outputDir);
    QFETCH(QStringList, outputs);
    QFETCH(bool, relative);

    const WorkDirectory work;
    Sources items;
    for (int i = 0; i < sources.size(); ++i) {
        work.add(sources[i], sourceBytes(channels, i));
        items.add(relative ? sources[i] : work.path(sources[i]));
    }
    CWavConverter converter(nullptr, items.list());
    if (!outputDir.isEmpty()) {
        work.addFolder(outputDir);
        converter.setOutputDirectory(relative ? outputDir : work.path(outputDir));
    }

    const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
    QCOMPARE(run(converter, function), ConvertOk);
    QVERIFY(noBox.wasAsked());
    QCOMPARE(work.names(), sorted(sources + outputs));
    for (int i = 0; i < sources.size(); ++i)
        QCOMPARE(work.bytes(sources[i]), sourceBytes(channels, i));
    for (int i = 0; i < outputs.size(); ++i) {
        const QByteArray expected = function == Function::Split ? splitBytes(i + 1)
                                    : function == Function::Combine
                                        ? combinedBytes(int(sources.size()))
                                        : bwfBytes(sourceBytes(channels, i));
        QCOMPARE(withoutDate(work.bytes(outputs[i])), expected);
    }
}

void TestWavConverter::outputDirectoryIsReplaced_data()
{
    QTest::addColumn<QString>("second");
    QTest::addColumn<QStringList>("outputs");

    QTest::newRow("by another one") << u"b"_s << QStringList{u"b/take_bwf.wav"_s};
    QTest::newRow("by none") << u""_s << QStringList{u"take_bwf.wav"_s};
}

void TestWavConverter::outputDirectoryIsReplaced()
{
    QFETCH(QString, second);
    QFETCH(QStringList, outputs);
    const WorkDirectory work;
    work.add(u"take.wav"_s, sourceBytes(1));
    work.addFolder(u"a"_s);
    work.addFolder(u"b"_s);
    Sources items;
    items.add(work.path(u"take.wav"_s));

    CWavConverter converter(nullptr, items.list());
    converter.setOutputDirectory(work.path(u"a"_s));
    converter.setOutputDirectory(second.isEmpty() ? QString() : work.path(second));
    const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
    converter.plainToBwf();
    QVERIFY(noBox.wasAsked());
    QCOMPARE(work.names(), sorted(outputs + QStringList{u"take.wav"_s}));
}

void TestWavConverter::sourceListIsCopied()
{
    const WorkDirectory work;
    work.add(u"take.wav"_s, sourceBytes(2));
    Sources items;
    items.add(work.path(u"take.wav"_s));

    QList<CWavFileItem*> list = items.list();
    CWavConverter converter(nullptr, list);
    list.clear();
    const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
    QCOMPARE(converter.polyToMono(), ConvertOk);
    QCOMPARE(work.names(), QStringList({u"take.wav"_s, u"take_01.wav"_s, u"take_02.wav"_s}));
}

void TestWavConverter::emptySourceList_data()
{
    QTest::addColumn<Function>("function");

    QTest::newRow("split") << Function::Split;
    QTest::newRow("combine") << Function::Combine;
    QTest::newRow("BWF") << Function::Bwf;
}

void TestWavConverter::emptySourceList()
{
    QFETCH(Function, function);
    const WorkDirectory work;
    CWavConverter converter(nullptr, {});
    converter.setOutputDirectory(work.path({}));

    const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
    QCOMPARE(run(converter, function), ConvertOk);
    QVERIFY(noBox.wasAsked());
    QCOMPARE(work.names(), QStringList());
}

void TestWavConverter::overwritePrompt_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QMessageBox::StandardButton>("answer");

    struct Answer
    {
        const char* name;
        QMessageBox::StandardButton button;
    };
    const Answer answers[] = {
        {"answered Yes", QMessageBox::Yes},
        {"answered Cancel", QMessageBox::Cancel},
        {"closed with Escape", QMessageBox::NoButton},
    };
    for (const auto& [name, button] : answers) {
        QTest::addRow("split, %s", name)
            << Function::Split << u"take%1.wav"_s << u"take%1_01.wav"_s
            << u"Output file already exists.\ntake%1_01.wav\n\nDo you want to overwrite?"_s
            << button;
        QTest::addRow("combine, %s", name)
            << Function::Combine << u"take%1_01.wav"_s << u"take%1_combined.wav"_s
            << u"Output file already exists.\n\ntake%1_combined.wav\n\nDo you want to overwrite?"_s
            << button;
        QTest::addRow("BWF, %s", name)
            << Function::Bwf << u"take%1.wav"_s << u"take%1_bwf.wav"_s
            << u"Output file already exists.\ntake%1_bwf.wav\n\nDo you want to overwrite?"_s
            << button;
    }
}

void TestWavConverter::overwritePrompt()
{
    QFETCH(Function, function);
    QFETCH(QString, source);
    QFETCH(QString, output);
    QFETCH(QString, text);
    QFETCH(QMessageBox::StandardButton, answer);
    const QByteArray old(5000, '-'); // longer than what comes

    const WorkDirectory work;
    work.add(source, sourceBytes(1));
    work.add(u"out/"_s + output, old);
    Sources items;
    items.add(work.path(source));
    QWidget parent;
    CWavConverter converter(&parent, items.list());
    converter.setOutputDirectory(work.path(u"out"_s));

    const MessageBoxAnswer prompt(answer);
    const int error = run(converter, function);
    QVERIFY(prompt.wasAsked());
    QCOMPARE(prompt.box().title, u"Splicora"_s);
    QCOMPARE(prompt.box().text, text);
    QCOMPARE(prompt.box().icon, QMessageBox::Question);
    QCOMPARE(prompt.box().buttons, QMessageBox::Yes | QMessageBox::Cancel);
    QVERIFY(!prompt.box().hasDefaultButton);
    QCOMPARE(prompt.box().parent, &parent);

    QCOMPARE(work.names(), sorted({source, u"out/"_s + output}));
    QCOMPARE(work.bytes(source), sourceBytes(1));
    const QByteArray bytes = work.bytes(u"out/"_s + output);
    if (answer == QMessageBox::Yes) {
        QCOMPARE(error, ConvertOk);
        const QByteArray expected = function == Function::Split     ? splitBytes(1)
                                    : function == Function::Combine ? combinedBytes(1)
                                                                    : bwfBytes(sourceBytes(1));
        QCOMPARE(withoutDate(bytes), expected);
    } else {
        QCOMPARE(error, function == Function::Bwf ? ConvertOk : ConvertCancelled);
        QCOMPARE(bytes, old);
    }
}

void TestWavConverter::declinedThirdOutput_data()
{
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QList<QMessageBox::StandardButton>>("answers");
    QTest::addColumn<QStringList>("left"); // beside the sources

    using Answers = QList<QMessageBox::StandardButton>;
    const QString first = u"a_01.wav"_s;
    const QString second = u"a_02.wav"_s;
    const QString third = u"a_03.wav"_s;
    const QString fourth = u"a_04.wav"_s;
    QTest::newRow("only the third output was there")
        << QStringList{third} << Answers{QMessageBox::Cancel} << QStringList{first, second, third};
    QTest::newRow("only the third output was there, Escape")
        << QStringList{third} << Answers{QMessageBox::NoButton}
        << QStringList{first, second, third};
    QTest::newRow("all four outputs were there")
        << QStringList{first, second, third, fourth}
        << Answers{QMessageBox::Yes, QMessageBox::Yes, QMessageBox::Cancel}
        << QStringList{first, second, third, fourth};
}

void TestWavConverter::declinedThirdOutput()
{
    QFETCH(QStringList, existing);
    QFETCH(QList<QMessageBox::StandardButton>, answers);
    QFETCH(QStringList, left);
    const QStringList sources = {u"a.wav"_s, u"b.wav"_s};

    const WorkDirectory work;
    Sources items;
    for (const QString& source : sources) {
        work.add(source, sourceBytes(4));
        items.add(work.path(source));
    }
    for (const QString& name : existing)
        work.add(name, "old");
    CWavConverter converter(nullptr, items.list());

    const MessageBoxAnswer prompts(answers);
    QCOMPARE(converter.polyToMono(), ConvertCancelled);
    QVERIFY(prompts.wasAsked()); // and no error box
    QCOMPARE(work.names(), sorted(sources + left)); // nothing of the second source
    QCOMPARE(withoutDate(work.bytes(u"a_01.wav"_s)), splitBytes(1));
    QCOMPARE(withoutDate(work.bytes(u"a_02.wav"_s)), splitBytes(2));
    QCOMPARE(work.bytes(u"a_03.wav"_s), "old"_ba);
    if (existing.contains(u"a_04.wav"_s))
        QCOMPARE(work.bytes(u"a_04.wav"_s), "old"_ba);
}

void TestWavConverter::progressDialog_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<int>("channels");
    QTest::addColumn<QStringList>("sources");
    QTest::addColumn<QStringList>("labels");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<bool>("shownAtOnce");

    // RIFF sizes of the sources: form type, fmt chunk, data header, samples.
    constexpr int stereoSize = 4 + 24 + 8 + 2 * g_channelBytes;
    constexpr int monoSize = 4 + 24 + 8 + g_channelBytes;
    QTest::newRow("split, one for every output")
        << Function::Split << 2 << QStringList{u"rec/take%1.wav"_s}
        << QStringList{u"Converting...\ntake%1_01.wav"_s, u"Converting...\ntake%1_02.wav"_s}
        << stereoSize / 2 << true;
    QTest::newRow("combine, reference size not multiplied")
        << Function::Combine << 1 << QStringList{u"rec/take%1_01.wav"_s, u"rec/take%1_02.wav"_s}
        << QStringList{u"Converting...\ntake%1_combined.wav"_s} << monoSize << true;
    QTest::newRow("BWF, one for every source, hidden at first")
        << Function::Bwf << 2 << QStringList{u"rec/take%1.wav"_s, u"rec/other.wav"_s}
        << QStringList{u"Converting...\ntake%1_bwf.wav"_s, u"Converting...\nother_bwf.wav"_s}
        << stereoSize << false;
}

void TestWavConverter::progressDialog()
{
    QFETCH(Function, function);
    QFETCH(int, channels);
    QFETCH(QStringList, sources);
    QFETCH(QStringList, labels);
    QFETCH(int, maximum);
    QFETCH(bool, shownAtOnce);

    const WorkDirectory work;
    Sources items;
    for (int i = 0; i < sources.size(); ++i) {
        work.add(sources[i], sourceBytes(channels, i));
        items.add(work.path(sources[i]));
    }
    QWidget parent;
    CWavConverter converter(&parent, items.list());
    const ProgressProbe probe;
    const MessageBoxAnswer noBox(QList<QMessageBox::StandardButton>{});
    QCOMPARE(run(converter, function), ConvertOk);
    QVERIFY(noBox.wasAsked());

    QStringList seen;
    for (const SeenProgress& dialog : probe.dialogs()) {
        seen.append(dialog.label);
        QCOMPARE(dialog.title, u"Splicora"_s);
        QCOMPARE(dialog.spokenTitle, u"Conversion progress"_s);
        QCOMPARE(dialog.spokenBar, u"Conversion progress"_s);
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

void TestWavConverter::outputIsClosedBesideTheMaximum_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("isOpen");
    QTest::newRow("split, closed before the dialog shows the maximum")
        << Function::Split << u"take_01.wav"_s << false;
    QTest::newRow("combine, closed after the dialog shows the maximum")
        << Function::Combine << u"take_combined.wav"_s << true;
    QTest::newRow("BWF, closed before the dialog shows the maximum")
        << Function::Bwf << u"take_bwf.wav"_s << false;
}

void TestWavConverter::outputIsClosedBesideTheMaximum()
{
    QFETCH(Function, function);
    QFETCH(QString, output);
    QFETCH(bool, isOpen);

    const WorkDirectory work;
    Sources items;
    const QString source = function == Function::Combine ? u"take_01.wav"_s : u"take.wav"_s;
    // A RIFF size that no running size meets on its way.
    QByteArray bytes = sourceBytes(function == Function::Combine ? 1 : 2);
    work.add(source, bytes.replace(4, 4, le32(50000)));
    items.add(work.path(source));
    items.list().constFirst()->setChannelEnabled(1, false);
    QWidget parent;
    CWavConverter converter(&parent, items.list());
    const MaximumWatch watch(&parent, work.path(output));
    QCOMPARE(run(converter, function), ConvertOk);
    QCOMPARE(watch.openAtMaximum(), QList<bool>{isOpen});
}

void TestWavConverter::errorBoxBeforeReturn_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<QByteArray>("source"); // what stands where the listed file stood
    QTest::addColumn<QString>("outputDir");
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("reason");

    const auto row = [](const char* name, Function function, const QByteArray& source,
                        const QString& outputDir, int error, const QString& reason) {
        QTest::newRow(name) << function << source << outputDir << error << reason;
    };
    const QByteArray wav = sourceBytes(1);
    const QByteArray text = "nothing of the kind";
    const QString open = u"Can not open file."_s;
    const QString format = u"Illegal file format."_s;
    row("split, source is gone", Function::Split, {}, u"out"_s, ConvertFileOpen, open);
    row("combine, source is gone", Function::Combine, {}, u"out"_s, ConvertFileOpen, open);
    row("split, output directory is missing", Function::Split, wav, u"missing"_s, ConvertFileOpen,
        open);
    row("combine, output directory is missing", Function::Combine, wav, u"missing"_s,
        ConvertFileOpen, open);
    row("split, source is no longer a recording", Function::Split, text, u"out"_s,
        ConvertIllegalFormat, format);
    row("combine, source is no longer a recording", Function::Combine, text, u"out"_s,
        ConvertIllegalFormat, format);
}

void TestWavConverter::errorBoxBeforeReturn()
{
    QFETCH(Function, function);
    QFETCH(QByteArray, source);
    QFETCH(QString, outputDir);
    QFETCH(int, error);
    QFETCH(QString, reason);

    const WorkDirectory work;
    work.addFolder(u"out"_s);
    if (!source.isEmpty())
        work.add(u"take_01.wav"_s, source);
    Sources items;
    items.add(work.path(u"take_01.wav"_s), monoInfo());
    QWidget parent;
    CWavConverter converter(&parent, items.list());
    converter.setOutputDirectory(work.path(outputDir));

    const MessageBoxAnswer answer(QMessageBox::Ok);
    QCOMPARE(run(converter, function), error);
    QVERIFY(answer.wasAsked());
    QCOMPARE(answer.box().title, u"Splicora"_s);
    QCOMPARE(answer.box().text, g_errorText + reason);
    QCOMPARE(answer.box().icon, QMessageBox::Warning);
    QCOMPARE(answer.box().parent, &parent);
}

void TestWavConverter::errorBoxBesideProgress_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<bool>("hasProgress"); // while the box is shown
    QTest::addColumn<QStringList>("names"); // of the files that are there then

    const QString source = u"take_01.wav"_s;
    QTest::newRow("split, progress and output are gone")
        << Function::Split << false << QStringList{source};
    QTest::newRow("combine, progress and output are gone")
        << Function::Combine << false << QStringList{source};
    QTest::newRow("BWF, progress and output are still there")
        << Function::Bwf << true << QStringList{source, u"take_01_bwf.wav"_s};
}

void TestWavConverter::errorBoxBesideProgress()
{
    QFETCH(Function, function);
    QFETCH(bool, hasProgress);
    QFETCH(QStringList, names);

    const WorkDirectory work;
    work.add(u"take_01.wav"_s, sourceBytes(1) + "cut");
    Sources items;
    items.add(work.path(u"take_01.wav"_s));
    QWidget parent;
    CWavConverter converter(&parent, items.list());

    bool hadProgress = !hasProgress;
    QStringList namesThen;
    MessageBoxAnswer answer(QMessageBox::Ok);
    answer.whenSeen([&](QMessageBox*) {
        hadProgress = parent.findChild<QProgressDialog*>() != nullptr;
        namesThen = work.names();
    });
    run(converter, function);
    QVERIFY(answer.wasAsked());
    QCOMPARE(answer.box().text, g_errorText + u"Data read error."_s);
    QCOMPARE(hadProgress, hasProgress);
    QCOMPARE(namesThen, names);
}

void TestWavConverter::refusedBeforeTheProgress_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<QByteArray>("now");
    QTest::newRow("combine beyond the RIFF size")
        << Function::Combine << sourceBytes(1).replace(4, 4, le32(0x80000000));
    QTest::newRow("combine of no recording") << Function::Combine << QByteArray("text");
    QTest::newRow("split of no recording") << Function::Split << QByteArray("text");
}

void TestWavConverter::refusedBeforeTheProgress()
{
    QFETCH(Function, function);
    QFETCH(QByteArray, now);
    const WorkDirectory work;
    work.add(u"take_01.wav"_s, now);
    Sources items;
    items.add(work.path(u"take_01.wav"_s), monoInfo());
    CWavConverter converter(nullptr, items.list());
    const ShowCounter shows;
    const MessageBoxAnswer answer(QMessageBox::Ok);
    run(converter, function);
    QVERIFY(answer.wasAsked());
    QCOMPARE(shows.count(), 0);
}

void TestWavConverter::blockAlignZeroOfAMissingSource()
{
    QFETCH(Function, function);
    const WorkDirectory work;
    WavInfo info = monoInfo();
    info.fmt.blockAlign = 0;
    Sources items;
    items.add(work.path(u"take_01.wav"_s), info);
    CWavConverter converter(nullptr, items.list());
    const MessageBoxAnswer answer(QMessageBox::Ok);
    QCOMPARE(run(converter, function), ConvertFileOpen);
    QVERIFY(answer.wasAsked());
}

void TestWavConverter::blockAlignZero_data()
{
    QTest::addColumn<Function>("function");
    QTest::addColumn<QString>("existing"); // the output that would be asked about

    QTest::newRow("split") << Function::Split << u"take_01_01.wav"_s;
    QTest::newRow("combine") << Function::Combine << u"take_combined.wav"_s;
}

/// The format is refused before anything is asked or touched.
void TestWavConverter::blockAlignZero()
{
    QFETCH(Function, function);
    QFETCH(QString, existing);
    const WorkDirectory work;
    work.add(u"take_01.wav"_s, sourceBytes(1));
    work.add(existing, "old");
    WavInfo info = monoInfo();
    info.fmt.blockAlign = 0;
    Sources items;
    items.add(work.path(u"take_01.wav"_s), info);
    CWavConverter converter(nullptr, items.list());

    const MessageBoxAnswer answer(QMessageBox::Ok);
    QCOMPARE(run(converter, function), ConvertIllegalFormat);
    QVERIFY(answer.wasAsked());
    QCOMPARE(answer.box().text, g_errorText + u"Illegal file format."_s);
    QCOMPARE(work.names(), sorted({u"take_01.wav"_s, existing}));
    QCOMPARE(work.bytes(existing), "old"_ba);
}

QTEST_MAIN(TestWavConverter)
#include "tst_wavconverter.moc"
