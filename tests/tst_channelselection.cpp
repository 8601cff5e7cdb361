// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/folderrecorder.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

using namespace Qt::Literals::StringLiterals;

namespace {

const QString g_none = u"00000000"_s;
const QString g_all = u"11111111"_s;

QByteArray poly(int channels)
{
    return smallWav({.channels = channels});
}

/// A desk whose sources are these files. The first one is selected.
struct SourceDesk : WindowDesk
{
    /// "a.wav", "b.wav" and so on.
    explicit SourceDesk(const QByteArrayList& takes, int function = PolyToMonoFunction)
        : SourceDesk(letterFiles(takes), function)
    { }

    SourceDesk(const Files& takes, int function)
        : WindowDesk(takes, function)
    {
        if (!press(u"Add All"_s).isEmpty() || sources->rowCount() != takes.size())
            qFatal("The files did not become sources.");
        selectRows(sources, {0});
    }

    void toggle(int channel) const
    {
        QCheckBox* check = channelCheck(channel);
        QTest::mouseClick(check, Qt::LeftButton, Qt::NoModifier, QPoint(5, check->height() / 2));
    }

    /// Clicks the current source while Ctrl is held: nothing is selected, and it stays current.
    void deselectCurrent() const
    {
        const QRect cell = sources->visualItemRect(sources->currentItem());
        QTest::mouseClick(sources->viewport(), Qt::LeftButton, Qt::ControlModifier, cell.center());
        if (!sources->selectedItems().isEmpty() || sources->currentRow() < 0)
            qFatal("The current source is still selected.");
    }

    /// What the boxes show of the sources as each is selected.
    QStringList checkedOfEach() const
    {
        QStringList checked;
        for (int row = 0; row < sources->rowCount(); ++row) {
            selectRows(sources, {row});
            checked.append(checkedChannels());
        }
        return checked;
    }
};

/// Calls a slot of the window as a signal would.
void callSlot(CMainWindow* window, int channel, int state)
{
    const QByteArray slot = "ch" + QByteArray::number(channel) + "StateChanged";
    if (!QMetaObject::invokeMethod(window, slot.constData(), Q_ARG(int, state)))
        qFatal("No slot \"%s\".", slot.constData());
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
        const int combine = MonoToPolyFunction;
        const int third = PlainToBwfFunction;
        QTest::newRow("two channels to be split")
            << split << poly(2) << u"11000000"_s << u"11000000"_s;
        QTest::newRow("eight channels to be split") << split << poly(8) << g_all << g_all;
        QTest::newRow("nine channels to be split") << split << poly(9) << g_all << g_all;
        QTest::newRow("65535 channels to be split")
            << split << smallWav({.channels = 65535, .bits = 8, .blockAlign = 2}) << g_all << g_all;
        QTest::newRow("a mono file to be combined")
            << combine << poly(1) << u"10000000"_s << g_none;
        QTest::newRow("four channels for a third function")
            << third << poly(4) << u"11110000"_s << g_none;
    }

    void showsTheCurrentSource()
    {
        QFETCH(const int, function);
        QFETCH(const QByteArray, file);
        QFETCH(const QString, checked);
        QFETCH(const QString, enabled);
        const SourceDesk desk({file}, function);
        QCOMPARE(desk.checkedChannels(), checked);
        QCOMPARE(desk.enabledChannels(), enabled);
    }

