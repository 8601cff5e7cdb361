// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/conversionpass.h"
#include "tests/support/testmain.h"

#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QTest>

#include <limits>

using namespace Qt::Literals::StringLiterals;

class tst_Polling : public QObject
{
    Q_OBJECT

private slots:
    void shortcutIsNotSeen_data();
    void shortcutIsNotSeen();
    void pumpsOfOneBlock_data();
    void pumpsOfOneBlock();
    void cancelIsSeenWithinTheBlock_data();
    void cancelIsSeenWithinTheBlock();
    void blockWithoutFramesIsNotPolled();
};

namespace {

constexpr int g_maximum = 1000;
constexpr qint64 g_frames = 50;
constexpr int g_never = -1;

using Poll = bool (*)(QProgressDialog& dialog, int bytes, qint64 frames);

/// The form that showAndPoll() must not be told from.
bool pollWithoutShortcut(QProgressDialog& dialog, int bytes, qint64 frames)
{
    for (qint64 k = 0; k < frames; ++k) {
        dialog.setValue(bytes);
        if (dialog.wasCanceled())
            return false;
    }
    return true;
}

/// Has an event waiting whenever events are pumped, so that it counts the pumps, and clicks Cancel
/// at one of them.
class PumpCounter : public QObject
{
public:
    PumpCounter(QProgressDialog* dialog, int cancelAt)
        : m_dialog(dialog)
        , m_cancelAt(cancelAt)
    {
        post();
    }

    int pumps() const { return m_pumps; }

protected:
    void customEvent(QEvent*) override
    {
        ++m_pumps;
        post();
        if (m_pumps == m_cancelAt)
            m_dialog->findChild<QPushButton*>()->click();
    }

private:
    void post() { QCoreApplication::postEvent(this, new QEvent(QEvent::User)); }

    QProgressDialog* m_dialog;
    int m_cancelAt;
    int m_pumps = 0;
};

/// All that can be told of a run of blocks from outside.
struct Seen
{
    qsizetype blocksDone = 0;
    int pumps = 0;
    QList<int> shownValues; ///< every value that the bar took, in order
    int lastValue = 0;
    bool cancelled = false;
    bool visible = false;
};

/// Runs blocks of g_frames frames, one for each of @p values, as a conversion does. A dialog that
/// @p pumps processes events in setValue(), as it comes to do once it expects a long conversion.
Seen run(Poll poll, const QList<int>& values, bool pumps, int cancelAt)
{
    QProgressDialog dialog(u"Converting ..."_s, u"Cancel"_s, 0, g_maximum);
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setMinimumDuration(pumps ? 0 : std::numeric_limits<int>::max());
    dialog.setVisible(true);
    if (!QTest::qWaitForWindowExposed(&dialog))
        qFatal("The dialog does not appear.");
    dialog.setValue(1); // beyond its minimum the dialog decides whether to pump

    Seen seen;
    QObject::connect(dialog.findChild<QProgressBar*>(), &QProgressBar::valueChanged, &dialog,
                     [&seen](int value) { seen.shownValues.append(value); });
    const PumpCounter counter(&dialog, cancelAt);
    for (const int value : values) {
        QCoreApplication::processEvents();
        if (!poll(dialog, value, g_frames))
            break;
        ++seen.blocksDone;
    }
    seen.pumps = counter.pumps();
    seen.lastValue = dialog.value();
    seen.cancelled = dialog.wasCanceled();
    seen.visible = dialog.isVisible();
    return seen;
}

} // namespace

