// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/wavconverter.h"

#include <QStringList>

#include <utility>

/// @file
/// What Splicora says, letter for letter and in one place for all tests. The scripts read it with
/// tests/texts.py: a text has a line of its own.

inline const QString g_noDirectory = QStringLiteral("The directory does not exist.");
inline const QString g_noWavFiles = QStringLiteral("No wav files found.");
inline const QString g_noFiles = QStringLiteral("Can not find any ");
inline const QString g_monoFiles = QStringLiteral("mono files.");
inline const QString g_polyFiles = QStringLiteral("poly files.");
inline const QString g_unreadable = QStringLiteral("Can not read following files.\n\n");
inline const QString g_tooMany = QStringLiteral("Can not add to source more than 8 files.");
inline const QString g_isSource = QStringLiteral("The file already exists on source.");
inline const QString g_otherFormat =
    QStringLiteral("Can not add to source due to different format.");
inline const QString g_noOutputDir = QStringLiteral("Output directory does not exist.\n");
inline const QString g_sameDir =
    QStringLiteral("The converted files will appear in the same directory as the originals.\n");
inline const QString g_clickYes = QStringLiteral("Click Yes to proceed.");
inline const QString g_chooseDirectory = QStringLiteral("Choose directory.");
inline const QString g_converting = QStringLiteral("Converting...\n");
inline const QString g_progress = QStringLiteral("Conversion progress");
inline const QString g_outputExists = QStringLiteral("Output file already exists.\n");
inline const QString g_overwrite = QStringLiteral("\n\nDo you want to overwrite?");
inline const QString g_failed = QStringLiteral("An error occurred during a convert operation.\n\n");

inline const std::pair<ConvertError, QString> g_errors[] = {
    {ConvertNoMemory, QStringLiteral("Can not allocate memory.")},
    {ConvertFileOpen, QStringLiteral("Can not open file.")},
    {ConvertFileRead, QStringLiteral("File read error.")},
    {ConvertDataRead, QStringLiteral("Data read error.")},
    {ConvertFileWrite, QStringLiteral("File write error.")},
    {ConvertDataWrite, QStringLiteral("Data write error.")},
    {ConvertDataCopy, QStringLiteral("Data copy error.")},
    {ConvertIllegalFormat, QStringLiteral("Illegal file format.")},
    {ConvertFileRestriction, QStringLiteral("File restriction.")},
};

/// The text of the box of an error.
inline QString errorText(int error)
{
    for (const auto& [known, sentence] : g_errors) {
        if (known == error)
            return g_failed + sentence;
    }
    return g_failed;
}

/// The text of the question that takes the place of an output directory.
inline const QString g_directoryQuestion = g_noOutputDir + g_sameDir + u'\n' + g_clickYes;

/// The titles over the columns.
inline const QStringList g_fileTitles = {QStringLiteral("File Name"), QStringLiteral("Type"),
                                         QStringLiteral("Ch"),        QStringLiteral("Bit"),
                                         QStringLiteral("Fs (Hz)"),   QStringLiteral("Size")};
inline const QStringList g_sourceTitles = {
    QStringLiteral("File Name"), QStringLiteral("Ch"),   QStringLiteral("Bit"),
    QStringLiteral("Fs (Hz)"),   QStringLiteral("Path"),
};
