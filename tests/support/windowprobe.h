// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QTextDocument>

#include <algorithm>

/// @file
/// Finds the widgets of the main window as a person finds them: by what they say and where they
/// stand. A widget that is not there fails the test with the name that was searched for.

template <typename Widget, typename Says>
Widget* findWidget(const QWidget* within, const QString& text, Says says)
{
    const auto widgets = within->findChildren<Widget*>();
    for (Widget* widget : widgets) {
        if (says(widget) == text)
            return widget;
    }
    qFatal("Nothing says \"%s\".", qPrintable(text));
    return nullptr;
}

inline QGroupBox* findGroup(const QWidget* window, const QString& title)
{
    return findWidget<QGroupBox>(window, title, [](QGroupBox* group) { return group->title(); });
}

inline QPushButton* findButton(const QWidget* within, const QString& text)
{
    return findWidget<QPushButton>(within, text,
                                   [](QPushButton* button) { return button->text(); });
}

inline QCheckBox* findCheck(const QWidget* window, const QString& text)
{
    return findWidget<QCheckBox>(window, text, [](QCheckBox* check) { return check->text(); });
}

inline QLabel* findLabel(const QWidget* window, const QString& text)
{
    return findWidget<QLabel>(window, text, [](QLabel* label) { return label->text(); });
}

inline QComboBox* functionCombo(const QWidget* window)
{
    return window->findChild<QComboBox*>();
}

inline QTableWidget* fileTable(const QWidget* window)
{
    return findGroup(window, QStringLiteral("File List"))->findChild<QTableWidget*>();
}

inline QTableWidget* sourceTable(const QWidget* window)
{
    return findGroup(window, QStringLiteral("Source File"))->findChild<QTableWidget*>();
}

inline QLineEdit* currentDirEdit(const QWidget* window)
{
    return findGroup(window, QStringLiteral("File List"))->findChild<QLineEdit*>();
}

inline QLineEdit* outputDirEdit(const QWidget* window)
{
    return findGroup(window, QStringLiteral("Source File"))->findChild<QLineEdit*>();
}

/// The texts of a row, or of one column.
inline QStringList rowTexts(const QTableWidget* table, int row)
{
    QStringList texts;
    for (int column = 0; column < table->columnCount(); ++column)
        texts.append(table->item(row, column)->text());
    return texts;
}

inline QStringList columnTexts(const QTableWidget* table, int column)
{
    QStringList texts;
    for (int row = 0; row < table->rowCount(); ++row)
        texts.append(table->item(row, column)->text());
    return texts;
}

/// The width in pixels that a column needs for its contents and its header.
inline int contentWidth(const QTableWidget* table, int column)
{
    const QAbstractItemView* view = table;
    const QHeaderView* header = table->horizontalHeader();
    return std::max({view->sizeHintForColumn(column), header->sectionSizeHint(column),
                     header->minimumSectionSize()});
}

/// What a person reads on a label, which takes a text that looks like markup for markup. A picture
/// is read as U+FFFC.
inline QString readText(const QLabel* label)
{
    if (label->textFormat() == Qt::PlainText
        || (label->textFormat() == Qt::AutoText && !Qt::mightBeRichText(label->text())))
        return label->text();
    QTextDocument document;
    document.setHtml(label->text());
    return document.toPlainText();
}

/// Puts any text into a field, as if pasted.
inline void enterText(QLineEdit* edit, const QString& text)
{
    edit->selectAll();
    edit->insert(text);
}

/// Enters @p dir into the current-directory field and presses Return.
inline void enterDirectory(const QWidget* window, const QString& dir)
{
    enterText(currentDirEdit(window), dir);
    QTest::keyClick(currentDirEdit(window), Qt::Key_Return);
}

inline void clickButton(const QWidget* within, const QString& text)
{
    QTest::mouseClick(findButton(within, text), Qt::LeftButton);
}

/// Selects exactly these rows, in this order, with clicks on the first column.
inline void selectRows(QTableWidget* table, const QList<int>& rows)
{
    table->clearSelection();
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const QRect cell = table->visualItemRect(table->item(rows[i], 0));
        const auto modifier = i == 0 ? Qt::NoModifier : Qt::ControlModifier;
        QTest::mouseClick(table->viewport(), Qt::LeftButton, modifier, cell.center());
    }
}
