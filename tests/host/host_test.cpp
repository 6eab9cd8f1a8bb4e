#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

#include "host/hostfixture.h"
#include "nbihost/bundlemgr.h"
#include "nbihost/cfgfile.h"
#include "nbihost/corbaconfigitems.h"
#include "nbihost/standalone.h"

namespace {

using nbihost::Host;
using nbihost::HostError;
using nbihost::HostHooks;

int State()
{
    return NS_BUNDLEMGR1::BundleMgr::Instance()->GetState();
}

std::string Item(const std::string& name)
{
    std::string value = "none";
    NS_BUNDLEMGR1::CorbaConfigItems::Instance()->GetStrItemInfo(name, value);
    return value;
}

class HostTest : public nbitest::HostFixture {
protected:
    /// A host that notes the framework's state whenever its stop hook is called.
    std::unique_ptr<Host> MakeHost(std::function<void()> onStop = {})
    {
        HostHooks hooks;
        hooks.m_OnStop = [this, onStop] {
            m_StatesAtStop.push_back(State());
            if (onStop) onStop();
        };
        return std::make_unique<Host>(WriteConfig("[items]\na=1\n"), std::move(hooks));
    }

    std::vector<int> m_StatesAtStop;
};

TEST_F(HostTest, ConstructionAloneChangesNothing)
{
    const auto pHost = MakeHost();
    EXPECT_FALSE(pHost->IsStarted());
    EXPECT_EQ(pHost->ConfigFile(), PathOf("host.ini"));
    EXPECT_FALSE(std::filesystem::exists(PathOf("log")));
}

TEST_F(HostTest, StartRunsTheFramework)
{
    const auto pHost = MakeHost();
    pHost->Start();
    EXPECT_TRUE(pHost->IsStarted());
    EXPECT_NE(State(), NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
    EXPECT_EQ(Item("a"), "1");
}

TEST_F(HostTest, SecondStartDoesNothing)
{
    const auto pHost = MakeHost();
    pHost->Start();
    pHost->Start();
    EXPECT_TRUE(pHost->IsStarted());
}

TEST_F(HostTest, StopHookRunsOnceWhileTheFrameworkIsStoppingAndTheLogIsOpen)
{
    const auto pHost = MakeHost([] { nbihost::Log(nbihost::LOG_LEVEL_INFO, "test", "last words"); });
    pHost->Start();
    pHost->Stop();
    pHost->Stop();
    EXPECT_EQ(m_StatesAtStop, std::vector<int>{NS_BUNDLEMGR1::FRAMEWORK_STOPPING});
    EXPECT_EQ(TextsOf("log"), std::vector<std::string>{"test last words"});
    EXPECT_FALSE(pHost->IsStarted());
}

TEST_F(HostTest, StoppedHostStillEndsWaitsThatBeginLate)
{
    const auto pHost = MakeHost();
    pHost->Start();
    pHost->Stop();
    EXPECT_EQ(State(), NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
}

TEST_F(HostTest, LinesAfterTheStopGoNowhere)
{
    const auto pHost = MakeHost();
    pHost->Start();
    pHost->Stop();
    nbihost::Log(nbihost::LOG_LEVEL_ERROR, "test", "late");
    EXPECT_EQ(ReadFile("log"), "");
}

TEST_F(HostTest, StopBeforeTheStartDoesNothing)
{
    const auto pHost = MakeHost();
    pHost->Stop();
    EXPECT_TRUE(m_StatesAtStop.empty());
    EXPECT_NE(State(), NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
}

TEST_F(HostTest, DestructorStops)
{
    MakeHost()->Start();
    EXPECT_EQ(m_StatesAtStop.size(), 1u);
    EXPECT_EQ(State(), NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
}

TEST_F(HostTest, StoppedHostStartsAgain)
{
    const auto pHost = MakeHost();
    pHost->Start();
    pHost->Stop();
    pHost->Start();
    EXPECT_NE(State(), NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
    pHost->Stop();
    EXPECT_EQ(m_StatesAtStop.size(), 2u);
}

TEST_F(HostTest, FailingStopHookIsLoggedAndTheStopGoesOn)
{
    const auto pHost = MakeHost([] { throw std::runtime_error("no way"); });
    pHost->Start();
    pHost->Stop();
    EXPECT_FALSE(pHost->IsStarted());
    EXPECT_EQ(TextsOf("log"), std::vector<std::string>{"host the stop callback failed: no way"});
}

TEST_F(HostTest, StopFromWithinTheStopHookReturns)
{
    std::unique_ptr<Host> pHost;
    pHost = MakeHost([&pHost] { pHost->Stop(); });
    pHost->Start();
    pHost->Stop();
    EXPECT_EQ(m_StatesAtStop.size(), 1u);
}

TEST_F(HostTest, SecondStopperWaitsForTheFirst)
{
    std::atomic<bool> bInHook{false};
    std::atomic<bool> bHookMayEnd{false};
    std::atomic<bool> bHookEnded{false};
    const auto pHost = MakeHost([&] {
        bInHook = true;
        while (!bHookMayEnd) std::this_thread::yield();
        bHookEnded = true;
    });
    pHost->Start();
    std::thread first([&] { pHost->Stop(); });
    while (!bInHook) std::this_thread::yield();
    std::thread second([&] {
        pHost->Stop();
        EXPECT_TRUE(bHookEnded);
    });
    bHookMayEnd = true;
    first.join();
    second.join();
}

TEST_F(HostTest, WhatTheStopHookWaitsForMayReload)
{
    std::unique_ptr<Host> pHost;
    pHost = MakeHost([&pHost] { std::thread([&pHost] { pHost->Reload(); }).join(); });
    pHost->Start();
    pHost->Stop();
    EXPECT_EQ(m_StatesAtStop.size(), 1u);
}

TEST_F(HostTest, OnlyOneHostAtATimeMayBeStarted)
{
    const auto pHost = MakeHost();
    pHost->Start();
    Host other(WriteFile("other.ini", "[host]\nroot=/\nlog_stderr=no\n"));
    EXPECT_THROW(other.Start(), HostError);
    EXPECT_EQ(NS_BUNDLEMGR1::GetTAVOEnvironment(), m_Folder);
    pHost->Stop();
    other.Start();
    EXPECT_EQ(NS_BUNDLEMGR1::GetTAVOEnvironment(), "");
}

TEST_F(HostTest, LogThatCannotBeWrittenIsNamedAndNothingStarts)
{
    const std::string path = WriteFile("host.ini", "[host]\nroot=/tmp\nlog_file=none/log\nlog_stderr=no\n");
    Host host(path);
    try {
        host.Start();
        FAIL() << "started";
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), path + ": [host] log_file: cannot write " + PathOf("none/log") +
                                    ": No such file or directory");
    }
    EXPECT_FALSE(host.IsStarted());
    EXPECT_EQ(NS_BUNDLEMGR1::GetTAVOEnvironment(), "");
    std::filesystem::create_directory(PathOf("none"));
    host.Start();
    EXPECT_TRUE(host.IsStarted());
}

TEST_F(HostTest, DirectoryInPlaceOfTheLogFileIsNamed)
{
    const std::string path = WriteFile("host.ini", "[host]\nroot=/tmp\nlog_file=.\n");
    Host host(path);
    EXPECT_THROW(host.Start(), HostError);
}

TEST_F(HostTest, LogDirectoryWithoutWritePermissionIsNamed)
{
    std::filesystem::create_directory(PathOf("logs"));
    std::filesystem::permissions(PathOf("logs"), std::filesystem::perms::owner_read);
    const std::string path = WriteFile("host.ini", "[host]\nroot=/tmp\nlog_file=logs/log\n");
    Host host(path);
    const nbitest::OrdinaryUser user;
    try {
        host.Start();
        FAIL() << "started";
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(),
                  path + ": [host] log_file: cannot write " + PathOf("logs/log") + ": Permission denied");
    }
}

TEST_F(HostTest, ReloadServesTheNewItems)
{
    const auto pHost = MakeHost();
    pHost->Start();
    WriteConfig("[items]\nb=2\n");
    EXPECT_EQ(Item("a"), "1");
    pHost->Reload();
    EXPECT_EQ(Item("a"), "none");
    EXPECT_EQ(Item("b"), "2");
}

TEST_F(HostTest, FailedReloadLeavesEverythingAsItWas)
{
    const auto pHost = MakeHost();
    pHost->Start();
    for (const char* pBad : {"nonsense\n", "log_level=loud\n", "[items]\na=2\na=3\n"}) {
        WriteConfig(pBad);
        EXPECT_THROW(pHost->Reload(), HostError);
    }
    WriteFile("host.ini", "[host]\nroot=/\nlog_file=none/log\n[items]\na=2\n");
    EXPECT_THROW(pHost->Reload(), HostError);
    std::filesystem::remove(PathOf("host.ini"));
    EXPECT_THROW(pHost->Reload(), HostError);
    EXPECT_EQ(Item("a"), "1");
    EXPECT_EQ(NS_BUNDLEMGR1::GetTAVOEnvironment(), m_Folder);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, "test", "still here");
    EXPECT_EQ(TextsOf("log"), std::vector<std::string>{"test still here"});
}

TEST_F(HostTest, ReloadMovesTheLogWhenItsOptionsChange)
{
    const auto pHost = MakeHost();
    pHost->Start();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, "test", "one");
    WriteFile("host.ini", "[host]\nroot=.\nlog_file=log2\nlog_stderr=no\nlog_level=warning\n");
    pHost->Reload();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, "test", "two");
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, "test", "three");
    EXPECT_EQ(TextsOf("log"), std::vector<std::string>{"test one"});
    EXPECT_EQ(TextsOf("log2"), std::vector<std::string>{"test three"});
}

