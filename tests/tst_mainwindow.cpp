// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/conversion.h"
#include "tests/support/folderrecorder.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QAction>
#include <QBoxLayout>
#include <QDir>
#include <QDockWidget>
#include <QGridLayout>
#include <QHeaderView>
#include <QImage>
#include <QMenuBar>
#include <QResource>
#include <QShortcut>
#include <QSpacerItem>
#include <QStatusBar>
#include <QToolBar>
#include <QtTest>

#include <algorithm>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QStringList quoted(const QStringList& texts)
{
    QStringList result;
    for (const QString& text : texts)
        result.append(u'"' + text + u'"');
    return result;
}

QStringList headerLabels(const QTableWidget* table)
{
    QStringList labels;
    for (int column = 0; column < table->columnCount(); ++column)
        labels.append(table->horizontalHeaderItem(column)->text());
    return labels;
}

QString describe(const QWidget* widget)
{
    QStringList texts;
    if (const auto* group = qobject_cast<const QGroupBox*>(widget)) {
        texts.append(group->title());
    } else if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
        texts.append(button->text());
    } else if (const auto* label = qobject_cast<const QLabel*>(widget)) {
        texts.append(label->pixmap().isNull() ? label->text() : u"(a picture)"_s);
    } else if (const auto* table = qobject_cast<const QTableWidget*>(widget)) {
        texts = headerLabels(table);
    } else if (const auto* combo = qobject_cast<const QComboBox*>(widget)) {
        for (int index = 0; index < combo->count(); ++index)
            texts.append(combo->itemText(index));
    }
    texts = quoted(texts);
    texts.prepend(QString::fromLatin1(widget->metaObject()->className()));
    return texts.join(u' ');
}

QString describe(const QSpacerItem* spacer)
{
    const QSize size = spacer->sizeHint();
    if (spacer->expandingDirections() != Qt::Orientations())
        return size.isNull() ? u"stretch"_s : u"stretch from %1"_s.arg(size.height());
    return u"spacing %1"_s.arg(size.height());
}

/// Says what of margins and spacing is not the default of such a layout at such a place.
QString changedDefaults(const QLayout* layout)
{
    QWidget top;
    auto* outer = new QVBoxLayout(new QWidget(&top));
    auto* inner = new QVBoxLayout;
    outer->addLayout(inner);
    const bool onWidget = qobject_cast<QWidget*>(layout->parent());
    QString text;
    if (layout->contentsMargins() != (onWidget ? outer : inner)->contentsMargins())
        text += u" with margins"_s;
    if (layout->spacing() != outer->spacing())
        text += u" with spacing %1"_s.arg(layout->spacing());
    return text;
}

/// The layout as a text: a line for each widget, spacer and layout, those within it indented.
QStringList describe(const QLayout* layout)
{
    const auto* grid = qobject_cast<const QGridLayout*>(layout);
    const auto* box = qobject_cast<const QBoxLayout*>(layout);
    QString kind = u"grid"_s;
    if (box)
        kind = box->direction() == QBoxLayout::LeftToRight ? u"row"_s : u"column"_s;
    QStringList lines = {kind + changedDefaults(layout)};
    for (int index = 0; index < layout->count(); ++index) {
        QLayoutItem* item = layout->itemAt(index);
        QStringList within;
        if (item->layout()) {
            within = describe(item->layout());
        } else if (item->widget()) {
            within = {describe(item->widget())};
            if (item->widget()->layout()) {
                for (const QString& line : describe(item->widget()->layout()))
                    within.append(u"    "_s + line);
            }
        } else {
            within = {describe(item->spacerItem())};
        }
        if (box && box->stretch(index) != 0)
            within.first() += u" of factor %1"_s.arg(box->stretch(index));
        if (item->alignment() != Qt::Alignment())
            within.first() += u" aligned"_s;
        if (grid) {
            int row = 0, column = 0, rowSpan = 0, columnSpan = 0;
            grid->getItemPosition(index, &row, &column, &rowSpan, &columnSpan);
            within.first().prepend(
                u"at %1,%2: "_s.arg(QString::number(row), QString::number(column)));
            if (rowSpan != 1 || columnSpan != 1 || grid->rowStretch(row) != 0
                || grid->columnStretch(column) != 0)
                within.first() += u" (cell changed)"_s;
        }
        for (const QString& line : within)
            lines.append(u"    "_s + line);
    }
    return lines;
}