    void clearsWithTheList_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("isSelected");
        for (const int function : {MonoToPolyFunction, PolyToMonoFunction}) {
            const char* what = function == PolyToMonoFunction ? "a split" : "a combine";
            for (const QString& command :
                 {u"Remove All"_s, u"a new listing"_s, u"the other function"_s}) {
                for (const bool isSelected : {true, false}) {
                    QTest::addRow("%s in %s whose source is %s", qPrintable(command), what,
                                  isSelected ? "selected" : "current but not selected")
                        << function << command << isSelected;
                }
            }
            QTest::addRow("Remove of the only source of %s", what)
                << function << u"Remove"_s << true;
        }
    }

    void clearsWithTheList()
    {
        QFETCH(const int, function);
        QFETCH(const QString, command);
        QFETCH(const bool, isSelected);
        const bool isSplit = function == PolyToMonoFunction;
        const QString ofSource = isSplit ? u"11000000"_s : u"10000000"_s;
        const SourceDesk desk({poly(isSplit ? 2 : 1)}, function);
        desk.dir.add(u"other kind.wav"_s, poly(isSplit ? 1 : 2));
        QCOMPARE(desk.checkedChannels(), ofSource);
        if (!isSelected)
            desk.deselectCurrent();

        if (command == u"a new listing")
            QCOMPARE(desk.list(), QStringList());
        else if (command == u"the other function")
            QCOMPARE(desk.choose(1 - function), QStringList());
        else
            QCOMPARE(desk.press(command), QStringList());
        QCOMPARE(desk.sources->rowCount(), 0);
        QCOMPARE(desk.checkedChannels(), g_none);
        QCOMPARE(desk.enabledChannels(), g_none);

        // No source is current: a click on a box changes nothing.
        desk.choose(function);
        QCOMPARE(desk.press(u"Add All"_s), QStringList());
        desk.toggle(2);
        QCOMPARE(desk.checkedChannels(), g_none);
        QCOMPARE(desk.checkedOfEach(), QStringList{ofSource});
    }

    void followsTheSelection()
    {
        const SourceDesk desk({poly(2), poly(5), poly(8)});
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
        const SourceDesk desk({poly(2), poly(5)});
        selectRows(desk.sources, {1});
        desk.sources->clearSelection();
        QCOMPARE(desk.sources->currentRow(), 1);
        QCOMPARE(desk.checkedChannels(), u"11111000"_s);
        desk.toggle(5);
        QCOMPARE(desk.checkedOfEach(), QStringList({u"11000000"_s, u"11110000"_s}));
    }

    void showsTheSourceThatBecomesCurrentByARemoval_data()
    {
        QTest::addColumn<int>("row");
        QTest::newRow("the first goes, the second takes its place") << 0;
        QTest::newRow("the last goes, the one before it is left") << 2;
    }

    void showsTheSourceThatBecomesCurrentByARemoval()
    {
        QFETCH(const int, row);
        const SourceDesk desk({poly(2), poly(4), poly(6)});
        selectRows(desk.sources, {row});
        desk.press(u"Remove"_s);
        QCOMPARE(desk.enabledChannels(), u"11110000"_s);
        QCOMPARE(desk.checkedChannels(), u"11110000"_s);
    }

    void anAddLeavesThePanelAlone()
    {
        const WindowDesk desk(letterFiles({poly(2), poly(4)}), PolyToMonoFunction);
        desk.add({0});
        QCOMPARE(desk.checkedChannels(), g_none);
        selectRows(desk.sources, {0});
        desk.add({1});
        QCOMPARE(desk.checkedChannels(), u"11000000"_s);
    }

    void eachBoxSwitchesItsOwnChannel_data()
    {
        QTest::addColumn<int>("channel");
        for (int channel = 1; channel <= 8; ++channel)
            QTest::addRow("channel %d", channel) << channel;
    }

    void eachBoxSwitchesItsOwnChannel()
    {
        QFETCH(const int, channel);
        const SourceDesk desk({poly(8), poly(8)});
        desk.toggle(channel);
        const QString others = QString(g_all).replace(channel - 1, 1, u'0');
        QCOMPARE(desk.checkedChannels(), others);
        QCOMPARE(desk.checkedOfEach(), QStringList({others, g_all}));
        selectRows(desk.sources, {0});
        QCOMPARE(desk.enabledChannels(), g_all);
        desk.toggle(channel);
        QCOMPARE(desk.checkedOfEach(), QStringList({g_all, g_all}));
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
        SourceDesk desk({poly(2)});
        desk.toggle(2);
        callSlot(&desk.window, 2, state);
        QCOMPARE(desk.checkedOfEach(), QStringList{checked});
    }

    void aStateWithoutACurrentRowIsIgnored()
    {
        WindowDesk desk(PolyToMonoFunction);
        for (int channel = 1; channel <= 8; ++channel)
            callSlot(&desk.window, channel, Qt::Checked);
        desk.dir.add(u"a.wav"_s, poly(8));
        desk.list();
        desk.add({0});
        for (int channel = 1; channel <= 8; ++channel)
            callSlot(&desk.window, channel, Qt::Unchecked);
        QCOMPARE(desk.checkedChannels(), g_none);
        selectRows(desk.sources, {0});
        QCOMPARE(desk.checkedChannels(), g_all);
    }

    void aSwitchedOffChannelOfItsSourceIsNotWritten()
    {
        const FolderRecorder desktop;
        const SourceDesk desk({poly(10), poly(2), poly(2)});
        desk.toggle(1);
        desk.toggle(8);
        selectRows(desk.sources, {2});
        desk.toggle(1);
        desk.toggle(2);
        outputDirEdit(&desk.window)->setText(desk.dir.addFolder(u"out"_s));
        QCOMPARE(desk.press(u"Convert"_s), QStringList());
        QCOMPARE(QDir(desk.path(u"out"_s)).entryList(QDir::Files, QDir::Name),
                 QStringList({u"a_02.wav"_s, u"a_03.wav"_s, u"a_04.wav"_s, u"a_05.wav"_s,
                              u"a_06.wav"_s, u"a_07.wav"_s, u"b_01.wav"_s, u"b_02.wav"_s}));
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
        const SourceDesk desk({poly(2), poly(2)});
        selectRows(desk.sources, selection);
        QCOMPARE(desk.sources->currentRow(), selection.last());
        QCOMPARE(desk.sources->selectionModel()->selectedRows().size(), 2);
        desk.toggle(2);
        QCOMPARE(desk.checkedOfEach(), checked);
    }

    void channelsStayWithoutASelectionModel()
    {
        SourceDesk desk({poly(2)});
        desk.toggle(2);
        delete desk.sources->selectionModel();
        QVERIFY(QMetaObject::invokeMethod(&desk.window, "checkChannels"));
        QCOMPARE(desk.checkedChannels(), u"10000000"_s);
        QCOMPARE(desk.enabledChannels(), u"11000000"_s);
    }

    void onlyAListingSwitchesEveryChannelOn_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("checked");
        QTest::newRow("it was removed alone") << u"Remove"_s << u"11010000"_s;
        QTest::newRow("all were removed") << u"Remove All"_s << u"11010000"_s;
        QTest::newRow("it was listed again") << QString() << u"11110000"_s;
    }

    void onlyAListingSwitchesEveryChannelOn()
    {
        QFETCH(const QString, command);
        QFETCH(const QString, checked);
        const SourceDesk desk({poly(4), poly(4)});
        desk.toggle(3);
        QCOMPARE(command.isEmpty() ? desk.list() : desk.press(command), QStringList());
        QCOMPARE(desk.add({0}), QStringList());
        QCOMPARE(desk.sourceNames().last(), letterName(0));
        QCOMPARE(desk.checkedOfEach().last(), checked);
    }

    void aChangeOfFunctionAloneWaitsForTheNextSelection_data()
    {
        QTest::addColumn<int>("function");
        QTest::addColumn<QString>("enabledBefore");
        QTest::addColumn<QString>("enabledAfter");
        QTest::newRow("from the split of stereo files to the combine")
            << int(PolyToMonoFunction) << u"11000000"_s << g_none;
        QTest::newRow("from the combine of mono files to the split")
            << int(MonoToPolyFunction) << g_none << u"10000000"_s;
    }

    void aChangeOfFunctionAloneWaitsForTheNextSelection()
    {
        QFETCH(const int, function);
        QFETCH(const QString, enabledBefore);
        QFETCH(const QString, enabledAfter);
        const bool isSplit = function == PolyToMonoFunction;
        const SourceDesk desk(QByteArrayList(2, poly(isSplit ? 2 : 1)), function);
        QCOMPARE(desk.choose(1 - function).size(), 1); // no file of the other kind
        QCOMPARE(desk.sources->rowCount(), 2);
        QCOMPARE(desk.enabledChannels(), enabledBefore);
        desk.toggle(1); // which an enabled box still does
        desk.deselectCurrent();
        QCOMPARE(desk.enabledChannels(), enabledAfter);
        QCOMPARE(desk.checkedOfEach(), isSplit ? QStringList({u"01000000"_s, u"11000000"_s})
                                               : QStringList({u"10000000"_s, u"10000000"_s}));
    }

    void aCombineIgnoresTheChannels()
    {
        const FolderRecorder desktop;
        const SourceDesk desk({{u"take_01.wav"_s, poly(1)}, {u"take_02.wav"_s, poly(1)}},
                              MonoToPolyFunction);
        desk.choose(PolyToMonoFunction);
        selectRows(desk.sources, {1});
        desk.toggle(1);
        QCOMPARE(desk.checkedChannels(), g_none);
        desk.chooseUnlisted(MonoToPolyFunction);
        outputDirEdit(&desk.window)->setText(desk.dir.path());
        QCOMPARE(desk.press(u"Convert"_s), QStringList());
        const QByteArray combined = desk.dir.bytes(u"take_combined.wav"_s);
        QCOMPARE(bodyOf(combined, "data"), interleaved({sampleBytes(8), sampleBytes(8)}, 2));
    }
};

SPLICORA_TEST_MAIN(tst_ChannelSelection)
#include "tst_channelselection.moc"
