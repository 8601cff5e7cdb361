// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "convert/filesinwork.h"

#include "convert/fileidentity.h"

#include <algorithm>
#include <utility>

namespace {

QStringList& namesInWork()
{
    static QStringList names;
    return names;
}

} // namespace

FilesInWorkGuard::FilesInWorkGuard(const QStringList& names)
    : m_names(names)
{
    namesInWork().append(m_names);
}

FilesInWorkGuard::~FilesInWorkGuard()
{
    for (const QString& name : std::as_const(m_names))
        namesInWork().removeOne(name);
}

bool isFileInWork(const QString& fileName)
{
    const QStringList& names = namesInWork();
    return std::any_of(names.cbegin(), names.cend(),
                       [&fileName](const QString& name) { return isOneFile(fileName, name); });
}
