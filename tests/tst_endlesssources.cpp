// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversion.h"
#include "tests/support/progresswatch.h"
#include "tests/support/tempdir.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

using namespace Qt::Literals::StringLiterals;

/// @file
/// Conversions that never end by themselves run in a process of their own: this executable, started
/// again with what to convert. The test watches it from outside and ends it.

namespace {

constexpr int g_waitMs = 60000; // a hang of the test itself, nothing that is measured

/// The event loop rounds of a conversion without progress are counted in steps of this many.
constexpr int g_roundsPerLine = 1000;

void say(const QByteArray& line)
{
    std::puts(line.constData());
    std::fflush(stdout);
}

/// In the child: reports every so many rounds in which the progress stayed where it is, and, if it
/// is to, clicks the cancel button after the first time.
class StandstillWatch
{
public:
    explicit StandstillWatch(bool cancels)
        : m_cancels(cancels)
        , m_clicker([this](QProgressDialog& dialog) { return look(dialog); })
    {
        QObject::connect(&m_rounds, &QTimer::timeout, &m_rounds, [this] { countRound(); });
        m_rounds.start(0);
    }

private:
    bool look(QProgressDialog& dialog)
    {
        if (dialog.value() != m_value) {
            m_value = dialog.value();
            m_roundCount = 0;
        }
        const bool isTime = m_cancels && m_roundCount > g_roundsPerLine;
        if (isTime)
            say("clicks " + dialog.findChild<QPushButton*>()->text().toLatin1());
        return isTime;
    }

    void countRound()
    {
        if (++m_roundCount % g_roundsPerLine == 0)
            say("stands still");
    }

    bool m_cancels;
    int m_value = -1;
    int m_roundCount = 0;
    QTimer m_rounds;
    CancelClicker m_clicker;
};

/// Closes a window, as a person would, in a round after the one in which the cancel button hid the
/// dialog in front of it.
class WindowCloser
{
public:
    explicit WindowCloser(QWidget* window)
    {
        QObject::connect(&m_timer, &QTimer::timeout, window, [this, window] {
            const auto* dialog = window->findChild<QProgressDialog*>();
            if (!dialog || !dialog->wasCanceled())
                return;
            m_timer.stop();
            say("closes the window");
            window->close();
        });
        m_timer.start(0);
    }

private:
    QTimer m_timer;
};

/// The child's whole work: `split|combine WAY FILE...`, where the way is to `wait`, to `cancel`, or
/// to cancel and to `close` a shown window, with or without `another` one beside it. Returns the
/// conversion's result.
int convertInChild(QStringList arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // no child spins on when the test is ended
    const Conversion conversion = conversionNamed(arguments.takeFirst());
    const QString way = arguments.takeFirst();
    const Sources sources(arguments);
    QWidget window;
    QWidget other;
    const bool hasWindow = way == u"close" || way == u"another";
    window.setVisible(hasWindow);
    other.setVisible(way == u"another");
    CWavConverter converter(hasWindow ? &window : nullptr, sources.list());
    const StandstillWatch watch(way != u"wait");
    const WindowCloser closer(&window);
    const ConversionRun run = runAnswered({}, [&] { return convert(converter, conversion); });
    say("shows " + QByteArray::number(run.boxes.size()) + " box(es)");
    return run.result;
}

int runChild(int argc, char* argv[])
{
    QApplication app(argc, argv);
    int result = -1;
    QTimer::singleShot(0, &app, [&result] {
        result = convertInChild(QCoreApplication::arguments().mid(1));
        QCoreApplication::quit();
    });
    QApplication::exec(); // within which alone the toolkit reports the last window
    return result;
}

/// Processor time of a process, in clock ticks; -1 when there is no such process.
qint64 processorTicks(qint64 processId)
{
    const QByteArray stat = readFile(u"/proc/%1/stat"_s.arg(processId));
    // After the name in parentheses: the state, ten numbers, then user and system time.
    const QByteArrayList fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 12 ? fields[11].toLongLong() + fields[12].toLongLong() : -1;
}

} // namespace

