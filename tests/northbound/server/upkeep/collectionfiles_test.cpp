#include "server/upkeep/collectionfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

#include "server/upkeep/serversettings.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using ::testing::UnorderedElementsAre;

constexpr const char* PART = "perf-p0-a.csv.part";
constexpr const char* RUNNING = "perf-p0-running.csv.part";
constexpr const char* WHOLE = "perf-p0-b.csv";
constexpr const char* ARCHIVE = "perf-p0-c.tar";

class CollectionFilesTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* pName : {PART, RUNNING, WHOLE, ARCHIVE, "perf-notes.txt", "other.csv"}) {
            m_Folder.Add(pName, std::string(100, 'x'));
        }
    }

    void Age(const std::string& name, int nDays) const
    {
        const fs::path path = m_Folder / name;
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(24 * nDays + 1));
    }

    static Retention Days(int nPart, int nWhole)
    {
        return {std::chrono::hours(24 * nPart), std::chrono::hours(24 * nWhole), 0};
    }

    const nbitest::TestDirectory m_Folder;
    const CollectionFiles m_Files{m_Folder.Path(), [](const std::string& name) { return name == RUNNING; }};
};

TEST_F(CollectionFilesTest, ListTellsWhatIsACollectionsAndItsState)
{
    std::map<std::string, std::string> states;
    for (const CollectionFile& file : m_Files.List()) {
        states[file.m_Name] = file.m_State;
        EXPECT_EQ(file.m_nBytes, 100u);
    }
    const std::map<std::string, std::string> expected{
        {PART, "part"}, {RUNNING, "running"}, {WHOLE, "whole"}, {ARCHIVE, "whole"}};
    EXPECT_EQ(states, expected);
}

TEST_F(CollectionFilesTest, PartsGoWhenTheirTimeIsOverAndWholeFilesStayForEver)
{
    for (const char* pName : {PART, RUNNING, WHOLE, ARCHIVE}) Age(pName, 7);
    EXPECT_EQ(m_Files.Sweep(Days(8, 0)).m_nFiles, 0u);
    const Swept swept = m_Files.Sweep(Days(7, 0));
    EXPECT_EQ(swept.m_nFiles, 1u);
    EXPECT_EQ(swept.m_nBytes, 100u);
    EXPECT_THAT(m_Folder.Names(),
                UnorderedElementsAre(RUNNING, WHOLE, ARCHIVE, "perf-notes.txt", "other.csv"));
}

TEST_F(CollectionFilesTest, WholeFilesGoByTheirAgeWhereOneIsSet)
{
    Age(WHOLE, 30);
    EXPECT_EQ(m_Files.Sweep(Days(7, 30)).m_nFiles, 1u);
    EXPECT_THAT(m_Folder.Names(),
                UnorderedElementsAre(PART, RUNNING, ARCHIVE, "perf-notes.txt", "other.csv"));
}

TEST_F(CollectionFilesTest, OldestGoWhereThereAreTooManyBytesAndNeverWhatRuns)
{
    Age(RUNNING, 4);
    Age(ARCHIVE, 3);
    Age(WHOLE, 2);
    Retention retention;
    retention.m_nBytes = 200;
    EXPECT_EQ(m_Files.Sweep(retention).m_nFiles, 2u);
    EXPECT_THAT(m_Folder.Names(), UnorderedElementsAre(PART, RUNNING, "perf-notes.txt", "other.csv"));
    EXPECT_EQ(m_Files.Sweep(retention).m_nFiles, 0u);
}

TEST_F(CollectionFilesTest, FolderIsOneServersAlone)
{
    const std::string folder = m_Folder / "new/collections";
    {
        const FolderClaim claim("CollectionDirectory", folder);
        try {
            const FolderClaim other("CollectionDirectory", folder);
            FAIL();
        } catch (const SettingsError& e) {
            EXPECT_EQ(e.what(),
                      "CollectionDirectory: " + folder + " is another server's: a process holds it");
        }
    }
    const FolderClaim later("CollectionDirectory", folder);
}

}  // namespace
}  // namespace northbound
