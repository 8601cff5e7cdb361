// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "tests/support/texts.h"

#include <QAbstractButton>
#include <QApplication>
#include <QList>
#include <QMessageBox>
#include <QTest>
#include <QTimer>

#include <functional>
#include <utility>

/// What a person saw of a message box.
struct SeenBox
{
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons buttons;
    bool hasDefaultButton = false;
    const QWidget* parent = nullptr;

    /// How the box differs from the usual one of its text on this parent, in brackets. Empty when
    /// it does not.
    QString oddities(const QWidget* usualParent) const
    {
        const auto says = [this](const QString& any) { return text.contains(any); };
        const bool asks = says(g_overwrite) || says(g_clickYes);
        const bool informs = says(g_noDirectory) || says(g_noWavFiles) || says(g_noFiles);
        QString found;
        if (title != QStringLiteral("Splicora"))
            found += QStringLiteral(" [titled \"%1\"]").arg(title);
        if (icon
            != (asks      ? QMessageBox::Question
                : informs ? QMessageBox::Information
                          : QMessageBox::Warning))
            found += QStringLiteral(" [icon %1]").arg(icon);
        if (buttons != (asks ? QMessageBox::Yes | QMessageBox::Cancel : QMessageBox::Ok))
            found += QStringLiteral(" [buttons %1]").arg(int(buttons));
        if (hasDefaultButton == asks) // the toolkit takes a lone Ok for the default
            found += QStringLiteral(" [another default button]");
        if (parent != usualParent)
            found += QStringLiteral(" [on another window]");
        return found;
    }
};

/// Answers the message boxes that appear during its life, in order, with a click on the real
/// button; QMessageBox::NoButton stands for the Escape key. A box beyond the planned answers is
/// closed with Escape and counts as unplanned.
class MessageBoxAnswer : public QObject
{
public:
    explicit MessageBoxAnswer(const QList<QMessageBox::StandardButton>& answers = {})
        : m_answers(answers)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { answerActiveBox(); });
        m_timer.start(1);
    }

    explicit MessageBoxAnswer(QMessageBox::StandardButton answer)
        : MessageBoxAnswer(QList<QMessageBox::StandardButton>{answer})
    { }

    /// Calls @p look at each box, while it is open and before it is answered. A box that is closed
    /// there needs no answer.
    void whenSeen(std::function<void(QMessageBox*)> look) { m_look = std::move(look); }

    /// True when as many boxes as planned were answered, and no other one.
    bool wasAsked() const { return m_seen.size() == m_answers.size(); }

    const QList<SeenBox>& boxes() const { return m_seen; }

    /// The only box, or an empty one if there was none.
    SeenBox box() const { return m_seen.isEmpty() ? SeenBox() : m_seen.first(); }

private:
    void answerActiveBox()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible() || box == m_last)
            return;
        m_last = box;
        SeenBox seen = {box->windowTitle(),     box->text(),      box->icon(),
                        box->standardButtons(), hasDefault(*box), box->parentWidget()};
        const auto answer =
            m_seen.size() < m_answers.size() ? m_answers[m_seen.size()] : QMessageBox::NoButton;
        m_seen.append(seen);
        // The next box may stand at the same address.
        connect(box, &QObject::destroyed, this, [this] { m_last = nullptr; });
        if (m_look)
            m_look(box);
        if (!box->isVisible())
            return;
        QAbstractButton* button = box->button(answer);
        if (answer != QMessageBox::NoButton && button)
            QTest::mouseClick(button, Qt::LeftButton);
        else
            QTest::keyClick(box, Qt::Key_Escape);
        if (box->isVisible())
            box->reject();
    }

    static bool hasDefault(const QMessageBox& box) { return box.defaultButton() != nullptr; }

    std::function<void(QMessageBox*)> m_look;
    QList<QMessageBox::StandardButton> m_answers;
    QList<SeenBox> m_seen;
    QTimer m_timer;
    QObject* m_last = nullptr;
};
