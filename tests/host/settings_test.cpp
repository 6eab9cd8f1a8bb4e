#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "host/hostfixture.h"
#include "nbihost/cfgfile.h"
#include "nbihost/corbaconfigitems.h"
#include "nbihost/standalone.h"

namespace {

using nbihost::Host;
using nbihost::HostError;

class SettingsTest : public nbitest::HostFixture {
protected:
    /// The message with which a file of this text is refused, without the file's name in front; "" when it
    /// loads.
    std::string Refusal(const std::string& text) const
    {
        const std::string path = WriteFile("host.ini", text);
        try {
            const Host host(path);
        } catch (const HostError& error) {
            const std::string message = error.what();
            EXPECT_EQ(message.substr(0, path.size() + 2), path + ": ");
            return message.substr(path.size() + 2);
        }
        return "";
    }

    /// The same for one line in the host's section, behind a good root.
    std::string RefusalOf(const std::string& line) const
    {
        return Refusal("[host]\nroot=/tmp\n" + line + "\n");
    }
};

TEST_F(SettingsTest, RootAloneIsEnough)
{
    EXPECT_EQ(Refusal("[host]\nroot=/tmp\n"), "");
}

TEST_F(SettingsTest, MissingFileIsNamed)
{
    try {
        const Host host(PathOf("none.ini"));
        FAIL() << "loaded";
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), PathOf("none.ini") + ": cannot be read: No such file or directory");
    }
}

TEST_F(SettingsTest, DirectoryIsRefused)
{
    try {
        const Host host(m_Folder);
        FAIL() << "loaded";
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), m_Folder + ": cannot be read: Is a directory");
    }
}

TEST_F(SettingsTest, HugeFileIsRefused)
{
    const std::string path = WriteConfig();
    ASSERT_EQ(::truncate(path.c_str(), off_t{3} << 30), 0);
    try {
        const Host host(path);
        FAIL() << "loaded";
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), path + ": cannot be read: File too large");
    }
}

TEST_F(SettingsTest, UnreadableFileIsRefused)
{
    const std::string path = WriteConfig();
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    const nbitest::OrdinaryUser user;
    try {
        const Host host(path);
        FAIL() << "loaded";
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), path + ": cannot be read: Permission denied");
    }
}

TEST_F(SettingsTest, BinaryFileIsRefused)
{
    EXPECT_EQ(Refusal(std::string("[host]\nroot=/tmp\n\0", 18)), "is not a text file");
}

TEST_F(SettingsTest, MissingRootIsNamed)
{
    EXPECT_EQ(Refusal(""), "[host] root: is missing");
    EXPECT_EQ(Refusal("[hosst]\na=b\n"), "[host] root: is missing");
}

TEST_F(SettingsTest, RootMustBeADirectory)
{
    EXPECT_EQ(Refusal("[host]\nroot=/none/such\n"), "[host] root: no such directory: /none/such");
    EXPECT_EQ(Refusal("[host]\nroot=/etc/passwd\n"), "[host] root: no such directory: /etc/passwd");
    EXPECT_EQ(Refusal("[host]\nroot=\n"), "[host] root: is empty");
}

TEST_F(SettingsTest, UnknownKeyOfTheOwnSectionIsNamed)
{
    EXPECT_EQ(RefusalOf("log_fille=x"), "[host] log_fille: unknown key");
    EXPECT_EQ(RefusalOf("Log_File=x"), "[host] Log_File: unknown key");
}

TEST_F(SettingsTest, OwnKeyInAnotherSectionIsNamed)
{
    EXPECT_EQ(RefusalOf("[hosst]\nlog_file=x"), "[hosst] log_file: belongs to the section [host]");
}

TEST_F(SettingsTest, KeyOutsideOfEverySectionIsNamed)
{
    EXPECT_EQ(Refusal("root=/tmp\n"), "[] root: stands outside of every section");
    EXPECT_EQ(Refusal("a=b\n[host]\nroot=/tmp\n"), "[] a: stands outside of every section");
}

TEST_F(SettingsTest, KeyGivenTwiceIsNamed)
{
    EXPECT_EQ(RefusalOf("root=/"), "[host] root: is given twice");
    EXPECT_EQ(RefusalOf("[items]\na=1\n[more]\na=1"), "[more] a: is given twice");
}

