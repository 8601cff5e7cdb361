// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/converterror.h"

#include <QList>
#include <QString>
#include <QStringList>

class CWavFileItem;
class LastWindowWatch;
class OutputFile;
class QDataStream;
class QWidget;

/// One conversion request: the sources, the output directory and the three conversions. A
/// conversion runs to its end in the call, keeps the window alive by pumping events and shows its
/// own message box when it fails.
class CWavConverter
{
public:
    /// @p parent is the parent of every dialog and may be null. Neither it nor the items are owned;
    /// all of them outlive the request.
    CWavConverter(QWidget* parent, const QList<CWavFileItem*>& sources);

    /// A path without trailing separator; empty, as at the start, writes next to the sources.
    void setOutputDirectory(const QString& dir);

    /// Splits every source into one mono file per enabled channel. Returns a ConvertError.
    int polyToMono() const;

    /// Interleaves the sources, in list order, into one file. Returns a ConvertError.
    int monoToPoly() const;

    /// Copies every source into a file that has a `bext` chunk. A failure up to the first chunk of
    /// a source ends the request without a box, a later one shows its box; outputs are never
    /// removed.
    void plainToBwf() const;

    /// The text before the last @p separator; the whole text where there is none.
    static QString leftOfLast(const QString& text, const QString& separator);

    /// The number that the two characters after the last "_" of a file name form, or its first two
    /// where it has no "_"; 0 when they form none.
    static int channelNumber(const QString& fileName);

    /// Copies @p size bytes from position to position: copyBytes() in convert/wavwriter.h.
    static bool copyBlock(QDataStream& in, QDataStream& out, quint32 size);

    /// Shows the message box of a result: none for success and for a cancelled request.
    void reportError(int error) const;

private:
    // Shared by the conversions (wavconverter.cpp)
    ConvertError openOutput(OutputFile* output, const QString& question) const;
    QStringList sourceNames() const;

    // Split (polytomono.cpp)
    ConvertError splitSources() const;
    ConvertError splitChannel(const CWavFileItem& item, int channel,
                              const LastWindowWatch& lastWindow) const;

    // Combine (monotopoly.cpp)
    ConvertError combineSources() const;

    QWidget* m_parent;
    QList<CWavFileItem*> m_sources;
    QString m_outputDir;
};
