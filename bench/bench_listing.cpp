// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// bench_listing DIR ROWS
// Lists a directory in the shown main window, measured from the Return key to the painted table.
// Prints CPU and wall seconds.

#include "bench/usage.h"
#include "tests/support/windowprobe.h"
#include "ui/mainwindow.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 3)
        qFatal("bench_listing DIR ROWS");
    CMainWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        qFatal("The window does not appear.");

    currentDirEdit(&window)->setText(arguments[1]);
    const Usage usage;
    QTest::keyClick(currentDirEdit(&window), Qt::Key_Return);
    QCoreApplication::processEvents();
    printUsage(usage);
    return fileTable(&window)->rowCount() == arguments[2].toInt() ? 0 : 1;
}
