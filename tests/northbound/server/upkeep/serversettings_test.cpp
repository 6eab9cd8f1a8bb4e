#include "server/upkeep/serversettings.h"

#include <gtest/gtest.h>

#include "nbihost/recordinghost.h"
#include "server/serving/hostname.h"
#include "shared/names.h"

namespace northbound {
namespace {

class ServerSettingsTest : public ::testing::Test {
protected:
    void SetNumber(const std::string& key, int nValue)
    {
        m_Host.SetStr(key, std::to_string(nValue));
        m_Host.SetInt(key, nValue);
    }

    nbitest::RecordingHost m_Host;
};

TEST_F(ServerSettingsTest, EmptyConfigurationServesNobodyFromTheNetwork)
{
    const Settings settings = ReadSettings("/etc/nbi/server.ini");
    EXPECT_FALSE(settings.m_Listening.m_Tcp);
    EXPECT_EQ(settings.m_Listening.m_Socket, "");
    EXPECT_EQ(settings.m_Listening.m_SocketGroup, "");
    EXPECT_EQ(settings.m_Anonymous, Role::NONE);
    EXPECT_EQ(settings.m_CollectionDirectory, "/etc/nbi/collections");
    EXPECT_EQ(settings.m_OutputFile, "/etc/nbi/nbi-server.out");
    EXPECT_EQ(settings.m_DescriptionFile, "/etc/nbi/descriptions/northbound.xml");
    EXPECT_EQ(settings.m_ElementRoot, "/");
    EXPECT_EQ(settings.m_nHugeTaskLimit, 4);
    EXPECT_EQ(settings.m_nPerPortLimit, 3);
}

TEST_F(ServerSettingsTest, ItemsAreTaken)
{
    SetNumber("ListenPort", 0);
    SetNumber("HugeTaskLimit", 0);
    SetNumber("CollectionsPerPort", 9);
    m_Host.SetStr("ListenAddress", "192.0.2.1");
    m_Host.SetStr("ListenSocket", "a.sock");
    m_Host.SetStr("ListenGroup", "operators");
    m_Host.SetStr("Anonymous", "collector");
    m_Host.SetStr("CollectionDirectory", "../data");
    m_Host.SetStr("OutputFile", "/var/log/out");
    m_Host.SetStr("DescriptionFile", "described.xml");
    m_Host.SetStr("ElementRoot", "tree");
    const Settings settings = ReadSettings("/etc/nbi/server.ini");
    EXPECT_EQ(settings.m_Listening.m_Tcp->m_nPort, 0);
    EXPECT_EQ(settings.m_Listening.m_Tcp->m_Host, "192.0.2.1");
    EXPECT_EQ(settings.m_Listening.m_Socket, "/etc/nbi/a.sock");
    EXPECT_EQ(settings.m_Listening.m_SocketGroup, "operators");
    EXPECT_EQ(settings.m_Anonymous, Role::COLLECTOR);
    EXPECT_EQ(settings.m_nHugeTaskLimit, 0);
    EXPECT_EQ(settings.m_nPerPortLimit, 9);
    EXPECT_EQ(settings.m_CollectionDirectory, "/etc/data");
    EXPECT_EQ(settings.m_OutputFile, "/var/log/out");
    EXPECT_EQ(settings.m_DescriptionFile, "/etc/nbi/described.xml");
    EXPECT_EQ(settings.m_ElementRoot, "/etc/nbi/tree");
}

TEST_F(ServerSettingsTest, AddressOrPortAloneAsksForTcp)
{
    SetNumber("ListenPort", 4711);
    EXPECT_EQ(ReadSettings("/etc/nbi/server.ini").m_Listening.m_Tcp->m_Host, "127.0.0.1");
    const nbitest::RecordingHost other;
    m_Host.SetStr("ListenAddress", "192.0.2.1");
    EXPECT_EQ(ReadSettings("/etc/nbi/server.ini").m_Listening.m_Tcp->m_Host, "192.0.2.1");
}

TEST_F(ServerSettingsTest, RoleThatIsNoneLetsNobodyIn)
{
    m_Host.SetStr("Anonymous", "Admin");
    EXPECT_EQ(ReadSettings("/etc/nbi/server.ini").m_Anonymous, Role::NONE);
}

TEST_F(ServerSettingsTest, ValueOutOfRangeIsRefusedWithFileAndKey)
{
    SetNumber("ListenPort", 65536);
    try {
        ReadSettings("/etc/nbi/server.ini");
        FAIL();
    } catch (const SettingsError& e) {
        EXPECT_STREQ(e.what(),
                     "/etc/nbi/server.ini: ListenPort: \"65536\" is not a whole number from 0 to 65535");
    }
}

TEST_F(ServerSettingsTest, ValueThatIsNoNumberIsRefused)
{
    m_Host.SetStr("HugeTaskLimit", "four");
    EXPECT_THROW(ReadSettings("/etc/nbi/server.ini"), SettingsError);
}

TEST_F(ServerSettingsTest, EmptyTextIsRefused)
{
    m_Host.SetStr("ListenAddress", "");
    EXPECT_THROW(ReadSettings("/etc/nbi/server.ini"), SettingsError);
}

TEST_F(ServerSettingsTest, ThereIsNoBookUnlessOneIsNamed)
{
    m_Host.SetStr("BookServer", "a");
    EXPECT_EQ(ReadSettings("/etc/nbi/server.ini").m_Book.m_Connection, "");
    EXPECT_TRUE(ReadSettings("/etc/nbi/server.ini").m_Book.m_Elements.empty());
}

TEST_F(ServerSettingsTest, BookHasWhatItsItemsSay)
{
    m_Host.SetStr("Book", "service=nbi");
    const BookPlace usual = ReadSettings("/etc/nbi/server.ini").m_Book;
    EXPECT_EQ(usual.m_Elements, std::vector<std::string>{HostName()});
    EXPECT_EQ(usual.m_Lease, std::chrono::seconds(6));
    EXPECT_EQ(usual.m_Address, "");
    m_Host.SetStr("BookServer", "north-1.b");
    m_Host.SetStr("BookAddress", "192.0.2.1:7");
    m_Host.SetStr("Elements", "one  two");
    SetNumber("BookLease", 9);
    const BookPlace book = ReadSettings("/etc/nbi/server.ini").m_Book;
    EXPECT_EQ(book.m_Connection, "service=nbi");
    EXPECT_EQ(book.m_Server, "north-1.b");
    EXPECT_EQ(book.m_Address, "192.0.2.1:7");
    EXPECT_EQ(book.m_Elements, (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(book.m_Lease, std::chrono::seconds(9));
}

/// The name is a folder's, too.
TEST_F(ServerSettingsTest, NameOfAServerThatCouldBeAPathIsRefused)
{
    m_Host.SetStr("Book", "service=nbi");
    for (const std::string name : {"a/b", "..", ".a", "a b", "a%"}) {
        m_Host.SetStr("BookServer", name);
        EXPECT_THROW(ReadSettings("/etc/nbi/server.ini"), SettingsError) << name;
    }
    m_Host.SetStr("BookServer", std::string(65, 'a'));
    EXPECT_THROW(ReadSettings("/etc/nbi/server.ini"), SettingsError);
    m_Host.SetStr("BookServer", "a");
    m_Host.SetStr("Elements", " ");
    EXPECT_THROW(ReadSettings("/etc/nbi/server.ini"), SettingsError);
}

}  // namespace
}  // namespace northbound
