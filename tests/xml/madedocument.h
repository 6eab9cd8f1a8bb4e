/// \file
/// Documents of a wanted length, made together with what a reader must find in them.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace nbitest {

/// A well-formed document. Made at random from a seed, of exactly the length asked for (9 bytes at least),
/// and ending with the document element's last character, so that no proper prefix of it is complete.
class MadeDocument {
public:
    MadeDocument(std::size_t nLength, unsigned int nSeed)
    {
        const std::size_t nElements = Fitting(nLength, nSeed);
        Make(nElements, 0, nSeed);
        Make(nElements, nLength - m_Text.size(), nSeed);
    }

    const std::string& Text() const { return m_Text; }

    /// What LinesOf() says about the tree of the first \p nCut bytes: every element whose start tag is
    /// complete, or one without a name when none is.
    std::vector<std::string> LinesBefore(std::size_t nCut) const
    {
        std::vector<std::string> lines;
        for (const Start& start : m_Starts) {
            if (start.m_nEnd <= nCut) lines.push_back(start.m_Line);
        }
        if (lines.empty()) lines.emplace_back("0 ");
        return lines;
    }

private:
    struct Start {
        std::size_t m_nEnd;  // behind the ">" of the start tag
        std::string m_Line;
    };
    struct Piece {
        const char* m_pWritten;
        const char* m_pRead;
    };

    unsigned long Dice(unsigned long nSides) { return m_Random() % nSides; }

    /// As many elements as fit into that length, found by halves.
    std::size_t Fitting(std::size_t nLength, unsigned int nSeed)
    {
        std::size_t nFits = 0;
        std::size_t nTooMany = nLength / 30 + 1;
        while (nTooMany - nFits > 1) {
            const std::size_t nElements = (nFits + nTooMany) / 2;
            Make(nElements, 0, nSeed);
            (m_Text.size() > nLength ? nTooMany : nFits) = nElements;
        }
        return nFits;
    }

    void Make(std::size_t nElements, std::size_t nPadding, unsigned int nSeed)
    {
        m_Random.seed(nSeed);
        m_Text.clear();
        m_Starts.clear();
        m_Open.clear();
        if (nElements > 2) Prolog();
        StartTag("r", nPadding, nElements == 0);
        while (!m_Open.empty() && nElements-- > 0) Content();
        while (!m_Open.empty()) EndTag();
    }

    void Prolog()
    {
        if (Dice(2) == 0) m_Text += "<?xml version='1.0' encoding='UTF-8'?>\n";
        if (Dice(3) == 0) m_Text += "<!-- <no tag='at all'> -->";
        if (Dice(3) == 0) m_Text += "<!DOCTYPE r [<!ENTITY e 'text'>]>";
    }

    void Content()
    {
        static constexpr const char* BETWEEN[] = {"\n  ",
                                                  "text &lt; more",
                                                  "<![CDATA[<z/>]]>",
                                                  "<!-- <z/> -->",
                                                  "<?go on?>",
                                                  "\xC3\xA4\xE2\x82\xAC",
                                                  ""};
        m_Text += BETWEEN[Dice(std::size(BETWEEN))];
        if (m_Open.size() > 1 && Dice(3) == 0) EndTag();
        StartTag(Dice(2) == 0 ? "entry"
                              : "n\xC3\xB6"
                                "de",
                 0, Dice(2) == 0);
    }

    void StartTag(const std::string& name, std::size_t nPadding, bool bEmpty)
    {
        std::string line = std::to_string(m_Open.size()) + " " + name;
        m_Text += "<" + name;
        // The padding is part of the last attribute of the document element.
        const unsigned long nAttributes = m_Open.empty() ? 0 : Dice(4);
        for (unsigned long i = 0; i < nAttributes; ++i) Attribute("a" + std::to_string(i), line);
        if (m_Open.empty() && m_Starts.empty()) {
            const std::string padding(nPadding, 'p');
            m_Text += " p=\"" + padding + "\"";
            line += " p=" + padding;
        }
        m_Text += bEmpty ? "/>" : ">";
        m_Starts.push_back({m_Text.size(), line});
        if (!bEmpty) m_Open.push_back(name);
    }

    void Attribute(const std::string& name, std::string& line)
    {
        static constexpr Piece PIECES[] = {{"v", "v"},
                                           {"&amp;", "&"},
                                           {"&#xE4;", "\xC3\xA4"},
                                           {"\xE2\x82\xAC", "\xE2\x82\xAC"},
                                           {">", ">"},
                                           {"a b", "a b"},
                                           {"\n", " "},
                                           {"'", "'"}};
        m_Text += " " + name + "=\"";
        line += " " + name + "=";
        // Long ones reach over several pieces of a file: what expat puts off is such a tag.
        for (unsigned long nLeft = Dice(6) == 0 ? 100 + Dice(300) : Dice(12); nLeft > 0; --nLeft) {
            const Piece& piece = PIECES[Dice(std::size(PIECES))];
            m_Text += piece.m_pWritten;
            line += piece.m_pRead;
        }
        m_Text += "\"";
    }

    void EndTag()
    {
        m_Text += "</" + m_Open.back() + ">";
        m_Open.pop_back();
    }

    std::minstd_rand m_Random;
    std::string m_Text;
    std::vector<Start> m_Starts;
    std::vector<std::string> m_Open;
};

}  // namespace nbitest
