// RsaAlgorithm::RsaEncryptByPublicKey over any payload and any key.
// Input: whether the rest is the payload or the key, the rest.
#include <cctype>
#include <cstdint>
#include <string>

#include "demand.h"
#include "fuzzkey.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"

using nbitest::Demand;
using NS_UTIL::AutoReleaseString;
using NS_UTIL::RsaAlgorithm;

namespace {

constexpr std::size_t LONGEST_KEY = 700;  // a longer one only takes longer

bool IsDigit(char character)
{
    return std::isdigit(static_cast<unsigned char>(character)) != 0 || (character >= 'a' && character <= 'f');
}

void CheckText(const AutoReleaseString& out)
{
    std::string text(out.getBuffer(), out.length());
    Demand(text.size() >= 8 && IsDigit(text[4]) && IsDigit(text[5]), "the digits of the last cipher byte");
    text[4] = text[5] = '\0';
    Demand(text.find_first_not_of('\0') == std::string::npos, "zeros everywhere else");
}

void EncryptPayload(const std::string& payload)
{
    const std::string& key = nbitest::FuzzPublicKey();
    AutoReleaseString in;
    AutoReleaseString out;
    Demand(in.setBuffer(payload.data(), static_cast<unsigned int>(payload.size())) == 0, "room");
    const int nResult =
        RsaAlgorithm::RsaEncryptByPublicKey(out, in, key.data(), static_cast<int>(key.size()));
    Demand(nResult == (payload.size() <= nbitest::FUZZ_KEY_ROOM ? 1 : 0), "whether it fits into one block");
    if (nResult == 0) {
        Demand(out.getBuffer() == nullptr, "a failure leaves the output");
        return;
    }
    Demand(out.length() == 2 * nbitest::FUZZ_KEY_SIZE, "twice the cipher's length");
    CheckText(out);
}

void EncryptUnder(const std::string& key)
{
    AutoReleaseString in;
    AutoReleaseString out;
    Demand(in.setBuffer("payload") == 0, "room");
    const int nResult =
        RsaAlgorithm::RsaEncryptByPublicKey(out, in, key.data(), static_cast<int>(key.size()));
    Demand(nResult == 0 || nResult == 1, "0 or 1");
    if (nResult == 0) Demand(out.getBuffer() == nullptr, "a failure leaves the output");
    if (out.getBuffer() != nullptr) CheckText(out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    if (nSize < 1) return 0;
    static nbitest::RecordingHost host;
    host.ClearLogs();
    const std::string rest(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    if (pData[0] % 2 == 0) {
        EncryptPayload(rest);
    } else if (rest.size() <= LONGEST_KEY) {
        EncryptUnder(rest);
    }
    return 0;
}
