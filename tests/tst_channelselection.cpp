// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/folderrecorder.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QSignalBlocker>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString g_none = u"00000000"_s;
const QString g_all = u"11111111"_s;

QByteArray poly(int channels)
{
    return smallWav({.channels = channels});
}

/// A desk whose sources are these files, "a.wav", "b.wav" and so on, in this order.
void addSources(const WindowDesk& desk, const QByteArrayList& files)
{
    desk.dir.add(letterFiles(files));
    desk.list();
    if (!desk.press(u"Add All"_s).isEmpty() || desk.sources->rowCount() != files.size())
        qFatal("The files did not become sources.");
}

/// A desk for the split whose sources have that many channels each; the first one is selected.
struct PolyDesk : WindowDesk
{
    explicit PolyDesk(const QList<int>& channels)
        : WindowDesk(PolyToMonoFunction)
    {
        QByteArrayList takes;
        for (const int count : channels)
            takes.append(poly(count));
        addSources(*this, takes);
        selectRows(sources, {0});
    }
};

void toggle(const WindowDesk& desk, int channel)
{
    QCheckBox* check = desk.channelCheck(channel);
    QTest::mouseClick(check, Qt::LeftButton, Qt::NoModifier, QPoint(5, check->height() / 2));
}

/// The files of the directory except those named "a.wav" to "z.wav".
QStringList outputs(const WindowDesk& desk)
{
    QStringList names = QDir(desk.dir.path()).entryList(QDir::Files, QDir::Name);
    names.removeIf([](const QString& name) { return name.size() == letterName(0).size(); });
    return names;
}

/// Clicks the current source while Ctrl is held: nothing is selected, and it stays current.
void deselectCurrent(const WindowDesk& desk)
{
    const QRect cell = desk.sources->visualItemRect(desk.sources->currentItem());
    QTest::mouseClick(desk.sources->viewport(), Qt::LeftButton, Qt::ControlModifier, cell.center());
    if (!desk.sources->selectedItems().isEmpty() || desk.sources->currentRow() < 0)
        qFatal("The current source is still selected.");
}

void convertInto(const WindowDesk& desk, const QString& directory)
{
    outputDirEdit(&desk.window)->setText(directory);
    desk.press(u"Convert"_s);
}

/// Calls a slot of the window as a signal would.
void callSlot(CMainWindow* window, const char* slot, int state)
{
    if (!QMetaObject::invokeMethod(window, slot, Q_ARG(int, state)))
        qFatal("No slot \"%s\".", slot);
}

} // namespace

