// AutoReleaseStrEx::fromHex over any text, content and length, beside a plain second implementation.
// Input: bytes held before, way of passing the text, text.
#include <cctype>
#include <cstdint>
#include <string>

#include "demand.h"
#include "nbihost/recordinghost.h"
#include "security/autoreleasestrex.h"

using nbitest::Demand;

namespace {

enum Way { SEPARATE, NULL_TEXT, OWN_BUFFER, NEGATIVE_LENGTH, WAYS };

/// What an object that holds \p held has to hold afterwards.
std::string Decode(std::string held, const std::string& text, bool bInPlace)
{
    const std::size_t nPairs = text.size() / 2;
    if (held.size() < nPairs) held.assign(nPairs, '\0');
    for (std::size_t i = 0; i < nPairs; ++i) {
        const std::string pair = (bInPlace ? held : text).substr(2 * i, 2);
        if (std::isxdigit(static_cast<unsigned char>(pair[0])) == 0 ||
            std::isxdigit(static_cast<unsigned char>(pair[1])) == 0) {
            return bInPlace ? held : text;
        }
        held[i] = static_cast<char>(std::stoi(pair, nullptr, 16));
    }
    held.replace(nPairs, std::string::npos, held.size() - nPairs, '\0');
    return held;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    if (nSize < 2) return 0;
    static nbitest::RecordingHost host;
    host.ClearLogs();
    const int nWay = pData[1] % WAYS;
    // A length of 0 means up to the zero byte, which a text with zero bytes does not show.
    const std::string text(reinterpret_cast<const char*>(pData) + 2, nSize - 2);
    const bool bInPlace = nWay == NULL_TEXT || nWay == OWN_BUFFER;
    const std::string held = bInPlace ? text : std::string(pData[0], 'h');

    NS_UTIL::AutoReleaseStrEx bytes;
    bytes.setBuffer(held.data(), static_cast<long>(held.size()));
    std::string expected;
    if (nWay == NULL_TEXT) {
        bytes.fromHex(nullptr, 0);
        expected = Decode(held, text, true);
    } else if (nWay == OWN_BUFFER) {
        if (text.empty()) return 0;
        bytes.fromHex(bytes.getBuffer(), static_cast<long>(text.size()));
        expected = Decode(held, text, true);
    } else if (nWay == NEGATIVE_LENGTH) {
        bytes.fromHex(text.c_str(), -1 - static_cast<long>(text.size()));
        expected.assign(held.size(), '\0');
    } else {
        bytes.fromHex(text.c_str(), static_cast<long>(text.size()));
        expected = Decode(held, text, false);
    }
    Demand(static_cast<std::size_t>(bytes.length()) == expected.size(), "length");
    if (!expected.empty()) Demand(std::string(bytes.getBuffer(), expected.size()) == expected, "content");

    bytes.toHex();
    Demand(static_cast<std::size_t>(bytes.length()) == 2 * expected.size(), "length of the hexadecimal form");
    return 0;
}
