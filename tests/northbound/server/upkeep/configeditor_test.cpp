#include "server/upkeep/configeditor.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "nbiutil/processexception.h"
#include "shared/names.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using nbitest::ReadFile;
using nbitest::WriteFile;

class ConfigEditorTest : public ::testing::Test {
protected:
    ConfigEditorTest() { WriteFile(m_File, "[server]\nListenPort = 12809\nOutputFile=out\n"); }

    /// The detail of the refusal, or "" when the change was made.
    std::string RefusalOf(const std::string& key, const std::string& value,
                          unsigned int nCode = ErrCode::NOT_CONFIGURED)
    {
        ConfigEditor editor(m_File, m_Changed, [this] { Reload(); });
        try {
            editor.Set(key, value);
            return "";
        } catch (const NS_UTIL::ProcessException& e) {
            EXPECT_EQ(e.GetErrorCode(), nCode);
            return e.GetErrorInfo();
        }
    }

    void Reload()
    {
        m_Loaded = ReadFile(m_Changed);
        if (m_Loaded.find("bad") != std::string::npos) throw std::runtime_error("a bad value");
    }

    nbitest::TestDirectory m_Dir;
    const std::string m_File = m_Dir / "server.ini";
    std::string m_Changed = m_File;
    std::string m_Loaded;
};

TEST_F(ConfigEditorTest, OneLineChangesAndTheNewFileIsReadAgain)
{
    EXPECT_EQ(RefusalOf("ListenPort", "1"), "");
    EXPECT_EQ(ReadFile(m_File), "[server]\nListenPort=1\nOutputFile=out\n");
    EXPECT_EQ(m_Loaded, ReadFile(m_File));
}

TEST_F(ConfigEditorTest, FileThatSomebodyElseWroteIsReadAgain)
{
    ConfigEditor editor(m_File, m_Changed, [this] { Reload(); });
    WriteFile(m_File, "[server]\nListenPort = 2\n");
    editor.Reload();
    EXPECT_EQ(m_Loaded, "[server]\nListenPort = 2\n");
    WriteFile(m_File, "bad");
    EXPECT_THROW(editor.Reload(), std::runtime_error);
}

TEST_F(ConfigEditorTest, CopyHoldsTheFileAsItWas)
{
    EXPECT_EQ(RefusalOf("ListenPort", "1"), "");
    EXPECT_EQ(ReadFile(m_File + ".d/server.ini"), "[server]\nListenPort = 12809\nOutputFile=out\n");
}

TEST_F(ConfigEditorTest, AbsentKeyIsRefused)
{
    EXPECT_EQ(RefusalOf("Missing", "1"), "there is no Missing in " + m_File);
}

TEST_F(ConfigEditorTest, PartOfAKeyAndACommentAreNoItem)
{
    EXPECT_EQ(RefusalOf("Listen", "1"), "there is no Listen in " + m_File);
    WriteFile(m_File, "; ListenPort = 1\n");
    EXPECT_EQ(RefusalOf("ListenPort", "1"), "there is no ListenPort in " + m_File);
    EXPECT_EQ(ReadFile(m_File), "; ListenPort = 1\n");
}

TEST_F(ConfigEditorTest, KeyInSeveralLinesIsRefused)
{
    WriteFile(m_File, "; Port is a port\nPort=1\n");
    EXPECT_EQ(RefusalOf("Port", "2"), "2 lines of " + m_File + " hold the text Port");
    EXPECT_EQ(ReadFile(m_File), "; Port is a port\nPort=1\n");
}

TEST_F(ConfigEditorTest, FileOfMoreThan1024LinesIsRefused)
{
    const std::string text = "Port=1\n" + std::string(1024, '\n');
    WriteFile(m_File, text);
    EXPECT_EQ(RefusalOf("Port", "2"), m_File + " has more than 1024 lines");
    EXPECT_EQ(ReadFile(m_File), text);
}

TEST_F(ConfigEditorTest, FileOf1024LinesIsChanged)
{
    WriteFile(m_File, "Port=1\n" + std::string(1022, '\n') + "end");
    EXPECT_EQ(RefusalOf("Port", "2"), "");
    EXPECT_EQ(ReadFile(m_File), "Port=2\n" + std::string(1022, '\n') + "end");
}

TEST_F(ConfigEditorTest, LineOfMoreThan1023CharactersIsRefused)
{
    const std::string text = "Port=1\n;" + std::string(1023, 'x') + "\n";
    WriteFile(m_File, text);
    EXPECT_EQ(RefusalOf("Port", "2"), "line 2 of " + m_File + " is longer than 1023 characters");
    EXPECT_EQ(ReadFile(m_File), text);
}

