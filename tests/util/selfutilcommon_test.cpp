#include "nbiutil/selfutilcommon.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <spawn.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "support/heapwatch.h"
#include "util/helpers.h"

namespace {

/// What this program's resolver answers; without one, the system's entry for numbers.
struct Resolver {
    int m_nResult = 0;
    bool m_bEntry = true;
    int m_nFamily = AF_INET;
    int m_nLength = 4;
    std::size_t m_nAddresses = 2;

    std::string m_Name;  // what it was asked
    std::size_t m_nBuffer = 0;
    bool m_bZeroed = false;
    int m_nCalls = 0;
};
Resolver g_Resolver;

}  // namespace

/// In front of the system's: tests need no network, and see what the resolver is asked with.
extern "C" int gethostbyname_r(const char* pName, hostent* pEntry, char* pBuffer, size_t nBuffer,
                               hostent** ppFound, int* pError)
{
    static unsigned char first[16] = {10, 20, 30, 255};
    static unsigned char second[16] = {1, 2, 3, 4};
    static char* addresses[] = {reinterpret_cast<char*>(first), reinterpret_cast<char*>(second), nullptr};
    g_Resolver.m_Name = pName;
    g_Resolver.m_nBuffer = nBuffer;
    g_Resolver.m_bZeroed = std::all_of(pBuffer, pBuffer + nBuffer, [](char byte) { return byte == 0; });
    ++g_Resolver.m_nCalls;
    pEntry->h_addrtype = g_Resolver.m_nFamily;
    pEntry->h_length = g_Resolver.m_nLength;
    pEntry->h_addr_list = addresses + (2 - g_Resolver.m_nAddresses);
    *ppFound = g_Resolver.m_bEntry ? pEntry : nullptr;
    *pError = HOST_NOT_FOUND;
    return g_Resolver.m_nResult;
}

/// In front of the system's: this program starts no other.
extern "C" int posix_spawnp(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                            char* const[], char* const[])
{
    return EPERM;
}

