// The shared library with whatever expat the loader finds; sharedexpat_test.sh runs this with others than the installed
// one.
#include <dlfcn.h>
#include <expat.h>
#include <gtest/gtest.h>

#include <cstring>

#include "nbiutil/sdxmlinterpreter.h"
#include "support/testdirectory.h"
#include "xml/madedocument.h"
#include "xml/xmltesting.h"

// A copy of expat whose switch the script has renamed stands for one that never heard of it: its parsers have it off.
extern "C" __attribute__((visibility("default"))) XML_Parser XML_ParserCreate_MM(
    const XML_Char* pEncoding, const XML_Memory_Handling_Suite* pMemory, const XML_Char* pSeparator)
{
    using Create = XML_Parser (*)(const XML_Char*, const XML_Memory_Handling_Suite*, const XML_Char*);
    using Switch = XML_Bool (*)(XML_Parser, XML_Bool);
    const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "XML_ParserCreate_MM"));
    XML_ParserStruct* const pParser = create(pEncoding, pMemory, pSeparator);
    const auto renamed = reinterpret_cast<Switch>(dlsym(RTLD_DEFAULT, "XML_TDtReparseDeferralEnabled"));
    if (renamed != nullptr) renamed(pParser, XML_FALSE);
    return pParser;
}

namespace NS_UTIL {
namespace {

using nbitest::LinesOf;
using nbitest::MadeDocument;
using Lines = std::vector<std::string>;

/// Keeps what it is given last.
class KeepingInterpreter : public SDXMLInterpreter {
public:
    int InterpretXMLTag(const XMLTag& tag) override
    {
        m_Lines = LinesOf(tag);
        return 0;
    }
    Lines m_Lines;
};

class SharedExpatTest : public ::testing::Test {
protected:
    SharedExpatTest()
    {
        for (const char* pName : {"doc.xml", "doc.xml/x"}) Mgr().RegisterInterpreter(pName, m_pInterpreter);
    }
    ~SharedExpatTest() override { SDXMLInterpreterMgr::Destroy(); }

    static SDXMLInterpreterMgr& Mgr() { return *SDXMLInterpreterMgr::Instance(); }

    /// The tree of a file with that text; no lines when it fails.
    Lines Read(const std::string& text)
    {
        const std::string path = m_Folder.Add("doc.xml", text);
        m_pInterpreter->m_Lines.clear();
        const nbitest::Silence silence;
        Mgr().ParseXMLFile(path.c_str());
        return m_pInterpreter->m_Lines;
    }

    const nbitest::TestDirectory m_Folder;
    KeepingInterpreter* const m_pInterpreter = new KeepingInterpreter;
};

TEST_F(SharedExpatTest, LongAttributeAtTheEndIsNotLost)
{
    const std::string value(600, 'k');
    EXPECT_EQ(Read("<root><a/><b/><c k=\"" + value + "\"/></root>"),
              (Lines{"0 root", "1 a", "1 b", "1 c k=" + value}));
}

TEST_F(SharedExpatTest, DocumentBehindALongCommentIsNotLost)
{
    EXPECT_EQ(Read("<!--" + std::string(250, 'c') + "--><root interpreter=\"x\">"),
              (Lines{"0 root interpreter=x"}));
}

TEST_F(SharedExpatTest, DocumentsOfEveryLengthGiveTheirTreeWholeAndCut)
{
    const MadeDocument longer(1300, 1);
    for (std::size_t nLength = 1; nLength <= 1200; ++nLength) {
        const bool bFails = nLength % 256 == 0;
        ASSERT_EQ(Read(longer.Text().substr(0, nLength)), bFails ? Lines{} : longer.LinesBefore(nLength));
        if (nLength < 9) continue;
        const MadeDocument whole(nLength, static_cast<unsigned int>(nLength));
        ASSERT_EQ(Read(whole.Text()), whole.LinesBefore(nLength));
    }
}

TEST_F(SharedExpatTest, AttributeOf20MillionBytesArrives)
{
    constexpr std::size_t LONG = 20000000;
    const Lines lines = Read("<r k='" + std::string(LONG, 'v') + "'/>");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].size(), LONG + std::strlen("0 r k="));
}

}  // namespace
}  // namespace NS_UTIL
