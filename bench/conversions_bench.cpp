// The conversions beside the plainest standard code for the same job, in one run. Every line gives the ratio
// of the two minima of CPU time, and between which ratios the middle 80% of the rounds lay.
#include "nbiutil/conversions.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "compare.h"

namespace {

using benchmark::DoNotOptimize;
using nbibench::Compare;
using Texts = std::vector<std::string>;

constexpr int BATCH = 512;

/// \p work once for each of \p inputs.
template <class Input, class Work>
auto ForEach(const std::vector<Input>& inputs, Work work)
{
    return [&inputs, work] {
        for (const Input& input : inputs) work(input);
    };
}

std::vector<int> RandomInts(int nLow, int nHigh)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<int> distribution(nLow, nHigh);
    std::vector<int> numbers(BATCH);
    for (int& number : numbers) number = distribution(random);
    return numbers;
}

Texts AsTexts(const std::vector<int>& numbers)
{
    Texts texts;
    for (const int nNumber : numbers) texts.push_back(std::to_string(nNumber));
    return texts;
}

void CompareStr2Int(const char* pName, int nLow, int nHigh)
{
    const Texts texts = AsTexts(RandomInts(nLow, nHigh));
    Compare(pName, 1.25, BATCH,
            ForEach(texts,
                    [](const std::string& text) {
                        int value = 0;
                        DoNotOptimize(NS_UTIL::Str2Int(text, value));
                        DoNotOptimize(value);
                    }),
            ForEach(texts, [](const std::string& text) {
                int value = 0;
                DoNotOptimize(std::from_chars(text.data(), text.data() + text.size(), value));
                DoNotOptimize(value);
            }));
}

void CompareInt2Str(const char* pName, int nLow, int nHigh)
{
    const std::vector<int> numbers = RandomInts(nLow, nHigh);
    Compare(pName, 1.05, BATCH,
            ForEach(numbers, [](int nNumber) { DoNotOptimize(NS_UTIL::Int2Str(nNumber)); }),
            ForEach(numbers, [](int nNumber) {
                std::array<char, 16> digits;
                DoNotOptimize(
                    std::string(digits.data(), std::to_chars(digits.begin(), digits.end(), nNumber).ptr));
            }));
}

std::array<char, 512> TwoDigitTable()
{
    std::array<char, 512> table{};
    for (std::size_t i = 0; i < 256; ++i) {
        table[2 * i] = "0123456789ABCDEF"[i >> 4];
        table[2 * i + 1] = "0123456789ABCDEF"[i & 15];
    }
    return table;
}

void CompareByteToHex()
{
    static constexpr int LENGTH = 1024;
    constexpr int CALLS = 32;
    const std::vector<int> numbers = RandomInts(0, std::numeric_limits<int>::max());
    const auto* const pBytes = reinterpret_cast<const unsigned char*>(numbers.data());
    static const std::array<char, 512> TABLE = TwoDigitTable();
    Compare(
        "ByteToHex, 1 KiB : two-digit table", 1.05, CALLS,
        [pBytes] {
            for (int i = 0; i < CALLS; ++i) DoNotOptimize(NS_UTIL::ByteToHex(pBytes, LENGTH));
        },
        [pBytes] {
            for (int i = 0; i < CALLS; ++i) {
                std::string hex(2 * LENGTH, '\0');
                for (std::size_t j = 0; j < LENGTH; ++j) {
                    std::memcpy(&hex[2 * j], &TABLE[2 * std::size_t{pBytes[j]}], 2);
                }
                DoNotOptimize(hex);
            }
        });
}

