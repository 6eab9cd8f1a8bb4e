#include "server/upkeep/logclaim.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>

#include "server/upkeep/serversettings.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

class LogClaimTest : public ::testing::Test {
protected:
    /// Whether \p claim is refused, in words that name \p log.
    static bool IsRefused(const std::string& log, const std::function<void()>& claim)
    {
        try {
            claim();
        } catch (const SettingsError& e) {
            const std::string why = e.what();
            EXPECT_EQ(why.find("log_file: " + log + " is another server's: process "), 0u) << why;
            return true;
        }
        return false;
    }

    static bool IsTaken(const std::string& log)
    {
        return IsRefused(log, [&log] { const LogClaim claim(log); });
    }

    const nbitest::TestDirectory m_Folder;
    const std::string m_Log = m_Folder / "log";
    const std::string m_Other = m_Folder / "other";
};

TEST_F(LogClaimTest, LogIsOneServersAloneAlsoWhenItWasMovedAway)
{
    {
        const LogClaim claim(m_Log);
        EXPECT_TRUE(IsTaken(m_Log));
        nbitest::WriteFile(m_Log, "a line\n");
        fs::rename(m_Log, m_Log + ".1");
        EXPECT_TRUE(IsTaken(m_Log));
        EXPECT_FALSE(IsTaken(m_Other));
    }
    EXPECT_FALSE(IsTaken(m_Log));
}

TEST_F(LogClaimTest, ClaimOfTheSameLogIsShared)
{
    std::optional<LogClaim> claim(m_Log);
    std::optional<LogClaim> next(claim->For(m_Log));
    claim.reset();
    EXPECT_TRUE(IsTaken(m_Log));
    next.reset();
    EXPECT_FALSE(IsTaken(m_Log));
}

TEST_F(LogClaimTest, OtherLogIsClaimedBesideTheOldOneUnlessItIsTaken)
{
    LogClaim claim(m_Log);
    {
        const LogClaim others(m_Other);
        EXPECT_TRUE(IsRefused(m_Other, [&] { claim.For(m_Other); }));
    }
    claim = claim.For(m_Other);
    EXPECT_TRUE(IsTaken(m_Other));
    EXPECT_FALSE(IsTaken(m_Log));
}

TEST_F(LogClaimTest, WhatIsNoFileIsAnybodys)
{
    for (const std::string& log : {std::string(), std::string("/dev/null"), m_Folder / "nowhere/log"}) {
        const LogClaim claim(log);
        EXPECT_FALSE(IsTaken(log));
    }
    EXPECT_FALSE(fs::exists("/dev/null.lock"));
}

}  // namespace
}  // namespace northbound
