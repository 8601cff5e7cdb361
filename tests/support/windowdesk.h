// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "tests/support/messageboxanswer.h"
#include "tests/support/tempdir.h"
#include "tests/support/texts.h"
#include "tests/support/windowprobe.h"
#include "ui/mainwindow.h"

#include <QSignalBlocker>

#include <functional>

/// The buttons that a list of files enables, and those that sources enable, from top to bottom.
inline const QStringList g_addButtons = {QStringLiteral("Add"), QStringLiteral("Add All")};
inline const QStringList g_allButtons =
    g_addButtons
    + QStringList{QStringLiteral("Remove"), QStringLiteral("Remove All"),
                  QStringLiteral("Convert")};

/// The real window, shown, and a directory of its own.
struct WindowDesk
{
    using Answers = QList<QMessageBox::StandardButton>;

    /// With @p function chosen; one that the window does not have is offered for it.
    explicit WindowDesk(int function = MonoToPolyFunction)
    {
        window.resize(900, 700);
        window.show();
        if (!QTest::qWaitForWindowExposed(&window))
            qFatal("No window.");
        QComboBox* combo = functionCombo(&window);
        while (combo->count() <= function)
            combo->addItem(QStringLiteral("One more"));
        combo->setCurrentIndex(function);
    }

    /// With these files in its directory, which is listed.
    explicit WindowDesk(const Files& listed, int function = MonoToPolyFunction)
        : WindowDesk(function)
    {
        dir.add(listed);
        list();
    }

    QString path(const QString& name) const { return dir.path(name); }

    /// What the boxes said that came up in @p act. All were closed but those with an answer.
    /// Differences from the usual box are appended to its text, in brackets.
    QStringList boxesOf(const std::function<void()>& act, const Answers& answers = {}) const
    {
        MessageBoxAnswer answer(answers);
        answer.whenSeen(whenAsked);
        act();
        QStringList texts;
        for (const SeenBox& box : answer.boxes())
            texts.append(box.text + box.oddities(&window));
        return texts;
    }

    /// Enters the directory. Returns what the boxes said.
    QStringList list() const { return list(dir.path()); }

    QStringList list(const QString& directory) const
    {
        return boxesOf([&] { enterDirectory(&window, directory); });
    }

    /// Selects exactly these rows of the file list, in this order, and presses Add.
    QStringList add(const QList<int>& rows) const
    {
        selectRows(files, rows);
        return press(QStringLiteral("Add"));
    }

    /// Presses a button. Returns what the boxes said.
    QStringList press(const QString& text, const Answers& answers = {}) const
    {
        return boxesOf([&] { clickButton(&window, text); }, answers);
    }

    /// Changes the function. Returns what the boxes said.
    QStringList choose(int function) const
    {
        return boxesOf([&] { functionCombo(&window)->setCurrentIndex(function); });
    }

    /// Changes the function without the listing that follows.
    void chooseUnlisted(int function) const
    {
        const QSignalBlocker noListing(functionCombo(&window));
        functionCombo(&window)->setCurrentIndex(function);
    }

    QStringList fileNames() const { return columnTexts(files, 0); }
    QStringList sourceNames() const { return columnTexts(sources, 0); }

    /// The buttons that can be pressed, from top to bottom.
    QStringList enabledButtons() const
    {
        QStringList enabled;
        for (const QString& text : g_allButtons) {
            if (findButton(&window, text)->isEnabled())
                enabled.append(text);
        }
        return enabled;
    }

    /// What the eight channel boxes show: a digit each, '1' for checked.
    QString checkedChannels() const
    {
        return channels([](const QCheckBox* check) { return check->isChecked(); });
    }

    /// Which of the eight channel boxes can be changed: a digit each, '1' for enabled.
    QString enabledChannels() const
    {
        return channels([](const QCheckBox* check) { return check->isEnabled(); });
    }

    QCheckBox* channelCheck(int channel) const
    {
        return findCheck(&window, QStringLiteral("Ch%1").arg(channel));
    }

    std::function<void(QMessageBox*)> whenAsked; ///< called at each box
    TempDir dir;
    CMainWindow window;
    QTableWidget* const files = fileTable(&window);
    QTableWidget* const sources = sourceTable(&window);

private:
    template <typename Is>
    QString channels(Is is) const
    {
        QString digits;
        for (int channel = 1; channel <= 8; ++channel)
            digits += is(channelCheck(channel)) ? u'1' : u'0';
        return digits;
    }
};

/// "a.wav" for 0, "b.wav" for 1 and so on.
inline QString letterName(int index)
{
    return QChar(u'a' + index) + QStringLiteral(".wav");
}

/// The files as "a.wav", "b.wav" and so on.
inline Files letterFiles(const QByteArrayList& contents)
{
    Files files;
    for (int i = 0; i < contents.size(); ++i)
        files[letterName(i)] = contents[i];
    return files;
}

inline QStringList letterNames(const QList<int>& indexes)
{
    QStringList names;
    for (const int index : indexes)
        names.append(letterName(index));
    return names;
}

/// A file of @p frames sample frames and nothing but the two needed chunks.
inline QByteArray smallWav(const Format& format = {}, int frames = 4)
{
    return wavBytes(
        {fmtChunk(format), dataChunk(sampleBytes(qsizetype(frames) * format.frameBytes()))});
}