TEST_F(SettingsTest, RotationSizeMustBeANumberInRange)
{
    const std::string range = "is not a whole number from 1 to 1099511627776";
    for (const char* pValue : {"10x", "", "0", "-1", "1.5", "ten", "1099511627777", "99999999999999999999"}) {
        EXPECT_EQ(RefusalOf(std::string("log_rotate_bytes=") + pValue),
                  "[host] log_rotate_bytes: \"" + std::string(pValue) + "\" " + range);
    }
    EXPECT_EQ(RefusalOf("log_rotate_bytes=1"), "");
    EXPECT_EQ(RefusalOf("log_rotate_bytes=1099511627776"), "");
}

TEST_F(SettingsTest, RotationCountMustBeANumberInRange)
{
    EXPECT_EQ(RefusalOf("log_rotate_files=101"),
              "[host] log_rotate_files: \"101\" is not a whole number from 1 to 100");
    EXPECT_NE(RefusalOf("log_rotate_files=0"), "");
    EXPECT_EQ(RefusalOf("log_rotate_files=100"), "");
}

TEST_F(SettingsTest, SwitchIsYesOrNo)
{
    EXPECT_EQ(RefusalOf("log_stderr=true"), "[host] log_stderr: \"true\" is none of: no, yes");
    EXPECT_EQ(RefusalOf("log_stderr=yes"), "");
    EXPECT_EQ(RefusalOf("log_stderr=no"), "");
}

TEST_F(SettingsTest, LevelIsOneOfItsNames)
{
    EXPECT_EQ(RefusalOf("log_level=verbose"),
              "[host] log_level: \"verbose\" is none of: debug, info, warning, error, off");
    for (const char* pLevel : {"debug", "info", "warning", "error", "off"}) {
        EXPECT_EQ(RefusalOf(std::string("log_level=") + pLevel), "");
    }
}

TEST_F(SettingsTest, LineToBeDebugIsModuleAndNumber)
{
    EXPECT_EQ(RefusalOf("log_as_debug = nbitaskmgr:251, a:b:1"), "");
    EXPECT_EQ(RefusalOf("log_as_debug ="), "[host] log_as_debug: is empty");
    for (const std::string line : {"nbitaskmgr", ":251", "nbitaskmgr:", "nbitaskmgr:0", "nbitaskmgr:-1",
                                   "nbitaskmgr:1x", "nbitaskmgr:99999999999"}) {
        EXPECT_EQ(RefusalOf("log_as_debug = hugetask:67," + line),
                  "[host] log_as_debug: \"" + line + "\" is not \"module:line\"");
    }
}

TEST_F(SettingsTest, LinesToBeDebugAreLimited)
{
    std::string lines = "a:1";
    for (int i = 2; i <= 100; ++i) lines += ",a:" + std::to_string(i);
    EXPECT_EQ(RefusalOf("log_as_debug = " + lines), "");
    EXPECT_EQ(RefusalOf("log_as_debug = " + lines + ",a:101"),
              "[host] log_as_debug: names more than 100 lines");
}

TEST_F(SettingsTest, EmptyLogFileIsRefused)
{
    EXPECT_EQ(RefusalOf("log_file="), "[host] log_file: is empty");
}

TEST_F(SettingsTest, LineThatIsNothingIsNamedByItsNumber)
{
    const std::string what = " is no section, no comment and not \"key = value\"";
    EXPECT_EQ(RefusalOf("log_stderr"), "line 3" + what);
    EXPECT_EQ(RefusalOf("[items"), "line 3" + what);
    EXPECT_EQ(RefusalOf("=value"), "line 3" + what);
    EXPECT_EQ(Refusal("[host]\r\n\r\n# note\r\nroot=/tmp\r\nnonsense\r\n"), "line 5" + what);
}

TEST_F(SettingsTest, ByteOrderMarkCommentsAndCarriageReturnsAreFine)
{
    EXPECT_EQ(Refusal("\xEF\xBB\xBF"
                      "[host]\r\n# note\r\n ; note\r\n\t\r\nroot = /tmp\r\n"),
              "");
}

TEST_F(SettingsTest, RelativePathsStartAtTheConfigurationFile)
{
    std::filesystem::create_directory(PathOf("lib"));
    std::filesystem::create_directory(PathOf("etc"));
    Host host(WriteFile("etc/host.ini", "[host]\nroot=../lib/\nlog_file=../log\nlog_stderr=no\n"));
    host.Start();
    EXPECT_EQ(NS_BUNDLEMGR1::GetTAVOEnvironment(), PathOf("etc") + "/../lib");
    EXPECT_TRUE(std::filesystem::exists(PathOf("log")));
}

