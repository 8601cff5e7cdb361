// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <sys/resource.h>

/// Changes the soft limit of a resource of this process (RLIMIT_...) during its life.
class SoftLimit
{
public:
    SoftLimit(int resource, rlim_t limit)
        : m_resource(resource)
    {
        getrlimit(m_resource, &m_kept);
        rlimit changed = m_kept;
        changed.rlim_cur = limit;
        m_isSet = setrlimit(m_resource, &changed) == 0;
    }
    ~SoftLimit() { setrlimit(m_resource, &m_kept); }
    SoftLimit(const SoftLimit&) = delete;
    SoftLimit& operator=(const SoftLimit&) = delete;

    bool isSet() const { return m_isSet; }

private:
    int m_resource;
    rlimit m_kept = {};
    bool m_isSet = false;
};
