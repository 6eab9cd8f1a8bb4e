// What an edit leaves when a call fails on its way, or when the process is killed there.
#include "util/draft.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "support/inchild.h"
#include "support/testdirectory.h"
#include "util/configfile.h"
#include "util/filecalls.h"

namespace NS_UTIL {
namespace {

using nbitest::FileCall;
using nbitest::NOT_ROOT;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::SetFileHook;
using nbitest::TestDirectory;
using Calls = std::vector<std::string>;
using NameSet = std::set<std::string>;

constexpr const char* OLD = "password=old\n";
constexpr const char* NEW = "password=new and longer\n";

class DraftTest : public ::testing::Test {
protected:
    void TearDown() override { SetFileHook(nullptr); }

    StoreResult Store(const std::string& text = NEW) { return StoreConfigText(m_Dir / "conf", text); }
    /// "conf", "draft" or "folder".
    std::string KindOf(const std::string& path) const
    {
        if (path == m_Dir.Path()) return "folder";
        return path == m_Dir / "conf" ? "conf" : path.find(m_Dir / "conf.nbi-draft.") == 0 ? "draft" : path;
    }
    std::string Say(const FileCall& call) const { return call.m_Name + ' ' + KindOf(call.m_Path); }
    /// Lets each call that is \p which fail.
    void Fail(const std::string& which, int nError)
    {
        SetFileHook([=](const FileCall& call) { return Say(call) == which ? nError : 0; });
    }
    /// Stores in a process that is killed in front of its call \p which.
    void StoreAndBeKilledAt(const std::string& which)
    {
        const pid_t nChild = fork();
        if (nChild == 0) {
            SetFileHook([=](const FileCall& call) { return Say(call) == which ? raise(SIGKILL) : 0; });
            Store();
            _exit(0);
        }
        int nStatus = 0;
        ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
        ASSERT_TRUE(WIFSIGNALED(nStatus)) << which;
    }
    NameSet Drafts() const
    {
        NameSet names = m_Dir.Names();
        names.erase("conf");
        return names;
    }

