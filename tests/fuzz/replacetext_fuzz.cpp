// SelfUtilCommon::replaceStr against the plain loop. The first two bytes are the lengths of the replaced and
// the new text, which follow; the rest is the subject.
#include <algorithm>
#include <cstdint>
#include <string>

#include "demand.h"
#include "nbiutil/selfutilcommon.h"

namespace {

/// Quadratic, so that longer subjects are left to the tests.
constexpr std::size_t MAX_SUBJECT = 300;

std::string PlainLoop(std::string subject, const std::string& from, const std::string& to)
{
    std::size_t nSearch = 0;
    for (std::size_t nFound; (nFound = subject.find(from, nSearch)) != std::string::npos;) {
        subject.replace(nFound, from.size(), to);
        nSearch += to.size();
    }
    return subject;
}

std::string Take(std::string& input, std::size_t nCount)
{
    const std::string head = input.substr(0, nCount);
    input.erase(0, nCount);
    return head;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    std::string input(reinterpret_cast<const char*>(pData), std::min(nSize, MAX_SUBJECT));
    const std::string lengths = Take(input, 2);
    if (lengths.size() < 2) return 0;
    const std::string from = Take(input, static_cast<unsigned char>(lengths[0]) % 8);
    const std::string to = Take(input, static_cast<unsigned char>(lengths[1]) % 8);
    std::string subject = input;
    NS_UTIL::SelfUtilCommon::Instance()->replaceStr(subject, from, to);
    nbitest::Demand(subject == (from.empty() ? input : PlainLoop(input, from, to)), "replaceStr");
    return 0;
}
