// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QApplication>
#include <QPointer>
#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>
#include <utility>

/// What a person saw of a progress dialog: how it stood when events came through for the first
/// time, and every value that its bar took from then on, each change once.
struct SeenProgress
{
    QString title;
    QString spokenTitle;
    QString spokenBar;
    QString label;
    QString cancelText;
    bool visible = false;
    Qt::WindowModality modality = Qt::NonModal;
    int minimum = -1;
    int maximum = -1;
    const QWidget* parent = nullptr;
    QList<int> values;
};

/// Follows every progress dialog that appears during its life.
class ProgressWatch : public QObject
{
public:
    /// Calls @p look with the dialog whenever a conversion lets events through.
    explicit ProgressWatch(std::function<void(QProgressDialog&)> look = {})
        : m_look(std::move(look))
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { lookAround(); });
        m_timer.start(0);
    }

    const QList<SeenProgress>& seen() const { return m_seen; }

    /// The value that the bar of the latest dialog took last; -1 before its first one.
    int value() const
    {
        return m_seen.isEmpty() || m_seen.last().values.isEmpty() ? -1
                                                                  : m_seen.last().values.last();
    }

    /// The only dialog, or an empty one if there was none.
    SeenProgress only() const { return m_seen.size() == 1 ? m_seen.first() : SeenProgress(); }

private:
    void lookAround()
    {
        const QWidgetList widgets = QApplication::topLevelWidgets();
        for (QWidget* widget : widgets) {
            auto* dialog = qobject_cast<QProgressDialog*>(widget);
            if (!dialog)
                continue;
            if (!m_bar)
                follow(*dialog);
            if (m_look)
                m_look(*dialog);
            return;
        }
    }

    void follow(const QProgressDialog& dialog)
    {
        m_bar = dialog.findChild<QProgressBar*>();
        m_seen.append({dialog.windowTitle(),
                       dialog.accessibleName(),
                       m_bar->accessibleName(),
                       dialog.labelText(),
                       dialog.findChild<QPushButton*>()->text(),
                       dialog.isVisible(),
                       dialog.windowModality(),
                       dialog.minimum(),
                       dialog.maximum(),
                       dialog.parentWidget(),
                       {}});
        connect(m_bar, &QProgressBar::valueChanged, this,
                [this](int value) { m_seen.last().values.append(value); });
    }

    std::function<void(QProgressDialog&)> m_look;
    QList<SeenProgress> m_seen;
    QPointer<QProgressBar> m_bar;
    QTimer m_timer;
};

/// Lets the dialog act as if the work had already taken some seconds: it appears, and lets events
/// through, with the next value.
inline void makeImpatient(QProgressDialog& dialog)
{
    dialog.setMinimumDuration(0);
}

/// Does something once, as soon as a condition holds while events are let through.
class Once : public QObject
{
public:
    Once(std::function<bool()> condition, std::function<void()> act)
    {
        connect(&m_timer, &QTimer::timeout, this,
                [this, condition = std::move(condition), act = std::move(act)] {
                    if (!condition())
                        return;
                    m_timer.stop();
                    m_isDone = true;
                    act();
                });
        m_timer.start(0);
    }

    bool isDone() const { return m_isDone; }

private:
    QTimer m_timer;
    bool m_isDone = false;
};

/// Clicks the cancel button of a progress dialog, as a person would, as soon as @p isTime says so.
class CancelClicker
{
public:
    explicit CancelClicker(std::function<bool(QProgressDialog&)> isTime)
        : m_watch([this, isTime = std::move(isTime)](QProgressDialog& dialog) {
            if (m_isClicked || QApplication::activeModalWidget() != &dialog || !isTime(dialog))
                return;
            m_isClicked = true;
            QTest::mouseClick(dialog.findChild<QPushButton*>(), Qt::LeftButton);
        })
    { }

    bool wasClicked() const { return m_isClicked; }

private:
    bool m_isClicked = false;
    ProgressWatch m_watch;
};
