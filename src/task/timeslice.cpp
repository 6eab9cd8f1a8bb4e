#include "task/timeslice.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace NS_UTIL {
namespace {

/// The system's `struct sched_attr` in its first form. The C library's own has come late and clashes with the kernel's header.
struct SchedulingAttributes {
    std::uint32_t m_nSize;
    std::uint32_t m_nPolicy;
    std::uint64_t m_nFlags;
    std::int32_t m_nNice;
    std::uint32_t m_nPriority;
    std::uint64_t m_nRuntime;  // of the ordinary policy: the time slice, in nanoseconds
    std::uint64_t m_nDeadline;
    std::uint64_t m_nPeriod;
};

constexpr pid_t THIS_THREAD = 0;
constexpr unsigned int NO_FLAGS = 0;

bool HasSystemCallFilter()
{
    return prctl(PR_GET_SECCOMP) != 0;  // where the call does not exist, nothing is known either
}

}  // namespace

void AskForShortTimeSlices() noexcept
{
    if (HasSystemCallFilter()) return;
    SchedulingAttributes attributes{};
    // What is not meant to change goes back as the system told it.
    if (syscall(SYS_sched_getattr, THIS_THREAD, &attributes, sizeof attributes, NO_FLAGS) != 0) return;
    if (attributes.m_nPolicy != SCHED_OTHER) return;
    attributes.m_nRuntime = SHORTEST_TIME_SLICE;
    syscall(SYS_sched_setattr, THIS_THREAD, &attributes, NO_FLAGS);  // refused: the slices stay as they are
}

}  // namespace NS_UTIL
