// IpStr2Long over any bytes, and back.
#include "conversions_naive.h"
#include "nbiutil/conversions.h"

using namespace nbitest::naive;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const std::string text = TextOf(pData, nSize);
    long nAddress = 4711;
    long nExpected = 4711;
    const bool bExpected = IpStr2Long(text, nExpected);
    Demand(NS_UTIL::IpStr2Long(text, nAddress) == bExpected, "whether it is an address");
    Demand(nAddress == nExpected, "address");

    long nAgain = 0;
    Demand(NS_UTIL::IpStr2Long(NS_UTIL::IpLong2Str(nAddress), nAgain), "whether its text is an address");
    Demand(nAgain == static_cast<int>(nAddress), "address of its text");
    return 0;
}
