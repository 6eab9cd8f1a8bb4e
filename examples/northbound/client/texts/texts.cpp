#include "client/texts/texts.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <vector>

#include "client/texts/chinese.h"

namespace northbound {
namespace {

bool g_bChinese = false;

using Parts = std::vector<std::string>;

/// "{1}" to "{9}"
bool IsPlace(const std::string& pattern, std::size_t nAt)
{
    return nAt + 2 < pattern.size() && pattern[nAt] == '{' && pattern[nAt + 2] == '}' &&
           std::isdigit(static_cast<unsigned char>(pattern[nAt + 1])) != 0;
}

std::string Filled(const std::string& pattern, const Parts& parts)
{
    std::string text;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (!IsPlace(pattern, i)) {
            text += pattern[i];
            continue;
        }
        const auto nPart = static_cast<std::size_t>(pattern[i + 1] - '1');
        if (nPart < parts.size()) text += parts[nPart];
        i += 2;
    }
    return text;
}

/// What stands at the places of \p pattern, which come in their order, when it fits \p text.
std::optional<Parts> Matched(const std::string& pattern, const std::string& text)
{
    Parts parts;
    std::size_t nText = 0;
    for (std::size_t i = 0; i < pattern.size();) {
        if (!IsPlace(pattern, i)) {
            if (nText >= text.size() || pattern[i++] != text[nText++]) return std::nullopt;
            continue;
        }
        std::size_t nNext = i + 3;
        while (nNext < pattern.size() && !IsPlace(pattern, nNext)) ++nNext;
        const std::string behind = pattern.substr(i + 3, nNext - i - 3);
        const std::size_t nEnd = behind.empty() ? text.size() : text.find(behind, nText);
        if (nEnd == std::string::npos) return std::nullopt;
        parts.push_back(text.substr(nText, nEnd - nText));
        nText = nEnd;
        i += 3;
    }
    if (nText != text.size()) return std::nullopt;
    return parts;
}

const char* ChineseFor(const std::string& english)
{
    const std::vector<TextPair>& texts = OwnTexts();
    const auto found = std::find_if(texts.begin(), texts.end(),
                                    [&english](const TextPair& pair) { return english == pair.m_pEnglish; });
    return found == texts.end() ? nullptr : found->m_pChinese;
}

}  // namespace

void SpeakChinese(bool bChinese)
{
    g_bChinese = bChinese;
}

std::string Say(const char* pEnglish, std::initializer_list<std::string> parts)
{
    const char* const pChinese = g_bChinese ? ChineseFor(pEnglish) : nullptr;
    return Filled(pChinese == nullptr ? pEnglish : pChinese, parts);
}

std::string Translated(const std::string& english)
{
    if (!g_bChinese) return english;
    for (const TextPair& pair : ForeignTexts()) {
        if (const std::optional<Parts> parts = Matched(pair.m_pEnglish, english)) {
            return Filled(pair.m_pChinese, *parts);
        }
    }
    return english;
}

}  // namespace northbound
