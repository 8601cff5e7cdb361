// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/chooseranswer.h"
#include "tests/support/conversion.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testmain.h"
#include "tests/support/windowdesk.h"

#include <QMenuBar>
#include <QTranslator>

using namespace Qt::Literals::StringLiterals;

class tst_Translation : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QVERIFY(!QApplication::activeModalWidget()); }
    void theseTextsAreTranslatedAndNoOther();
};

namespace {

QString translated(const QString& text)
{
    return u"\u00ab"_s + text + u"\u00bb"_s;
}

/// Marks every text that is translated for the window's class, and knows all texts that were to be
/// translated for a class that is not the toolkit's.
class MarkingTranslator : public QTranslator
{
public:
    MarkingTranslator() { QCoreApplication::installTranslator(this); }
    ~MarkingTranslator() override { QCoreApplication::removeTranslator(this); }
    Q_DISABLE_COPY_MOVE(MarkingTranslator)

    bool isEmpty() const override { return false; }

    QString translate(const char* context, const char* sourceText, const char*, int) const override
    {
        const QByteArray name = context;
        if (name.startsWith('Q') && name != "QObject")
            return {};
        m_asked.insert(QString::fromUtf8(name == "CMainWindow" ? sourceText : context));
        return translated(QString::fromUtf8(sourceText));
    }

    /// The texts of the window's class, or the name of any other class.
    QStringList asked() const
    {
        QStringList texts = m_asked.values();
        texts.sort();
        return texts;
    }

private:
    mutable QSet<QString> m_asked;
};

/// Presses Convert with that output directory, closes all boxes and cancels the progress.
QStringList convertInto(const WindowDesk& desk, const QString& outputDir)
{
    const CancelClicker cancel([](QProgressDialog&) { return true; });
    enterText(outputDirEdit(&desk.window), outputDir);
    return desk.press(u"Convert"_s);
}

} // namespace

void tst_Translation::theseTextsAreTranslatedAndNoOther()
{
    const MarkingTranslator translator;
    const WindowDesk desk;
    QStringList boxes = desk.list(desk.path(u"gone"_s));
    boxes += desk.list();
    desk.dir.add(u"poly.wav"_s, smallWav({.channels = 2}));
    boxes += desk.list();
    for (int number = 1; number <= 9; ++number)
        desk.dir.add(u"a_0%1.wav"_s.arg(number), smallWav({}, number < 9 ? 4 : 5));
    desk.dir.add(u"About.wav"_s, {});
    boxes += desk.list();
    boxes += desk.press(u"Add All"_s);
    desk.add({0});
    boxes += desk.add({0});
    boxes += desk.add({8});
    boxes += convertInto(desk, QString());
    boxes += convertInto(desk, desk.path(u"a_01.wav"_s));
    desk.dir.add(u"a_combined.wav"_s, "old");
    boxes += convertInto(desk, desk.dir.path());
    QCOMPARE(boxes,
             QStringList({translated(g_noDirectory), translated(g_noWavFiles),
                          g_noFiles + g_monoFiles, translated(g_unreadable) + u"About.wav\n"_s,
                          translated(g_tooMany), translated(g_isSource), translated(g_otherFormat),
                          translated(g_noOutputDir) + translated(g_sameDir) + u'\n'
                              + translated(g_clickYes),
                          errorText(ConvertFileOpen),
                          overwriteQuestion(u"a_combined.wav"_s, Conversion::Combine)}));
    QFile::remove(desk.path(u"a_combined.wav"_s));
    QCOMPARE(convertInto(desk, desk.dir.path()), QStringList());

    const ChooserAnswer chooser{QString()};
    for (const QString& group : {u"File List"_s, u"Source File"_s})
        clickButton(findGroup(&desk.window, group), u"Browse..."_s);
    QCOMPARE(chooser.seen.size(), 2);
    for (const SeenChooser& seen : chooser.seen)
        QCOMPARE(seen.caption, translated(g_chooseDirectory));

    QStringList menus;
    for (const QAction* menu : desk.window.findChild<QMenuBar*>()->actions())
        menus += {menu->text(), menu->menu()->actions().first()->text()};
    QCOMPARE(menus, QStringList({translated(u"&File"_s), translated(u"Quit"_s),
                                 translated(u"&About"_s), translated(u"About"_s)}));
    const MessageBoxAnswer about(QMessageBox::Ok);
    desk.window.findChild<QMenuBar*>()->actions().last()->menu()->actions().first()->trigger();
    QVERIFY(about.wasAsked());

    QStringList all = {u"&File"_s,    u"Quit"_s,    u"&About"_s, u"About"_s,       g_noDirectory,
                       g_noWavFiles,  g_unreadable, g_tooMany,   g_isSource,       g_otherFormat,
                       g_noOutputDir, g_sameDir,    g_clickYes,  g_chooseDirectory};
    all.sort();
    QCOMPARE(translator.asked(), all);
}

SPLICORA_TEST_MAIN(tst_Translation)
#include "tst_translation.moc"
