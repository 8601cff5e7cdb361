// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QString>

// static on purpose: a copy for each source file, initialised before its other statics.

/// Title of the main window and of every message box.
static const QString g_appName = QStringLiteral("Splicora");

/// Shown in the About box.
static const QString g_appVersion = QStringLiteral("1.00");
