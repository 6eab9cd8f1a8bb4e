#include "task/workername.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

namespace NS_UTIL {
namespace {

constexpr std::size_t LONGEST = 15;

using Prefix = std::array<char, sizeof(std::uint32_t)>;
// The bytes of a Prefix, as a number that every compiler stores in one step.
std::atomic<std::uint32_t> g_nPrefix{0};

std::string CurrentPrefix()
{
    const std::uint32_t nPrefix = g_nPrefix.load(std::memory_order_acquire);
    Prefix prefix{};
    std::memcpy(prefix.data(), &nPrefix, prefix.size());
    return {prefix.begin(), std::find(prefix.begin(), prefix.end(), '\0')};
}

}  // namespace

std::string WorkerName(unsigned int nPool, unsigned int nWorker)
{
    const std::string front = CurrentPrefix() + "nbi-p";
    const std::string back = (nWorker < 10 ? "-w0" : "-w") + std::to_string(nWorker);
    const std::string pool = std::to_string(nPool);
    const std::size_t nFixed = front.size() + back.size();
    const std::size_t nRoom = nFixed < LONGEST ? LONGEST - nFixed : 0;
    return front + pool.substr(pool.size() - std::min(pool.size(), nRoom)) + back;
}

void NameThisThread(const std::string& name) noexcept
{
    pthread_setname_np(pthread_self(), name.c_str());
}

void SetWorkerNamePrefix(const std::string& prefix)
{
    Prefix first{};
    std::copy_n(prefix.begin(), std::min(prefix.size(), first.size()), first.begin());
    std::uint32_t nPrefix = 0;
    std::memcpy(&nPrefix, first.data(), first.size());
    g_nPrefix.store(nPrefix, std::memory_order_release);
}

}  // namespace NS_UTIL
