#include "server/upkeep/leftovers.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "server/upkeep/serversettings.h"
#include "support/eventually.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

/// A program called tar that works in a folder until it is told to end.
class Tar {
public:
    explicit Tar(const std::string& folder)
    {
        fs::create_symlink("/bin/sleep", m_Programs / "tar");
        const std::string program = m_Programs / "tar";
        m_nProcess = fork();
        if (m_nProcess != 0) return;
        if (chdir(folder.c_str()) == 0) execl(program.c_str(), program.c_str(), "1000", nullptr);
        _exit(1);
    }
    ~Tar() { End(); }
    Tar(const Tar&) = delete;
    Tar& operator=(const Tar&) = delete;

    pid_t Id() const { return m_nProcess; }
    void End()
    {
        if (m_nProcess == 0) return;
        kill(m_nProcess, SIGKILL);
        waitpid(m_nProcess, nullptr, 0);
        m_nProcess = 0;
    }

private:
    const nbitest::TestDirectory m_Programs;
    pid_t m_nProcess = 0;
};

TEST(LeftoversTest, ProgramThatStillPacksIsFoundInItsFolderAlone)
{
    const nbitest::TestDirectory folder;
    const nbitest::TestDirectory other;
    Tar tar(folder.Path());
    EXPECT_TRUE(nbitest::Eventually([&] { return PackerIn(folder.Path()) == tar.Id(); }));
    EXPECT_EQ(PackerIn(other.Path()), 0);
    EXPECT_THROW(AwaitPackers(folder.Path(), std::chrono::milliseconds(1)), SettingsError);
    tar.End();
    EXPECT_EQ(PackerIn(folder.Path()), 0);
    AwaitPackers(folder.Path(), std::chrono::milliseconds(1));
}

TEST(LeftoversTest, DraftsOfTheFileGoAndOtherFilesStay)
{
    const nbitest::TestDirectory folder;
    for (const char* pName :
         {"a.ini", "a.ini.nbi-draft.x1Y2z3", "b.ini.nbi-draft.x1Y2z3", "a.ini.nbi-draft."}) {
        folder.Add(pName, "x");
    }
    EXPECT_EQ(RemoveDrafts(folder / "a.ini"), 1u);
    EXPECT_FALSE(fs::exists(folder / "a.ini.nbi-draft.x1Y2z3"));
    EXPECT_TRUE(fs::exists(folder / "b.ini.nbi-draft.x1Y2z3"));
    EXPECT_TRUE(fs::exists(folder / "a.ini"));
    EXPECT_EQ(RemoveDrafts(folder / "nowhere/a.ini"), 0u);
}

}  // namespace
}  // namespace northbound
