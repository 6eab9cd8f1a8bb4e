#include "nbiutil/xmltag.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "xml/shown.h"

namespace NS_UTIL {
namespace {

constexpr int NO_LIMIT = -1;

/// The first child that fits, or null.
template <class Fits>
XMLTag* FindChild(const XMLTag& tag, Fits fits)
{
    if (tag.m_pChildren == nullptr) return nullptr;
    const auto matches = [&fits](const XMLTag* pChild) { return fits(*pChild); };
    const auto found = std::find_if(tag.m_pChildren->begin(), tag.m_pChildren->end(), matches);
    return found == tag.m_pChildren->end() ? nullptr : *found;
}

void PrintTabs(int nCount)
{
    static constexpr char TABS[] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
    static constexpr int AT_ONCE = sizeof(TABS) - 1;
    for (int nLeft = nCount; nLeft > 0; nLeft -= AT_ONCE) {
        std::printf("%.*s", std::min(nLeft, AT_ONCE), TABS);
    }
}

/// Prints one tree, with the elements that are open kept on the heap.
class TreePrinter {
public:
    TreePrinter(int& nDepth, int nMaxDepth) : m_nDepth(nDepth), m_nMaxDepth(nMaxDepth) {}

    void Print(const XMLTag& root)
    {
        Open(root);
        while (!m_Open.empty()) {
            Level& innermost = m_Open.back();
            if (innermost.m_Next == innermost.m_End) {
                Close();
            } else {
                Open(**innermost.m_Next++);
            }
        }
    }

private:
    using Position = XMLTagList::const_iterator;
    struct Level {
        Position m_Next;
        Position m_End;
    };

    void Open(const XMLTag& tag)
    {
        if (m_nMaxDepth != NO_LIMIT && m_nMaxDepth < m_nDepth) return;
        PrintTabs(m_nDepth);
        std::printf("<tag = %s", tag.m_Name.c_str());
        for (const XMLItem* pItem : XMLItems(tag)) {
            std::printf(" %s = %s", Shown(pItem->m_pName), Shown(pItem->m_pPrintValue));
        }
        if (m_nMaxDepth != 0) std::printf("\n");
        ++m_nDepth;
        static const XMLTagList NO_CHILDREN;
        const XMLTagList& children = tag.m_pChildren == nullptr ? NO_CHILDREN : *tag.m_pChildren;
        m_Open.push_back({children.begin(), children.end()});
    }

    void Close()
    {
        m_Open.pop_back();
        --m_nDepth;
        if (m_nMaxDepth == 0) {
            std::printf(" />\n");
            return;
        }
        PrintTabs(m_nDepth);
        std::printf("</tag>\n");
    }

    int& m_nDepth;
    const int m_nMaxDepth;
    std::vector<Level> m_Open;
};

}  // namespace

XMLItem::~XMLItem()
{
    for (const char* pText : {m_pName, m_pValue, m_pPrintValue}) delete[] pText;
}

XMLTag::~XMLTag()
{
    for (const XMLItem* pItem : XMLItems(*this)) delete pItem;
    delete[] m_pItems;
    if (m_pChildren == nullptr) return;
    // A child hands its own children up before it is deleted, so that no destructor runs inside another one
    // more than once, however deep the tree is.
    while (!m_pChildren->empty()) {
        XMLTag* const pChild = m_pChildren->front();
        m_pChildren->pop_front();
        if (pChild != nullptr && pChild->m_pChildren != nullptr) {
            m_pChildren->splice(m_pChildren->begin(), *pChild->m_pChildren);
        }
        delete pChild;
    }
    delete m_pChildren;
}

bool XMLTag::getTag(char** ppPath, XMLTag** ppFound) const
{
    auto* pTag = const_cast<XMLTag*>(this);
    for (; *ppPath != nullptr; ++ppPath) {
        pTag = FindChild(
            *pTag, [ppPath](const XMLTag& tag) { return std::strcmp(tag.m_Name.c_str(), *ppPath) == 0; });
        if (pTag == nullptr) return false;
    }
    *ppFound = pTag;
    return true;
}

bool XMLTag::getTag(int* pPath, XMLTag** ppFound) const
{
    auto* pTag = const_cast<XMLTag*>(this);
    for (; *pPath != 0; ++pPath) {
        pTag = FindChild(*pTag, [pPath](const XMLTag& tag) { return tag.m_nId == *pPath; });
        if (pTag == nullptr) return false;
    }
    *ppFound = pTag;
    return true;
}

void XMLTag::print(int& nDepth, int nMaxDepth) const
{
    TreePrinter(nDepth, nMaxDepth).Print(*this);
}

void XMLTag::print(int nMaxDepth) const
{
    int nDepth = 0;
    print(nDepth, nMaxDepth);
}

const char* Attribute(const XMLTag& tag, std::string_view name)
{
    for (const XMLItem* pItem : XMLItems(tag)) {
        if (pItem->m_pName != nullptr && name == pItem->m_pName) return pItem->m_pValue;
    }
    return nullptr;
}

}  // namespace NS_UTIL
