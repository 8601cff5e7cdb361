// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// A session of the program that a script leads: it takes a request a line from its input, as JSON,
// and prints a line for each. A listing goes through the real window, a conversion through the real
// boxes; both return the texts of the boxes.
//
//     {"do": "list", "dir": DIRECTORY, "function": INDEX}
//     {"do": "split"|"combine"|"copy", "sources": [FILE...], "out": DIRECTORY,
//      "yes": COUNT, "pauseAt": BYTES}
//
// The first COUNT boxes are answered with Yes, the others are closed. With "pauseAt" the session
// prints "paused" when the progress has come that far, and waits there for an empty line.

#include "tests/support/conversion.h"
#include "tests/support/windowdesk.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProgressBar>
#include <QProgressDialog>

#include <iostream>
#include <string>

using namespace Qt::Literals::StringLiterals;

namespace {

void say(const QJsonObject& what)
{
    std::cout << QJsonDocument(what).toJson(QJsonDocument::Compact).toStdString() << std::endl;
}

QStringList strings(const QJsonValue& values)
{
    QStringList result;
    for (const QJsonValue& value : values.toArray())
        result.append(value.toString());
    return result;
}

/// Stops a conversion once, in the middle, until the script says to go on, and counts how often the
/// progress moves from there.
class Pause : public QObject
{
public:
    explicit Pause(qint64 bytes)
    {
        connect(&m_timer, &QTimer::timeout, this, [this, bytes] { look(bytes); });
        m_timer.start(0);
    }

    int stepsAfter() const { return m_stepsAfter; }

private:
    void look(qint64 bytes)
    {
        for (const QWidget* widget : QApplication::topLevelWidgets()) {
            const auto* dialog = qobject_cast<const QProgressDialog*>(widget);
            if (!dialog || std::max(dialog->value(), 0) < bytes)
                continue;
            m_timer.stop();
            const auto* bar = dialog->findChild<QProgressBar*>();
            connect(bar, &QProgressBar::valueChanged, this, [this] { ++m_stepsAfter; });
            std::cout << "paused" << std::endl;
            std::string line;
            std::getline(std::cin, line);
            return;
        }
    }

    QTimer m_timer;
    int m_stepsAfter = 0;
};

QJsonObject listed(const QJsonObject& request)
{
    const WindowDesk desk(request[u"function"].toInt());
    const QStringList boxes = desk.list(request[u"dir"].toString());
    QJsonArray rows;
    for (int row = 0; row < desk.files->rowCount(); ++row)
        rows.append(QJsonArray::fromStringList(rowTexts(desk.files, row)));
    return {{u"rows"_s, rows}, {u"boxes"_s, QJsonArray::fromStringList(boxes)}};
}

QJsonObject converted(const QJsonObject& request)
{
    std::optional<Pause> pause;
    if (request.contains(u"pauseAt"))
        pause.emplace(request[u"pauseAt"].toInteger());
    const QList<QMessageBox::StandardButton> answers(request[u"yes"].toInt(), QMessageBox::Yes);
    const ConversionRun run =
        runConversion(conversionNamed(request[u"do"].toString()),
                      Sources(strings(request[u"sources"])), answers, request[u"out"].toString());
    return {{u"result"_s, run.result},
            {u"boxes"_s, QJsonArray::fromStringList(run.texts())},
            {u"steps"_s, pause ? pause->stepsAfter() : 0}};
}

} // namespace

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    for (std::string line; std::getline(std::cin, line);) {
        const QJsonObject request =
            QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
        say(request[u"do"].toString() == u"list"_s ? listed(request) : converted(request));
    }
    return 0;
}