    TestDirectory m_Dir;
};

// The calls

TEST_F(DraftTest, TextIsOnTheDiskBeforeItsNameAndTheNameBeforeTheAnswer)
{
    m_Dir.Add("conf", OLD);
    Calls calls;
    SetFileHook([&](const FileCall& call) {
        calls.push_back(Say(call));
        return 0;
    });
    EXPECT_EQ(Store(), StoreResult::STORED);
    SetFileHook(nullptr);
    EXPECT_EQ(calls, (Calls{"flock draft", "write draft", "fsync draft", "rename draft", "fsync folder"}));
}

TEST_F(DraftTest, FilesAreClosedInChildrenAndAboveTheStandardStreams)
{
    m_Dir.Add("conf", OLD);
    EXPECT_TRUE(PassesInChild([this] {
        for (const int nStream : {0, 1, 2}) close(nStream);
        SetFileHook([](const FileCall& call) {
            EXPECT_TRUE(call.m_nHandle == -1 || (call.m_nHandle > 2 && call.m_bClosedInChildren))
                << call.m_Name;
            return 0;
        });
        EXPECT_EQ(Store(), StoreResult::STORED);
    }));
}

TEST_F(DraftTest, PrintedTextDoesNotEndUpInTheFile)
{
    m_Dir.Add("conf", OLD);
    EXPECT_TRUE(PassesInChild([this] {
        for (const int nStream : {0, 1, 2}) close(nStream);
        SetFileHook([](const FileCall&) {
            for (const int nStream : {0, 1, 2}) {
                EXPECT_EQ(write(nStream, "printed", 7), -1);
            }
            return 0;
        });
        EXPECT_EQ(Store(), StoreResult::STORED);
    }));
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
}

TEST_F(DraftTest, InterruptedWriteGoesOn)
{
    m_Dir.Add("conf", OLD);
    int nInterruptions = 3;
    SetFileHook(
        [&](const FileCall& call) { return call.m_Name == "write" && nInterruptions-- > 0 ? EINTR : 0; });
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
    EXPECT_LT(nInterruptions, 0);
}

TEST_F(DraftTest, TextThatDoesNotReachTheDiskIsNotStored)
{
    m_Dir.Add("conf", OLD);
    for (const char* pCall : {"write draft", "fsync draft"}) {
        Fail(pCall, EIO);
        EXPECT_EQ(Store(), StoreResult::NOT_STORED) << pCall;
        EXPECT_EQ(errno, EIO) << pCall;
        EXPECT_EQ(m_Dir.Text("conf"), OLD) << pCall;
        EXPECT_EQ(Drafts(), NameSet{}) << pCall;
    }
}

TEST_F(DraftTest, NameThatDoesNotReachTheDiskIsNotStored)
{
    m_Dir.Add("conf", OLD);
    Fail("fsync folder", EIO);
    EXPECT_EQ(Store(), StoreResult::NOT_STORED);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
}

TEST_F(DraftTest, FileSystemThatSyncsNoFoldersIsSyncedWhole)
{
    m_Dir.Add("conf", OLD);
    Calls calls;
    SetFileHook([&](const FileCall& call) {
        calls.push_back(Say(call));
        return Say(call) == "fsync folder" ? EINVAL : 0;
    });
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(calls.back(), "syncfs conf");
    Fail("fsync folder", EINVAL);
    SetFileHook([&](const FileCall& call) {
        return Say(call) == "fsync folder" ? EINVAL : Say(call) == "syncfs conf" ? EIO : 0;
    });
    EXPECT_EQ(Store(), StoreResult::NOT_STORED);
}

TEST_F(DraftTest, FolderThatMayNotBeReadIsWrittenTo)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    ASSERT_EQ(mkdir((m_Dir / "drop").c_str(), 0777), 0);
    ASSERT_EQ(chmod((m_Dir / "drop").c_str(), 0333), 0);
    EXPECT_TRUE(PassesAsNobody([this] {
        EXPECT_EQ(StoreConfigText(m_Dir / "drop/conf", NEW), StoreResult::STORED);
        EXPECT_EQ(StoreConfigText(m_Dir / "drop/conf", OLD), StoreResult::STORED);
    }));
    EXPECT_EQ(m_Dir.Text("drop/conf"), OLD);
}

TEST_F(DraftTest, FileInTheRootFolderHasItsDraftsThere)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", OLD);
    m_Dir.Add("conf.nbi-draft.abcdef", OLD);
    EXPECT_TRUE(PassesInChild([this] {
        ASSERT_EQ(chroot(m_Dir.Path().c_str()), 0);
        EXPECT_EQ(StoreConfigText("/conf", NEW), StoreResult::STORED);
    }));
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
    EXPECT_EQ(Drafts(), NameSet{});
}

TEST_F(DraftTest, ModeThatTheSystemDoesNotGiveMeansRewritingInPlace)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    constexpr gid_t NOT_OURS = 1234;  // the group of all that is made in this folder
    const std::string path = m_Dir.Add("conf", OLD);
    for (const std::string& name : {m_Dir.Path(), path}) ASSERT_EQ(chown(name.c_str(), 65534, NOT_OURS), 0);
    ASSERT_EQ(chmod(m_Dir.Path().c_str(), 02777), 0);
    ASSERT_EQ(chmod(path.c_str(), 02666), 0);
    struct stat before, after;
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(Store(), StoreResult::STORED); }));
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
}

TEST_F(DraftTest, RefusedRenameMeansRewritingInPlace)
{
    m_Dir.Add("conf", OLD);
    Fail("rename draft", EBUSY);
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
    EXPECT_EQ(Drafts(), NameSet{});
}

