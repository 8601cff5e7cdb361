// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// convertfiles split|combine|copy OUTPUT-DIRECTORY FILE...: runs one conversion and prints the
// boxes it showed, if any. Exits with the result of the conversion.

#include "tests/support/conversion.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 4) {
        std::fputs("usage: convertfiles split|combine|copy OUTPUT-DIRECTORY FILE...\n", stderr);
        return 2;
    }
    const ConversionRun run =
        runConversion(conversionNamed(arguments[1]), Sources(arguments.mid(3)), {}, arguments[2]);
    for (const SeenBox& box : run.boxes)
        std::puts(qPrintable(box.text));
    return run.boxes.isEmpty() ? run.result : std::max(run.result, 1);
}