TEST_F(ConfigEditorTest, OldFileComesBackWhenTheNewOneDoesNotLoad)
{
    EXPECT_EQ(RefusalOf("ListenPort", "bad"), "a bad value; the configuration is as it was");
    EXPECT_EQ(ReadFile(m_File), "[server]\nListenPort = 12809\nOutputFile=out\n");
    EXPECT_EQ(m_Loaded, ReadFile(m_File)) << "the old file is not in force";
}

TEST_F(ConfigEditorTest, OldFileComesBackWhenThereIsNoCopyOfIt)
{
    WriteFile(m_File + ".d", "a file where the folder should be");
    EXPECT_EQ(RefusalOf("ListenPort", "1"),
              "no copy could be made in " + m_File + ".d; the configuration is as it was");
    EXPECT_EQ(ReadFile(m_File), "[server]\nListenPort = 12809\nOutputFile=out\n");
}

TEST_F(ConfigEditorTest, LinkStaysALink)
{
    const std::string link = m_Dir / "link.ini";
    fs::create_symlink(m_File, link);
    ConfigEditor editor(link, link, [this] { Reload(); });
    editor.Set("ListenPort", "1");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(ReadFile(m_File), "[server]\nListenPort=1\nOutputFile=out\n");
}

/// The configuration is read-only for the server; changes have a file of their own.
class ConfigEditorApartTest : public ConfigEditorTest {
protected:
    ConfigEditorApartTest() { m_Changed = m_Dir / "items.ini"; }

    void TearDown() override { EXPECT_EQ(ReadFile(m_File), m_Before); }

    const std::string m_Before = ReadFile(m_File);
};

TEST_F(ConfigEditorApartTest, FirstChangeMakesTheFile)
{
    EXPECT_EQ(RefusalOf("ListenPort", "1"), "");
    EXPECT_EQ(m_Loaded, "[items]\nListenPort=1\n");
}

TEST_F(ConfigEditorApartTest, LaterChangesReplaceAndAdd)
{
    EXPECT_EQ(RefusalOf("ListenPort", "1"), "");
    EXPECT_EQ(RefusalOf("ListenPort", "2"), "");
    EXPECT_EQ(RefusalOf("OutputFile", "elsewhere"), "");
    EXPECT_EQ(m_Loaded, "[items]\nListenPort=2\nOutputFile=elsewhere\n");
}

TEST_F(ConfigEditorApartTest, CopyHoldsWhatWasInForce)
{
    EXPECT_EQ(RefusalOf("ListenPort", "1"), "");
    EXPECT_EQ(ReadFile(m_Changed + ".d/items.ini"), "[items]\nListenPort=12809\n");
}

TEST_F(ConfigEditorApartTest, ItemThatTheConfigurationDoesNotHaveIsRefused)
{
    EXPECT_EQ(RefusalOf("Missing", "1"), "there is no Missing in " + m_File);
    EXPECT_EQ(RefusalOf("Listen", "1"), "there is no Listen in " + m_File);
    EXPECT_FALSE(fs::exists(m_Changed));
}

TEST_F(ConfigEditorApartTest, RefusedChangeLeavesNoLine)
{
    EXPECT_EQ(RefusalOf("ListenPort", "bad"), "a bad value; the configuration is as it was");
    EXPECT_EQ(ReadFile(m_Changed), "");
    EXPECT_EQ(RefusalOf("ListenPort", "1"), "");
    EXPECT_EQ(RefusalOf("OutputFile", "bad"), "a bad value; the configuration is as it was");
    EXPECT_EQ(ReadFile(m_Changed), "[items]\nListenPort=1\n");
}

TEST_F(ConfigEditorApartTest, FolderThatIsMissingIsTold)
{
    m_Changed = m_Dir / "none/items.ini";
    EXPECT_EQ(RefusalOf("ListenPort", "1"), m_Changed + " cannot be written");
}

TEST_F(ConfigEditorTest, WhatIsNoItemIsRefused)
{
    EXPECT_EQ(RefusalOf("", "1", ErrCode::BAD_ARGUMENT), "\"\" is no key");
    EXPECT_EQ(RefusalOf("a b", "1", ErrCode::BAD_ARGUMENT), "\"a b\" is no key");
    EXPECT_EQ(RefusalOf("Port", "1\nroot=/", ErrCode::BAD_ARGUMENT),
              "the value of Port has more than one line");
    EXPECT_EQ(RefusalOf("Port", std::string(1023, '1'), ErrCode::BAD_ARGUMENT),
              "the value of Port is too long for a line");
}

}  // namespace
}  // namespace northbound
