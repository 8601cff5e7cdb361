// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

/// Gives the superuser, whom permissions do not hold back, the rights of nobody during its life.
class PlainUser
{
public:
    PlainUser()
        : m_before(::geteuid())
    {
        if (m_before == 0 && ::seteuid(65534) != 0)
            qFatal("Can not become nobody.");
    }
    ~PlainUser() { (void)!::seteuid(m_before); }
    Q_DISABLE_COPY_MOVE(PlainUser)

    /// False where a directory above is closed to this user.
    static bool canEnter(const QString& directory)
    {
        return ::faccessat(AT_FDCWD, QFile::encodeName(directory).constData(), X_OK, AT_EACCESS)
               == 0;
    }

private:
    uid_t m_before;
};
