#pragma once

#include <sys/resource.h>

// Sets a soft limit of this process (RLIMIT_NOFILE, for example) while it exists. Unix only.
class ResourceLimit
{
public:
    ResourceLimit(__rlimit_resource_t resource, rlim_t value)
        : m_resource(resource)
    {
        (void)::getrlimit(m_resource, &m_before);
        const rlimit limit = {value, m_before.rlim_max};
        (void)::setrlimit(m_resource, &limit);
    }

    ~ResourceLimit()
    {
        (void)::setrlimit(m_resource, &m_before);
    }

    ResourceLimit(const ResourceLimit &) = delete;
    ResourceLimit &operator=(const ResourceLimit &) = delete;
    ResourceLimit(ResourceLimit &&) = delete;
    ResourceLimit &operator=(ResourceLimit &&) = delete;

private:
    __rlimit_resource_t m_resource;
    rlimit m_before = {};
};
