// Nothing is lost for what the server has under 0 to 2, nor for a program that does not start.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "nbiutil/zipfile.h"
#include "util/packing.h"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::Names;
using nbitest::NameSet;
using nbitest::NotStarted;
using nbitest::OutputOf;
using nbitest::PassesInChild;
using nbitest::Strings;

/// A child that hangs ends the test.
constexpr unsigned int PATIENCE = 60;

class PackingStartTest : public nbitest::PackingTest {
protected:
    int ZipOnBareStreams(Names& in)
    {
        std::string workDir = m_Dir.Path();
        return m_pPacker->ArchiveZipFile(workDir, in, m_Out, static_cast<int>(in.size()));
    }
    int TarOnBareStreams(Names& in)
    {
        return m_pPacker->TarFile(m_Dir.Path(), in, m_Out, static_cast<long>(in.size()));
    }
    /// Packs with zip, tar and gzip in a process that \p prepare has made strange.
    template <class Prepare>
    void ExpectWholeArchives(Prepare prepare)
    {
        Names zipped = AddFiles({"a.log", "b.log"});
        Names tarred = AddFiles({"c.log", "d.log"});
        const Names gzipped = AddFiles({"e.log"});
        EXPECT_TRUE(PassesInChild([&] {
            prepare();
            alarm(PATIENCE);
            ZipOnBareStreams(zipped);
            TarOnBareStreams(tarred);
            m_pPacker->ZipFile(m_Dir.Path(), gzipped, m_Out);
        }));
        EXPECT_EQ(m_Dir.Names(), (NameSet{"a.zip", "c.tar", "e.log.gz"}));
        EXPECT_NE(OutputOf("unzip -t " + In("a.zip")).find("No errors"), std::string::npos);
        EXPECT_EQ(OutputOf("unzip -p " + In("a.zip")), "text of a.logtext of b.log");
        EXPECT_EQ(Members(In("c.tar")), (Strings{"c.log", "d.log"}));
        EXPECT_EQ(OutputOf("tar -xOf " + In("c.tar")), "text of c.logtext of d.log");
        EXPECT_EQ(OutputOf("gzip -dc " + In("e.log.gz")), "text of e.log");
    }
};

TEST_F(PackingStartTest, ClosedOutputDoesNotEndUpInTheArchive)
{
    ExpectWholeArchives([] { close(1); });
}

TEST_F(PackingStartTest, ClosedErrorOutputDoesNotEndUpInTheArchive)
{
    ExpectWholeArchives([] { close(2); });
}

TEST_F(PackingStartTest, NoStandardStreamIsNeeded)
{
    ExpectWholeArchives([] {
        for (const int nStream : {0, 1, 2}) close(nStream);
    });
}

TEST_F(PackingStartTest, OutputThatIsClosedOnTheWayDoesNotEndUpInTheArchive)
{
    ExpectWholeArchives([] {
        for (const int nStream : {0, 1, 2}) close(nStream);
        for (int i = 0; i < 3; ++i) open("/dev/null", O_RDWR | O_CLOEXEC);
    });
}

TEST_F(PackingStartTest, PipeWithoutAReaderKillsNoChild)
{
    ExpectWholeArchives([] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(dup2(ends[1], 1), 1);
        ASSERT_EQ(dup2(ends[1], 2), 2);
        for (const int nEnd : ends) close(nEnd);
    });
}

TEST_F(PackingStartTest, PipeThatNobodyEmptiesStopsNoChild)
{
    ExpectWholeArchives([] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
        while (write(ends[1], "xxxxxxxx", 8) > 0) continue;
        ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
        ASSERT_EQ(dup2(ends[1], 1), 1);
        ASSERT_EQ(dup2(ends[1], 2), 2);  // ends[0] stays open: there is a reader
    });
}

TEST_F(PackingStartTest, CommandsReadNothingOfTheServersInput)
{
    EXPECT_TRUE(PassesInChild([this] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(dup2(ends[0], 0), 0);  // ends[1] stays open: more could come
        alarm(PATIENCE);
        EXPECT_TRUE(m_pPacker->ExecuteCmd(m_Dir.Path(), "sh -c 'cat > read'"));
    }));
    EXPECT_TRUE(m_Dir.Has("read"));
    EXPECT_EQ(m_Dir.Text("read"), "");
}

// Programs that do not start

TEST_F(PackingStartTest, ProgramWithoutItsLoaderDeletesNothing)
{
    std::string program = nbitest::ReadFile("/bin/true");
    const std::size_t nLoader = program.find("/ld-");
    if (nLoader == std::string::npos) GTEST_SKIP() << "/bin/true needs no loader";
    program.replace(nLoader, 4, "/no-");
    ASSERT_EQ(mkdir(In("bin").c_str(), 0755), 0);
    for (const std::string name : {"zip", "gzip"}) m_Dir.Add("bin/" + name, program, 0755);
    setenv("PATH", In("bin").c_str(), 1);
    const Names before = AddFiles({"a.log", "b.log"});
    Names in = before;
    Zip(in, 2);
    nbitest::Printed quiet;
    m_pPacker->ZipFile(m_Dir.Path(), {In("a.log")}, m_Out);
    EXPECT_EQ(in, before);
    EXPECT_TRUE(m_Out.empty());
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a.log", "b.log", "bin"}));
    EXPECT_EQ(m_Host.Logs(), std::vector<LogLine>(2, NotStarted(ENOENT)));
}

TEST_F(PackingStartTest, EnvironmentThatTheSystemRefusesDeletesNothing)
{
    const Names before = AddFiles({"a.log", "b.log"});
    Names in = before;
    setenv("NBI_LARGE", std::string(200 * 1024, 'x').c_str(), 1);
    Zip(in, 2);
    unsetenv("NBI_LARGE");
    EXPECT_EQ(in, before);
    EXPECT_TRUE(m_Out.empty());
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a.log", "b.log"}));
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(E2BIG)}));
}

}  // namespace
}  // namespace NS_UTIL
