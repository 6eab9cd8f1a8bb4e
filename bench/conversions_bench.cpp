// The conversions beside the plainest standard code for the same job, in one run. Every line gives the ratio
// of the two minima of CPU time, and between which ratios the middle 80% of the rounds lay.
#include "nbiutil/conversions.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>
#include <string>
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

Texts SplitWithMemchr(const std::string& text)
{
    Texts pieces;
    const char* pStart = text.data();
    const char* const pEnd = pStart + text.size();
    while (const void* pFound = std::memchr(pStart, ',', static_cast<std::size_t>(pEnd - pStart))) {
        pieces.emplace_back(pStart, static_cast<const char*>(pFound));
        pStart = static_cast<const char*>(pFound) + 1;
    }
    pieces.emplace_back(pStart, pEnd);
    return pieces;
}

void CompareSplit(const char* pName, int nItems, const std::string& item)
{
    std::string text = item + "0";
    for (int i = 1; i < nItems; ++i) text += "," + item + std::to_string(i);
    const int nCalls = std::max(1, BATCH / nItems);
    Compare(
        pName, 1.1, nCalls,
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
    CompareSplit("SplitStringByTag, 10 short items : memchr", 10, "item");
    CompareSplit("SplitStringByTag, 1,000 short items : memchr", 1000, "item");
    CompareSplit("SplitStringByTag, 10 long items : memchr", 10, "SubNetwork=NorthRegion-");
    CompareSplit("SplitStringByTag, 1,000 long items : memchr", 1000, "SubNetwork=NorthRegion-");
    CompareAddresses();
    CompareEscape();
    return 0;
}
