// The library's own reasons and those of the example, read by the library on the standalone host.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "nbihost/cfgfile.h"
#include "nbihost/standalone.h"
#include "nbiutil/errcode.h"
#include "nbiutil/errorinfomgr.h"
#include "shared/names.h"
#include "support/testdirectory.h"

namespace NS_UTIL {
namespace {

namespace fs = std::filesystem;
using nbitest::TestDirectory;

const char* const LANGUAGES[] = {"en_US", "zh_CN"};
constexpr const char* ROOT = NBI_EXAMPLE_ROOT;  // what the example's configuration calls root

std::string StaticDataFile(const std::string& language)
{
    return std::string(NBI_REASONS) + "/" + language + "/errcode_TAVO_TDT.res";
}

/// Every resource file of a language, by its name.
std::map<std::string, std::string> FilesOf(const std::string& language)
{
    std::map<std::string, std::string> files{{"errcode_TAVO_TDT.res", StaticDataFile(language)}};
    for (const auto& entry : fs::directory_iterator(std::string(ROOT) + "/../etc/nbires/" + language)) {
        files[entry.path().filename().string()] = entry.path().string();
    }
    return files;
}

using Reasons = std::map<unsigned long, std::string>;

Reasons ReasonsIn(const std::string& path)
{
    std::vector<NS_BUNDLEMGR1::NameValueStru> pairs;
    EXPECT_TRUE(NS_BUNDLEMGR1::GetAllCfgFrmFile(pairs, path, true)) << path;
    Reasons reasons;
    for (const auto& pair : pairs) {
        char* pEnd = nullptr;
        const unsigned long nCode = std::strtoul(pair.m_Name.c_str(), &pEnd, 0);
        EXPECT_EQ(*pEnd, '\0') << path << ": " << pair.m_Name << " is no code";
        EXPECT_TRUE(reasons.emplace(nCode, pair.m_Value).second)
            << path << ": " << pair.m_Name << " is there twice";
    }
    return reasons;
}

Reasons ReasonsOf(const std::string& language)
{
    Reasons all;
    for (const auto& [name, path] : FilesOf(language)) {
        for (const auto& [nCode, reason] : ReasonsIn(path)) {
            EXPECT_TRUE(all.emplace(nCode, reason).second)
                << path << ": " << nCode << " is in another file too";
        }
    }
    return all;
}

template <class Map>
auto KeysOf(const Map& map)
{
    std::set<typename Map::key_type> keys;
    for (const auto& entry : map) keys.insert(entry.first);
    return keys;
}

const std::set<unsigned long> REQUIRED{
    0,  // what a descriptor holds after a success
    ErrCode::FRAMEWORK_STOPPED,
    ErrCode::POOL_DESTROYED,
    ErrCode::HUGE_TASK_LIMIT,
    ErrCode::TASK_CANCELLED,
    ErrCode::QUEUE_FULL,
    ErrCode::TASK_NOT_IDLE,
    ErrCode::TASK_BODY_FAILED,
    ErrCode::TASK_EXCEPTION,
    northbound::ErrCode::UNKNOWN_OBJECT,
    northbound::ErrCode::BAD_ARGUMENT,
    northbound::ErrCode::NO_FIGURES,
    northbound::ErrCode::FILE_NOT_WRITTEN,
    northbound::ErrCode::NOT_CARRIED_OUT,
    northbound::ErrCode::CUT_SHORT,
    northbound::ErrCode::INTERNAL,
    northbound::ErrCode::BAD_CIPHER_TEXT,
    northbound::ErrCode::NOT_DECRYPTED,
    northbound::ErrCode::CANNOT_PACK,
    northbound::ErrCode::NOT_CONFIGURED,
    northbound::ErrCode::NOT_LOGGED_IN,
};

TEST(ResourcesTest, BothLanguagesHaveTheSameFilesWithTheSameCodes)
{
    const auto english = FilesOf("en_US");
    const auto chinese = FilesOf("zh_CN");
    ASSERT_EQ(KeysOf(english), KeysOf(chinese));
    for (const auto& [name, path] : english) {
        EXPECT_EQ(KeysOf(ReasonsIn(path)), KeysOf(ReasonsIn(chinese.at(name)))) << name;
    }
}

TEST(ResourcesTest, EveryCodeHasItsTextInOneFileOfEachLanguage)
{
    for (const char* pLanguage : LANGUAGES) {
        const std::set<unsigned long> codes = KeysOf(ReasonsOf(pLanguage));
        EXPECT_THAT(codes, ::testing::IsSupersetOf(REQUIRED)) << pLanguage;
    }
}

TEST(ResourcesTest, EnglishIsAscii)
{
    for (const auto& [nCode, reason] : ReasonsOf("en_US")) {
        EXPECT_FALSE(reason.empty()) << nCode;
        for (const char character : reason) EXPECT_TRUE(character >= ' ' && character <= '~') << reason;
    }
}

/// Three bytes of the form that UTF-8 gives to all Chinese characters and their punctuation.
bool IsThreeByteCharacter(const std::string& text, std::size_t nAt)
{
    const auto Byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    return nAt + 2 < text.size() && (Byte(nAt) & 0xF0) == 0xE0 && (Byte(nAt + 1) & 0xC0) == 0x80 &&
           (Byte(nAt + 2) & 0xC0) == 0x80;
}

TEST(ResourcesTest, ChineseIsUtf8WithoutLatinLetters)
{
    for (const auto& [nCode, reason] : ReasonsOf("zh_CN")) {
        EXPECT_FALSE(reason.empty()) << nCode;
        for (std::size_t i = 0; i < reason.size(); i += 3) {
            ASSERT_TRUE(IsThreeByteCharacter(reason, i)) << nCode << " at byte " << i << ": " << reason;
        }
    }
}

class LoadedResourcesTest : public ::testing::Test {
protected:
    LoadedResourcesTest()
        : m_Host(m_Dir.Add("host.ini",
                           std::string("[host]\nroot = ") + ROOT + "\nlog_file = log\nlog_stderr = no\n"))
    {
        m_Host.Start();
    }
    ~LoadedResourcesTest() override { ErrorInfoMgr::Destroy(); }

    TestDirectory m_Dir;
    nbihost::Host m_Host;
};

TEST_F(LoadedResourcesTest, CatalogueHoldsTheTextOfEveryCodeInTheLanguageAskedFor)
{
    for (const bool bEnglish : {true, false}) {
        ErrorInfoMgr::Destroy();
        ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(bEnglish);
        for (const auto& [nCode, expected] : ReasonsOf(bEnglish ? "en_US" : "zh_CN")) {
            std::string reason;
            ErrorInfoMgr::Instance()->GetErrReasonByErrCode(reason, nCode);
            EXPECT_EQ(reason, expected);
        }
    }
    EXPECT_EQ(m_Dir.Text("log"), "");
}

}  // namespace
}  // namespace NS_UTIL
