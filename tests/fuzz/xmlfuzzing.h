/// \file
/// What the fuzz targets of the description files share.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>

#include "nbiutil/sdxmlinterpreter.h"
#include "xml/listmodel.h"

namespace nbifuzz {

constexpr int MACRO_VALUE = 64;
constexpr std::size_t MOST_NUMBERS = 1000000;

inline void Require(bool bHolds)
{
    if (!bHolds) std::abort();
}

/// The tree is what the handlers promise: arrays and lists are null where there is nothing, no text is null.
inline void CheckTag(const NS_UTIL::XMLTag& tag)
{
    Require(tag.m_nId == -1 && tag.m_Text.empty());
    if (tag.m_pItems != nullptr) Require(tag.m_pItems[0] != nullptr);
    for (const NS_UTIL::XMLItem* pItem : NS_UTIL::XMLItems(tag)) {
        Require(pItem->m_pName[0] != '\0' && pItem->m_pValue != pItem->m_pPrintValue);
        Require(std::string(pItem->m_pValue) == pItem->m_pPrintValue);
    }
    if (tag.m_pChildren != nullptr) Require(!tag.m_pChildren->empty());
}

/// Walks, prints and interprets a tree. An "include" is left alone: its path would lead anywhere.
class CheckingInterpreter : public NS_UTIL::SDXMLInterpreter {
public:
    int InterpretXMLTag(const NS_UTIL::XMLTag& tag) override
    {
        CheckTag(tag);
        bool bInclude = false;
        if (tag.m_pChildren != nullptr) {
            for (const NS_UTIL::XMLTag* pChild : *tag.m_pChildren) {
                CheckTag(*pChild);
                bInclude = bInclude || pChild->m_Name == "include";
            }
        }
        tag.print(10);
        return bInclude ? 0 : SDXMLInterpreter::InterpretXMLTag(tag);
    }
};

/// The manager with a macro of each kind, and what a second reading of the lists says.
inline NS_UTIL::SDXMLInterpreterMgr& ManagerWithMacros()
{
    NS_UTIL::SDXMLInterpreterMgr& mgr = *NS_UTIL::SDXMLInterpreterMgr::Instance();
    mgr.AddMacorValue("M", MACRO_VALUE);
    mgr.AddMacorValue("12", -3);
    return mgr;
}
inline const nbitest::ListModel& Model()
{
    static const nbitest::ListModel MODEL({{"M", MACRO_VALUE}, {"12", -3}}, MOST_NUMBERS);
    return MODEL;
}

/// The input as a zero-terminated text.
inline std::string TextOf(const unsigned char* pData, std::size_t nSize)
{
    return {pData, std::find(pData, pData + nSize, '\0')};
}

}  // namespace nbifuzz
