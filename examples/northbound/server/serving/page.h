/// \file
/// Lists in pages: the answer to a request fits a message, however long the list is.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "server/serving/boundedtext.h"
#include "shared/names.h"

namespace northbound {

/// What a page of a list is asked for with.
struct PageRequest {
    std::string m_After;  // m_Next of the page before; "" for the first

    std::vector<BoundedText> Texts() const { return {{"where the page begins", m_After, MAX_CURSOR}}; }
};

/// Part of a list, in the order of its items' keys.
template <class Item>
struct Page {
    std::vector<Item> m_Items;
    std::string m_Next;  // what the next page is asked for with; "": nothing follows
};

/// How much of an answer is left. A front end needs some bytes for each text and number beside what they hold.
class PageRoom {
public:
    /// \param nBytes of the item's texts
    /// \param nValues texts and numbers that it has
    /// \return false when the item does not fit; the first always does
    bool Takes(std::size_t nBytes, std::size_t nValues)
    {
        m_nTaken += nBytes + nValues * VALUE_BYTES;
        return !std::exchange(m_bUsed, true) || m_nTaken <= MAX_MESSAGE - HEADER_BYTES;
    }

private:
    static constexpr std::size_t VALUE_BYTES = 16;
    static constexpr std::size_t HEADER_BYTES = 1024;

    std::size_t m_nTaken = 0;
    bool m_bUsed = false;
};

/// The page of \p all behind the key \p after. An item has
///     std::string Key() const;                   // another for each
///     std::vector<std::string> Texts() const;    // what it holds beside up to 8 numbers
template <class Item>
Page<Item> PageBehind(const std::string& after, std::vector<Item> all)
{
    std::sort(all.begin(), all.end(), [](const Item& a, const Item& b) { return a.Key() < b.Key(); });
    PageRoom room;
    Page<Item> page;
    for (Item& item : all) {
        if (item.Key() <= after) continue;
        std::size_t nBytes = 0;
        const std::vector<std::string> texts = item.Texts();
        for (const std::string& text : texts) nBytes += text.size();
        if (!room.Takes(nBytes, texts.size() + 8)) {
            page.m_Next = page.m_Items.back().Key();
            break;
        }
        page.m_Items.push_back(std::move(item));
    }
    return page;
}

}  // namespace northbound