bool IsBlank(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

/// The floor: each piece is found with memchr, trimmed where it stands and made a text once.
Texts SplitWithMemchr(const std::string& text)
{
    Texts pieces;
    const char* pStart = text.data();
    const char* const pEnd = pStart + text.size();
    for (bool bLast = false; !bLast; ++pStart) {
        const void* pFound = std::memchr(pStart, ',', static_cast<std::size_t>(pEnd - pStart));
        bLast = pFound == nullptr;
        const char* const pNext = bLast ? pEnd : static_cast<const char*>(pFound);
        const char* pPieceEnd = pNext;
        while (pStart < pPieceEnd && IsBlank(*pStart)) ++pStart;
        while (pStart < pPieceEnd && IsBlank(pPieceEnd[-1])) --pPieceEnd;
        pieces.emplace_back(pStart, pPieceEnd);
        pStart = pNext;
    }
    return pieces;
}

enum class Blanks { NONE, HALF, ALL };

/// \p nItems pieces, of which none, every second or all have blanks around them.
std::string ItemList(int nItems, const std::string& item, Blanks blanks)
{
    std::string text;
    for (int i = 0; i < nItems; ++i) {
        const bool bBlank = blanks == Blanks::ALL || (blanks == Blanks::HALF && i % 2 == 1);
        if (i > 0) text += ',';
        text += (bBlank ? " " : "") + item + std::to_string(i) + (bBlank ? "  " : "");
    }
    return text;
}

void CompareSplit(int nItems, const char* pLength, const std::string& item)
{
    constexpr std::array<std::pair<Blanks, const char*>, 3> KINDS{
        {{Blanks::NONE, "no"}, {Blanks::HALF, "half"}, {Blanks::ALL, "all"}}};
    for (const auto& [blanks, pKind] : KINDS) {
        const std::string text = ItemList(nItems, item, blanks);
        const std::string name =
            "SplitStringByTag, " + std::to_string(nItems) + ' ' + pLength + ", " + pKind + " blanks : memchr";
        const int nCalls = std::max(1, BATCH / nItems);
        Texts ours;
        NS_UTIL::SplitStringByTag(text, ours, ',', 0);
        if (ours != SplitWithMemchr(text)) std::abort();
        Compare(
            name.c_str(), 1.1, nCalls,
            [&] {
                for (int i = 0; i < nCalls; ++i) {
                    Texts pieces;
                    NS_UTIL::SplitStringByTag(text, pieces, ',', 0);
                    DoNotOptimize(pieces);
                }
            },
            [&] {
                for (int i = 0; i < nCalls; ++i) DoNotOptimize(SplitWithMemchr(text));
            });
    }
}

std::string DottedWithToChars(long nAddress)
{
    std::array<char, 16> dotted;
    char* pEnd = dotted.data();
    for (int nShift = 24; nShift >= 0; nShift -= 8) {
        pEnd = std::to_chars(pEnd, dotted.end(), static_cast<unsigned int>(nAddress >> nShift) & 255).ptr;
        *pEnd++ = '.';
    }
    return std::string(dotted.data(), pEnd - 1);
}

void CompareAddresses()
{
    const std::vector<int> numbers =
        RandomInts(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    Compare("IpLong2Str : to_chars", 1.1, BATCH,
            ForEach(numbers, [](int nNumber) { DoNotOptimize(NS_UTIL::IpLong2Str(nNumber)); }),
            ForEach(numbers, [](int nNumber) { DoNotOptimize(DottedWithToChars(nNumber)); }));

    Texts texts;
    for (const int nNumber : numbers) texts.push_back(DottedWithToChars(nNumber));
    Compare("IpStr2Long : inet_pton", 2.0, BATCH,
            ForEach(texts,
                    [](const std::string& text) {
                        long nAddress = 0;
                        DoNotOptimize(NS_UTIL::IpStr2Long(text, nAddress));
                        DoNotOptimize(nAddress);
                    }),
            ForEach(texts, [](const std::string& text) {
                in_addr address{};
                DoNotOptimize(inet_pton(AF_INET, text.c_str(), &address));
                DoNotOptimize(address);
            }));
}

/// The cost of a byte must not grow with the text: both sides escape as many bytes, in long texts and in
/// short.
void CompareEscape()
{
    constexpr int LONG_LENGTH = 1 << 18;
    constexpr int SHORT_LENGTH = 1 << 12;
    std::string longText;
    while (longText.size() < LONG_LENGTH) longText += "name = 'o'neill', ";
    longText.resize(LONG_LENGTH);
    const std::string shortText = longText.substr(0, SHORT_LENGTH);
    const auto escape = [](const std::string& text) {
        std::string copy = text;
        NS_UTIL::CheckAndEscapeTranform(copy);
        DoNotOptimize(copy);
    };
    Compare(
        "CheckAndEscapeTranform, KiB of 256 KiB : of 4 KiB", 1.5, LONG_LENGTH / 1024,
        [&] { escape(longText); },
        [&] {
            for (int i = 0; i < LONG_LENGTH / SHORT_LENGTH; ++i) escape(shortText);
        });
}

}  // namespace

int main()
{
    std::printf("%-58s %12s %12s\n", "ours : peer", "ours", "peer");
    CompareStr2Int("Str2Int, any int : from_chars", std::numeric_limits<int>::min(),
                   std::numeric_limits<int>::max());
    CompareStr2Int("Str2Int, ports : from_chars", 0, 65535);
    CompareStr2Int("Str2Int, one digit : from_chars", 0, 9);
    CompareInt2Str("Int2Str, any int : to_chars into a text", std::numeric_limits<int>::min(),
                   std::numeric_limits<int>::max());
    CompareInt2Str("Int2Str, ports : to_chars into a text", 0, 65535);
    CompareInt2Str("Int2Str, one digit : to_chars into a text", 0, 9);
    CompareByteToHex();
    for (const int nItems : {10, 1000}) {
        CompareSplit(nItems, "short", "item");
        CompareSplit(nItems, "long", "SubNetwork=NorthRegion-");
    }
    CompareAddresses();
    CompareEscape();
    return 0;
}
