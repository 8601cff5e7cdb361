// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/filenames.h"

#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

QString outputBase(const QString& stem, const QString& outputDir)
{
    return outputDir.isEmpty() ? stem : outputDir + u'/' + QFileInfo(stem).fileName();
}

QString channelFileName(const QString& base, int number)
{
    // Both places in one pass: a "%2" in a user's path stays.
    return u"%1_0%2.wav"_s.arg(base, QString::number(number));
}

QString combinedFileName(const QString& base)
{
    return u"%1_combined.wav"_s.arg(base);
}

QString bwfFileName(const QString& base)
{
    return u"%1_bwf.wav"_s.arg(base);
}
