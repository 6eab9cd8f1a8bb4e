// Str2Int, in its three forms, over any bytes.
#include "conversions_naive.h"
#include "nbiutil/conversions.h"

using namespace nbitest::naive;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    constexpr int UNTOUCHED = 4711;
    const std::string text = TextOf(pData, nSize);
    int value = UNTOUCHED;
    int expected = UNTOUCHED;
    const bool bExpected = Str2Int(text, expected);
    Demand(NS_UTIL::Str2Int(text, value) == bExpected, "whether it is an integer");
    Demand(value == expected, "value");
    Demand(NS_UTIL::Str2Int(text) == (bExpected ? expected : -1), "value or -1");

    value = expected = UNTOUCHED;
    const bool bExpectedUpToZero = Str2Int(text.substr(0, text.find('\0')), expected);
    Demand(NS_UTIL::Str2Int(text.c_str(), value) == bExpectedUpToZero, "whether it is one up to the zero");
    Demand(value == expected, "value up to the zero");
    return 0;
}
