// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/conversionprogress.h"

#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QProgressBar>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QProgressDialog* shownDialog()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* dialog = qobject_cast<QProgressDialog*>(widget);
        if (dialog && dialog->isVisible())
            return dialog;
    }
    return nullptr;
}

/// Notes the values of a bar, and which of them are painted.
class BarWatch : public QObject
{
public:
    explicit BarWatch(QProgressBar* bar)
        : m_bar(bar)
    {
        connect(bar, &QProgressBar::valueChanged, this,
                [this](int value) { values.append(value); });
        bar->installEventFilter(this);
    }

    QList<int> values;
    QList<int> painted;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            painted.append(m_bar->value());
        return false;
    }

private:
    QProgressBar* m_bar;
};

} // namespace

/// The dialog of the conversions; what each of them shows in it is tested with them.
class tst_ConversionProgress : public QObject
{
    Q_OBJECT

private slots:
    void everyValueIsSetAndTheLastOneIsPainted()
    {
        auto progress = std::make_unique<ConversionProgress>(nullptr, u"take_01.wav"_s);
        progress->setMaximum(1'000'000);
        progress->show();
        QVERIFY(QTest::qWaitForWindowExposed(shownDialog()));
        BarWatch watch(shownDialog()->findChild<QProgressBar*>());
        QList<int> expected;
        QElapsedTimer timer;
        timer.start();
        for (int value = 1000; value < 1'000'000; value += 1000) {
            progress->setValue(value);
            expected.append(value);
        }
        const qint64 intervals = timer.elapsed() / 20;

        QCOMPARE(watch.values, expected);
        QVERIFY2(
            watch.painted.size() <= intervals + 1,
            qPrintable(u"%1 times in %2 intervals"_s.arg(watch.painted.size()).arg(intervals)));
        progress.reset();
        QCOMPARE(watch.painted.last(), expected.last());
    }

    /// As in a split that never ends, which only processes events.
    void barIsPaintedWhileNoValueComes()
    {
        ConversionProgress progress(nullptr, u"take_01.wav"_s);
        progress.setMaximum(10000);
        progress.show();
        QVERIFY(QTest::qWaitForWindowExposed(shownDialog()));
        BarWatch watch(shownDialog()->findChild<QProgressBar*>());
        progress.setValue(3000);
        progress.setValue(9000);
        QTRY_VERIFY(watch.painted.contains(9000));

        watch.painted.clear();
        shownDialog()->resize(shownDialog()->width() + 100, shownDialog()->height());
        QTRY_VERIFY(watch.painted.contains(9000));
    }

    void blockWithoutFramesIsNotPolled()
    {
        ConversionProgress progress(nullptr, u"take_01.wav"_s);
        progress.setMaximum(1000);
        progress.show();
        shownDialog()->cancel();
        QVERIFY(progress.pollEachFrame(300, 0));
        QVERIFY(!progress.pollEachFrame(300, 1));
    }
};

SPLICORA_TEST_MAIN(tst_ConversionProgress)
#include "tst_conversionprogress.moc"
