// nbi-client fetch: parts of a collection, brought together from servers that may be gone, or hostile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <openssl/sha.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "northbound/programs/fakeserver.h"
#include "northbound/programs/programs.h"
#include "shared/names.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Words = std::vector<std::string>;

const std::string OPERATION = "01234567-89ab-4cde-8f01-23456789abcd";
const std::string HEADING = "time,rxBytes\n";
const std::string FIRST = HEADING + "2026-11-21T23:59:50.000Z,1\n2026-11-21T23:59:51.000Z,2\n";
const std::string SECOND = HEADING + "2026-11-21T23:59:52.000Z,3\n";
const std::string WHOLE = FIRST + "2026-11-21T23:59:52.000Z,3\n";

std::string DigestOf(const std::string& text)
{
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
    std::string hex;
    for (const unsigned char n : digest) {
        char digits[3];
        snprintf(digits, sizeof(digits), "%02x", n);
        hex += digits;
    }
    return hex;
}

/// At most ten bytes of \p part.
Northbound::PartPiece PieceOf(const std::string& part, unsigned long long nOffset)
{
    const std::string bytes = part.substr(nOffset, 10);
    Northbound::PartPiece piece;
    piece.data.length(static_cast<CORBA::ULong>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), piece.data.get_buffer());
    piece.offset = nOffset;
    piece.size = part.size();
    piece.digest = DigestOf(part).c_str();
    return piece;
}

[[noreturn]] void SayElsewhere()
{
    throw Northbound::OperationFailed(ErrCode::PART_ELSEWHERE, "it is not here");
}

/// The servers a and b, each with a part of the collection.
class FetchTest : public ::testing::Test {
protected:
    FetchTest()
    {
        setenv("XDG_RUNTIME_DIR", m_Runtime.Path().c_str(), 1);
        m_A.m_Servers = m_B.m_Servers = BookOf(m_Directory, {"a", "b"});
        m_A.m_Await =
            m_B.m_Await = [](const std::string& operation, int /*nAsked*/) { return State(operation); };
        m_A.m_Fetch = [](unsigned int nFirst, unsigned long long nOffset) {
            if (nFirst != 0) SayElsewhere();
            return PieceOf(FIRST, nOffset);
        };
        m_B.m_Fetch = [](unsigned int nFirst, unsigned long long nOffset) {
            if (nFirst != 2) SayElsewhere();
            return PieceOf(SECOND, nOffset);
        };
    }

    static Northbound::OrderState State(const std::string& operation)
    {
        Northbound::OrderState state = EndedState(operation);
        AddPart(state, "a", 0, 2);
        AddPart(state, "lost", 2, 0);
        AddPart(state, "b", 2, 1);
        return state;
    }

    Outcome Fetch(const std::string& server, Words options = {}) const
    {
        Words line{
            "--server", FakeServer::AddressOf(m_Directory, server), "--timeout", "8", "fetch", OPERATION,
            m_File};
        line.insert(line.end(), options.begin(), options.end());
        return RunClient(line);
    }

    bool IsEmpty() const { return m_Out.Names().empty(); }

    /// The outcome with a server whose order's state, or piece, is \p change'd.
    Outcome FetchWith(const std::function<void(Northbound::OrderState&)>& change)
    {
        m_A.m_Await = [change](const std::string& operation, int /*nAsked*/) {
            Northbound::OrderState state = State(operation);
            change(state);
            return state;
        };
        const FakeServer a(m_Directory, "a", m_A);
        return Fetch("a");
    }
    Outcome FetchWithPiece(const std::function<void(Northbound::PartPiece&)>& change)
    {
        m_A.m_Fetch = [change](unsigned int nFirst, unsigned long long nOffset) {
            Northbound::PartPiece piece = PieceOf(nFirst == 0 ? FIRST : SECOND, nOffset);
            change(piece);
            return piece;
        };
        m_A.m_Servers.length(1);
        const FakeServer a(m_Directory, "a", m_A);
        return Fetch("a");
    }

    const TestDirectory m_Runtime;
    const TestDirectory m_Directory;
    const TestDirectory m_Out;
    const std::string m_File = m_Out / "all.csv";
    FakeAnswers m_A;
    FakeAnswers m_B;
};

TEST_F(FetchTest, PartsOfTwoServersBecomeOneFile)
{
    const FakeServer a(m_Directory, "a", m_A);
    const FakeServer b(m_Directory, "b", m_B);
    const Outcome outcome = Fetch("b");
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(outcome.m_Output, m_File + ": 3 samples of 2 parts\n");
    EXPECT_EQ(ReadFile(m_File), WHOLE);
    EXPECT_EQ(m_Out.Names(), std::set<std::string>{"all.csv"});
    EXPECT_THAT(a.Calls(), Not(HasSubstr("fetch 2"))) << "the server that has it is asked first";
}