namespace NS_UTIL {
namespace {

using nbitest::Strings;
using Texts = std::map<std::string, std::string>;

class SelfUtilCommonTest : public nbitest::HelpersTest {};

// The only object

TEST_F(SelfUtilCommonTest, DestroyFreesTheOnlyObjectAndInstanceMakesItAgain)
{
    const long nBefore = nbitest::LiveAllocations();
    SelfUtilCommon::Destroy();
    EXPECT_EQ(nbitest::LiveAllocations(), nBefore - 1);
    SelfUtilCommon::Instance();
    EXPECT_EQ(nbitest::LiveAllocations(), nBefore);
}

// Maps and configuration

TEST_F(SelfUtilCommonTest, DataOfAKeyIsCopied)
{
    std::string value = "old";
    m_pHelpers->GetDataFromMap(std::map<int, std::string>{{1, "one"}, {2, "two"}}, 2, value);
    EXPECT_EQ(value, "two");
    m_pHelpers->GetDataFromMap(Texts{{"a", "x"}}, std::string("a"), value);
    EXPECT_EQ(value, "x");
}

TEST_F(SelfUtilCommonTest, AbsentKeyLeavesTheTextAsItWas)
{
    std::string value = "old";
    m_pHelpers->GetDataFromMap(std::map<int, std::string>{{1, "one"}}, 2, value);
    m_pHelpers->GetDataFromMap(Texts{{"a", "x"}}, std::string("b"), value);
    EXPECT_EQ(value, "old");
}

TEST_F(SelfUtilCommonTest, IntegerIsTheDecimalNumberAtTheHeadOfTheText)
{
    const Texts texts{{"plain", "42"}, {"blank", "  -7x"}, {"hex", "0x10"}, {"none", "abc"}, {"empty", ""}};
    const std::map<std::string, int> wanted{
        {"plain", 42}, {"blank", -7}, {"hex", 0}, {"none", 0}, {"empty", 0}};
    for (const auto& [name, nWanted] : wanted) {
        int nValue = 99;
        EXPECT_TRUE(m_pHelpers->GetIntegerValueByName(texts, name, nValue)) << name;
        EXPECT_EQ(nValue, nWanted) << name;
    }
}

TEST_F(SelfUtilCommonTest, IntegerKeepsTheLow32Bits)
{
    const Texts texts{{"bit32", "4294967297"}, {"max", "2147483648"}, {"beyond", "99999999999999999999"}};
    int nValue = 0;
    EXPECT_TRUE(m_pHelpers->GetIntegerValueByName(texts, "bit32", nValue));
    EXPECT_EQ(nValue, 1);
    EXPECT_TRUE(m_pHelpers->GetIntegerValueByName(texts, "max", nValue));
    EXPECT_EQ(nValue, -2147483647 - 1);
    EXPECT_TRUE(m_pHelpers->GetIntegerValueByName(texts, "beyond", nValue));
    EXPECT_EQ(nValue, -1);
}

TEST_F(SelfUtilCommonTest, AbsentNameGivesNoInteger)
{
    int nValue = 99;
    EXPECT_FALSE(m_pHelpers->GetIntegerValueByName(Texts{{"a", "1"}}, "b", nValue));
    EXPECT_EQ(nValue, 99);
}

TEST_F(SelfUtilCommonTest, TextItemComesFromTheHost)
{
    m_Host.SetStr("item", "text");
    std::string value = "old";
    EXPECT_FALSE(m_pHelpers->GetSupportCfgItem("absent", value));
    EXPECT_EQ(value, "old");
    EXPECT_TRUE(m_pHelpers->GetSupportCfgItem("item", value));
    EXPECT_EQ(value, "text");
}

TEST_F(SelfUtilCommonTest, ItemIsSupportedWhenItIsOne)
{
    for (const int nValue : {0, 2, -1, 257}) {
        m_Host.SetInt("item", nValue);
        EXPECT_FALSE(m_pHelpers->IsSupportCfgItem("item")) << nValue;
    }
    m_Host.SetInt("item", 1);
    EXPECT_TRUE(m_pHelpers->IsSupportCfgItem("item"));
    EXPECT_FALSE(m_pHelpers->IsSupportCfgItem("absent"));
}

// Texts

TEST_F(SelfUtilCommonTest, UpperCaseIsMadeInACopy)
{
    const std::string text = "aZ-09 z\xC3\xA9\xFF{";
    EXPECT_EQ(m_pHelpers->upperStr(text), "AZ-09 Z\xC3\xA9\xFF{");
    EXPECT_EQ(text, "aZ-09 z\xC3\xA9\xFF{");
    EXPECT_EQ(m_pHelpers->upperStr(""), "");
}

TEST_F(SelfUtilCommonTest, ValueByTagIsWhatTheTagsEnclose)
{
    EXPECT_EQ(m_pHelpers->GetValByTag("x<a>value</a>y", "<a>", "</a>", 3), "value");
    EXPECT_EQ(m_pHelpers->GetValByTag("x<a></a>y", "<a>", "</a>", 3), "");
}

TEST_F(SelfUtilCommonTest, OtherOffsetsCutMoreOrLess)
{
    EXPECT_EQ(m_pHelpers->GetValByTag("x<a>value</a>y", "<a>", "</a>", 0), "<a>value");
    EXPECT_EQ(m_pHelpers->GetValByTag("x<a>value</a>y", "<a>", "</a>", 7), "e");
    EXPECT_EQ(m_pHelpers->GetValByTag("x<a>value</a>y", "<a>", "</a>", -1), "x<a>value");
}

TEST_F(SelfUtilCommonTest, BothTagsAreLookedUpFromTheBeginning)
{
    EXPECT_EQ(m_pHelpers->GetValByTag("[1][2]", "[", "]", 1), "1");
    EXPECT_EQ(m_pHelpers->GetValByTag("]x[1]", "[", "]", 1), "");
}

TEST_F(SelfUtilCommonTest, MissingTagGivesAnEmptyValue)
{
    EXPECT_EQ(m_pHelpers->GetValByTag("value</a>", "<a>", "</a>", 3), "");
    EXPECT_EQ(m_pHelpers->GetValByTag("<a>value", "<a>", "</a>", 3), "");
    EXPECT_EQ(m_pHelpers->GetValByTag("", "<a>", "</a>", 3), "");
}

TEST_F(SelfUtilCommonTest, EmptyOrInvertedRangeGivesAnEmptyValue)
{
    const std::string source = "<a>value</a>";
    for (const int nOffset : {8, 9, 100, 2147483647, -1, -2147483647 - 1}) {
        EXPECT_EQ(m_pHelpers->GetValByTag(source, "<a>", "</a>", nOffset), "") << nOffset;
    }
}

TEST_F(SelfUtilCommonTest, PathOfAllowedCharactersPasses)
{
    for (std::string path : {"", "/opt/NBI-1.2/etc", "AZaz09-./"}) {
        EXPECT_TRUE(m_pHelpers->filePathEnvCheck(path)) << path;
    }
}

TEST_F(SelfUtilCommonTest, AnyOtherCharacterFailsThePath)
{
    const std::string allowed = "-./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    for (int nByte = 0; nByte < 256; ++nByte) {
        const char byte = static_cast<char>(nByte);
        std::string path = std::string("/a") + byte + "b";
        EXPECT_EQ(m_pHelpers->filePathEnvCheck(path), allowed.find(byte) != std::string::npos) << nByte;
    }
}

TEST_F(SelfUtilCommonTest, EnvironmentVariableIsRead)
{
    setenv("NBI_TEST_VARIABLE", "value of it", 1);
    EXPECT_EQ(m_pHelpers->getEnvValue("NBI_TEST_VARIABLE"), "value of it");
    unsetenv("NBI_TEST_VARIABLE");
    EXPECT_EQ(m_pHelpers->getEnvValue("NBI_TEST_VARIABLE"), "");
}

std::string Replaced(std::string subject, const std::string& from, const std::string& to)
{
    EXPECT_TRUE(SelfUtilCommon::Instance()->replaceStr(subject, from, to));
    return subject;
}

TEST_F(SelfUtilCommonTest, EveryOccurrenceIsReplaced)
{
    EXPECT_EQ(Replaced("a,b,c", ",", "; "), "a; b; c");
    EXPECT_EQ(Replaced("aaaa", "aa", ""), "");
    EXPECT_EQ(Replaced("abc", "x", "y"), "abc");
    EXPECT_EQ(Replaced("", "x", "y"), "");
}

TEST_F(SelfUtilCommonTest, SearchGoesOnFromThePreviousSearchStart)
{
    EXPECT_EQ(Replaced("xa", "a", "aa"), "xaaa");
    EXPECT_EQ(Replaced("xxxa", "a", "aa"), "xxxaaaaa");
    EXPECT_EQ(Replaced("ab", "b", "a"), "aa");
    EXPECT_EQ(Replaced("..ab", "ab", "b"), "..b");
    EXPECT_EQ(Replaced("abb", "ab", "a"), "ab");
}

TEST_F(SelfUtilCommonTest, EmptyFromChangesNothing)
{
    EXPECT_EQ(Replaced("abc", "", ""), "abc");
    EXPECT_EQ(Replaced("abc", "", "x"), "abc");
}

// Name=value lists

Texts Fdn(const std::string& list, const std::string& separator, Texts values = {})
{
    SelfUtilCommon::Instance()->GetSpliteFDNData(values, list, separator);
    return values;
}

TEST_F(SelfUtilCommonTest, LastValueOfANameWins)
{
    EXPECT_EQ(Fdn("ne=1,port=2,ne=3", ","), (Texts{{"ne", "3"}, {"port", "2"}}));
}

TEST_F(SelfUtilCommonTest, PieceIsSplitAtItsFirstEqualsSign)
{
    EXPECT_EQ(Fdn("a=b=c,=x,y=", ","), (Texts{{"a", "b=c"}, {"", "x"}, {"y", ""}}));
}

TEST_F(SelfUtilCommonTest, PieceWithoutAnEqualsSignIsSkipped)
{
    EXPECT_EQ(Fdn("a,b=1,,c", ","), (Texts{{"b", "1"}}));
    EXPECT_EQ(Fdn("", ","), Texts{});
}

TEST_F(SelfUtilCommonTest, WholeListIsOnePieceWithoutASeparator)
{
    EXPECT_EQ(Fdn("a=1;b=2", ","), (Texts{{"a", "1;b=2"}}));
    EXPECT_EQ(Fdn("a=1,b=2", ""), (Texts{{"a", "1,b=2"}}));
}

TEST_F(SelfUtilCommonTest, RestOfALongerSeparatorStaysAtTheHeadOfTheNextPiece)
{
    EXPECT_EQ(Fdn("a=1::b=2::c=3", "::"), (Texts{{"a", "1"}, {":b", "2"}, {":c", "3"}}));
    EXPECT_EQ(Fdn("a=1:::b=2", "::"), (Texts{{"a", "1"}, {":b", "2"}}));
}

TEST_F(SelfUtilCommonTest, MapIsNotClearedFirst)
{
    EXPECT_EQ(Fdn("a=1", ",", Texts{{"a", "0"}, {"b", "0"}}), (Texts{{"a", "1"}, {"b", "0"}}));
}

TEST_F(SelfUtilCommonTest, ListMayBeATextOfTheMap)
{
    Texts values{{"a", "a=" + std::string(100, 'x') + ",b=" + std::string(100, 'y')}};
    m_pHelpers->GetSpliteFDNData(values, values["a"], ",");
    EXPECT_EQ(values, (Texts{{"a", std::string(100, 'x')}, {"b", std::string(100, 'y')}}));
}

TEST_F(SelfUtilCommonTest, OtherNameOfTheListOperationDoesTheSame)
{
    Texts values;
    m_pHelpers->GetSplitNameValueMapbyTag(values, "a=1::b=2", "::");
    EXPECT_EQ(values, (Texts{{"a", "1"}, {":b", "2"}}));
}

// Processes

TEST_F(SelfUtilCommonTest, SmallestErrorNumberHasItsTextToo)
{
    EXPECT_FALSE(Start("true"));
    EXPECT_EQ(LogTexts(), FailedStart(EPERM));
}

// Host names

class ParserNmsHostNameTest : public SelfUtilCommonTest {
protected:
    void SetUp() override { g_Resolver = Resolver{}; }
    /// The address, or "old" when there is none.
    std::string Resolve(const std::string& name)
    {
        std::string address = "old";
        const bool bFound = m_pHelpers->ParserNmsHostName(name, address);
        EXPECT_EQ(bFound, address != "old");
        return address;
    }
};

TEST_F(ParserNmsHostNameTest, FirstAddressIsGivenAsDottedText)
{
    EXPECT_EQ(Resolve("server"), "10.20.30.255");
    EXPECT_EQ(g_Resolver.m_Name, "server");
    g_Resolver.m_nAddresses = 1;
    EXPECT_EQ(Resolve("server"), "1.2.3.4");
}

TEST_F(ParserNmsHostNameTest, ResolverGetsAZeroedBufferOf4096Bytes)
{
    Resolve("server");
    EXPECT_EQ(g_Resolver.m_nBuffer, 4096u);
    EXPECT_TRUE(g_Resolver.m_bZeroed);
}

TEST_F(ParserNmsHostNameTest, EmptyNameIsNotLookedUp)
{
    EXPECT_EQ(Resolve(""), "old");
    EXPECT_EQ(g_Resolver.m_nCalls, 0);
}

TEST_F(ParserNmsHostNameTest, NameWithAZeroByteIsNotLookedUp)
{
    EXPECT_EQ(Resolve(std::string("localhost\0.evil", 15)), "old");
    EXPECT_EQ(Resolve(std::string("server\0", 7)), "old");
    EXPECT_EQ(g_Resolver.m_nCalls, 0);
}

TEST_F(ParserNmsHostNameTest, FailingCallIsNotRepeatedWithALargerBuffer)
{
    g_Resolver.m_nResult = ERANGE;
    EXPECT_EQ(Resolve("server"), "old");
    EXPECT_EQ(g_Resolver.m_nCalls, 1);
}

TEST_F(ParserNmsHostNameTest, NoResultLeavesTheAddressAsItWas)
{
    g_Resolver.m_bEntry = false;
    EXPECT_EQ(Resolve("server"), "old");
    g_Resolver = Resolver{};
    g_Resolver.m_nAddresses = 0;
    EXPECT_EQ(Resolve("server"), "old");
}

TEST_F(ParserNmsHostNameTest, OnlyIpv4IsHandled)
{
    g_Resolver.m_nFamily = AF_INET6;
    EXPECT_EQ(Resolve("server"), "old");
    g_Resolver.m_nFamily = AF_INET;
    g_Resolver.m_nLength = 16;
    EXPECT_EQ(Resolve("server"), "old");
}

}  // namespace
}  // namespace NS_UTIL
