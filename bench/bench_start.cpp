// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// The program's start up to the first painted frame.

#include "bench/firstframe.h"
#include "ui/mainwindow.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    CMainWindow window;
    const FirstFrame end(&window);
    window.show();
    return app.exec();
}
