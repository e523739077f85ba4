#include "DescriptorShortage.h"

#include <unistd.h>

DescriptorShortage::DescriptorShortage()
{
    if (getrlimit(RLIMIT_NOFILE, &m_before) != 0)
        return;
    // Descriptors are handed out lowest first: the one a duplicate gets is the next to go.
    const int lowestFree = dup(STDIN_FILENO);
    if (lowestFree < 0)
        return;
    close(lowestFree);
    struct rlimit lowered = m_before;
    lowered.rlim_cur = rlim_t(lowestFree);
    m_active = setrlimit(RLIMIT_NOFILE, &lowered) == 0;
}

DescriptorShortage::~DescriptorShortage()
{
    if (m_active)
        setrlimit(RLIMIT_NOFILE, &m_before);
}

bool DescriptorShortage::isActive() const
{
    return m_active;
}
