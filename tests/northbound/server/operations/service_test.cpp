// Every operation, asked with plain structs in the test's own process: no ORB, no other front end.
#include "server/operations/service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <variant>

#include "nbiutil/nbirsa.h"
#include "northbound/server/operations/inprocess.h"
#include "server/figures/machine.h"
#include "shared/names.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

namespace fs = std::filesystem;

constexpr const char* OPERATION = "01234567-89ab-cdef-0123-456789abcdef";

std::string Loopback()
{
    return Machine().DistinguishedName("lo");
}

/// Hexadecimal text of \p secret under the server's key.
std::string Encrypted(const PublicKey::Result& key, const std::string& secret)
{
    char* pOut = nullptr;
    long nLength = static_cast<long>(secret.size());
    NS_UTIL::RsaAlgorithm::Encrypt(pOut, secret.data(), nLength, key.m_Der.data(),
                                   static_cast<int>(key.m_Der.size()));
    const std::unique_ptr<char[]> pCipher(pOut);
    return NS_UTIL::ByteToHex(reinterpret_cast<const unsigned char*>(pOut), static_cast<int>(nLength));
}

class ServiceTest : public ::testing::Test {
protected:
    /// Asks and expects a result.
    template <class Operation>
    typename Operation::Result Ask(typename Operation::Request request)
    {
        m_Driven.insert(Operation::PROFILE.m_pName);
        auto outcome = m_Server.Ask<Operation>(std::move(request));
        if (const Failure* const pFailure = std::get_if<Failure>(&outcome)) {
            ADD_FAILURE() << Operation::PROFILE.m_pName << ": " << pFailure->m_Detail;
            return {};
        }
        return std::get<typename Operation::Result>(std::move(outcome));
    }

    InProcessServer m_Server{
        "HugeTaskLimit = 4\nPassword_alice = " + PasswordDigest("alice", "open sesame", 11) + "\n"};
    std::set<std::string> m_Driven;
};

template <class... Operations>
std::multiset<std::string> NamesOf(const std::tuple<Operations...>* /*operations*/)
{
    return {Operations::PROFILE.m_pName...};
}

template <class... Operations>
std::set<int> NumbersOf(const std::tuple<Operations...>* /*operations*/)
{
    return {Operations::PROFILE.m_nId...};
}