void tst_Polling::shortcutIsNotSeen_data()
{
    QTest::addColumn<QList<int>>("values");
    QTest::addColumn<bool>("pumps");
    QTest::addColumn<int>("cancelAt");

    const auto beyondInt = int(quint32(3'000'000'000));
    const std::pair<const char*, QList<int>> runs[] = {
        {"values that grow within the range", {12, 300, 600, 900}},
        {"a value that stays the same", {300, 300, 300}},
        {"a value that falls back", {600, 300, 900}},
        {"values that leave the range", {900, g_maximum + 1, g_maximum + 500}},
        {"a value that returns into the range", {g_maximum + 1, 900, g_maximum + 1}},
        {"the maximum, which resets the dialog", {900, g_maximum, 300}},
        {"the minimum", {0, 0, 300}},
        {"values of 2 GiB and more", {300, beyondInt, -1, 600}},
    };
    for (const auto& [name, values] : runs) {
        for (const bool pumps : {true, false}) {
            // Between two blocks, and within one whose every frame pumps
            for (const int cancelAt : pumps ? QList<int>{g_never, 2, 53} : QList<int>{g_never, 2}) {
                const QByteArray moment = cancelAt == g_never
                                              ? "never cancelled"
                                              : "cancelled at pump " + QByteArray::number(cancelAt);
                QTest::addRow("%s, %s, %s", name, moment.constData(),
                              pumps ? "dialog that pumps" : "dialog that does not pump yet")
                    << values << pumps << cancelAt;
            }
        }
    }
}

void tst_Polling::shortcutIsNotSeen()
{
    QFETCH(const QList<int>, values);
    QFETCH(const bool, pumps);
    QFETCH(const int, cancelAt);

    const Seen expected = run(pollWithoutShortcut, values, pumps, cancelAt);
    const Seen seen = run(showAndPoll, values, pumps, cancelAt);
    QCOMPARE(seen.blocksDone, expected.blocksDone);
    QCOMPARE(seen.pumps, expected.pumps);
    QCOMPARE(seen.shownValues, expected.shownValues);
    QCOMPARE(seen.lastValue, expected.lastValue);
    QCOMPARE(seen.cancelled, expected.cancelled);
    QCOMPARE(seen.visible, expected.visible);
}

void tst_Polling::pumpsOfOneBlock_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<qint64>("pumps");

    // One pump comes before the block.
    QTest::newRow("a new value within the range pumps once") << 300 << qint64(1 + 1);
    QTest::newRow("the value that is shown already pumps nothing") << 1 << qint64(1);
    QTest::newRow("a value beyond the range pumps with every frame")
        << g_maximum + 1 << 1 + g_frames;
    QTest::newRow("a value below the range pumps with every frame") << -1000 << 1 + g_frames;
}

void tst_Polling::pumpsOfOneBlock()
{
    QFETCH(const int, value);
    QFETCH(const qint64, pumps);
    QCOMPARE(qint64(run(showAndPoll, {value}, true, g_never).pumps), pumps);
}

void tst_Polling::cancelIsSeenWithinTheBlock_data()
{
    QTest::addColumn<QList<int>>("values");
    QTest::addColumn<int>("cancelAt");
    QTest::addColumn<qsizetype>("blocksDone");

    QTest::newRow("in the pump before the second block")
        << QList<int>{300, 600} << 3 << qsizetype(1);
    QTest::newRow("in the pump of the second block's value")
        << QList<int>{300, 600} << 4 << qsizetype(1);
    QTest::newRow("in the middle of a block beyond the range")
        << QList<int>{300, g_maximum + 1} << 3 + int(g_frames) / 2 << qsizetype(1);
    QTest::newRow("after the last poll") << QList<int>{300, 600} << 5 << qsizetype(2);
}

void tst_Polling::cancelIsSeenWithinTheBlock()
{
    QFETCH(const QList<int>, values);
    QFETCH(const int, cancelAt);
    QFETCH(const qsizetype, blocksDone);

    const Seen seen = run(showAndPoll, values, true, cancelAt);
    QCOMPARE(seen.blocksDone, blocksDone);
    QCOMPARE(seen.cancelled, blocksDone < values.size());
    QCOMPARE(seen.pumps, seen.cancelled ? cancelAt : cancelAt - 1);
}

void tst_Polling::blockWithoutFramesIsNotPolled()
{
    QProgressDialog dialog(u"Converting ..."_s, u"Cancel"_s, 0, g_maximum);
    dialog.setValue(1);
    dialog.cancel();
    QVERIFY(showAndPoll(dialog, 300, 0));
    QVERIFY(dialog.value() != 300);
}

SPLICORA_TEST_MAIN(tst_Polling)

#include "tst_polling.moc"