TEST_F(FetchTest, AnswerAsJson)
{
    const FakeServer a(m_Directory, "a", m_A);
    const FakeServer b(m_Directory, "b", m_B);
    const auto answer = nlohmann::json::parse(Fetch("a", {"--json"}).m_Output);
    EXPECT_EQ(answer, nlohmann::json({{"file", m_File}, {"samples", 3}, {"parts", 2}}));
}

/// As on a folder that the servers share.
TEST_F(FetchTest, AnotherServerThatCanReadThePartGivesIt)
{
    m_B.m_Fetch = [](unsigned int nFirst, unsigned long long nOffset) {
        return PieceOf(nFirst == 0 ? FIRST : SECOND, nOffset);
    };
    const FakeServer b(m_Directory, "b", m_B);
    EXPECT_EQ(Fetch("b").m_nExitCode, 0);
    EXPECT_EQ(ReadFile(m_File), WHOLE);
}

TEST_F(FetchTest, ServerThatDiesWithinAPartIsFollowedByTheNext)
{
    m_A.m_Fetch = [](unsigned int /*nFirst*/, unsigned long long nOffset) -> Northbound::PartPiece {
        if (nOffset > 20) Die();
        return PieceOf(FIRST, nOffset);
    };
    m_B.m_Fetch = [](unsigned int nFirst, unsigned long long nOffset) {
        return PieceOf(nFirst == 0 ? FIRST : SECOND, nOffset);
    };
    const FakeServer a(m_Directory, "a", m_A);
    const FakeServer b(m_Directory, "b", m_B);
    EXPECT_EQ(Fetch("a").m_nExitCode, 0);
    EXPECT_EQ(ReadFile(m_File), WHOLE);
}

TEST_F(FetchTest, PartOfAServerThatIsDownIsNamedAndTheSameCommandCompletesTheFile)
{
    {
        const FakeServer a(m_Directory, "a", m_A);
        const Outcome outcome = Fetch("a");
        EXPECT_EQ(outcome.m_nExitCode, 4);
        EXPECT_THAT(outcome.m_Error,
                    HasSubstr(m_File + " is not whole: samples 2 to 2 of server b are missing ("));
        EXPECT_EQ(m_Out.Names(), std::set<std::string>{"all.csv." + OPERATION + ".0.part"});
        const auto error = nlohmann::json::parse(Fetch("a", {"--json"}).m_Output).at("error");
        EXPECT_EQ(error.at("kind"), "incomplete");
        EXPECT_EQ(error.at("exit"), 4);
    }
    const FakeServer b(m_Directory, "b", m_B);
    EXPECT_EQ(Fetch("b").m_nExitCode, 0) << "a is gone, but its part is here";
    EXPECT_EQ(ReadFile(m_File), WHOLE);
    EXPECT_EQ(m_Out.Names(), std::set<std::string>{"all.csv"});
}

TEST_F(FetchTest, KeptPartThatIsDamagedIsBroughtAgain)
{
    WriteFile(m_File + "." + OPERATION + ".0.part", HEADING + "2026-11-21T23:59:50.000Z,1\n");
    const FakeServer a(m_Directory, "a", m_A);
    const FakeServer b(m_Directory, "b", m_B);
    EXPECT_EQ(Fetch("a").m_nExitCode, 0);
    EXPECT_EQ(ReadFile(m_File), WHOLE);
}

/// What a killed client has left.
TEST_F(FetchTest, OldDraftIsReplaced)
{
    WriteFile(m_File + ".draft", std::string(1000, 'x'));
    const FakeServer a(m_Directory, "a", m_A);
    const FakeServer b(m_Directory, "b", m_B);
    EXPECT_EQ(Fetch("a").m_nExitCode, 0);
    EXPECT_EQ(ReadFile(m_File), WHOLE);
}

TEST_F(FetchTest, DraftThatAnotherClientWritesIsLeftToIt)
{
    m_A.m_Fetch = [](unsigned int /*nFirst*/, unsigned long long /*nOffset*/) -> Northbound::PartPiece {
        Hang();
    };
    const FakeServer a(m_Directory, "a", m_A);
    Program first(m_Directory.Path(), "client",
                  {NBI_CLIENT, "--server", FakeServer::AddressOf(m_Directory, "a"), "--timeout", "600",
                   "fetch", OPERATION, m_File});
    ASSERT_TRUE(Eventually([&a] { return a.Calls().find("fetch") != std::string::npos; }));
    const Outcome second = Fetch("a");
    EXPECT_EQ(second.m_nExitCode, 2);
    EXPECT_EQ(second.m_Error, "nbi-client: another client is writing " + m_File + ".draft\n");
}

TEST_F(FetchTest, CollectionThatRunsIsNotFetched)
{
    const Outcome outcome = FetchWith([](Northbound::OrderState& state) {
        state.phase = "running";
        state.samplesTaken = 2;
    });
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("the collection has not ended: 2 of 3 samples"));
    EXPECT_TRUE(IsEmpty());
}

