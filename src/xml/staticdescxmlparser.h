/// \file
/// Reads one static-description document into a tree.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "nbiutil/sdxmlinterpreter.h"
#include "nbiutil/xmltag.h"
#include "xml/expatimpl.h"

namespace NS_UTIL {

/// One object per document, on the stack of whoever parses it; the tree lives as long as the object.
/// Trace and error lines go to standard output. Errors: running out of memory while the tree is built throws
/// std::bad_alloc.
class StaticDescXMLParser : public NSTE_util::CExpatImpl<StaticDescXMLParser> {
public:
    /// \return 0, or -1 after a line that says why. Deliberate: a file that stops in the middle is a success
    /// with the elements that were begun before the cut, unless its length is a multiple of the 256 bytes
    /// that are read at a time; what callers ship as description files relies on it.
    int ParseFile(const char* pPath);

    /// \param nLength bytes at \p pData. When its low 32 bits, read as a signed number, are negative, \p
    /// pData is a zero-terminated text.
    /// \return false, without a line about it, when expat refuses the text.
    bool ParseText(const void* pData, unsigned long nLength);

    /// Why ParseFile() answered -1.
    const XMLParseFailure& Failure() const { return m_Failure; }

    /// The document element; an element without a name when the document has not come so far.
    const XMLTag& Root() const { return m_Root; }

    /// Prints the error with which the parse ended, with the line when a file is being parsed.
    void PrintParseError();

    // Called by the adapter
    void OnPostCreate();
    void OnStartElement(const XML_Char* pName, const XML_Char** ppAttributes);
    void OnEndElement(const XML_Char* pName);
    void OnCharacterData(const XML_Char* pText, int nLength);

private:
    XMLTag& AddTag();
    bool ParsePieces(std::FILE* pFile);
    std::size_t NextRoom() const;
    bool HandOver(std::size_t nBytes, bool bEnd);
    int RunsIn(const char* pText, int nLength) const;
    bool OrPrintError(bool bParsed);

    XMLTag m_Root;
    std::vector<XMLTag*> m_Open;  // elements that are open, the innermost last
    XMLParseFailure m_Failure;
    std::string m_FileName;     // for error lines; empty when no file is being parsed
    std::size_t m_nRoom = 0;    // what expat is given at once; 0 when no file is being parsed
    std::size_t m_nGiven = 0;   // bytes of the file that expat has
    std::size_t m_nParsed = 0;  // of them, those before the token that is incomplete
};

}  // namespace NS_UTIL
