// Any text as an integer list and as a number, held against a second reading of the rules.
#include <cstdint>

#include "fuzz/xmlfuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const std::string text = nbifuzz::TextOf(pData, nSize);
    NS_UTIL::SDXMLInterpreterMgr& mgr = nbifuzz::ManagerWithMacros();
    nbifuzz::Require(mgr.ParseInt(text.c_str()) == nbifuzz::Model().Number(text));
    const auto expected = nbifuzz::Model().List(text);
    if (!expected) return 0;  // more numbers than are worth the memory
    std::vector<int> numbers;
    std::list<int> list;
    mgr.ParseIntList(text.c_str(), numbers);
    mgr.ParseIntList(text.c_str(), list);
    nbifuzz::Require(numbers == *expected);
    nbifuzz::Require(std::vector<int>(list.begin(), list.end()) == *expected);
    return 0;
}
