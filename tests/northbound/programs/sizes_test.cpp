// Texts that are too long or no texts, sent past the client's own checks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "northbound/programs/requests.h"
#include "shared/names.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

class SizesTest : public ::testing::Test {
protected:
    void ExpectRefused(const std::function<void()>& request, const std::string& detail) const
    {
        const Northbound::OperationFailed failure = FailureOf(request);
        EXPECT_EQ(failure.code, ErrCode::BAD_ARGUMENT) << detail;
        EXPECT_EQ(std::string(failure.detail.in()), detail);
    }

    Northbound::Manager_ptr Manager() const { return m_Session.Server(); }
    const Northbound::Caller& Who() const { return m_Session.Who(); }

    Server m_Server;
    const Session m_Session{m_Server.Address(), "alice"};
};

/// Most of what fits into a message, and nothing of it gets into the log.
TEST_F(SizesTest, TextOverItsLimitIsRefusedWithACodeAndLeavesTheLogAlone)
{
    const std::string text(60000, 'x');
    const char* const pLong = text.c_str();
    ExpectRefused([&] { Manager()->ReadCounters(Who(), pLong); },
                  "the object's name is longer than 256 bytes");
    ExpectRefused([&] { Manager()->Collect(Who(), Order(100, 100, text)); },
                  "the object's name is longer than 256 bytes");
    ExpectRefused([&] { Manager()->SetItem(Who(), pLong, "1"); }, "the item's name is longer than 256 bytes");
    ExpectRefused([&] { Manager()->SetItem(Who(), "HugeTaskLimit", pLong); },
                  "the value is longer than 4096 bytes");
    ExpectRefused([&] { Manager()->SendSecret(Who(), pLong); },
                  "the encrypted secret is longer than 1024 bytes");
    ExpectRefused([&] { Manager()->Login(Who(), pLong); },
                  "the encrypted password is longer than 1024 bytes");
    Northbound::PackOrder work;
    work.method = pLong;
    work.perArchive = 1;
    ExpectRefused([&] { Manager()->Pack(Who(), work); }, "the method is longer than 256 bytes");
    ExpectRefused([&] { Manager()->HugeTasks(CallerOf(text), ""); },
                  "the user's name is longer than 64 characters");
    EXPECT_LT(std::filesystem::file_size(m_Server.Directory() + "/log"), 100000u);
}

TEST_F(SizesTest, RequestOverAMessageIsNotSentAndTheClientSaysWhy)
{
    const std::string text(MAX_MESSAGE, 'x');
    const std::vector<std::string> arguments{"--server", m_Server.Address(), "config",
                                             "set",      "HugeTaskLimit",    text};
    const Outcome outcome = RunClient(arguments);
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_EQ(outcome.m_Error,
              "nbi-client: the request is longer than the 65536 bytes of a message; it was not sent\n");
    EXPECT_EQ(ReadFile(m_Server.Directory() + "/log").find("9 config"), std::string::npos);
}

TEST_F(SizesTest, LongestTextsReachTheOperation)
{
    const std::string name(256, 'x');
    EXPECT_EQ(FailureOf([&] { Manager()->ReadCounters(Who(), name.c_str()); }).code, ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(FailureOf([&] { Manager()->SendSecret(Who(), std::string(1024, '0').c_str()); }).code,
              ErrCode::BAD_CIPHER_TEXT);
}

TEST_F(SizesTest, BytesThatAreNoTextAreEscapedInAnswerAndLog)
{
    const Northbound::OperationFailed failure =
        FailureOf([&] { Manager()->ReadCounters(CallerOf("al\xFF"), "p\xC3z"); });
    EXPECT_EQ(std::string(failure.detail.in()), "there is no managed object \"p\\xC3z\"");
    const std::string log = ReadFile(m_Server.Directory() + "/log");
    EXPECT_THAT(log, HasSubstr("al\\xFF dispatcher the request fails"));
    EXPECT_EQ(log.find_first_of("\xC3\xFF"), std::string::npos);
}

}  // namespace
}  // namespace northbound
