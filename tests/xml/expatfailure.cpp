#include "xml/expatfailure.h"

#include <dlfcn.h>
#include <expat.h>

#include <climits>
#include <utility>

namespace nbitest {
namespace {

bool g_bNoParser = false;
int g_nParsersAlive = 0;
int g_nBuffersLeft = INT_MAX;
std::function<void()> g_Look;

/// The function of that name that comes next in the program.
template <class Function>
Function Next(const char* pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

}  // namespace

NoExpatParser::NoExpatParser()
{
    g_bNoParser = true;
}

NoExpatParser::~NoExpatParser()
{
    g_bNoParser = false;
}

int ParsersAlive()
{
    return g_nParsersAlive;
}

NoExpatBuffer::NoExpatBuffer(int nWork)
{
    g_nBuffersLeft = nWork;
}

NoExpatBuffer::~NoExpatBuffer()
{
    g_nBuffersLeft = INT_MAX;
}

WheneverExpatGivesABuffer::WheneverExpatGivesABuffer(std::function<void()> look)
{
    g_Look = std::move(look);
}

WheneverExpatGivesABuffer::~WheneverExpatGivesABuffer()
{
    g_Look = nullptr;
}

}  // namespace nbitest

extern "C" {

XML_Parser XML_ParserCreate_MM(const XML_Char* pEncoding, const XML_Memory_Handling_Suite* pMemory,
                               const XML_Char* pSeparator)
{
    if (nbitest::g_bNoParser) return nullptr;
    XML_ParserStruct* const pParser =
        nbitest::Next<decltype(&XML_ParserCreate_MM)>("XML_ParserCreate_MM")(pEncoding, pMemory, pSeparator);
    if (pParser != nullptr) ++nbitest::g_nParsersAlive;
    return pParser;
}

void XML_ParserFree(XML_Parser pParser)
{
    if (pParser != nullptr) --nbitest::g_nParsersAlive;
    nbitest::Next<decltype(&XML_ParserFree)>("XML_ParserFree")(pParser);
}

void* XML_GetBuffer(XML_Parser pParser, int nLength)
{
    if (nbitest::g_Look) nbitest::g_Look();
    if (nbitest::g_nBuffersLeft == 0) return nullptr;
    --nbitest::g_nBuffersLeft;
    return nbitest::Next<decltype(&XML_GetBuffer)>("XML_GetBuffer")(pParser, nLength);
}

}  // extern "C"