TEST_F(SettingsTest, RelativePathsSurviveAChangeOfTheWorkingDirectory)
{
    WriteConfig();
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_Folder);
    Host host("host.ini");
    std::filesystem::current_path(before);
    host.Start();
    EXPECT_TRUE(std::filesystem::exists(PathOf("log")));
}

class ItemsFileTest : public SettingsTest {
protected:
    static constexpr const char* ITEMS = "items.ini";

    /// A started host with the items a=1 and b=1 in its configuration, and the items file ITEMS.
    std::unique_ptr<Host> StartHost() const
    {
        auto pHost = std::make_unique<Host>(WriteConfig("items_file=items.ini\n[items]\na=1\nb=1\n"));
        pHost->Start();
        return pHost;
    }

    static std::string Item(const std::string& name)
    {
        std::string value = "none";
        NS_BUNDLEMGR1::CorbaConfigItems::Instance()->GetStrItemInfo(name, value);
        return value;
    }

    /// The message with which this items file is refused; "" when it loads.
    std::string RefusalOfItems(const std::string& text) const
    {
        const std::string path = WriteFile(ITEMS, text);
        try {
            Host host(WriteConfig("items_file=items.ini\n"));
        } catch (const HostError& error) {
            const std::string message = error.what();
            EXPECT_EQ(message.substr(0, path.size() + 2), path + ": ");
            return message.substr(path.size() + 2);
        }
        return "";
    }
};

TEST_F(ItemsFileTest, ItsItemsTakeThePlaceOfThoseOfTheConfiguration)
{
    WriteFile(ITEMS, "[items]\nb=2\nc=3\n");
    const auto pHost = StartHost();
    EXPECT_EQ(Item("a") + Item("b") + Item("c"), "123");
}

TEST_F(ItemsFileTest, MayBeMissingAndComeWithAReload)
{
    const auto pHost = StartHost();
    EXPECT_EQ(Item("b"), "1");
    WriteFile(ITEMS, "[items]\nb=2\n");
    pHost->Reload();
    EXPECT_EQ(Item("b"), "2");
}

TEST_F(ItemsFileTest, HostTellsWhereChangesBelong)
{
    EXPECT_EQ(StartHost()->ItemsFile(), PathOf(ITEMS));
    const std::string path = WriteConfig();
    EXPECT_EQ(Host(path).ItemsFile(), path);
}

TEST_F(ItemsFileTest, HostTellsEachItemWithTheFileThatItStandsIn)
{
    WriteFile(ITEMS, "[items]\nb=2\nc=3\n");
    const auto pHost = StartHost();
    std::string all;
    for (const nbihost::ConfigItem& item : pHost->Items()) {
        const bool bOfItems = item.m_File == PathOf(ITEMS);
        EXPECT_TRUE(bOfItems || item.m_File == pHost->ConfigFile()) << item.m_File;
        all += item.m_Name + item.m_Value + (bOfItems ? "i " : "c ");
    }
    EXPECT_EQ(all, "a1c b2i c3i ");
}

TEST_F(ItemsFileTest, MistakesAreNamedLikeThoseOfTheConfiguration)
{
    EXPECT_EQ(RefusalOfItems("[items]\nb=1\nb=2\n"), "[items] b: is given twice");
    EXPECT_EQ(RefusalOfItems("b=1\n"), "[] b: stands outside of every section");
    EXPECT_EQ(RefusalOfItems("[host]\nroot=/tmp\n"), "[host] root: belongs to the configuration file");
    EXPECT_EQ(RefusalOfItems("[items]\nroot=/tmp\n"), "[items] root: belongs to the section [host]");
    EXPECT_EQ(RefusalOfItems("nonsense\n"), "line 1 is no section, no comment and not \"key = value\"");
    EXPECT_EQ(RefusalOf("items_file="), "[host] items_file: is empty");
}

TEST_F(ItemsFileTest, FileThatIsThereAndCannotBeReadIsRefused)
{
    WriteFile(ITEMS, "[items]\nb=2\n");
    ASSERT_EQ(::chmod(PathOf(ITEMS).c_str(), 0), 0);
    const std::string path = WriteConfig("items_file=items.ini\n");
    const nbitest::OrdinaryUser user;
    EXPECT_THROW(Host host(path), HostError);
}

}  // namespace
