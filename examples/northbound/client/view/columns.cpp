#include "client/view/columns.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <sstream>

namespace northbound {
namespace {

/// The calling thread counts characters as UTF-8 for as long as it lives, whatever the environment says: what the client
/// prints is UTF-8 either way.
class Utf8Thread {
public:
    Utf8Thread() : m_Before(uselocale(Utf8())) {}
    ~Utf8Thread() { uselocale(m_Before); }
    Utf8Thread(const Utf8Thread&) = delete;
    Utf8Thread& operator=(const Utf8Thread&) = delete;

private:
    /// Part of the C library's own package. Without it the thread's locale stays, and bytes are counted there.
    static locale_t Utf8()
    {
        static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return utf8;
    }

    const locale_t m_Before;
};

/// A character with those that combine with it.
struct Glyph {
    std::string m_Bytes;
    std::size_t m_nColumns;
};

std::vector<Glyph> GlyphsOf(const std::string& text)
{
    const Utf8Thread utf8;
    std::vector<Glyph> glyphs;
    mbstate_t state{};
    for (std::size_t i = 0; i < text.size();) {
        wchar_t nCharacter = 0;
        const std::size_t nRead = mbrtowc(&nCharacter, text.data() + i, text.size() - i, &state);
        const bool bKnown = nRead > 0 && nRead <= text.size() - i;
        if (!bKnown) state = {};
        const std::size_t nBytes = bKnown ? nRead : 1;
        const int nColumns = bKnown ? wcwidth(nCharacter) : 1;
        const std::string bytes = text.substr(i, nBytes);
        if (nColumns == 0 && !glyphs.empty()) {
            glyphs.back().m_Bytes += bytes;
        } else {
            glyphs.push_back({bytes, static_cast<std::size_t>(std::max(nColumns, 0))});
        }
        i += nBytes;
    }
    return glyphs;
}

/// As many of the glyphs from \p nFrom on as fit, at least one; \p nFrom is moved behind them.
std::string Taken(const std::vector<Glyph>& glyphs, std::size_t& nFrom, std::size_t nColumns)
{
    std::string text;
    std::size_t nTaken = 0;
    while (nFrom < glyphs.size() && (text.empty() || nTaken + glyphs[nFrom].m_nColumns <= nColumns)) {
        nTaken += glyphs[nFrom].m_nColumns;
        text += glyphs[nFrom++].m_Bytes;
    }
    return text;
}

std::vector<std::string> WordsOf(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; std::getline(stream, word, ' ');) {
        if (!word.empty()) words.push_back(word);
    }
    return words;
}

}  // namespace

std::size_t ColumnsOf(const std::string& text)
{
    std::size_t nColumns = 0;
    for (const Glyph& glyph : GlyphsOf(text)) nColumns += glyph.m_nColumns;
    return nColumns;
}

std::string CutTo(std::size_t nColumns, const std::string& text)
{
    if (ColumnsOf(text) <= nColumns) return text;
    if (nColumns < 2) return std::string(nColumns, '~');
    const std::vector<Glyph> glyphs = GlyphsOf(text);
    if (glyphs.front().m_nColumns > nColumns - 1) return "~";
    std::size_t nFrom = 0;
    return Taken(glyphs, nFrom, nColumns - 1) + "~";
}

std::vector<std::string> Wrapped(const std::string& text, std::size_t nColumns)
{
    std::vector<std::string> lines(1);
    for (const std::string& word : WordsOf(text)) {
        const std::size_t nUsed = ColumnsOf(lines.back());
        if (nUsed > 0 && nUsed + 1 + ColumnsOf(word) <= nColumns) {
            lines.back() += " " + word;
            continue;
        }
        const std::vector<Glyph> glyphs = GlyphsOf(word);
        for (std::size_t nFrom = 0; nFrom < glyphs.size();) {
            if (!lines.back().empty()) lines.emplace_back();
            lines.back() = Taken(glyphs, nFrom, nColumns);
        }
    }
    return lines;
}

std::size_t ColumnsOfLongestWord(const std::string& text)
{
    std::size_t nLongest = 0;
    for (const std::string& word : WordsOf(text)) nLongest = std::max(nLongest, ColumnsOf(word));
    return nLongest;
}

}  // namespace northbound
