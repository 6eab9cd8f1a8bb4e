/// \file
/// What a description file is to its reader, told by a second one that does literally what callers know: expat
/// gets each piece of 256 bytes as it is read, and hears of the end when a piece brings nothing.
#pragma once

#include <expat.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "xml/xmltesting.h"

namespace nbitest {

struct Reading {
    int m_nResult = -1;
    std::string m_Printed;
    std::vector<std::string> m_Lines;  // of the tree, as LinesOf() has them
};

class LiteralReader {
public:
    /// \param text    what stands in the file
    /// \param prepare is given the parser before it parses
    template <class Prepare>
    static Reading Read(const std::string& text, const std::string& path, Prepare prepare)
    {
        const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate(nullptr),
                                                                                  &XML_ParserFree);
        prepare(parser.get());
        LiteralReader reader;
        XML_SetUserData(parser.get(), &reader);
        XML_SetElementHandler(parser.get(), &Start, &End);
        XML_SetCharacterDataHandler(parser.get(), &Characters);
        reader.m_Reading.m_Printed = POST_CREATE;
        if (reader.Feed(parser.get(), text)) {
            reader.m_Reading.m_nResult = 0;
        } else {
            reader.PrintError(parser.get(), path);
        }
        if (reader.m_Reading.m_Lines.empty()) reader.m_Reading.m_Lines.emplace_back("0 ");
        return reader.m_Reading;
    }

private:
    static constexpr std::size_t PIECE = 256;

    static bool Feed(XML_Parser parser, const std::string& text)
    {
        for (std::size_t nStart = 0;; nStart += PIECE) {
            const std::string piece = text.substr(nStart, PIECE);
            const int nLength = static_cast<int>(piece.size());
            if (XML_Parse(parser, piece.data(), nLength, nLength == 0) != XML_STATUS_OK) return false;
            if (piece.size() < PIECE) return true;
        }
    }

    void PrintError(XML_Parser parser, const std::string& path)
    {
        m_Reading.m_Printed +=
            "in [GetErrorCode]\nin [XML_LChar]\nin [GetCurrentLineNumber]\n"
            "[PrintParseError] Parse error in file [" +
            path + "], at line [" + std::to_string(XML_GetCurrentLineNumber(parser)) + "]:\n[" +
            XML_ErrorString(XML_GetErrorCode(parser)) + "]\n";
    }

    static void XMLCALL Start(void* pUser, const XML_Char* pName, const XML_Char** ppAttributes)
    {
        auto& reader = *static_cast<LiteralReader*>(pUser);
        std::string line = std::to_string(reader.m_nDepth++) + " " + pName;
        for (; *ppAttributes != nullptr; ppAttributes += 2) {
            line.append(" ").append(ppAttributes[0]).append("=").append(ppAttributes[1]);
        }
        reader.m_Reading.m_Lines.push_back(line);
    }
    static void XMLCALL End(void* pUser, const XML_Char*) { --static_cast<LiteralReader*>(pUser)->m_nDepth; }
    static void XMLCALL Characters(void* pUser, const XML_Char*, int)
    {
        static_cast<LiteralReader*>(pUser)->m_Reading.m_Printed += CHARACTERS;
    }

    Reading m_Reading;
    int m_nDepth = 0;
};

}  // namespace nbitest
