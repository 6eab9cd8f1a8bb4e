/// \file
/// A second reading of the list syntax, one character at a time, to hold against the library's.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace nbitest {

class ListModel {
public:
    using Macros = std::map<std::string, int>;

    /// \param nMost numbers at most; a list that would give more has no result
    ListModel(Macros macros, std::size_t nMost) : m_Macros(std::move(macros)), m_nMost(nMost) {}

    /// The macro of that name, else the decimal number at the beginning.
    int Number(const std::string& text) const
    {
        if (text.empty()) return 0;
        const auto macro = m_Macros.find(text);
        return macro == m_Macros.end() ? Decimal(text) : macro->second;
    }

    std::optional<std::vector<int>> List(const std::string& text) const
    {
        std::vector<int> numbers;
        std::string token;
        bool bRange = false;
        int nRangeStart = 0;
        int nValue = 0;
        for (const char character : text) {
            if (std::string(TOKEN).find(character) != std::string::npos) {
                token += character;
                continue;
            }
            if (!token.empty()) nValue = Number(token);
            token.clear();
            if (character == '-') {
                bRange = true;
                nRangeStart = nValue;
            }
            if (character != ',' && character != ']') continue;
            const std::int64_t nFrom = bRange ? nRangeStart : nValue;
            const std::int64_t nCount = nValue - nFrom + 1;
            if (nCount > static_cast<std::int64_t>(m_nMost - numbers.size())) return std::nullopt;
            for (std::int64_t i = 0; i < nCount; ++i) numbers.push_back(static_cast<int>(nFrom + i));
            bRange = false;
        }
        return numbers;
    }

    std::optional<std::vector<std::vector<int>>> NestingList(const std::string& text) const
    {
        std::vector<std::vector<int>> lists;
        std::string part;
        for (const char character : text + ";") {
            if (character == ' ' || character == '\t') continue;
            if (character != '{' && character != ';' && character != '}') {
                part += character;
                continue;
            }
            if (part.empty()) continue;
            if (part[0] == '[') {
                auto list = List(part);
                if (!list) return std::nullopt;
                lists.push_back(std::move(*list));
            } else {
                lists.push_back({Number(part)});
            }
            part.clear();
        }
        return lists;
    }

private:
    static constexpr const char* TOKEN = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";

    /// What the C library's conversion to a signed long gives, cut to 32 bits.
    static int Decimal(const std::string& text)
    {
        std::size_t nAt = text.find_first_not_of(" \t\n\v\f\r");
        if (nAt == std::string::npos) return 0;
        const bool bNegative = text[nAt] == '-';
        if (bNegative || text[nAt] == '+') ++nAt;
        __extension__ using Wide = __int128;
        const Wide nLimit = bNegative ? -static_cast<Wide>(INT64_MIN) : static_cast<Wide>(INT64_MAX);
        Wide nValue = 0;
        for (; nAt < text.size() && text[nAt] >= '0' && text[nAt] <= '9'; ++nAt) {
            nValue = std::min<Wide>(nValue * 10 + (text[nAt] - '0'), nLimit);
        }
        return static_cast<int>(static_cast<std::int64_t>(bNegative ? -nValue : nValue));
    }

    const Macros m_Macros;
    const std::size_t m_nMost;
};

}  // namespace nbitest
