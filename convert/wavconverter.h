// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class CWavFileItem;
class LastWindowWatch;
class QDataStream;
class QWidget;

/// The result of a conversion, which leaves CWavConverter as a plain int. The conversions have
/// codes of their own for the same failure (a `bext` chunk that cannot be written is 6 in the split
/// and 5 in the combine), so that the box tells which step of which conversion failed.
enum ConvertError : int {
    ConvertOk = 0,
    ConvertNoMemory = 1,
    ConvertFileOpen = 2,
    ConvertFileRead = 3,
    ConvertDataRead = 4,
    ConvertFileWrite = 5,
    ConvertDataWrite = 6,
    ConvertDataCopy = 7,
    ConvertIllegalFormat = 8,
    ConvertFileRestriction = 9,
    ConvertCancelled = 10, ///< by the progress dialog, or the overwrite was declined
};

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
    int polyToMono();

    /// Interleaves the sources, in list order, into one file. Returns a ConvertError.
    int monoToPoly();

    /// Copies every source into a file that has a `bext` chunk. A failure up to the first chunk of
    /// a source ends the request in silence, a later one shows its box; outputs are never removed.
    void plainToBwf();

    /// The text before the last @p separator; the whole text where there is none.
    static QString leftOfLast(const QString& text, const QString& separator);

    /// The number that the two characters behind the last "_" of a file name form, or its first two
    /// where it has no "_"; 0 when they form none.
    static int channelNumber(const QString& fileName);

    /// Copies @p size bytes from position to position. A short read still writes @p size bytes, the
    /// missing ones as zero. False when nothing could be read or written, which keeps the buffer of
    /// @p size bytes allocated; also, with nothing allocated, when @p size is 2^31 or more or there
    /// is no memory for it. Of a write that stops short the status of @p out tells.
    static bool copyBlock(QDataStream& in, QDataStream& out, quint32 size);

    /// Shows the message box of a result: none for success and for a cancelled request.
    void reportError(int error) const;

private:
    // Shared by the conversions (wavconverter.cpp)
    QString outputBase(const QString& stem) const;
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
