// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QDesktopServices>
#include <QObject>
#include <QStringList>
#include <QUrl>

/// Stands in for the desktop: keeps the URLs of the folders that it is asked to open.
class FolderRecorder : public QObject
{
    Q_OBJECT

public:
    FolderRecorder() { QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "open"); }
    ~FolderRecorder() override { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }
    Q_DISABLE_COPY_MOVE(FolderRecorder)

    QStringList opened;

public slots:
    void open(const QUrl& url) { opened.append(url.toString()); }
};