class tst_ChannelSelection : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QVERIFY(!QApplication::activeModalWidget()); }

    void startsUncheckedAndDisabled()
    {
        const WindowDesk desk;
        QStringList texts;
        int right = -1;
        const auto checks = desk.window.findChildren<QCheckBox*>();
        QCOMPARE(checks.size(), 8);
        for (const QCheckBox* check : checks)
            texts.append(check->text());
        texts.sort();
        QCOMPARE(texts, QStringList({u"Ch1"_s, u"Ch2"_s, u"Ch3"_s, u"Ch4"_s, u"Ch5"_s, u"Ch6"_s,
                                     u"Ch7"_s, u"Ch8"_s}));
        for (int channel = 1; channel <= 8; ++channel) {
            QVERIFY(desk.channelCheck(channel)->x() > right);
            right = desk.channelCheck(channel)->geometry().right();
        }
        QCOMPARE(desk.checkedChannels(), g_none);
        QCOMPARE(desk.enabledChannels(), g_none);
    }

    void showsTheCurrentSource_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("checked");
        QTest::addColumn<QString>("enabled");
        const int split = PolyToMonoFunction;
        QTest::newRow("two channels to be split")
            << split << poly(2) << u"11000000"_s << u"11000000"_s;
        QTest::newRow("eight channels to be split") << split << poly(8) << g_all << g_all;
        QTest::newRow("nine channels to be split") << split << poly(9) << g_all << g_all;
        QTest::newRow("65535 channels to be split")
            << split << smallWav({.channels = 65535, .bits = 8, .blockAlign = 2}) << g_all << g_all;
        QTest::newRow("a mono file to be combined")
            << int(MonoToPolyFunction) << poly(1) << u"10000000"_s << g_none;
    }

    void showsTheCurrentSource()
    {
        QFETCH(const int, function);
        QFETCH(const QByteArray, file);
        QFETCH(const QString, checked);
        QFETCH(const QString, enabled);
        const WindowDesk desk(function);
        addSources(desk, {file});
        QCOMPARE(desk.checkedChannels(), g_none);
        QCOMPARE(desk.enabledChannels(), g_none);
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), checked);
        QCOMPARE(desk.enabledChannels(), enabled);
    }

    void boxesOfAThirdFunctionAreDisabled()
    {
        const WindowDesk desk;
        functionCombo(&desk.window)->addItem(u"third"_s);
        functionCombo(&desk.window)->setCurrentIndex(2);
        addSources(desk, {poly(4)});
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), u"11110000"_s);
        QCOMPARE(desk.enabledChannels(), g_none);
    }

    void clearsWithTheList_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("the only source removed") << u"Remove"_s;
        QTest::newRow("all sources removed") << u"Remove All"_s;
    }

    void clearsWithTheList()
    {
        QFETCH(const QString, command);
        const PolyDesk desk({4});
        QCOMPARE(desk.checkedChannels(), u"11110000"_s);
        desk.press(command);
        QCOMPARE(desk.sources->rowCount(), 0);
        QCOMPARE(desk.checkedChannels(), g_none);
        QCOMPARE(desk.enabledChannels(), g_none);
    }

    void clearsWithANewListing_data()
    {
        QTest::addColumn<bool>("byFunction");
        QTest::newRow("the directory is listed again") << false;
        QTest::newRow("the function changes and finds files") << true;
    }

    void clearsWithANewListing()
    {
        QFETCH(const bool, byFunction);
        const WindowDesk desk(PolyToMonoFunction);
        desk.dir.add(u"mono.wav"_s, poly(1));
        addSources(desk, {poly(4)});
        selectRows(desk.sources, {0});
        toggle(desk, 2);
        QCOMPARE(byFunction ? desk.choose(MonoToPolyFunction) : desk.list(), QStringList());
        QCOMPARE(desk.sources->rowCount(), 0);
        QCOMPARE(desk.checkedChannels(), g_none);
        QCOMPARE(desk.enabledChannels(), g_none);
    }

    void clearsWithTheListWhenNothingIsSelected_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("command");
        for (const int function : {MonoToPolyFunction, PolyToMonoFunction}) {
            for (const int count : {1, 2, 8}) {
                for (const QString& command : {u"Remove All"_s, u"listing"_s, u"function"_s}) {
                    QTest::addRow("%d %s, then %s", count,
                                  function == PolyToMonoFunction ? "to split" : "to combine",
                                  command == u"listing"    ? "the directory is listed again"
                                  : command == u"function" ? "the function changes"
                                                           : "all are removed")
                        << function << count << command;
                }
            }
        }
    }

    void clearsWithTheListWhenNothingIsSelected()
    {
        QFETCH(const int, function);
        QFETCH(const int, count);
        QFETCH(const QString, command);
        const bool isSplit = function == PolyToMonoFunction;
        const WindowDesk desk(function);
        QStringList written;
        for (int number = 1; number <= count; ++number) {
            const QString name = u"take_0%1"_s.arg(number);
            desk.dir.add(name + u".wav"_s, poly(isSplit ? 2 : 1));
            if (isSplit)
                written += {name + u"_01.wav"_s, name + u"_02.wav"_s};
        }
        if (!isSplit)
            written = QStringList{u"take_combined.wav"_s};
        desk.dir.add(u"other kind.wav"_s, poly(isSplit ? 1 : 2));
        desk.list();
        QCOMPARE(desk.press(u"Add All"_s), QStringList());
        selectRows(desk.sources, {count - 1});
        QCOMPARE(desk.checkedChannels(), isSplit ? u"11000000"_s : u"10000000"_s);
        deselectCurrent(desk);

        if (command == u"listing")
            QCOMPARE(desk.list(), QStringList());
        else if (command == u"function")
            QCOMPARE(desk.choose(1 - function), QStringList());
        else
            QCOMPARE(desk.press(command), QStringList());
        QCOMPARE(desk.sources->rowCount(), 0);
        QCOMPARE(desk.checkedChannels(), g_none);
        QCOMPARE(desk.enabledChannels(), g_none);

        // No source is current: a click on a box changes nothing, and everything is written.
        desk.choose(function);
        QCOMPARE(desk.press(u"Add All"_s), QStringList());
        toggle(desk, 2);
        QCOMPARE(desk.checkedChannels(), g_none);
        desk.dir.addFolder(u"all"_s);
        convertInto(desk, desk.path(u"all"_s));
        QCOMPARE(QDir(desk.path(u"all"_s)).entryList(QDir::Files, QDir::Name), written);

        // The boxes are those of a source as soon as one is selected.
        selectRows(desk.sources, {0});
        toggle(desk, 2);
        QCOMPARE(desk.checkedChannels(), u"10000000"_s);
        if (isSplit)
            written.removeAt(1);
        desk.dir.addFolder(u"chosen"_s);
        convertInto(desk, desk.path(u"chosen"_s));
        QCOMPARE(QDir(desk.path(u"chosen"_s)).entryList(QDir::Files, QDir::Name), written);
    }

    void followsTheSelection()
    {
        const WindowDesk desk(PolyToMonoFunction);
        addSources(desk, {poly(2), poly(5), poly(8)});
        selectRows(desk.sources, {1});
        QCOMPARE(desk.enabledChannels(), u"11111000"_s);
        selectRows(desk.sources, {2});
        QCOMPARE(desk.enabledChannels(), g_all);
        QTest::keyClick(desk.sources, Qt::Key_Up);
        QTest::keyClick(desk.sources, Qt::Key_Up);
        QCOMPARE(desk.enabledChannels(), u"11000000"_s);
        QCOMPARE(desk.checkedChannels(), u"11000000"_s);
    }

    void staysWithTheCurrentRowWhenNothingIsSelected()
    {
        const WindowDesk desk(PolyToMonoFunction);
        addSources(desk, {poly(2), poly(5)});
        selectRows(desk.sources, {1});
        desk.sources->clearSelection();
        QCOMPARE(desk.sources->currentRow(), 1);
        QCOMPARE(desk.checkedChannels(), u"11111000"_s);
        toggle(desk, 5);
        selectRows(desk.sources, {0});
        selectRows(desk.sources, {1});
        QCOMPARE(desk.checkedChannels(), u"11110000"_s);
    }

    void showsTheSourceThatBecomesCurrentByARemoval_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("enabled");
        QTest::newRow("the first goes, the second takes its place") << 0 << u"11110000"_s;
        QTest::newRow("the last goes, the one before it is left") << 2 << u"11110000"_s;
    }

    void showsTheSourceThatBecomesCurrentByARemoval()
    {
        QFETCH(const int, row);
        QFETCH(const QString, enabled);
        const WindowDesk desk(PolyToMonoFunction);
        addSources(desk, {poly(2), poly(4), poly(6)});
        selectRows(desk.sources, {row});
        desk.press(u"Remove"_s);
        QCOMPARE(desk.enabledChannels(), enabled);
        QCOMPARE(desk.checkedChannels(), enabled);
    }

    void anAddLeavesThePanelAlone()
    {
        const WindowDesk desk(PolyToMonoFunction);
        desk.dir.add(u"a.wav"_s, poly(2));
        desk.dir.add(u"b.wav"_s, poly(4));
        desk.list();
        desk.add({0});
        QCOMPARE(desk.checkedChannels(), g_none);
        selectRows(desk.sources, {0});
        desk.add({1});
        QCOMPARE(desk.checkedChannels(), u"11000000"_s);
    }

    void eachBoxSwitchesItsOwnChannel_data()
    {
        QTest::addColumn<int>("channel");
        QTest::addColumn<QString>("checked");
        QTest::newRow("the first") << 1 << u"01111111"_s;
        QTest::newRow("the second") << 2 << u"10111111"_s;
        QTest::newRow("the third") << 3 << u"11011111"_s;
        QTest::newRow("the fourth") << 4 << u"11101111"_s;
        QTest::newRow("the fifth") << 5 << u"11110111"_s;
        QTest::newRow("the sixth") << 6 << u"11111011"_s;
        QTest::newRow("the seventh") << 7 << u"11111101"_s;
        QTest::newRow("the eighth") << 8 << u"11111110"_s;
    }

    void eachBoxSwitchesItsOwnChannel()
    {
        QFETCH(const int, channel);
        QFETCH(const QString, checked);
        const PolyDesk desk({8, 8});
        toggle(desk, channel);
        QCOMPARE(desk.checkedChannels(), checked);
        selectRows(desk.sources, {1});
        QCOMPARE(desk.checkedChannels(), g_all);
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), checked);
        QCOMPARE(desk.enabledChannels(), g_all);
        toggle(desk, channel);
        selectRows(desk.sources, {1});
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), g_all);
    }

    void anyStateButUncheckedEnables_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("checked");
        QTest::newRow("unchecked") << int(Qt::Unchecked) << u"10000000"_s;
        QTest::newRow("partially checked") << int(Qt::PartiallyChecked) << u"11000000"_s;
        QTest::newRow("checked") << int(Qt::Checked) << u"11000000"_s;
        QTest::newRow("a state that there is not") << -7 << u"11000000"_s;
    }

    void anyStateButUncheckedEnables()
    {
        QFETCH(const int, state);
        QFETCH(const QString, checked);
        PolyDesk desk({2, 2});
        toggle(desk, 2);
        callSlot(&desk.window, "ch2StateChanged", state);
        selectRows(desk.sources, {1});
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), checked);
    }

    void aStateWithoutACurrentRowIsIgnored_data()
    {
        QTest::addColumn<QByteArray>("slot");
        for (int channel = 1; channel <= 8; ++channel) {
            QTest::addRow("channel %d", channel)
                << "ch" + QByteArray::number(channel) + "StateChanged";
        }
    }

    void aStateWithoutACurrentRowIsIgnored()
    {
        QFETCH(const QByteArray, slot);
        WindowDesk desk(PolyToMonoFunction);
        callSlot(&desk.window, slot, Qt::Checked);
        addSources(desk, {poly(8)});
        callSlot(&desk.window, slot, Qt::Unchecked);
        QCOMPARE(desk.checkedChannels(), g_none);
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), g_all);
    }

    void aSwitchedOffChannelIsNotWritten_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<QList<int>>("off");
        QTest::addColumn<QStringList>("written");
        QTest::newRow("all of two channels")
            << 2 << QList<int>{} << QStringList{u"a_01.wav"_s, u"a_02.wav"_s};
        QTest::newRow("the second of two") << 2 << QList<int>{2} << QStringList{u"a_01.wav"_s};
        QTest::newRow("the second and fourth of four")
            << 4 << QList<int>{2, 4} << QStringList{u"a_01.wav"_s, u"a_03.wav"_s};
        QTest::newRow("the first and the eighth of ten")
            << 10 << QList<int>{1, 8} << QStringList{u"a_02.wav"_s, u"a_03.wav"_s, u"a_04.wav"_s,
                                                     u"a_05.wav"_s, u"a_06.wav"_s, u"a_07.wav"_s};
        QTest::newRow("every channel") << 3 << QList<int>{1, 2, 3} << QStringList();
    }

    void aSwitchedOffChannelIsNotWritten()
    {
        QFETCH(const int, channels);
        QFETCH(const QList<int>, off);
        QFETCH(const QStringList, written);
        const PolyDesk desk({channels});
        for (const int channel : off)
            toggle(desk, channel);
        convertInto(desk, desk.dir.path());
        QCOMPARE(outputs(desk), written);
    }

    void eachSourceKeepsItsOwnChannels()
    {
        const PolyDesk desk({2, 2});
        toggle(desk, 2);
        selectRows(desk.sources, {1});
        QCOMPARE(desk.checkedChannels(), u"11000000"_s);
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), u"10000000"_s);
        convertInto(desk, desk.dir.path());
        QCOMPARE(outputs(desk), QStringList({u"a_01.wav"_s, u"b_01.wav"_s, u"b_02.wav"_s}));
    }

    void switchesTheCurrentOfTwoSelectedSources_data()
    {
        QTest::addColumn<QList<int>>("selection"); // the last one is current
        QTest::addColumn<QStringList>("checked");
        QTest::newRow("the first is current")
            << QList<int>{1, 0} << QStringList{u"10000000"_s, u"11000000"_s};
        QTest::newRow("the second is current")
            << QList<int>{0, 1} << QStringList{u"11000000"_s, u"10000000"_s};
    }

    void switchesTheCurrentOfTwoSelectedSources()
    {
        QFETCH(const QList<int>, selection);
        QFETCH(const QStringList, checked);
        const WindowDesk desk(PolyToMonoFunction);
        addSources(desk, {poly(2), poly(2)});
        selectRows(desk.sources, selection);
        QCOMPARE(desk.sources->currentRow(), selection.last());
        QCOMPARE(desk.sources->selectionModel()->selectedRows().size(), 2);
        toggle(desk, 2);
        for (int row = 0; row < 2; ++row) {
            selectRows(desk.sources, {row});
            QCOMPARE(desk.checkedChannels(), checked[row]);
        }
    }

    void channelsStayWithoutASelectionModel()
    {
        PolyDesk desk({2});
        toggle(desk, 2);
        QCOMPARE(desk.checkedChannels(), u"10000000"_s);
        delete desk.sources->selectionModel();
        QVERIFY(QMetaObject::invokeMethod(&desk.window, "checkChannels"));
        QCOMPARE(desk.checkedChannels(), u"10000000"_s);
        QCOMPARE(desk.enabledChannels(), u"11000000"_s);
    }

    void aReturningSourceHasItsChannels_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("it was removed alone") << u"Remove"_s;
        QTest::newRow("all were removed") << u"Remove All"_s;
    }

    void aReturningSourceHasItsChannels()
    {
        QFETCH(const QString, command);
        const PolyDesk desk({4, 4});
        toggle(desk, 3);
        desk.press(command);
        QCOMPARE(desk.add({0}), QStringList());
        const int last = desk.sources->rowCount() - 1;
        QCOMPARE(desk.sources->item(last, 0)->text(), letterName(0));
        selectRows(desk.sources, {last});
        QCOMPARE(desk.checkedChannels(), u"11010000"_s);
    }

    void aNewListingSwitchesEveryChannelOn()
    {
        const PolyDesk desk({4});
        toggle(desk, 1);
        QCOMPARE(desk.checkedChannels(), u"01110000"_s);
        desk.list();
        desk.press(u"Add All"_s);
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), u"11110000"_s);
    }

    void aChangeOfFunctionAloneWaitsForTheNextSelection_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<int>("channels");
        QTest::addColumn<QString>("checked");
        QTest::addColumn<QString>("enabledBefore");
        QTest::addColumn<QString>("enabledAfter");
        QTest::newRow("from the split of stereo files to the combine")
            << int(PolyToMonoFunction) << 2 << u"11000000"_s << u"11000000"_s << g_none;
        QTest::newRow("from the combine of mono files to the split")
            << int(MonoToPolyFunction) << 1 << u"10000000"_s << g_none << u"10000000"_s;
    }

    void aChangeOfFunctionAloneWaitsForTheNextSelection()
    {
        QFETCH(const int, function);
        QFETCH(const int, channels);
        QFETCH(const QString, checked);
        QFETCH(const QString, enabledBefore);
        QFETCH(const QString, enabledAfter);
        const WindowDesk desk(function);
        addSources(desk, {poly(channels), poly(channels)});
        selectRows(desk.sources, {0});
        QCOMPARE(desk.choose(1 - function).size(), 1); // no file of the other kind
        QCOMPARE(desk.sources->rowCount(), 2);
        QCOMPARE(desk.checkedChannels(), checked);
        QCOMPARE(desk.enabledChannels(), enabledBefore);
        selectRows(desk.sources, {1});
        QCOMPARE(desk.checkedChannels(), checked);
        QCOMPARE(desk.enabledChannels(), enabledAfter);
    }

    void theCurrentRowIsShownAgainWhenItLeavesTheSelection()
    {
        const PolyDesk desk({2, 2});
        desk.choose(MonoToPolyFunction);
        QCOMPARE(desk.enabledChannels(), u"11000000"_s);
        deselectCurrent(desk);
        QCOMPARE(desk.enabledChannels(), g_none);
    }

    void aBoxLeftEnabledByAChangeOfFunctionStillSwitches()
    {
        const PolyDesk desk({2, 2});
        desk.choose(MonoToPolyFunction);
        toggle(desk, 1);
        selectRows(desk.sources, {1});
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), u"01000000"_s);
        QCOMPARE(desk.enabledChannels(), g_none);
    }

    void aCombineIgnoresTheChannels()
    {
        // Mono takes whose first channel is switched off while the split is selected.
        const WindowDesk desk;
        desk.dir.add(u"take_01.wav"_s, poly(1));
        desk.dir.add(u"take_02.wav"_s, poly(1));
        desk.list();
        desk.press(u"Add All"_s);
        desk.choose(PolyToMonoFunction);
        selectRows(desk.sources, {0});
        toggle(desk, 1);
        QCOMPARE(desk.checkedChannels(), g_none);
        {
            // Without the new listing that a change of function makes.
            const QSignalBlocker noListing(functionCombo(&desk.window));
            functionCombo(&desk.window)->setCurrentIndex(MonoToPolyFunction);
        }
        convertInto(desk, desk.dir.path());
        QCOMPARE(readFile(desk.path(u"take_combined.wav"_s)).right(8 + 16),
                 dataChunk(interleaved({sampleBytes(8), sampleBytes(8)}, 2)));
    }

private:
    FolderRecorder m_desktop; // so that no conversion opens a folder
};

SPLICORA_TEST_MAIN(tst_ChannelSelection)
#include "tst_channelselection.moc"
