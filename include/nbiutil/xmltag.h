/// \file
/// The tree into which a static-description file is read: elements and their attributes, no character data.
#pragma once

#include <list>
#include <string>
#include <string_view>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// One attribute of an element. Owns its three zero-terminated arrays from new[], of which any may be null: who puts
/// another in the place of one releases that with delete[]. The parser's are as long as their texts.
struct NBI_EXPORT XMLItem final {
    XMLItem() = default;
    /// Releases the three arrays.
    ~XMLItem();
    XMLItem(const XMLItem&) = delete;
    XMLItem& operator=(const XMLItem&) = delete;

    int m_nId = -1;                 ///< the parser never sets it: free for interpreters
    char* m_pName = nullptr;        ///< the attribute's name
    char* m_pValue = nullptr;       ///< the attribute's value; what interpreters read
    char* m_pPrintValue = nullptr;  ///< the value once more; what XMLTag::print shows
};

class XMLTag;

using XMLTagList = std::list<XMLTag*>;

/// One element, owner of everything below it. Building, printing and destroying need no stack per level, so
/// the depth of a tree is bounded by memory alone.
/// Threads: none of its own; a tree belongs to the thread that parses it.
class NBI_EXPORT XMLTag final {
public:
    XMLTag() = default;
    /// Deletes the attributes and their array, the children, and the list.
    ~XMLTag();
    XMLTag(const XMLTag&) = delete;
    XMLTag& operator=(const XMLTag&) = delete;

    /// Walks down by name, to the first child of that name in document order.
    /// \param      ppPath  element names, ended by a null pointer; an empty path leads to this element
    /// \param[out] ppFound the last element of the path; untouched when the result is false
    /// These look-ups are const, since interpreters are given a const tree, and lead to elements that are
    /// not, since interpreters may number them.
    bool getTag(char** ppPath, XMLTag** ppFound) const;
    /// The same by identifiers, ended by 0: so identifier 0 is never found, nor is anything in a tree that no
    /// interpreter has numbered.
    bool getTag(int* pPath, XMLTag** ppFound) const;

    /// Writes the tree to standard output: a line that opens and a line that closes each element, indented by
    /// a tab per level. The word "tag" stands for the name in every line but after "<tag = ".
    /// \param[in,out] nDepth the level of this element; the same afterwards
    /// \param nMaxDepth      deepest level that is written; -1 for no limit. With exactly 0 an element is a
    ///                      single line that ends in " />".
    void print(int& nDepth, int nMaxDepth) const;
    /// The same from level 0.
    void print(int nMaxDepth) const;

    int m_nId = -1;                     ///< the parser never sets it: free for interpreters
    std::string m_Name;                 ///< the element's name
    std::string m_Text;                 ///< always empty after a parse: character data is not kept
    XMLItem** m_pItems = nullptr;       ///< new[] array of attributes in document order, ended by a
                                        ///< null pointer; null for an element without attributes
    XMLTagList* m_pChildren = nullptr;  ///< children in document order; null for a leaf
};

/// The attributes of an element in document order, for a range-based for:
///
///     for (const XMLItem* pItem : XMLItems(tag)) Enter(pItem->m_pName, pItem->m_pValue);
/// It stays good while the element's array does. An element without an array has none.
class XMLItems {
public:
    explicit XMLItems(const XMLTag& tag) : m_pBegin(tag.m_pItems), m_pEnd(tag.m_pItems)
    {
        while (m_pEnd != nullptr && *m_pEnd != nullptr) ++m_pEnd;
    }
    XMLItem* const* begin() const { return m_pBegin; }
    XMLItem* const* end() const { return m_pEnd; }

private:
    XMLItem* const* m_pBegin;
    XMLItem* const* m_pEnd;
};

/// The value of the first attribute of \p tag that is called \p name. It belongs to the tag.
/// \return null when there is none, or none with a value
NBI_EXPORT const char* Attribute(const XMLTag& tag, std::string_view name);

}  // namespace NS_UTIL
