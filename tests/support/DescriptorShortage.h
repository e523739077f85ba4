#pragma once

#include <sys/resource.h>

// Lowers this process's soft open files limit to its lowest free descriptor, so that the next
// file or socket it opens fails as it does once the limit is reached; puts the limit back when
// it goes. Threads of the process share the limit.
class DescriptorShortage
{
public:
    DescriptorShortage();
    ~DescriptorShortage();
    DescriptorShortage(const DescriptorShortage &) = delete;
    DescriptorShortage &operator=(const DescriptorShortage &) = delete;

    // False when the limit could not be lowered.
    bool isActive() const;

private:
    struct rlimit m_before = {};
    bool m_active = false;
};
