// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/testmain.h"
#include "tests/support/windowprobe.h"
#include "ui/mainwindow.h"

#include <QBoxLayout>
#include <QDateTime>
#include <QFile>
#include <QIcon>
#include <QLabel>
#include <QtTest>

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

} // namespace

/// The window in a program without the pictures.
class tst_NoLogo : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void oneDebugLine();
    void windowOpens();
    void functionRowHasNoPicture();
};

void tst_NoLogo::initTestCase()
{
    QVERIFY(!QFile::exists(u":/images/velmar.png"_s));
    QVERIFY(!QFile::exists(u":/images/appicon.ico"_s));
}

void tst_NoLogo::init()
{
    g_debugLines.clear();
    g_testHandler = qInstallMessageHandler(keepDebugLines);
}

void tst_NoLogo::cleanup()
{
    qInstallMessageHandler(g_testHandler);
}

void tst_NoLogo::oneDebugLine()
{
    const QDateTime before = QDateTime::currentDateTime();
    {
        CMainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.resize(900, 600);
    }
    const QDateTime after = QDateTime::currentDateTime();

    QCOMPARE(g_debugLines.size(), 1);
    const QString line = g_debugLines.first();
    QCOMPARE(line.left(1), u"\""_s);
    QCOMPARE(line.mid(20), u" Can not read image file.\" "_s);
    const QDateTime stamp = QDateTime::fromString(line.mid(1, 19), u"yyyy-MM-dd hh:mm:ss"_s);
    QVERIFY2(stamp.isValid(), qPrintable(line));
    QVERIFY(stamp >= before.addSecs(-1) && stamp <= after);
}

void tst_NoLogo::windowOpens()
{
    CMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(window.windowTitle(), u"Splicora"_s);
    QVERIFY(window.windowIcon().availableSizes().isEmpty());
    QCOMPARE(functionCombo(&window)->currentText(), u"Mono to Poly"_s);
    QCOMPARE(fileTable(&window)->columnCount(), 6);
    QCOMPARE(sourceTable(&window)->columnCount(), 5);
    QVERIFY(!findButton(&window, u"Convert"_s)->isEnabled());
}

void tst_NoLogo::functionRowHasNoPicture()
{
    CMainWindow window;
    const auto* row =
        qobject_cast<QHBoxLayout*>(window.centralWidget()->layout()->itemAt(0)->layout());
    QVERIFY(row);
    QCOMPARE(row->count(), 4);
    QCOMPARE(row->itemAt(0)->widget(), findLabel(&window, u"Function:"_s));
    QCOMPARE(row->itemAt(1)->widget(), functionCombo(&window));
    QVERIFY(row->itemAt(2)->spacerItem());
    const auto* logo = qobject_cast<QLabel*>(row->itemAt(3)->widget());
    QVERIFY(logo);
    QVERIFY(logo->pixmap().isNull());
    QCOMPARE(logo->text(), QString());
}

SPLICORA_TEST_MAIN(tst_NoLogo)

#include "tst_nologo.moc"
