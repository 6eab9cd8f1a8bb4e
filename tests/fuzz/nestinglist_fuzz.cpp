// Any text as a nesting list, held against a second reading of the rules.
#include <cstdint>

#include "fuzz/xmlfuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const std::string text = nbifuzz::TextOf(pData, nSize);
    const auto expected = nbifuzz::Model().NestingList(text);
    if (!expected) return 0;  // more numbers than are worth the memory
    std::list<std::list<int>> lists;
    nbifuzz::ManagerWithMacros().ParseNestingList(text.c_str(), lists);
    std::vector<std::vector<int>> found;
    for (const std::list<int>& list : lists) found.emplace_back(list.begin(), list.end());
    nbifuzz::Require(found == *expected);
    return 0;
}
