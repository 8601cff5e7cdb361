// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// bench_convert split|combine OUTPUT-DIR FILE...
// One conversion under the shown main window, measured from the call to its return. Prints CPU and
// wall seconds and the memory of the idle window and of the conversion's peak.

#include "bench/usage.h"
#include "convert/wavconverter.h"
#include "ui/mainwindow.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <QApplication>
#include <QTest>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A line of /proc/self/status, in KiB.
long long memory(const QByteArray& name)
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArrayList lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(name + ':'))
            return line.simplified().split(' ').value(1).toLongLong();
    }
    return -1;
}

/// Makes the peak start again from the memory that is in use now.
bool resetPeak()
{
    QFile file(u"/proc/self/clear_refs"_s);
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write("5") == 1;
}

/// The items of @p files, which live until the program ends as those of the file list do.
QList<CWavFileItem*> itemsOf(const QStringList& files)
{
    QList<CWavFileItem*> items;
    for (const QString& name : files) {
        QFile file(name);
        WavInfo info = {};
        if (!openRegularFile(&file) || !readWavInfo(&file, &info))
            qFatal("Can not read %s.", qPrintable(name));
        items.append(new CWavFileItem(name, info));
    }
    return items;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 4)
        qFatal("bench_convert split|combine OUTPUT-DIR FILE...");
    CMainWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        qFatal("The window does not appear.");

    CWavConverter converter(&window, itemsOf(arguments.mid(3)));
    converter.setOutputDirectory(arguments[2]);
    if (!resetPeak())
        qFatal("Can not reset the memory peak.");
    const long long idle = memory("VmRSS");
    const Usage usage;
    const int error = arguments[1] == u"split" ? converter.polyToMono() : converter.monoToPoly();
    const double cpu = usage.cpuSeconds();
    const double wall = usage.wallSeconds();
    std::printf("{\"cpu\": %.6f, \"wall\": %.6f, \"idle_kib\": %lld, \"peak_kib\": %lld}\n", cpu,
                wall, idle, memory("VmHWM"));
    return error;
}
