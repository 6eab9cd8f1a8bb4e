/// \file
/// The tree into which a static-description file is read: elements and their attributes, no character data.
#pragma once

#include <cstddef>
#include <list>
#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// One attribute of an element. Owns its three zero-terminated arrays, each allocated with new[]; the
/// destructor releases them, and any of them may be null.
struct NBI_EXPORT XMLItem final {
    XMLItem() = default;
    ~XMLItem();
    XMLItem(const XMLItem&) = delete;
    XMLItem& operator=(const XMLItem&) = delete;
    /// See XMLTag::operator new.
    static void* operator new(std::size_t nSize);
    static void operator delete(void* pItem) noexcept;

    int m_nId = -1;                 ///< the parser never sets it: free for interpreters
    char* m_pName = nullptr;        ///< the attribute's name
    char* m_pValue = nullptr;       ///< the attribute's value; what interpreters read
    char* m_pPrintValue = nullptr;  ///< the value once more; what XMLTag::print shows
};

class XMLTag;

/// Puts the nodes of a list of children among the elements; see XMLTag::operator new.
template <class Node>
struct XMLTagAllocator {
    using value_type = Node;
    XMLTagAllocator() = default;
    template <class Other>
    explicit XMLTagAllocator(const XMLTagAllocator<Other>& /*other*/)
    {
    }
    Node* allocate(std::size_t nCount);
    void deallocate(Node* pNodes, std::size_t nCount) noexcept;
    bool operator==(const XMLTagAllocator& /*other*/) const { return true; }
    bool operator!=(const XMLTagAllocator& /*other*/) const { return false; }
};

using XMLTagList = std::list<XMLTag*, XMLTagAllocator<XMLTag*>>;

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
    /// Elements come and go with their tree, so they share blocks of 128 KiB: a block is freed when
    /// everything in it is gone, the last one that a thread has begun not before the thread ends. Threads:
    /// any may delete.
    static void* operator new(std::size_t nSize);
    static void operator delete(void* pTag) noexcept;

    /// Walks down by name, to the first child of that name in document order.
    /// \param      path  element names, ended by a null pointer; an empty path leads to this element
    /// \param[out] found the last element of the path; untouched when the result is false
    /// These look-ups are const, since interpreters are given a const tree, and lead to elements that are
    /// not, since interpreters may number them.
    bool getTag(char** path, XMLTag** found) const;
    /// The same by identifiers, ended by 0: so identifier 0 is never found, nor is anything in a tree that no
    /// interpreter has numbered.
    bool getTag(int* path, XMLTag** found) const;

    /// Writes the tree to standard output: a line that opens and a line that closes each element, indented by
    /// a tab per level. The word "tag" stands for the name in every line but after "<tag = ".
    /// \param[in,out] depth the level of this element; the same afterwards
    /// \param maxDepth      deepest level that is written; -1 for no limit. With exactly 0 an element is a
    ///                      single line that ends in " />".
    void print(int& depth, int maxDepth) const;
    /// The same from level 0.
    void print(int maxDepth) const;

    int m_nId = -1;                     ///< the parser never sets it: free for interpreters
    std::string m_Name;                 ///< the element's name
    std::string m_Text;                 ///< always empty after a parse: character data is not kept
    XMLItem** m_pItems = nullptr;       ///< new[] array of attributes in document order, ended by a
                                        ///< null pointer; null for an element without attributes
    XMLTagList* m_pChildren = nullptr;  ///< children in document order; null for a leaf
};

template <class Node>
Node* XMLTagAllocator<Node>::allocate(std::size_t nCount)
{
    return static_cast<Node*>(XMLTag::operator new(nCount * sizeof(Node)));
}

template <class Node>
void XMLTagAllocator<Node>::deallocate(Node* pNodes, std::size_t /*nCount*/) noexcept
{
    XMLTag::operator delete(pNodes);
}

}  // namespace NS_UTIL
