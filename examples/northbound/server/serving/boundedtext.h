/// \file
/// How long the texts of a request may be.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace northbound {

constexpr std::size_t MAX_NAME = 256;     // of objects, items and methods
constexpr std::size_t MAX_VALUE = 4096;   // of an item
constexpr std::size_t MAX_CURSOR = 1024;  // where a page begins
constexpr std::size_t MAX_CIPHER = 1024;  // hexadecimal text of one block is half of it

/// One text of a request and its limit. Lives no longer than the request.
struct BoundedText {
    const char* m_pWhat;  // for people: "the name of the managed object"
    const std::string& m_Text;
    std::size_t m_nMost;
};

/// A request that has texts lists them in a member Texts(); the dispatcher looks before anything else does.
template <class Request>
auto TextsOf(const Request& request, int /*preferred*/) -> decltype(request.Texts())
{
    return request.Texts();
}

template <class Request>
std::vector<BoundedText> TextsOf(const Request& /*request*/, long /*otherwise*/)
{
    return {};
}

}  // namespace northbound