QAction* menuAction(const QMainWindow* window, const QString& text)
{
    for (const QAction* menu : window->menuBar()->actions()) {
        for (QAction* action : menu->menu()->actions()) {
            if (action->text() == text)
                return action;
        }
    }
    qFatal("No menu offers \"%s\".", qPrintable(text));
    return nullptr;
}

/// The layout as describe() says it. %1 and %2 stand for the titles of the columns.
const QString g_layout = uR"tree(column
    row
        QLabel "Function:"
        QComboBox "Mono to Poly" "Poly to Mono"
        stretch
        QLabel "(a picture)"
    grid
        at 0,0: QGroupBox "File List"
            column
                row
                    QLabel "Current Dir:"
                    QLineEdit
                    QPushButton "Browse..."
                QTableWidget %1
        at 0,1: column
            spacing 10
            QPushButton "Add"
            QPushButton "Add All"
            stretch
        at 1,0: QGroupBox "Source File"
            column
                QTableWidget %2
                row
                    QCheckBox "Ch1"
                    QCheckBox "Ch2"
                    QCheckBox "Ch3"
                    QCheckBox "Ch4"
                    QCheckBox "Ch5"
                    QCheckBox "Ch6"
                    QCheckBox "Ch7"
                    QCheckBox "Ch8"
                    stretch
                row
                    QLabel "Output to:"
                    QLineEdit
                    QPushButton "Browse..."
        at 1,1: column
            spacing 10
            QPushButton "Remove"
            QPushButton "Remove All"
            stretch
            QPushButton "Convert")tree"_s;

} // namespace

