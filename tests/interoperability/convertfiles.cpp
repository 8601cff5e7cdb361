// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// convertfiles split|combine|copy OUTPUT-DIRECTORY FILE...: runs one conversion and prints the
// boxes it showed, if any. Exits with the result of the conversion.

#include "tests/support/conversion.h"

#include <QApplication>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 4) {
        std::fputs("usage: convertfiles split|combine|copy OUTPUT-DIRECTORY FILE...\n", stderr);
        return 2;
    }
    const QString conversion = arguments[1];
    const Sources sources(arguments.mid(3));
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(arguments[2]);
    const ConversionRun run = runAnswered({}, [&] {
        if (conversion == u"split"_s)
            return converter.polyToMono();
        if (conversion == u"combine"_s)
            return converter.monoToPoly();
        converter.plainToBwf();
        return int(ConvertOk);
    });
    for (const SeenBox& box : run.boxes)
        std::puts(qPrintable(box.text));
    return run.boxes.isEmpty() ? run.result : std::max(run.result, 1);
}
