// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

#ifdef QT_WIDGETS_LIB
#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QPointer>
#include <QProgressDialog>
#include <QTimer>
#endif

/// @file
/// The main function of the test programs, which makes every machine look alike to them.

/// What the toolkit takes from the environment, for as long as this lives.
class TestEnvironment
{
public:
    TestEnvironment()
    {
        const bool hasDisplay =
            qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || !hasDisplay)
            qputenv("QT_QPA_PLATFORM", "offscreen");
        if (qgetenv("QT_QPA_PLATFORM") == "offscreen") // a display may be found in there
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_dir.path()));
        // Date and time always differ from those of UTC here, and no clock is ever changed.
        qputenv("TZ", "XXX-24:30");
        // The toolkit keeps there what a file dialog showed.
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_dir.path()));
    }

private:
    QTemporaryDir m_dir;
};

/// During its life, messages that start so are expected, any number of them: the log leaves them
/// out. One that comes a known number of times is named with QTest::ignoreMessage().
class ExpectedMessages
{
public:
    explicit ExpectedMessages(const QString& start) { s_starts.append(start); }
    ~ExpectedMessages() { s_starts.removeLast(); }
    Q_DISABLE_COPY_MOVE(ExpectedMessages)

    /// Called before @p log, which gets all other messages.
    static void installBefore(QtMessageHandler log)
    {
        s_log = log;
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context,
                                  const QString& text) {
            const auto starts = [&text](const QString& start) { return text.startsWith(start); };
            if (std::none_of(s_starts.cbegin(), s_starts.cend(), starts))
                s_log(type, context, text);
        });
    }

private:
    inline static QStringList s_starts;
    inline static QtMessageHandler s_log = nullptr;
};

#ifdef QT_WIDGETS_LIB

using TestApplication = QApplication;

/// Fails the test function that leaves a dialog without an answer, and closes this dialog and all
/// others that the function opens.
class ForgottenDialogs : public QObject
{
public:
    ForgottenDialogs()
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { look(); });
        m_timer.start(100);
    }

private:
    void look()
    {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog || qobject_cast<QProgressDialog*>(dialog)) {
            m_dialog = nullptr;
            return;
        }
        if (m_dialog != dialog) {
            m_dialog = dialog;
            m_sinceSeen.start();
        }
        if (QTest::currentTestFailed()) {
            dialog->reject();
        } else if (m_sinceSeen.hasExpired(patience())) {
            const QByteArray text = dialog->property("text").toString().toLocal8Bit();
            const QByteArray kind = dialog->metaObject()->className();
            QTest::qFail("Nobody answers a " + kind + " \"" + text + '"', __FILE__, __LINE__);
            dialog->reject();
        }
    }

    /// A third of the milliseconds after which the toolkit aborts the program.
    static int patience()
    {
        bool isSet = false;
        const int timeout = qEnvironmentVariableIntValue("QTEST_FUNCTION_TIMEOUT", &isSet);
        return (isSet ? timeout : 300'000) / 3;
    }

    QTimer m_timer;
    QPointer<QDialog> m_dialog;
    QElapsedTimer m_sinceSeen;
};

#else

using TestApplication = QCoreApplication;
class ForgottenDialogs
{ };

#endif

/// Runs the functions of @p Test. An application must exist.
template <typename Test>
int runTest(int argc, char* argv[])
{
    [[maybe_unused]] const ForgottenDialogs dialogs;
    // The platform without a display says so about every window.
    const ExpectedMessages plugin(QStringLiteral("This plugin does not support propagateSize"));
    static Test test; // as in main(): a list of the functions ends the program in here
    // As QTest::qExec() does it, with a check of what goes to the log.
    QTest::qInit(&test, argc, argv);
    const QtMessageHandler log = qInstallMessageHandler(nullptr);
    ExpectedMessages::installBefore(log);
    const int failures = QTest::qRun();
    qInstallMessageHandler(log);
    QTest::qCleanup();
    return failures;
}

/// Belongs at the end of a test program, in the place of QTEST_MAIN.
#define SPLICORA_TEST_MAIN(Test)                                                                   \
    int main(int argc, char* argv[])                                                               \
    {                                                                                              \
        static const TestEnvironment environment;                                                  \
        TestApplication app(argc, argv);                                                           \
        return runTest<Test>(argc, argv);                                                          \
    }
