// The edit of a configuration text against a second implementation over a stream and a table of lines. The
// first two bytes are the lengths of key and value, which follow; then how often the next piece of text is
// repeated, so that long lines and many lines are reached; the rest is text again.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "util/configfile.h"

namespace {

/// Takes the input apart from the front.
class Input {
public:
    Input(const std::uint8_t* pData, std::size_t nSize) : m_Rest(reinterpret_cast<const char*>(pData), nSize)
    {
    }

    std::string Take(std::size_t nBytes)
    {
        const std::string taken = m_Rest.substr(0, nBytes);
        m_Rest.erase(0, nBytes);
        return taken;
    }
    std::size_t TakeNumber()
    {
        const std::string taken = Take(1);
        return taken.empty() ? 0 : static_cast<unsigned char>(taken[0]);
    }
    std::string TakeKey()
    {
        const std::size_t nKind = TakeNumber();
        if (nKind == 255) return "SSLVersion";
        return nKind == 254 ? "SSLPrivateKeyPasswd" : Take(nKind % 8);
    }
    const std::string& Rest() const { return m_Rest; }

private:
    std::string m_Rest;
};

/// A stream that has met a line that is too long stays failed and gives empty lines.
std::vector<std::string> Table(const std::string& text)
{
    std::istringstream file(text);
    std::vector<std::string> lines;
    while (lines.size() < 1024 && !file.eof()) {
        std::array<char, 1024> line{};
        file.getline(line.data(), line.size());
        const bool bCut = file.fail() && !file.eof();
        const auto nRead = static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0));
        // gcount() counts the line end, and is 0 once the stream has failed
        const bool bLineEnd = file.good();
        lines.emplace_back(line.data(), bLineEnd ? nRead - 1 : nRead);
        if (bCut) lines.resize(1024);
    }
    return lines;
}

std::string Expected(const std::string& text, const std::string& key, const std::string& value)
{
    std::ostringstream edited;
    const std::vector<std::string> lines = Table(text);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].find(key) == std::string::npos) {
            edited << lines[i];
        } else if (key == "SSLVersion" || key == "SSLPrivateKeyPasswd") {
            edited << '-' << key << ' ' << value;
        } else {
            edited << key << '=' << value;
        }
        if (i + 1 < lines.size()) edited << '\n';
    }
    return edited.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    Input input(pData, nSize);
    const std::string key = input.TakeKey();
    const std::string value = input.Take(input.TakeNumber() % 8);
    const std::size_t nTimes = input.TakeNumber() * 5;
    const std::string piece = input.Take(input.TakeNumber() % 16);
    std::string text;
    for (std::size_t i = 0; i < nTimes; ++i) text += piece;
    text += input.Rest();
    NS_UTIL::WipedText edited;
    NS_UTIL::EditConfigText(text, key, value, edited);
    if (edited.m_Text != Expected(text, key, value)) std::abort();
    return 0;
}
