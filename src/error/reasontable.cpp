#include "error/reasontable.h"

#include <cstdint>
#include <utility>

namespace NS_UTIL {
namespace {

constexpr std::size_t FIRST_SIZE = 64;

/// Spreads codes that follow on each other, or differ in a few bits, over all places.
std::size_t Mix(unsigned long nCode)
{
    constexpr std::uint64_t GOLDEN = 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>((nCode * GOLDEN) >> 32U);
}

}  // namespace

/// Where \p nCode is, or would be entered.
std::size_t ReasonTable::PlaceOf(unsigned long nCode) const
{
    const std::size_t nMask = m_Entries.size() - 1;
    std::size_t nPlace = Mix(nCode) & nMask;
    while (m_Entries[nPlace].m_bUsed && m_Entries[nPlace].m_nCode != nCode) nPlace = (nPlace + 1) & nMask;
    return nPlace;
}

const std::string* ReasonTable::Find(unsigned long nCode) const
{
    if (m_Entries.empty()) return nullptr;
    const Entry& entry = m_Entries[PlaceOf(nCode)];
    return entry.m_bUsed ? &entry.m_Reason : nullptr;
}

void ReasonTable::Set(unsigned long nCode, std::string reason)
{
    if (2 * (m_nUsed + 1) > m_Entries.size()) Grow();
    Entry& entry = m_Entries[PlaceOf(nCode)];
    if (!entry.m_bUsed) ++m_nUsed;
    entry.m_nCode = nCode;
    entry.m_bUsed = true;
    entry.m_Reason = std::move(reason);
}

void ReasonTable::Grow()
{
    ReasonTable larger;
    larger.m_Entries.resize(m_Entries.empty() ? FIRST_SIZE : 2 * m_Entries.size());
    for (Entry& entry : m_Entries) {
        if (entry.m_bUsed) larger.m_Entries[larger.PlaceOf(entry.m_nCode)] = std::move(entry);
    }
    m_Entries.swap(larger.m_Entries);
}

}  // namespace NS_UTIL
