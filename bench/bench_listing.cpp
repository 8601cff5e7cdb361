// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR
//
// bench_listing list|width|fit DIR ROWS
// list: lists a directory in the shown main window, from the Return key to the painted table.
// width: one change of the width of the window that shows this list, until the table is painted.
// fit: the least that such a change costs: one fit of the table's columns and rows to their
// contents, as the toolkit does it.
// Prints CPU and wall seconds.

#include "bench/usage.h"
#include "tests/support/windowprobe.h"
#include "ui/mainwindow.h"

#include <QApplication>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Lets everything happen that the toolkit put off: scroll bars, fits that follow them, painting.
void rest()
{
    for (int round = 0; round < 20; ++round)
        QCoreApplication::processEvents();
}

void list(CMainWindow* window)
{
    QTest::keyClick(currentDirEdit(window), Qt::Key_Return);
    rest();
}

void changeWidth(CMainWindow* window)
{
    window->resize(window->width() + 100, window->height());
    rest();
}

void fit(CMainWindow* window)
{
    fileTable(window)->resizeColumnsToContents();
    fileTable(window)->resizeRowsToContents();
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 4)
        qFatal("bench_listing list|width|fit DIR ROWS");
    CMainWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        qFatal("The window does not appear.");
    currentDirEdit(&window)->setText(arguments[2]);
    if (arguments[1] != u"list")
        list(&window);

    const Usage usage;
    if (arguments[1] == u"list")
        list(&window);
    else if (arguments[1] == u"width")
        changeWidth(&window);
    else
        fit(&window);
    printUsage(usage);
    return fileTable(&window)->rowCount() == arguments[3].toInt() ? 0 : 1;
}