TEST_F(DraftTest, TextInPlaceThatDoesNotReachTheDiskIsNotStored)
{
    m_Dir.Add("conf", OLD);
    SetFileHook([this](const FileCall& call) {
        return Say(call) == "rename draft" ? EBUSY : Say(call) == "fsync conf" ? EIO : 0;
    });
    EXPECT_EQ(Store(), StoreResult::NOT_STORED);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(m_Dir.Text("conf"), OLD);
}

TEST_F(DraftTest, FileThatIsMountedByItselfIsRewrittenInPlace)
{
    m_Dir.Add("conf", OLD);
    const std::string path = m_Dir / "conf";
    bool bMounted = true;
    EXPECT_TRUE(PassesInChild([&] {
        bMounted = unshare(CLONE_NEWNS) == 0 && mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0;
        if (!bMounted) return;  // only root may, and not in every container
        struct stat before, after;
        ASSERT_EQ(stat(path.c_str(), &before), 0);
        EXPECT_EQ(Store(), StoreResult::STORED);
        ASSERT_EQ(stat(path.c_str(), &after), 0);
        EXPECT_EQ(before.st_ino, after.st_ino);
        EXPECT_EQ(m_Dir.Text("conf"), NEW);
    }));
    EXPECT_EQ(Drafts(), NameSet{});
}

// Kills

TEST_F(DraftTest, KilledEditLeavesOneOfTheTwoTextsAndTheNextEditCleansUp)
{
    for (const char* pCall : {"write draft", "fsync draft", "rename draft", "fsync folder"}) {
        m_Dir.Add("conf", OLD);
        StoreAndBeKilledAt(pCall);
        const bool bRenamed = std::string(pCall) == "fsync folder";
        EXPECT_EQ(m_Dir.Text("conf"), bRenamed ? NEW : OLD) << pCall;
        EXPECT_EQ(Drafts().size(), bRenamed ? 0u : 1u) << pCall;
        EXPECT_EQ(Store("next"), StoreResult::STORED);
        EXPECT_EQ(m_Dir.Text("conf"), "next") << pCall;
        EXPECT_EQ(Drafts(), NameSet{}) << pCall;
    }
}