class tst_MainWindow : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        QVERIFY(QApplication::topLevelWidgets().isEmpty());
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void slotOrder()
    {
        const QMetaObject& meta = CMainWindow::staticMetaObject;
        QByteArrayList signatures;
        for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
            const QMetaMethod method = meta.method(index);
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
            QCOMPARE(method.access(), QMetaMethod::Private);
            QCOMPARE(method.returnMetaType(), QMetaType::fromType<void>());
            signatures.append(method.methodSignature());
        }
        QByteArrayList expected = {"showFileList()", "setCurrentDir()", "setOutputDir()",
                                   "add()",          "addAll()",        "remove()",
                                   "removeAll()",    "convert()",       "checkChannels()"};
        for (int channel = 1; channel <= 8; ++channel)
            expected.append("ch" + QByteArray::number(channel) + "StateChanged(int)");
        QCOMPARE(signatures, expected << "showAbout()");
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    }

    void layout()
    {
        const QString expected =
            g_layout.arg(quoted(g_fileTitles).join(u' '), quoted(g_sourceTitles).join(u' '));

        CMainWindow window;
        QCOMPARE(window.centralWidget()->metaObject()->className(), "QWidget");
        const QStringList lines = describe(window.centralWidget()->layout());
        const QStringList expectedLines = expected.split(u'\n');
        for (qsizetype i = 0; i < std::min(lines.size(), expectedLines.size()); ++i)
            QCOMPARE(lines[i], expectedLines[i]);
        QCOMPARE(lines.size(), expectedLines.size());
    }

    void tabFollowsTheEye()
    {
        WindowDesk desk(letterFiles({smallWav({.channels = 8})}), PolyToMonoFunction);
        CMainWindow& window = desk.window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        desk.press(u"Add All"_s);
        selectRows(desk.sources, {0}); // which enables all there is

        const QGroupBox* fileGroup = findGroup(&window, u"File List"_s);
        const QGroupBox* sourceGroup = findGroup(&window, u"Source File"_s);
        QList<QWidget*> expected = {functionCombo(&window),
                                    currentDirEdit(&window),
                                    findButton(fileGroup, u"Browse..."_s),
                                    fileTable(&window),
                                    findButton(&window, u"Add"_s),
                                    findButton(&window, u"Add All"_s),
                                    sourceTable(&window)};
        for (int channel = 1; channel <= 8; ++channel)
            expected.append(findCheck(&window, u"Ch%1"_s.arg(channel)));
        expected.append({outputDirEdit(&window), findButton(sourceGroup, u"Browse..."_s),
                         findButton(&window, u"Remove"_s), findButton(&window, u"Remove All"_s),
                         findButton(&window, u"Convert"_s)});

        functionCombo(&window)->setFocus();
        QList<QWidget*> visited;
        do {
            visited.append(QApplication::focusWidget());
            QTest::keyClick(visited.last(), Qt::Key_Tab);
        } while (QApplication::focusWidget() != functionCombo(&window) && visited.size() < 100);
        QCOMPARE(visited, expected);

        visited.clear();
        do {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
            visited.prepend(QApplication::focusWidget());
        } while (QApplication::focusWidget() != functionCombo(&window) && visited.size() < 100);
        QCOMPARE(visited, expected);
    }

    void menus()
    {
        CMainWindow window;
        QStringList entries;
        for (const QAction* menu : window.menuBar()->actions()) {
            entries.append(menu->text());
            for (const QAction* action : menu->menu()->actions()) {
                entries.append(u"  "_s + action->text());
                QCOMPARE(action->parent(), &window);
                QVERIFY(action->isEnabled() && action->isVisible());
                QVERIFY(!action->isCheckable() && !action->isSeparator());
            }
        }
        QCOMPARE(entries, QStringList({u"&File"_s, u"  Quit"_s, u"&About"_s, u"  About"_s}));
    }

    void nothingHasAToolTipABarOrAShortcut()
    {
        CMainWindow window;
        QVERIFY(window.findChildren<QStatusBar*>().isEmpty());
        QVERIFY(window.findChildren<QToolBar*>().isEmpty());
        QVERIFY(window.findChildren<QDockWidget*>().isEmpty());
        QVERIFY(window.findChildren<QShortcut*>().isEmpty());
        for (const QString& text : {u"Quit"_s, u"About"_s})
            QCOMPARE(menuAction(&window, text)->shortcuts(), QList<QKeySequence>());
        for (const auto* button : window.centralWidget()->findChildren<QAbstractButton*>())
            QCOMPARE(button->shortcut(), QKeySequence());
        for (const auto* label : window.centralWidget()->findChildren<QLabel*>())
            QVERIFY(!label->text().contains(u'&')); // which would be a key to its buddy
        for (const auto* widget : window.centralWidget()->findChildren<QWidget*>())
            QCOMPARE(widget->toolTip(), QString());
    }

    void startState()
    {
        CMainWindow window;
        QCOMPARE(window.windowTitle(), u"Splicora"_s);
        QVERIFY(!window.parent());
        QCOMPARE(window.windowFlags(), QMainWindow().windowFlags());
        QCOMPARE(functionCombo(&window)->currentText(), u"Mono to Poly"_s);
        QCOMPARE(functionCombo(&window)->currentIndex(), 0);
        for (const QLineEdit* edit : {currentDirEdit(&window), outputDirEdit(&window)}) {
            QCOMPARE(edit->text(), QString());
            QVERIFY(edit->isEnabled());
        }
        for (const QTableWidget* table : {fileTable(&window), sourceTable(&window)}) {
            QCOMPARE(table->rowCount(), 0);
            QVERIFY(table->isEnabled());
        }
        for (const auto* button : window.findChildren<QPushButton*>())
            QCOMPARE(button->isEnabled(), button->text() == u"Browse..."_s);
        QVERIFY(!window.isVisible());
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(fileTable(&window)->rowCount(), 0);
        QVERIFY(!QApplication::activeModalWidget());
    }

    void windowTakesItsSizeFromTheLayout()
    {
        CMainWindow window;
        QVERIFY(!window.testAttribute(Qt::WA_Resized));
        QVERIFY(!window.testAttribute(Qt::WA_Moved));
        QCOMPARE(window.minimumSize(), QSize(0, 0));
        QCOMPARE(window.maximumSize(), QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX));
        window.show();
        // The toolkit's own limit is two thirds of the screen.
        const QSize limit = (window.screen()->size() * 2 / 3).expandedTo(window.minimumSizeHint());
        QCOMPARE(window.size(), window.sizeHint().boundedTo(limit));
    }

    void tables()
    {
        CMainWindow window;
        for (const QTableWidget* table : {fileTable(&window), sourceTable(&window)}) {
            const QByteArray name = table->accessibleName().toUtf8();
            QVERIFY2(table->horizontalHeader()->stretchLastSection(), name);
            QVERIFY2(!table->horizontalHeader()->highlightSections(), name);
            QVERIFY2(!table->horizontalHeader()->isHidden(), name);
            QVERIFY2(table->verticalHeader()->isHidden(), name);
            QVERIFY2(table->selectionBehavior() == QAbstractItemView::SelectRows, name);
            QVERIFY2(table->editTriggers() == QAbstractItemView::NoEditTriggers, name);
        }
    }

    void resources()
    {
        QCOMPARE(QDir(u":/images"_s).entryList(QDir::NoFilter, QDir::Name),
                 QStringList({u"appicon.ico"_s, u"velmar.png"_s}));
        for (const QString& name : {u"appicon.ico"_s, u"velmar.png"_s}) {
            const QResource resource(u":/images/"_s + name);
            QVERIFY(resource.isValid());
            QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
            // The first format of resources keeps no times.
            QVERIFY(!resource.lastModified().isValid());
        }
    }

    void windowIconHasAllSizes()
    {
        CMainWindow window;
        QList<int> sizes;
        for (const QSize& size : window.windowIcon().availableSizes()) {
            QCOMPARE(size.width(), size.height());
            sizes.append(size.width());
        }
        std::sort(sizes.begin(), sizes.end());
        QCOMPARE(sizes, QList<int>({16, 24, 32, 48, 256}));
    }

    /// The large image is a PNG, the others are bitmaps, as old desktops need them.
    void iconFile()
    {
        const QByteArray icon = readFile(u":/images/appicon.ico"_s);
        QCOMPARE(icon.left(6), le16(0) + le16(1) + le16(5)); // an icon of five images
        QStringList images;
        for (qsizetype entry = 6; entry < 6 + 5 * 16; entry += 16) {
            const bool isPng = icon.mid(le32At(icon, entry + 12)).startsWith("\x89PNG");
            images.append(u"%1x%2, %3 bits"_s.arg(quint8(icon[entry]))
                              .arg(quint8(icon[entry + 1]))
                              .arg(int(icon[entry + 6]))
                          + (isPng ? u" as PNG"_s : QString()));
        }
        images.sort();
        QCOMPARE(images, QStringList({u"0x0, 32 bits as PNG"_s, // 256
                                      u"16x16, 32 bits"_s, u"24x24, 32 bits"_s, u"32x32, 32 bits"_s,
                                      u"48x48, 32 bits"_s}));
    }

    void logoFile()
    {
        const QImage logo = QImage::fromData(readFile(u":/images/velmar.png"_s), "PNG");
        QCOMPARE(logo.size(), QSize(300, 51));
        QCOMPARE(logo.format(), QImage::Format_Indexed8);
    }

    void logoIsShownSmaller()
    {
        CMainWindow window;
        QList<QPixmap> pictures;
        for (const auto* label : window.findChildren<QLabel*>()) {
            if (!label->pixmap().isNull())
                pictures.append(label->pixmap());
        }
        QCOMPARE(pictures.size(), 1);
        // 100 pixels of the window, each with as many dots as the display has.
        const qreal dots = window.devicePixelRatio();
        QCOMPARE(pictures.first().deviceIndependentSize().toSize(), QSize(100, 17));
        QCOMPARE(pictures.first().devicePixelRatio(), dots);
        const QImage logo(u":/images/velmar.png"_s);
        const QPixmap scaled =
            QPixmap::fromImage(logo).scaledToWidth(qRound(100 * dots), Qt::SmoothTransformation);
        QCOMPARE(pictures.first().size(), scaled.size());
        QImage shown = pictures.first().toImage();
        shown.setDevicePixelRatio(1);
        QCOMPARE(shown, scaled.toImage());
    }

    void about()
    {
        CMainWindow window;
        window.show();
        MessageBoxAnswer answer(QMessageBox::Ok);
        menuAction(&window, u"About"_s)->trigger();
        QVERIFY(answer.wasAsked());
        const SeenBox box = answer.box();
        QCOMPARE(box.title, u"Splicora"_s);
        QCOMPARE(box.text, u"Splicora - Ver.1.00 Build 137085\n\n"
                           "Copyright (C) 2026 VELMAR\nAll rights reserved."_s);
        QCOMPARE(box.icon, QMessageBox::Information);
        QCOMPARE(box.buttons, QMessageBox::Ok);
        QCOMPARE(box.parent, &window);
        QVERIFY(window.isVisible());
    }

    void quitEndsTheProgram()
    {
        CMainWindow window;
        window.show();
        QTimer::singleShot(0, &window, [&] { menuAction(&window, u"Quit"_s)->trigger(); });
        QTimer deadline;
        deadline.setSingleShot(true);
        connect(&deadline, &QTimer::timeout, qApp, [] { QCoreApplication::exit(1); });
        deadline.start(20000);
        QCOMPARE(QCoreApplication::exec(), 0);
        QVERIFY(!window.isVisible());
    }

    void rowsFit()
    {
        WindowDesk desk(letterFiles({smallWav()}));
        desk.press(u"Add All"_s);
        for (QTableWidget* table : {desk.files, desk.sources}) {
            const int height = table->rowHeight(0);
            QFont large = table->font();
            large.setPixelSize(90);
            table->setFont(large);
            desk.window.resize(desk.window.width() + 1, desk.window.height());
            const QAbstractItemView* view = table;
            QCOMPARE(table->rowHeight(0), std::max(view->sizeHintForRow(0),
                                                   table->verticalHeader()->sectionSizeHint(0)));
            QVERIFY(table->rowHeight(0) > height);
        }
    }

    void leavingTheDirectoryFieldListsNothing()
    {
        WindowDesk desk;
        desk.dir.add(u"a.wav"_s, smallWav());
        QVERIFY(QTest::qWaitForWindowActive(&desk.window));
        QLineEdit* edit = currentDirEdit(&desk.window);
        edit->setFocus();
        edit->setText(desk.dir.path());
        QTest::keyClick(edit, Qt::Key_Tab);
        QVERIFY(!edit->hasFocus());
        QCOMPARE(desk.files->rowCount(), 0);
        const QWidget* focused = QApplication::focusWidget();
        QTest::keyClick(edit, Qt::Key_Return);
        QCOMPARE(desk.files->rowCount(), 1);
        QCOMPARE(QApplication::focusWidget(), focused);
        QVERIFY(!desk.files->currentIndex().isValid());
    }

    void typingAnOutputDirectoryChangesNothing()
    {
        const WindowDesk desk(letterFiles({smallWav()}));
        desk.press(u"Add All"_s);
        desk.dir.add(u"b.wav"_s, smallWav());
        QLineEdit* edit = outputDirEdit(&desk.window);
        enterText(edit, u"nowhere"_s);
        QCOMPARE(desk.boxesOf([&] { QTest::keyClick(edit, Qt::Key_Return); }), QStringList());
        QCOMPARE(edit->text(), u"nowhere"_s);
        QCOMPARE(currentDirEdit(&desk.window)->text(), desk.dir.path());
        QCOMPARE(desk.fileNames(), letterNames({0}));
        QCOMPARE(desk.sourceNames(), letterNames({0}));
    }

    void namesLikeMarkupAreShownAsTheyAre_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<Files>("files");
        QTest::addColumn<QStringList>("texts");

        const QString name = u"<img src=x>_01.wav"_s;
        const QByteArray mono = smallWav();
        const QByteArray stereo = smallWav({.channels = 2});
        QTest::newRow("a file that can not be read")
            << int(MonoToPolyFunction)
            << Files{{u"take_01.wav"_s, mono}, {name, QByteArray("damaged")}}
            << QStringList{g_unreadable + u"<img src=x>_01.wav\n"_s,
                           g_converting + u"take_combined.wav"_s};
        QTest::newRow("a combined file and the question before it is overwritten")
            << int(MonoToPolyFunction)
            << Files{{name, mono}, {u"out/<img src=x>_combined.wav"_s, QByteArray()}}
            << QStringList{overwriteQuestion(u"<img src=x>_combined.wav"_s, Conversion::Combine),
                           g_converting + u"<img src=x>_combined.wav"_s};
        QTest::newRow("split files and the question before one is overwritten")
            << int(PolyToMonoFunction)
            << Files{{name, stereo}, {u"out/<img src=x>_01_02.wav"_s, QByteArray()}}
            << QStringList{g_converting + u"<img src=x>_01_01.wav"_s,
                           overwriteQuestion(u"<img src=x>_01_02.wav"_s),
                           g_converting + u"<img src=x>_01_02.wav"_s};
    }

    void namesLikeMarkupAreShownAsTheyAre()
    {
        QFETCH(const int, function);
        QFETCH(const Files, files);
        QFETCH(const QStringList, texts);

        const FolderRecorder desktop;
        const WindowDesk desk(function);
        desk.dir.add(files);
        QStringList read;
        MessageBoxAnswer answer({QMessageBox::Yes});
        answer.whenSeen([&read](const QMessageBox* box) {
            read.append(readText(box->findChild<QLabel*>(u"qt_msgbox_label"_s)));
        });
        const ProgressWatch watch([&read](const QProgressDialog& dialog) {
            const QString text = readText(dialog.findChild<QLabel*>());
            if (!read.contains(text))
                read.append(text);
        });
        enterDirectory(&desk.window, desk.dir.path());
        clickButton(&desk.window, u"Add All"_s);
        enterText(outputDirEdit(&desk.window), desk.dir.addFolder(u"out"_s));
        clickButton(&desk.window, u"Convert"_s);
        QCOMPARE(read, texts);
    }

    void widgetsAreDestroyedInOrder()
    {
        auto window = std::make_unique<CMainWindow>();
        const QGroupBox* fileGroup = findGroup(window.get(), u"File List"_s);
        const QGroupBox* sourceGroup = findGroup(window.get(), u"Source File"_s);
        QList<std::pair<QString, QWidget*>> widgets = {
            {u"Function:"_s, findLabel(window.get(), u"Function:"_s)},
            {u"function selector"_s, functionCombo(window.get())},
            {u"logo"_s, findLabel(window.get(), QString())},
            {u"Current Dir:"_s, findLabel(window.get(), u"Current Dir:"_s)},
            {u"current directory"_s, currentDirEdit(window.get())},
            {u"Browse of the current directory"_s, findButton(fileGroup, u"Browse..."_s)},
            {u"file list"_s, fileTable(window.get())},
            {u"source table"_s, sourceTable(window.get())},
            {u"Output to:"_s, findLabel(window.get(), u"Output to:"_s)},
            {u"output directory"_s, outputDirEdit(window.get())},
            {u"Browse of the output directory"_s, findButton(sourceGroup, u"Browse..."_s)},
        };
        for (const QString& text :
             {u"Add"_s, u"Add All"_s, u"Remove"_s, u"Remove All"_s, u"Convert"_s})
            widgets.append({text, findButton(window.get(), text)});
        for (int channel = 1; channel <= 8; ++channel) {
            const QString text = u"Ch%1"_s.arg(channel);
            widgets.append({text, findCheck(window.get(), text)});
        }
        QStringList expected;
        QStringList destroyed;
        for (const auto& [name, widget] : widgets) {
            expected.append(name);
            connect(widget, &QObject::destroyed, this,
                    [&destroyed, says = name] { destroyed.append(says); });
        }

        // What is left to the toolkit outlives all of these.
        for (QWidget* rest : {window->centralWidget(), static_cast<QWidget*>(window->menuBar())}) {
            connect(rest, &QObject::destroyed, this, [&destroyed] { destroyed.append(u"rest"_s); });
            expected.append(u"rest"_s);
        }

        window.reset();
        QCOMPARE(destroyed, expected);
    }
};

SPLICORA_TEST_MAIN(tst_MainWindow)

#include "tst_mainwindow.moc"