TEST_F(ServiceTest, EveryOperationAnswersWithoutAFrontEnd)
{
    const Inventory::Result inventory = Ask<Inventory>({});
    const auto lo = std::find_if(inventory.m_Items.begin(), inventory.m_Items.end(),
                                 [](const auto& port) { return port.m_Dn == Loopback(); });
    ASSERT_NE(lo, inventory.m_Items.end());
    ASSERT_EQ(lo->m_Figures.size(), 1u);
    EXPECT_EQ(lo->m_Figures[0].m_Name, "rxBytes");

    ASSERT_EQ(Ask<Columns>({}).m_Columns.size(), 1u);
    EXPECT_EQ(Ask<ReadCounters>({Loopback()}).m_Dn, Loopback());

    const Collect::Result collected = Ask<Collect>({Loopback(), 10, 20});
    EXPECT_EQ(collected.m_nSamples, 3u);
    EXPECT_THAT(collected.m_File, HasSubstr("/perf-lo-" + collected.m_Operation + ".csv"));
    m_Driven.insert(Cancel::PROFILE.m_pName);
    EXPECT_EQ(CodeOf(m_Server.Ask<Cancel>({collected.m_Operation})), ErrCode::BAD_ARGUMENT) << "it is over";
    Ask<HugeTasks>({});
    ASSERT_FALSE(Ask<Order>({OPERATION, {Loopback(), 10, 20}}).m_bKnown);
    EXPECT_EQ(Ask<Await>({OPERATION, Await::LONGEST}).m_State.m_nTaken, 3u);
    EXPECT_EQ(Ask<Fetch>({OPERATION, 0, 0}).m_Digest.size(), 64u);
    EXPECT_TRUE(Ask<Orders>({}).m_Items.empty());
    EXPECT_TRUE(Ask<Servers>({}).m_Items.empty());
    fs::remove(Ask<Await>({OPERATION, 0}).m_State.m_End.m_File);
    EXPECT_EQ(Ask<Pools>({}).m_Pools.size(), 3u);
    EXPECT_EQ(Ask<Pack>({"gzip", 1}).m_Archives, std::vector<std::string>{collected.m_File + ".gz"});

    EXPECT_EQ(Ask<Files>({}).m_Items.size(), 1u);
    EXPECT_EQ(Ask<Clean>({}).m_nFiles, 0u) << "nothing is that old";

    const PublicKey::Result key = Ask<PublicKey>({});
    EXPECT_EQ(Ask<SendSecret>({Encrypted(key, "open sesame")}).m_nBytes, 11u);
    const std::string challenge = Ask<Challenge>({}).m_Text;
    EXPECT_EQ(Ask<Login>({Encrypted(key, challenge + "open sesame")}).m_Key.size(), 32u);
    EXPECT_EQ(CodeOf(m_Server.Ask<Login>({Encrypted(key, "open sesame")})), ErrCode::NOT_LOGGED_IN);
    m_Driven.insert(Logout::PROFILE.m_pName);
    EXPECT_EQ(CodeOf(m_Server.Ask<Logout>({})), ErrCode::NOT_LOGGED_IN) << "the caller carries no key";
    const Sessions::Result sessions = Ask<Sessions>({});
    ASSERT_EQ(sessions.m_Items.size(), 1u);
    EXPECT_EQ(sessions.m_Items[0].m_User, "alice");
    EXPECT_EQ(sessions.m_Items[0].m_Address, "192.0.2.1:7");

    Ask<SetItem>({"HugeTaskLimit", "5"});
    EXPECT_THAT(nbitest::ReadFile(m_Server.ConfigFile()), HasSubstr("HugeTaskLimit=5\n"));
    Ask<Stop>({});
    EXPECT_TRUE(m_Server.IsStopRequested());

    const Service::Operations* const pAll = nullptr;
    const std::multiset<std::string> all = NamesOf(pAll);
    EXPECT_EQ(std::multiset<std::string>(m_Driven.begin(), m_Driven.end()), all)
        << "every operation, each under a name of its own";
    EXPECT_EQ(NumbersOf(pAll).size(), all.size()) << "each under a number of its own";
}

TEST_F(ServiceTest, ProcessHasNoOrb)
{
    Ask<Inventory>({});
    EXPECT_THAT(nbitest::ReadFile("/proc/self/maps"), Not(HasSubstr("omni")));
}

TEST_F(ServiceTest, FailureHasCodeAndDetailAndIsLoggedForItsRequest)
{
    const auto outcome = m_Server.Ask<ReadCounters>({"ne=x,port=y"});
    EXPECT_EQ(CodeOf(outcome), ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(std::get<Failure>(outcome).m_Detail, "there is no managed object \"ne=x,port=y\"");
    EXPECT_THAT(m_Server.LogText(),
                ::testing::ContainsRegex("<OpUUID>[^ ]*</OpUUID> \\[2 counters\\] alice dispatcher the "
                                         "request fails with code 0x4E420001"));
}

TEST_F(ServiceTest, ArgumentsOutsideTheirRangeAreRefused)
{
    EXPECT_EQ(CodeOf(m_Server.Ask<Collect>({"ne=x,port=y", 100, 100})), ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(CodeOf(m_Server.Ask<Collect>({Loopback(), 9, 100})), ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(CodeOf(m_Server.Ask<Collect>({Loopback(), 100, 99})), ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(CodeOf(m_Server.Ask<Collect>({Loopback(), 100, 24U * 3600U * 1000U + 1})),
              ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(CodeOf(m_Server.Ask<Pack>({"rar", 1})), ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(CodeOf(m_Server.Ask<Pack>({"tar", 0})), ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(CodeOf(m_Server.Ask<SendSecret>({"xyz"})), ErrCode::BAD_CIPHER_TEXT);
    EXPECT_EQ(CodeOf(m_Server.Ask<Inventory>({}, std::string(65, 'x'))), ErrCode::BAD_ARGUMENT);
}

}  // namespace
}  // namespace northbound
