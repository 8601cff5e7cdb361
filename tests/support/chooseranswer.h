// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

/// What a person saw of a directory chooser.
struct SeenChooser
{
    QString caption;
    QString directory;
    QFileDialog::Options options;
    QFileDialog::FileMode mode = QFileDialog::AnyFile;
    const QWidget* parent = nullptr;
};

/// Answers the directory choosers that appear during its life with a path typed into them, or by
/// cancelling where the path is empty.
class ChooserAnswer : public QObject
{
public:
    explicit ChooserAnswer(const QString& path)
        : m_path(path)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { answerActiveChooser(); });
        m_timer.start(1);
    }

    QList<SeenChooser> seen;

private:
    void answerActiveChooser()
    {
        auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!chooser || !chooser->isVisible())
            return;
        seen.append({chooser->windowTitle(), chooser->directory().absolutePath(),
                     chooser->options(), chooser->fileMode(), chooser->parentWidget()});
        if (m_path.isEmpty()) {
            QTest::keyClick(chooser, Qt::Key_Escape);
            return;
        }
        auto* edit = chooser->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        edit->setText(m_path);
        QTest::keyClick(edit, Qt::Key_Return);
    }

    QString m_path;
    QTimer m_timer;
};
