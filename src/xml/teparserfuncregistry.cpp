#include <tuple>
#include <utility>

#include "base/lockguard.h"
#include "base/singleton.h"
#include "nbiutil/sdxmlinterpreter.h"

namespace NS_UTIL {

TEParserKey::TEParserKey(std::string first, std::string second, std::string third)
    : m_First(std::move(first)), m_Second(std::move(second)), m_Third(std::move(third))
{
}

TEParserKey::~TEParserKey() = default;

bool operator<(const TEParserKey& left, const TEParserKey& right)
{
    return std::tie(left.First(), left.Second(), left.Third()) <
           std::tie(right.First(), right.Second(), right.Third());
}

std::atomic<TEParserFuncRegistry*> TEParserFuncRegistry::m_pInstance{nullptr};

TEParserFuncRegistry::TEParserFuncRegistry() : m_pLock(std::make_unique<ACE_RW_Mutex>())
{
}

TEParserFuncRegistry::~TEParserFuncRegistry() = default;

TEParserFuncRegistry* TEParserFuncRegistry::Instance()
{
    return InstanceIn(m_pInstance, [] { return new TEParserFuncRegistry; });
}

void TEParserFuncRegistry::Register(const TEParserKey& key, TEParserFunc func)
{
    WriteGuard guard(*m_pLock);
    m_Funcs[key] = func;
}

std::size_t TEParserFuncRegistry::Remove(const TEParserKey& key)
{
    WriteGuard guard(*m_pLock);
    return m_Funcs.erase(key);
}

std::size_t TEParserFuncRegistry::RemoveBySecond(const std::string& second)
{
    WriteGuard guard(*m_pLock);
    std::size_t nRemoved = 0;
    for (auto entry = m_Funcs.begin(); entry != m_Funcs.end();) {
        if (entry->first.Second() == second) {
            entry = m_Funcs.erase(entry);
            ++nRemoved;
        } else {
            ++entry;
        }
    }
    return nRemoved;
}

TEParserFunc TEParserFuncRegistry::Find(const TEParserKey& key)
{
    {
        ReadGuard guard(*m_pLock);
        const auto found = m_Funcs.find(key);
        if (found != m_Funcs.end()) return found->second;
    }
    WriteGuard guard(*m_pLock);
    return m_Funcs.try_emplace(key, nullptr).first->second;
}

}  // namespace NS_UTIL
