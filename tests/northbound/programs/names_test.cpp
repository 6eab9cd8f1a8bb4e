// Servers that go by a name, which the system may not find, or not in time.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "northbound/fakenames.h"
#include "northbound/programs/requests.h"

namespace northbound {
namespace {

class NamesTest : public ::testing::Test {
protected:
    std::string Port() const { return m_Server.Address().substr(m_Server.Address().rfind(':')); }

    static unsigned int Count(const Session& session)
    {
        return session.Read([](Northbound::Manager_ptr server, const Northbound::Caller& who) {
            return Northbound::HugeTaskPage_var(server->HugeTasks(who, ""))->tasks.length();
        });
    }

    Server m_Server;
};

/// The first address refuses.
TEST_F(NamesTest, ServerIsFoundAtAnyOfItsAddresses)
{
    const Session session("two.example" + Port(), "anna");
    EXPECT_EQ(Count(session), 0u);
    EXPECT_EQ(session.Address(), "two.example" + Port());
    StopInOrder(m_Server);
}

TEST_F(NamesTest, SearchThatHangsEndsWithTheTimeLimit)
{
    const HangingName name;
    const Session session("hangs.example:1", "anna", "", std::chrono::milliseconds(200));
    try {
        Count(session);
        FAIL() << "nobody answers";
    } catch (const CORBA::SystemException& e) {
        EXPECT_EQ(Session::ReasonOf(e), "the name hangs.example was not found: no answer in time");
    }
    StopInOrder(m_Server);
}

TEST_F(NamesTest, NameThatHangsOrIsNoneLeavesTimeForTheNextServer)
{
    const HangingName name;
    for (const char* pName : {"hangs.example:1", "unknown.example:1"}) {
        const Session session({Endpoint{pName, ""}, Endpoint{m_Server.Address(), ""}}, "anna",
                              std::chrono::seconds(4));
        EXPECT_EQ(Count(session), 0u);
        EXPECT_EQ(session.Address(), m_Server.Address());
        const Session orders({Endpoint{pName, ""}, Endpoint{m_Server.Address(), ""}}, "anna",
                             std::chrono::seconds(4));
        orders.Settle();
        EXPECT_EQ(orders.Address(), m_Server.Address());
    }
    StopInOrder(m_Server);
}

TEST_F(NamesTest, EachServerIsNamedWithWhatIsWrongWithItsName)
{
    const HangingName name;
    const Session session({Endpoint{"hangs.example:1", ""}, Endpoint{"unknown.example:1", ""}}, "anna",
                          std::chrono::milliseconds(300));
    try {
        Count(session);
        FAIL() << "nobody answers";
    } catch (const NoAnswer& e) {
        EXPECT_STREQ(e.what(),
                     "hangs.example:1 (the name hangs.example was not found: no answer in time), "
                     "unknown.example:1 (the name unknown.example was not found: Name or service not known)");
    }
    StopInOrder(m_Server);
}

}  // namespace
}  // namespace northbound
