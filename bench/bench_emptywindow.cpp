// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// bench_emptywindow [TEXT]
// The start of the least main window up to the first painted frame; with a text, of one that shows
// it, for which the toolkit has to load its fonts.

#include "bench/firstframe.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QMainWindow window;
    if (argc > 1)
        window.setCentralWidget(new QLabel(QString::fromLocal8Bit(argv[1])));
    const FirstFrame end(&window);
    window.show();
    return app.exec();
}
