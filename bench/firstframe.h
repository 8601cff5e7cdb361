// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <QWidget>

#include <cstdlib>

/// Ends the process, without any clearing up, once the first frame of a window is painted.
class FirstFrame : public QObject
{
public:
    explicit FirstFrame(QWidget* window) { window->installEventFilter(this); }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        // The children are painted and the frame is flushed before the event loop goes on.
        if (event->type() == QEvent::Paint)
            QTimer::singleShot(0, this, [] { std::_Exit(EXIT_SUCCESS); });
        return QObject::eventFilter(watched, event);
    }
};
