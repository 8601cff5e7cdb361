// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The start of the least main window up to the first painted frame.

#include "bench/firstframe.h"

#include <QApplication>
#include <QMainWindow>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QMainWindow window;
    const FirstFrame end(&window);
    window.show();
    return app.exec();
}
