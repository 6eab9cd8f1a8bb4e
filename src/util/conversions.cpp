#include "nbiutil/conversions.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <ctime>
#include <functional>
#include <utility>

#include "base/wipe.h"
#include "nbihost/trim.h"
#include "util/addressreader.h"
#include "util/digits.h"
#include "util/integerreader.h"
#include "util/splitting.h"

namespace NS_UTIL {
namespace {

constexpr int REJECTED = -1;
constexpr std::size_t MAX_DECIMALS = 10;  // of 32 bits

char LowerOf(char character)
{
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

char UpperOf(char character)
{
    return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
}

bool IsElementOf(const std::vector<std::string>& texts, const std::string& text)
{
    const std::less<const std::string*> before;
    return !before(&text, texts.data()) && before(&text, texts.data() + texts.size());
}

/// Broken-down time back to seconds, read as local time that may or may not be daylight saving.
std::time_t AsLocalTime(std::tm brokenDown)
{
    brokenDown.tm_isdst = -1;
    return std::mktime(&brokenDown);
}

}  // namespace

void PathFormat(std::string& path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
}

std::string RTrim(const std::string& text)
{
    return NS_BUNDLEMGR1::RTrim(text);
}

std::string LTrim(const std::string& text)
{
    return NS_BUNDLEMGR1::LTrim(text);
}

std::string Trim(const std::string& text)
{
    return NS_BUNDLEMGR1::Trim(text);
}

bool Str2Int(const std::string& text, int& nValue)
{
    return ReadInteger(text, nValue);
}

bool Str2Int(const char* pText, int& nValue)
{
    return pText != nullptr && ReadInteger(pText, nValue);
}

int Str2Int(const std::string& text)
{
    int value = REJECTED;
    ReadInteger(text, value);
    return value;
}

std::string StrLower(const std::string& text)
{
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerOf);
    return lower;
}

std::string StrUpper(const std::string& text)
{
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(), UpperOf);
    return upper;
}

std::string Int2Str(int nValue)
{
    std::array<char, MAX_DECIMALS + 1> digits;
    char* const pEnd = digits.data() + digits.size();
    const auto nBits = static_cast<unsigned int>(nValue);
    char* pBegin = WriteDecimals(pEnd, nValue < 0 ? 0 - nBits : nBits);
    if (nValue < 0) *--pBegin = '-';
    return std::string(pBegin, pEnd);
}

std::string Uint2Str(unsigned int nValue)
{
    std::array<char, MAX_DECIMALS> digits;
    char* const pEnd = digits.data() + digits.size();
    return std::string(WriteDecimals(pEnd, nValue), pEnd);
}

long DiffLocalUtcTime(long nTime)
{
    tzset();  // localtime_r() alone may go by the zone of an earlier TZ
    const std::time_t time = nTime;
    std::tm utc{};
    std::tm local{};
    if (gmtime_r(&time, &utc) == nullptr || localtime_r(&time, &local) == nullptr) return 0;
    return AsLocalTime(utc) - AsLocalTime(local);
}

bool IsDigit(const std::string& text)
{
    const int nCount = static_cast<int>(text.size());
    return nCount <= 0 || std::all_of(text.data(), text.data() + nCount, IsDecimal);
}

void CheckAndEscapeTranform(std::string& text)
{
    const auto nQuotes = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\''));
    std::size_t nFrom = text.size();
    std::size_t nTo = nFrom + nQuotes;
    text.resize(nTo);
    while (nFrom < nTo) {  // from the end, so that nothing is overwritten before it has moved
        const char character = text[--nFrom];
        text[--nTo] = character;
        if (character == '\'') text[--nTo] = character;
    }
}

bool SplitStringByXMLTag(const std::string& source, const std::string& openTag, const std::string& closeTag,
                         std::string& value)
{
    const std::size_t nOpen = source.find(openTag);
    if (nOpen == std::string::npos) return false;
    const std::size_t nClose = source.find(closeTag);
    if (nClose == std::string::npos || nClose < nOpen) return false;
    const std::size_t nBegin = nOpen + openTag.size();
    value.assign(source, nBegin, std::max(nBegin, nClose) - nBegin);
    return true;
}

bool SplitStringByXMLTag(const std::string& source, const std::string& tagName, std::string& value)
{
    return SplitStringByXMLTag(source, "<" + tagName + ">", "</" + tagName + ">", value);
}

void ClearDBPara(std::map<std::string, std::string>& parameters)
{
    for (auto& parameter : parameters) MaskText(parameter.second);
}

std::string ByteToHex(const void* pBytes, const int& nLength)
{
    if (pBytes == nullptr || nLength <= 0) return std::string();
    const auto* const pByte = static_cast<const unsigned char*>(pBytes);
    const auto nCount = static_cast<std::size_t>(nLength);
    std::string hex(2 * nCount, '0');
    char* const pDigits = hex.data();
    std::size_t i = 0;
    for (; i + 1 < nCount; i += 2) {  // two a round: one alone is held up by its own loop
        CopyPair(pDigits + 2 * i, HEX_PAIRS, pByte[i]);
        CopyPair(pDigits + 2 * i + 2, HEX_PAIRS, pByte[i + 1]);
    }
    if (i < nCount) CopyPair(pDigits + 2 * i, HEX_PAIRS, pByte[i]);
    return hex;
}

std::string IpLong2Str(const long& nAddress)
{
    std::array<char, 16> dotted;
    char* const pEnd = dotted.data() + dotted.size();
    char* pBegin = pEnd;
    for (int nShift = 0; nShift < 32; nShift += 8) {
        pBegin = WriteDecimals(pBegin, static_cast<unsigned int>(nAddress >> nShift) & 255);
        *--pBegin = '.';
    }
    return std::string(pBegin + 1, pEnd);
}

bool IpStr2Long(const std::string& text, long& nAddress)
{
    return ReadAddress(text, nAddress);
}

bool SplitStringByTag(const std::string& text, std::vector<std::string>& pieces, char separator,
                      unsigned short nFlags)
{
    // An element would go away when the vector grows.
    if (IsElementOf(pieces, text)) return SplitStringByTag(std::string(text), pieces, separator, nFlags);
    return ForEachPiece(text, separator, nFlags, [&pieces](auto&& piece) {
        pieces.emplace_back(std::forward<decltype(piece)>(piece));
    });
}

void VecInt2Str(std::string& text, std::vector<int>& values)
{
    if (values.empty()) return;
    std::sort(values.begin(), values.end());
    std::string ranges;
    bool bInRun = false;
    for (std::size_t i = 1; i < values.size(); ++i) {
        const bool bFollows = long{values[i]} - values[i - 1] == 1;
        if (!(bFollows && bInRun)) ranges += Int2Str(values[i - 1]) + (bFollows ? '-' : ',');
        bInRun = bFollows;
    }
    text = ranges + Int2Str(values.back());
}

}  // namespace NS_UTIL
