#include "xml/staticdescxmlparser.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "base/filehandle.h"

namespace NS_UTIL {
namespace {

constexpr int PIECE = 256;  // bytes read at a time; which cut files are accepted depends on it

/// A new[] array of the text and its zero, which are \p nSize characters.
char* CopyOf(const char* pText, std::size_t nSize)
{
    char* const pCopy = new char[nSize];
    std::copy_n(pText, nSize, pCopy);
    return pCopy;
}

/// Every pointer is in its owner's hands before the next allocation, which may throw.
void SetItems(XMLTag& tag, const XML_Char** ppAttributes)
{
    std::size_t nItems = 0;
    while (ppAttributes[2 * nItems] != nullptr) ++nItems;
    if (nItems == 0) return;
    tag.m_pItems = new XMLItem*[nItems + 1]();
    for (std::size_t i = 0; i < nItems; ++i) {
        XMLItem& item = *(tag.m_pItems[i] = new XMLItem);
        const char* const pName = ppAttributes[2 * i];
        const char* const pValue = ppAttributes[2 * i + 1];
        const std::size_t nValueSize = std::strlen(pValue) + 1;
        item.m_pName = CopyOf(pName, std::strlen(pName) + 1);
        item.m_pValue = CopyOf(pValue, nValueSize);
        item.m_pPrintValue = CopyOf(pValue, nValueSize);
    }
}

}  // namespace

void StaticDescXMLParser::OnPostCreate()
{
    EnableStartElementHandler();
    EnableCharacterDataHandler();
    EnableEndElementHandler();
}

XMLTag& StaticDescXMLParser::AddTag()
{
    if (m_Open.empty()) return m_Root;
    XMLTag& parent = *m_Open.back();
    if (parent.m_pChildren == nullptr) parent.m_pChildren = new XMLTagList;
    parent.m_pChildren->push_back(nullptr);
    return *(parent.m_pChildren->back() = new XMLTag);
}

void StaticDescXMLParser::OnStartElement(const XML_Char* pName, const XML_Char** ppAttributes)
{
    XMLTag& tag = AddTag();
    tag.m_Name = pName;
    m_Open.push_back(&tag);
    SetItems(tag, ppAttributes);
}

void StaticDescXMLParser::OnEndElement(const XML_Char* /*pName*/)
{
    m_Open.pop_back();
}

void StaticDescXMLParser::OnCharacterData(const XML_Char* /*pText*/, int /*nLength*/)
{
    std::printf("in [OnXMLCharacterData]\nout [OnXMLCharacterData]\n");
}

int StaticDescXMLParser::ParseFile(const char* pPath)
{
    if (!Create()) return -1;
    m_FileName = pPath;
    const FileStream pFile = OpenForReading(pPath);
    if (!pFile) {
        std::printf("[ParseFile] Call fopen file name %s error\n", pPath);
        return -1;
    }
    const bool bParsed = ParsePieces(pFile.get());
    m_FileName.clear();
    return bParsed ? 0 : -1;
}

bool StaticDescXMLParser::ParsePieces(std::FILE* pFile)
{
    bool bFinal = false;
    while (std::feof(pFile) == 0) {
        void* const pBuffer = GetBuffer(PIECE);
        if (pBuffer == nullptr) return false;
        const std::size_t nRead = std::fread(pBuffer, 1, PIECE, pFile);
        bFinal = nRead == 0;
        if (!OrPrintError(ParseBuffer(static_cast<int>(nRead), bFinal))) return false;
    }
    return bFinal || OrPrintError(ParseDeferred());
}

bool StaticDescXMLParser::OrPrintError(bool bParsed)
{
    if (!bParsed) PrintParseError();
    return bParsed;
}

bool StaticDescXMLParser::ParseText(const void* pData, unsigned long nLength)
{
    if (!Create()) return false;
    const auto* pText = static_cast<const char*>(pData);
    const int nSigned = static_cast<int>(nLength);
    if (nSigned >= 0) return Parse(pText, nSigned, true);
    const std::size_t nText = std::strlen(pText);
    return nText <= INT_MAX && Parse(pText, static_cast<int>(nText), true);
}

void StaticDescXMLParser::PrintParseError()
{
    const XML_Error error = GetErrorCode();
    const XML_LChar* const pText = GetErrorText(error);
    if (m_FileName.empty()) {
        std::printf("Parse error:\n[%s]\n", pText);
        return;
    }
    const int nLine = static_cast<int>(GetCurrentLineNumber());
    std::printf("[PrintParseError] Parse error in file [%s], at line [%d]:\n[%s]\n", m_FileName.c_str(),
                nLine, pText);
}

}  // namespace NS_UTIL