TEST_F(HostTest, LogFileIsToldBeforeTheStartAndFollowsAReload)
{
    Host host(WriteConfig());
    EXPECT_EQ(host.LogFile(), PathOf("log"));
    WriteFile("host.ini", "[host]\nroot = .\nlog_stderr = no\n");
    host.Reload();
    EXPECT_EQ(host.LogFile(), "");
}

TEST_F(HostTest, ReloadBeforeTheStartIsInForceAfterIt)
{
    const auto pHost = MakeHost();
    WriteConfig("[items]\na=2\n");
    pHost->Reload();
    EXPECT_EQ(Item("a"), "none");
    pHost->Start();
    EXPECT_EQ(Item("a"), "2");
}

TEST_F(HostTest, ReloadsAndReadersRunSideBySide)
{
    const auto pHost = MakeHost();
    pHost->Start();
    std::atomic<bool> bEnd{false};
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&bEnd] {
            while (!bEnd) {
                EXPECT_EQ(Item("a"), "1");
                nbihost::Log(nbihost::LOG_LEVEL_INFO, "test", "line");
                std::this_thread::yield();
            }
        });
    }
    for (int i = 0; i < 50; ++i) {
        WriteFile("host.ini",
                  "[host]\nroot=.\nlog_stderr=no\nlog_file=log" + std::to_string(i % 2) + "\n[items]\na=1\n");
        pHost->Reload();
    }
    bEnd = true;
    for (std::thread& reader : readers) reader.join();
}

}  // namespace