TEST_F(FetchTest, CollectionThatFailedIsAFailure)
{
    const Outcome outcome = FetchWith([](Northbound::OrderState& state) { state.code = ErrCode::CANCELLED; });
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("0x4E42000F"));
}

TEST_F(FetchTest, PartsThatAreNotTheCollectionAreRefused)
{
    const std::vector<std::function<void(Northbound::OrderState&)>> changes{
        [](Northbound::OrderState& state) { state.parts.length(0); },
        [](Northbound::OrderState& state) { state.parts.length(1); },
        [](Northbound::OrderState& state) { state.parts[0].samples = 0xFFFFFFFFU; },
        [](Northbound::OrderState& state) { state.parts[2].first = 1; },
        [](Northbound::OrderState& state) { state.parts[2].samples = 2; },
        [](Northbound::OrderState& state) { state.samplesPlanned = 4; },
        [](Northbound::OrderState& state) { state.parts.length(1001); }};
    for (const auto& change : changes) {
        const Outcome outcome = FetchWith(change);
        EXPECT_EQ(outcome.m_nExitCode, 1);
        EXPECT_THAT(outcome.m_Error, HasSubstr("the parts that the server tells of are not the collection"));
        EXPECT_TRUE(IsEmpty());
    }
}

TEST_F(FetchTest, PiecesThatAreNotThePartAreRefused)
{
    const std::vector<std::function<void(Northbound::PartPiece&)>> changes{
        [](Northbound::PartPiece& piece) { piece.size = 0; },
        [](Northbound::PartPiece& piece) { piece.size = 1ULL << 40U; },
        [](Northbound::PartPiece& piece) { piece.size += piece.offset; },
        [](Northbound::PartPiece& piece) { piece.offset += 1; },
        [](Northbound::PartPiece& piece) { piece.data.length(0); },
        [](Northbound::PartPiece& piece) { piece.data.length(1000); },
        [](Northbound::PartPiece& piece) { piece.digest = std::to_string(piece.offset).c_str(); },
        [](Northbound::PartPiece& piece) { piece.digest = "0"; },
        [](Northbound::PartPiece& piece) { piece.data[0] = 'x'; }};
    for (const auto& change : changes) {
        const Outcome outcome = FetchWithPiece(change);
        EXPECT_EQ(outcome.m_nExitCode, 4);
        EXPECT_THAT(outcome.m_Error, HasSubstr("samples 0 to 1 of server a are missing"));
        EXPECT_TRUE(IsEmpty());
    }
}

/// The digest is right, but these are no samples.
TEST_F(FetchTest, LinesThatAreNotThePartAreRefused)
{
    for (const std::string& wrong :
         {SECOND, FIRST + "2026-11-21T23:59:51.000Z,2\n", FIRST.substr(1), FIRST.substr(0, FIRST.size() - 1),
          std::string("time,a\n1,2,3\n1,2\n")}) {
        m_A.m_Fetch = [wrong](unsigned int nFirst, unsigned long long nOffset) {
            return PieceOf(nFirst == 0 ? wrong : SECOND, nOffset);
        };
        const FakeServer a(m_Directory, "a", m_A);
        const Outcome outcome = Fetch("a");
        EXPECT_EQ(outcome.m_nExitCode, 4) << wrong;
        EXPECT_THAT(outcome.m_Error, HasSubstr("these are not the lines of the part"));
        EXPECT_FALSE(m_Out.Has("all.csv"));
    }
}

TEST_F(FetchTest, PartsOfOtherColumnsAreNotJoined)
{
    m_B.m_Fetch = [](unsigned int nFirst, unsigned long long nOffset) {
        if (nFirst != 2) SayElsewhere();
        return PieceOf("time,txBytes\n2026-11-21T23:59:52.000Z,3\n", nOffset);
    };
    const FakeServer a(m_Directory, "a", m_A);
    const FakeServer b(m_Directory, "b", m_B);
    const Outcome outcome = Fetch("a");
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("the parts do not have the same columns"));
    EXPECT_FALSE(m_Out.Has("all.csv"));
}

TEST_F(FetchTest, FileThatCannotBeWrittenIsBadInput)
{
    const FakeServer a(m_Directory, "a", m_A);
    const Words line{"--server", FakeServer::AddressOf(m_Directory, "a"), "fetch", OPERATION,
                     "/nowhere/all.csv"};
    const Outcome outcome = RunClient(line);
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_THAT(outcome.m_Error, HasSubstr("/nowhere/all.csv.draft cannot be written: No such file"));
}

TEST_F(FetchTest, OperationThatIsNoUuidNeedsAFile)
{
    EXPECT_EQ(RunClient({"fetch", "../../etc/passwd"}).m_nExitCode, 2);
}

}  // namespace
}  // namespace northbound
