// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/conversionprogress.h"

#include "app/apptexts.h"

#include <QGuiApplication>
#include <QProgressBar>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The range of the dialog until the RIFF size of the source is known.
constexpr int g_firstMaximum = 10000;

/// Milliseconds from one painting of the bar to the next.
constexpr int g_paintInterval = 20;

} // namespace

ConversionProgress::ConversionProgress(QWidget* parent, const QString& outputName)
    : m_dialog(u"Converting ..."_s, u"Cancel"_s, 0, g_firstMaximum, parent)
    , m_bar(m_dialog.findChild<QProgressBar*>())
{
    m_dialog.setWindowModality(Qt::WindowModal);
    m_dialog.setWindowTitle(g_appName);
    m_dialog.setAccessibleName(u"Conversion progress"_s);
    m_bar->setAccessibleName(u"Conversion progress"_s);
    // A value that equals the maximum would hide the dialog and forget a Cancel.
    m_dialog.setAutoReset(false);
    m_dialog.setLabelText(u"Converting...\n"_s + outputName);

    m_paintTimer.setSingleShot(true);
    m_paintTimer.setInterval(g_paintInterval);
    m_paintTimer.callOnTimeout([this] { paintBar(); });
}

ConversionProgress::~ConversionProgress()
{
    paintBar();
}

void ConversionProgress::setMaximum(quint32 bytes)
{
    m_dialog.setRange(0, int(bytes));
}

void ConversionProgress::show()
{
    m_dialog.setVisible(true);
}

void ConversionProgress::setValue(qint64 bytes)
{
    m_bar->setUpdatesEnabled(false);
    m_dialog.setValue(int(bytes));
    if (!m_paintTimer.isActive())
        m_paintTimer.start();
}

void ConversionProgress::setValueToMaximum()
{
    m_dialog.setValue(m_dialog.maximum());
}

bool ConversionProgress::wasCancelled() const
{
    return m_dialog.wasCanceled();
}

bool ConversionProgress::pollEachFrame(qint64 bytes, qint64 frames)
{
    for (qint64 k = 0; k < frames; ++k) {
        setValue(bytes);
        if (wasCancelled())
            return false;
        // Setting the value already shown processes no events, so further polls in this block
        // cannot change anything.
        if (m_dialog.value() == int(bytes))
            return true;
    }
    return true;
}

/// The bar paints itself again, until the next value.
void ConversionProgress::paintBar()
{
    m_bar->setUpdatesEnabled(true);
    m_bar->repaint();
}

LastWindowWatch::LastWindowWatch(const QWidget* parent)
{
    if (parent && parent->window()->isVisible())
        connect(qGuiApp, &QGuiApplication::lastWindowClosed, this, [this] { m_isClosed = true; });
}

bool LastWindowWatch::isClosed() const
{
    return m_isClosed;
}