TEST_F(DraftTest, AbandonedDraftIsForItsOwnerAlone)
{
    m_Dir.Add("conf", OLD, 0600);
    StoreAndBeKilledAt("rename draft");
    ASSERT_EQ(Drafts().size(), 1u);
    struct stat status;
    ASSERT_EQ(stat((m_Dir / *Drafts().begin()).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(DraftTest, DraftThatAProcessHoldsStays)
{
    m_Dir.Add("conf", OLD);
    NameSet held;
    StoreResult inner = StoreResult::NOT_STORED;
    SetFileHook([&](const FileCall& call) {
        if (Say(call) == "fsync draft") {
            held = Drafts();
            inner = Store("inner");  // another edit of this file; its calls pass the hook by
            EXPECT_EQ(Drafts(), held);
        }
        return 0;
    });
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(held.size(), 1u);
    EXPECT_EQ(inner, StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
    EXPECT_EQ(Drafts(), NameSet{});
}

TEST_F(DraftTest, DraftThatAnotherEditRemovesBeforeItIsLockedIsMadeAnew)
{
    m_Dir.Add("conf", OLD);
    Calls calls;
    SetFileHook([&](const FileCall& call) {
        if (calls.empty()) unlink(call.m_Path.c_str());
        calls.push_back(Say(call));
        return 0;
    });
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(calls, (Calls{"flock draft", "flock draft", "write draft", "fsync draft", "rename draft",
                            "fsync folder"}));
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
}

TEST_F(DraftTest, DraftThatAnotherEditIsAboutToRemoveIsMadeAnew)
{
    m_Dir.Add("conf", OLD);
    int nRefusals = 2;
    SetFileHook(
        [&](const FileCall& call) { return call.m_Name == "flock" && nRefusals-- > 0 ? EWOULDBLOCK : 0; });
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
    EXPECT_EQ(nRefusals, -1);
}

TEST_F(DraftTest, WhereEachDraftIsTakenForAbandonedTheFileIsRewrittenInPlace)
{
    m_Dir.Add("conf", OLD);
    const auto countHandles = [] {
        const std::filesystem::directory_iterator handles("/proc/self/fd");
        return std::distance(begin(handles), end(handles));
    };
    const auto nHandles = countHandles();
    int nTries = 0;
    SetFileHook([&](const FileCall& call) {
        if (call.m_Name != "flock") return 0;
        ++nTries;
        return EWOULDBLOCK;
    });
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
    EXPECT_EQ(nTries, 8);
    EXPECT_EQ(countHandles(), nHandles);
}

TEST_F(DraftTest, FileSystemWithoutLocksIsWrittenToAndNothingIsRemovedThere)
{
    m_Dir.Add("conf", OLD);
    m_Dir.Add("conf.nbi-draft.abcdef", OLD);
    SetFileHook([](const FileCall& call) { return call.m_Name == "flock" ? ENOLCK : 0; });
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), NEW);
    EXPECT_EQ(Drafts(), NameSet{"conf.nbi-draft.abcdef"});
}

TEST_F(DraftTest, OnlyDraftsOfTheEditedFileAreRemoved)
{
    m_Dir.Add("conf", OLD);
    for (const char* pName : {"conf.nbi-draft.abcDE1", "conf.nbi-draft.short", "conf.nbi-draft.toolong",
                              "conf2.nbi-draft.abcDE1", "conf.abcDE1", "con.nbi-draft.abcDE1x"}) {
        m_Dir.Add(pName, "");
    }
    ASSERT_EQ(mkdir((m_Dir / "conf.nbi-draft.folder").c_str(), 0755), 0);
    ASSERT_EQ(symlink("conf2.nbi-draft.abcDE1", (m_Dir / "conf.nbi-draft.symlnk").c_str()), 0);
    ASSERT_EQ(mkfifo((m_Dir / "conf.nbi-draft.thepip").c_str(), 0666), 0);
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Names(),
              (NameSet{"conf", "conf.nbi-draft.short", "conf.nbi-draft.toolong", "conf2.nbi-draft.abcDE1",
                       "conf.abcDE1", "con.nbi-draft.abcDE1x", "conf.nbi-draft.folder",
                       "conf.nbi-draft.symlnk", "conf.nbi-draft.thepip"}));
}

TEST_F(DraftTest, DraftsOfALinksTargetAreRemoved)
{
    ASSERT_EQ(mkdir((m_Dir / "real").c_str(), 0755), 0);
    m_Dir.Add("real/file", OLD);
    m_Dir.Add("real/file.nbi-draft.abcdef", OLD);
    ASSERT_EQ(symlink("real/file", (m_Dir / "conf").c_str()), 0);
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_FALSE(m_Dir.Has("real/file.nbi-draft.abcdef"));
    EXPECT_EQ(m_Dir.Text("real/file"), NEW);
}

/// Kills at any moment, not only at calls.
TEST_F(DraftTest, FileHoldsOneOfTheTextsAfterAKillAtAnyMoment)
{
    const std::string first(300000, 'a');
    const std::string second(200000, 'b');
    m_Dir.Add("conf", first);
    for (int i = 0; i < 30; ++i) {
        const pid_t nChild = fork();
        if (nChild == 0) {
            for (;;) {
                Store(second);
                Store(first);
            }
        }
        usleep(static_cast<useconds_t>(500 + 137 * i));  // any moment will do
        ASSERT_EQ(kill(nChild, SIGKILL), 0);
        ASSERT_EQ(waitpid(nChild, nullptr, 0), nChild);
        const std::string text = m_Dir.Text("conf");
        ASSERT_TRUE(text == first || text == second) << text.size();
    }
    EXPECT_EQ(Store(), StoreResult::STORED);
    EXPECT_EQ(Drafts(), NameSet{});
}

}  // namespace
}  // namespace NS_UTIL
