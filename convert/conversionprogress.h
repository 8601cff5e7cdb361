// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QObject>
#include <QProgressDialog>
#include <QTimer>

class QProgressBar;
class QWidget;

/// The progress dialog of one output. It counts in bytes; values of 2 GiB and more wrap, as the
/// toolkit counts in int. The bar ignores a value outside its range.
class ConversionProgress
{
public:
    ConversionProgress(QWidget* parent, const QString& outputName);

    /// Paints the last value.
    ~ConversionProgress();

    ConversionProgress(const ConversionProgress&) = delete;
    ConversionProgress& operator=(const ConversionProgress&) = delete;

    /// The range starts at 0.
    void setMaximum(quint32 bytes);

    void show();

    /// Sets every value, but leaves the painting of the bar to a timer of 20 ms.
    void setValue(qint64 bytes);

    void setValueToMaximum();

    bool wasCancelled() const;

    /// Sets the value and polls the cancel button, as if once for each of the @p frames frames of a
    /// block. False when the user cancelled.
    bool pollEachFrame(qint64 bytes, qint64 frames);

private:
    void paintBar();

    QProgressDialog m_dialog;
    QProgressBar* m_bar; ///< owned by the dialog
    QTimer m_paintTimer; ///< runs while a value is not painted
};

/// True once lastWindowClosed() was emitted during its life, which lets a split without end stop
/// with the program. Stays false if @p parent was null or not visible at the start.
class LastWindowWatch : public QObject
{
public:
    explicit LastWindowWatch(const QWidget* parent);

    bool isClosed() const;

private:
    bool m_isClosed = false;
};
