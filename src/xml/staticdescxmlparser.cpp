#include "xml/staticdescxmlparser.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iterator>
#include <string_view>

#include "base/filehandle.h"

namespace NS_UTIL {
namespace {

constexpr std::size_t PIECE = 256;  // bytes read at a time; which cut files are accepted depends on it
constexpr std::size_t LONG_TOKEN = 4 * PIECE;
constexpr std::size_t MOST_ROOM =
    64 << 20;  // expat's buffer doubles and ends at 1 GiB: tokens get most of it

/// True for the begin of a character, and of what may become "]]>": expat leaves both to the next piece.
/// \param text character data, as much of it as its first piece has
bool IsIncomplete(std::string_view text)
{
    constexpr unsigned char LEADS[] = {0xC0, 0xE0, 0xF0};  // of two bytes, of three, of four
    const auto nLead = static_cast<unsigned char>(text.front());
    const auto nFollowing = std::upper_bound(std::begin(LEADS), std::end(LEADS), nLead) - std::begin(LEADS);
    return text.size() <= static_cast<std::size_t>(nFollowing) || text == "]" || text == "]]";
}

/// \return a new[] array of just the text's length
char* CopyOf(const char* pText)
{
    const std::size_t nSize = std::strlen(pText) + 1;
    return static_cast<char*>(std::memcpy(new char[nSize], pText, nSize));
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
        item.m_pName = CopyOf(ppAttributes[2 * i]);
        item.m_pValue = CopyOf(ppAttributes[2 * i + 1]);
        item.m_pPrintValue = CopyOf(ppAttributes[2 * i + 1]);
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

void StaticDescXMLParser::OnCharacterData(const XML_Char* pText, int nLength)
{
    for (int nRuns = RunsIn(pText, nLength); nRuns > 0; --nRuns) {
        std::printf("in [OnXMLCharacterData]\nout [OnXMLCharacterData]\n");
    }
}

/// A run ends where its piece ends. Where expat has several pieces at once it gives the run whole, and this
/// says how many it is. Only in UTF-8, where a run is as long as its text and a reference is not.
int StaticDescXMLParser::RunsIn(const char* pText, int nLength) const
{
    if (m_nRoom <= PIECE || nLength != GetCurrentByteCount()) return 1;
    const auto nStart = static_cast<std::size_t>(GetCurrentByteIndex());
    const std::size_t nInFirst = PIECE - nStart % PIECE;
    const auto nBytes = static_cast<std::size_t>(nLength);
    if (nBytes < nInFirst) return 1;
    const std::size_t nEnds = 1 + (nBytes - nInFirst) / PIECE;
    const bool bEndsWithPiece = (nBytes - nInFirst) % PIECE == 0;
    int nRuns = 1 + static_cast<int>(nEnds);
    if (IsIncomplete({pText, nInFirst})) --nRuns;
    if (bEndsWithPiece && pText[nBytes - 1] != ']') --nRuns;
    return nRuns;
}

int StaticDescXMLParser::ParseFile(const char* pPath)
{
    m_Failure = {pPath, 0, "the parser has no memory"};
    if (!Create()) return -1;
    m_FileName = pPath;
    const FileStream pFile = OpenForReading(pPath);
    if (!pFile) {
        m_Failure.m_Reason = std::string("cannot be read: ") + std::strerror(errno);
        std::printf("[ParseFile] Call fopen file name %s error\n", pPath);
        return -1;
    }
    const bool bParsed = ParsePieces(pFile.get());
    m_FileName.clear();
    m_nRoom = 0;
    return bParsed ? 0 : -1;
}

bool StaticDescXMLParser::ParsePieces(std::FILE* pFile)
{
    m_nGiven = m_nParsed = 0;
    bool bEnd = false;
    while (std::feof(pFile) == 0) {
        m_nRoom = NextRoom();
        auto* const pBuffer = static_cast<char*>(GetBuffer(static_cast<int>(m_nRoom)));
        if (pBuffer == nullptr) return false;
        std::size_t nRead = 0;
        std::size_t nPiece = PIECE;
        for (; nRead < m_nRoom && nPiece == PIECE; nRead += nPiece) {
            nPiece = std::fread(pBuffer + nRead, 1, PIECE, pFile);
        }
        bEnd = nPiece == 0;
        if (!OrPrintError(HandOver(nRead, bEnd))) return false;
    }
    return bEnd || OrPrintError(ParsePutOff());
}

/// One piece, as long as expat gets on. It looks at an incomplete token from the start each time, so a token of
/// which several pieces have not brought the end is given as much again as expat has of it.
std::size_t StaticDescXMLParser::NextRoom() const
{
    const std::size_t nIncomplete = m_nGiven - m_nParsed;
    return nIncomplete < LONG_TOKEN ? PIECE : std::min(nIncomplete / PIECE * PIECE, MOST_ROOM);
}

/// \param bEnd the last piece brought nothing
bool StaticDescXMLParser::HandOver(std::size_t nBytes, bool bEnd)
{
    m_nGiven += nBytes;
    if (nBytes > 0 && !ParseBuffer(static_cast<int>(nBytes), false)) return false;
    const XML_Index nToken = GetCurrentByteIndex();
    if (nToken >= 0) m_nParsed = static_cast<std::size_t>(nToken);
    return !bEnd || ParseBuffer(0, true);
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
    m_Failure.m_nLine = nLine;
    m_Failure.m_Reason = pText;
}

}  // namespace NS_UTIL
