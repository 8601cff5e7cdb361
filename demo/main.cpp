// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "tests/support/windowprobe.h"
#include "ui/mainwindow.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QMessageBox>
#include <QScreen>
#include <QTextStream>
#include <QTimer>
#include <QUrl>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A person at the window: types, clicks, answers, and takes a screenshot of every step.
class Person : public QObject
{
    Q_OBJECT

public:
    explicit Person(const QString& dir)
        : m_dir(dir)
    {
        m_window.show();
        if (!QTest::qWaitForWindowExposed(&m_window))
            qFatal("The window did not appear.");
        QDesktopServices::setUrlHandler(u"file"_s, this, "seeFolder");
        connect(&m_answers, &QTimer::timeout, this, [this] { answerBox(); });
        m_answers.start(20);
    }

    ~Person() override { QDesktopServices::unsetUrlHandler(u"file"_s); }

    void splitWithoutChannel3()
    {
        chooseFunction(u"Poly to Mono"_s);
        enterDirectory(&m_window, m_dir.filePath(u"take"_s));
        takeScreenshot(u"listed for the split"_s);
        selectRows(fileTable(&m_window), {0});
        clickButton(&m_window, u"Add"_s);
        selectRows(sourceTable(&m_window), {0});
        clickCheck(u"Ch3"_s);
        enterOutputDirectory(u"without_channel_3"_s);
        takeScreenshot(u"channel 3 switched off"_s);
        convert();
        takeScreenshot(u"split without channel 3"_s);
    }

    void splitAllChannels()
    {
        clickCheck(u"Ch3"_s);
        enterOutputDirectory(u"split"_s);
        convert();
        takeScreenshot(u"split"_s);
        convert(); // again, into the same files: the overwrite prompts are answered
        takeScreenshot(u"split again"_s);
    }

    void combine()
    {
        chooseFunction(u"Mono to Poly"_s);
        enterDirectory(&m_window, m_dir.filePath(u"split"_s));
        takeScreenshot(u"listed for the combine"_s);
        clickButton(&m_window, u"Add All"_s);
        enterOutputDirectory(u"combined"_s);
        takeScreenshot(u"four sources"_s);
        convert();
        takeScreenshot(u"combined"_s);
    }

    /// True when the program asked, reported and opened exactly what it should have.
    bool sawWhatWasExpected() const
    {
        QStringList asked;
        for (int channel = 1; channel <= 4; ++channel) {
            asked.append(
                u"Output file already exists.\ntake_0%1.wav\n\nDo you want to overwrite?"_s.arg(
                    channel));
        }
        asked.append(u"Can not find any mono files."_s); // the take's directory again
        const QStringList opened = {folder(u"without_channel_3"_s), folder(u"split"_s),
                                    folder(u"split"_s), folder(u"combined"_s)};
        return isAsExpected(u"asked"_s, m_asked, asked)
               && isAsExpected(u"opened"_s, m_opened, opened);
    }

public slots:
    void seeFolder(const QUrl& url)
    {
        m_opened.append(url.toString());
        say(u"opened folder "_s + url.toString());
    }

private:
    QString folder(const QString& name) const { return u"file:///"_s + m_dir.filePath(name); }

    static bool isAsExpected(const QString& what, const QStringList& seen,
                             const QStringList& expected)
    {
        if (seen == expected)
            return true;
        QTextStream(stderr) << what << ":\n"
                            << seen.join(u"\n---\n"_s) << "\nbut expected:\n"
                            << expected.join(u"\n---\n"_s) << Qt::endl;
        return false;
    }

    void say(const QString& text) { QTextStream(stdout) << text << Qt::endl; }

    void chooseFunction(const QString& text)
    {
        say(u"choosing "_s + text);
        QComboBox* combo = functionCombo(&m_window);
        const auto key = combo->findText(text) > combo->currentIndex() ? Qt::Key_Down : Qt::Key_Up;
        while (combo->currentText() != text)
            QTest::keyClick(combo, key);
    }

    void enterOutputDirectory(const QString& name)
    {
        QLineEdit* edit = outputDirEdit(&m_window);
        edit->selectAll();
        QTest::keyClicks(edit, m_dir.filePath(name));
    }

    void clickCheck(const QString& text)
    {
        QCheckBox* check = findCheck(&m_window, text);
        QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(8, check->height() / 2));
    }

    void convert()
    {
        say(u"pressing Convert"_s);
        clickButton(&m_window, u"Convert"_s);
    }

    void answerBox()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !QTest::qWaitForWindowExposed(box))
            return;
        m_asked.append(box->text());
        takeScreenshot(u"a question"_s);
        QAbstractButton* yes = box->button(QMessageBox::Yes);
        QAbstractButton* button = yes ? yes : box->button(QMessageBox::Ok);
        say(u"answering %1 to: %2"_s.arg(button->text().remove(u'&'), box->text().simplified()));
        QTest::mouseClick(button, Qt::LeftButton);
    }

    void takeScreenshot(const QString& step)
    {
        QApplication::processEvents();
        const QString name =
            u"%1 %2.png"_s.arg(QString::number(++m_screenshots).rightJustified(2, u'0'), step);
        const QString path = m_dir.filePath(u"screenshots/"_s + name);
        if (!m_window.screen()->grabWindow(0).save(path))
            qFatal("The screenshot \"%s\" could not be saved.", qPrintable(path));
    }

    CMainWindow m_window;
    QDir m_dir;
    QTimer m_answers;
    QStringList m_asked;
    QStringList m_opened;
    int m_screenshots = 0;
};

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    if (argc != 2)
        qFatal("The directory to work in is missing.");
    Person person(QString::fromLocal8Bit(argv[1]));
    person.splitWithoutChannel3();
    person.splitAllChannels();
    person.combine();
    return person.sawWhatWasExpected() ? 0 : 1;
}

#include "main.moc"
