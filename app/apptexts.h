// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QString>

// Each source file that includes this has texts of its own, made before its other statics. Texts
// that all share could be used before the file that defines them has made them.

/// Title of the main window and of every message box.
static const QString g_appName = QStringLiteral("Splicora");

/// Shown in the About box.
static const QString g_appVersion = QStringLiteral("1.00");
