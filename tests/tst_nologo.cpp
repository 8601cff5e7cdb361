// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/testmain.h"
#include "ui/mainwindow.h"

#include <QFile>
#include <QIcon>
#include <QLabel>
#include <QLayout>
#include <QtTest>

#include <ctime>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

QStringList g_debugLines;
QtMessageHandler g_testHandler = nullptr;

void keepDebugLines(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (type == QtDebugMsg)
        g_debugLines.append(text);
    else
        g_testHandler(type, context, text);
}

// 2026-03-04, 04:05:06 in UTC
constexpr time_t g_moment = 1772597106;

} // namespace

// In this program the clock is stopped: every part of date and time has one digit. Releases of the
// toolkit differ in which of these they ask.
extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    *now = {g_moment, 0};
    return 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    if (clock != CLOCK_REALTIME)
        return int(syscall(SYS_clock_gettime, clock, now));
    *now = {g_moment, 0};
    return 0;
}

/// The window in a program without the pictures.
class tst_NoLogo : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(!QFile::exists(u":/images/velmar.png"_s));
        QVERIFY(!QFile::exists(u":/images/appicon.ico"_s));
        g_testHandler = qInstallMessageHandler(keepDebugLines);
    }

    void cleanupTestCase() { qInstallMessageHandler(g_testHandler); }

    void windowOpensWithOneDebugLine()
    {
        CMainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.resize(900, 600);
        QCOMPARE(g_debugLines, QStringList{u"\"2026-03-05 04:35:06 Can not read image file.\" "_s});
        QVERIFY(!QApplication::activeModalWidget());
        QCOMPARE(window.windowTitle(), u"Splicora"_s);
        QVERIFY(window.windowIcon().availableSizes().isEmpty());

        const QLayout* row = window.centralWidget()->layout()->itemAt(0)->layout();
        QCOMPARE(row->count(), 4);
        const auto* logo = qobject_cast<QLabel*>(row->itemAt(3)->widget());
        QVERIFY(logo);
        QVERIFY(logo->pixmap().isNull());
        QCOMPARE(logo->text(), QString());
        QCOMPARE(logo->accessibleName(), QString());
    }
};

SPLICORA_TEST_MAIN(tst_NoLogo)

#include "tst_nologo.moc"