class tst_EndlessSources : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        m_child.kill();
        m_child.waitForFinished(g_waitMs);
    }

    void splitNeverEnds_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QString>("cancels");

        const Format stereo = {.channels = 2};
        const QByteArray few = wavBytes({fmtChunk(stereo), dataChunk("aA1!bB2@", 1000)});
        const QByteArray huge = wavBytes({fmtChunk(stereo), dataChunk("aA1!bB2@", 0xFFFFFFFF)});
        const QByteArray none = wavBytes({fmtChunk(stereo), dataChunk({}, 4)});
        QTest::newRow("data that claims more than the file holds") << few << u"wait"_s;
        QTest::newRow("data that claims more than the file holds, with clicks on Cancel")
            << few << u"cancel"_s;
        QTest::newRow("data that claims 2^32 - 1 bytes") << huge << u"wait"_s;
        QTest::newRow("data that claims a frame and has nothing") << none << u"cancel"_s;
    }

    void splitNeverEnds()
    {
        QFETCH(QByteArray, source);
        QFETCH(QString, cancels);
        const TempDir dir;
        const QString path = dir.path(u"take.wav"_s);
        QVERIFY(writeFile(path, source));

        startChild({u"split"_s, cancels, path});
        if (cancels == u"cancel")
            QTRY_COMPARE_WITH_TIMEOUT(countOf("clicks Cancel\n"), 1, g_waitMs);
        checkThatItLoops();
        m_child.kill();
        QVERIFY(m_child.waitForFinished(g_waitMs));

        QCOMPARE(m_child.exitStatus(), QProcess::CrashExit);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files),
                 QStringList({u"take.wav"_s, u"take_01.wav"_s}));
        QCOMPARE(readFile(path), source);
    }

    /// Nobody could end the program any more.
    void splitEndsWithTheLastWindow()
    {
        const TempDir dir;
        const QString path = dir.path(u"take.wav"_s);
        writeEndless(path);
        startChild({u"split"_s, u"close"_s, path});
        QVERIFY(m_child.waitForFinished(g_waitMs));

        QCOMPARE(countOf("closes the window\n"), 1);
        QCOMPARE(countOf("shows 0 box(es)\n"), 1);
        QCOMPARE(m_child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_child.exitCode(), int(ConvertCancelled));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{u"take.wav"_s});
    }

    void splitGoesOnBesideAnotherWindow()
    {
        const TempDir dir;
        const QString path = dir.path(u"take.wav"_s);
        writeEndless(path);
        startChild({u"split"_s, u"another"_s, path});
        QTRY_COMPARE_WITH_TIMEOUT(countOf("closes the window\n"), 1, g_waitMs);
        checkThatItLoops();
    }

    void combineEndsByCancel_data()
    {
        QTest::addColumn<QByteArray>("reference");
        QTest::addColumn<QByteArray>("second");
        QTest::addColumn<QString>("secondName");

        const Format mono = {.bits = 16};
        const auto claiming = [&mono](qint64 size) {
            return wavBytes({fmtChunk(mono), dataChunk("aAbBcCdD", size)});
        };
        const QByteArray whole = claiming(8);
        QTest::newRow("reference data that claims more than the files hold")
            << claiming(1000) << claiming(1000) << u"take_02.wav"_s;
        QTest::newRow("reference data that claims 2^31 bytes")
            << claiming(0x80000000) << whole << u"take_02.wav"_s;
        QTest::newRow("reference data that claims 2^32 - 1 bytes")
            << claiming(0xFFFFFFFF) << whole << u"take_02.wav"_s;
        QTest::newRow("a last channel file that ends early")
            << whole << wavBytes({fmtChunk(mono), dataChunk("aAbB")}) << u"take_02.wav"_s;
        QTest::newRow("the reference number again at the end of the reference")
            << whole << whole << u"again_01.wav"_s;
        // The progress is then at its maximum, the RIFF size, in each round.
        const QByteArray shortened =
            wavBytes({fmtChunk(mono), dataChunk("aAbBcCdDeEfF")}).chopped(8);
        QTest::newRow("sources that lost their last 8 bytes")
            << shortened << shortened << u"take_02.wav"_s;
    }

    void combineEndsByCancel()
    {
        QFETCH(QByteArray, reference);
        QFETCH(QByteArray, second);
        QFETCH(QString, secondName);
        const TempDir dir;
        const QStringList paths = {dir.path(u"take_01.wav"_s), dir.path(secondName)};
        QVERIFY(writeFile(paths[0], reference));
        QVERIFY(writeFile(paths[1], second));

        startChild({u"combine"_s, u"wait"_s, paths[0], paths[1]});
        checkThatItLoops();
        QVERIFY(QFile::exists(dir.path(u"take_combined.wav"_s)));
        m_child.kill();
        QVERIFY(m_child.waitForFinished(g_waitMs));
        QVERIFY(QFile::remove(dir.path(u"take_combined.wav"_s)));

        startChild({u"combine"_s, u"cancel"_s, paths[0], paths[1]});
        QVERIFY(m_child.waitForFinished(g_waitMs));

        QCOMPARE(m_said + m_child.readAllStandardOutput(),
                 QByteArray("stands still\nclicks Cancel\nshows 0 box(es)\n"));
        QCOMPARE(m_child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_child.exitCode(), int(ConvertCancelled));
        QVERIFY(!QFile::exists(dir.path(u"take_combined.wav"_s)));
        QCOMPARE(readFile(paths[0]), reference);
        QCOMPARE(readFile(paths[1]), second);
    }

private:
    void startChild(const QStringList& arguments)
    {
        m_said.clear();
        m_child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_child.start(QCoreApplication::applicationFilePath(), arguments);
        QVERIFY(m_child.waitForStarted(g_waitMs));
    }

    /// The child reports rounds without progress again and again, and keeps using the processor.
    void checkThatItLoops()
    {
        qint64 ticks = -1;
        for (int sample = 0; sample < 4; ++sample) {
            const qsizetype lines = countOf("stands still\n");
            QTRY_VERIFY_WITH_TIMEOUT(countOf("stands still\n") > lines, g_waitMs);
            QTRY_VERIFY_WITH_TIMEOUT(processorTicks(m_child.processId()) > ticks, g_waitMs);
            ticks = processorTicks(m_child.processId());
        }
        QCOMPARE(m_child.state(), QProcess::Running);
    }

    /// A file of which the split finds the end never.
    void writeEndless(const QString& path)
    {
        QVERIFY(
            writeFile(path, wavBytes({fmtChunk({.channels = 2}), dataChunk("aA1!bB2@", 1000)})));
    }

    /// How often the child has said @p line so far.
    qsizetype countOf(const char* line)
    {
        m_said += m_child.readAllStandardOutput();
        return m_said.count(line);
    }

    QProcess m_child;
    QByteArray m_said;
};

int main(int argc, char* argv[])
{
    const QByteArray command = argc > 1 ? argv[1] : "";
    if (command == "split" || command == "combine")
        return runChild(argc, argv); // in the environment of the test, and to be killed
    static const TestEnvironment environment;
    QApplication app(argc, argv);
    return runTest<tst_EndlessSources>(argc, argv);
}

#include "tst_endlesssources.moc"
