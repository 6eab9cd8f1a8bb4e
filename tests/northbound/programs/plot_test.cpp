// Collections as curves: on a terminal, and as pictures that gnuplot draws.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "northbound/elementtree.h"
#include "northbound/programs/requests.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

/// A sample a second of two figures of bytes and one of packets; the fifth could not be read.
std::string Collected()
{
    std::string text = "time,rxBytes,rxPackets,txBytes\n";
    for (int i = 0; i < 10; ++i) {
        const std::string value = i == 5 ? "" : std::to_string(i * i * 1000);
        text.append("2026-11-21T23:59:5").append(std::to_string(i)).append(".000Z");
        for (int nCell = 0; nCell < 3; ++nCell) text.append(",").append(value);
        text += '\n';
    }
    return text;
}

class PlotTest : public ::testing::Test {
protected:
    PlotTest() { WriteFile(m_File, Collected()); }

    Outcome Plot(std::vector<std::string> words) const
    {
        words.insert(words.begin(), "plot");
        return RunClient(words);
    }

    void ExpectFailure(const std::string& text, const std::vector<std::string>& words) const
    {
        const Outcome outcome = Plot(words);
        EXPECT_EQ(outcome.m_nExitCode, 2) << outcome.m_Output;
        EXPECT_THAT(outcome.m_Error, HasSubstr(text));
        EXPECT_EQ(outcome.m_Output, "");
    }

    void ExpectNoCollection(const std::string& text, const std::string& line) const
    {
        WriteFile(m_File, text);
        ExpectFailure(m_File + " is no file of a collection: line " + line, {m_File});
    }

    /// From now on a script of the shell has gnuplot's name.
    void PutInPlaceOfGnuplot(const std::string& script) const
    {
        WriteFile(m_Folder / "gnuplot", "#!/bin/sh\n" + script);
        chmod((m_Folder / "gnuplot").c_str(), 0755);
        setenv("PATH", (m_Folder.Path() + ":" + getenv("PATH")).c_str(), 1);
    }

    const TestDirectory m_Folder;
    const std::string m_File = m_Folder / "perf-lo.csv";
    const std::string m_Picture = m_Folder / "lo.svg";
    const std::string m_Draft = m_Picture + ".part";
};

TEST_F(PlotTest, CurvesOfTheFirstUnitAreDrawnWithBlocks)
{
    const Outcome outcome = Plot({m_File});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(
        outcome.m_Output,
        HasSubstr("perf-lo.csv: 10 samples from 2026-11-21T23:59:50.000Z to 2026-11-21T23:59:59.000Z\n"));
    EXPECT_THAT(outcome.m_Output,
                HasSubstr("\nrxBytes: 8.5 KiB/s on average, at most 16.6 KiB/s\n16.6 KiB/s │ "));
    EXPECT_THAT(outcome.m_Output, HasSubstr("\ntxBytes: "));
    EXPECT_THAT(outcome.m_Output, Not(HasSubstr("rxPackets")));
    EXPECT_THAT(outcome.m_Output, HasSubstr("23:59:50 "));
}

TEST_F(PlotTest, PictureIsWhatGnuplotDraws)
{
    const Outcome outcome = Plot({m_File, "--figure", "rxBytes,rxPackets", "--output", m_Picture});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(outcome.m_Output, m_Picture + " is drawn\n");
    const std::string picture = ReadFile(m_Picture);
    for (const char* pText : {"<svg", "rxBytes", "rxPackets", "packets/s", "KiB/s", "time of day, UTC",
                              "perf-lo.csv: 10 samples", "#ffffff", "</svg>"}) {
        EXPECT_THAT(picture, HasSubstr(pText));
    }
    EXPECT_FALSE(nbitest::Exists(m_Draft));
    ASSERT_EQ(Plot({m_File, "--dark", "--output", m_Picture}).m_nExitCode, 0);
    EXPECT_THAT(ReadFile(m_Picture), HasSubstr("#16181d"));
}

TEST_F(PlotTest, CollectionOfAServerIsDrawn)
{
    const ElementTree element;
    element.Show({"p1"});
    const Server server("ElementRoot = " + element.Root() + "\n");
    const Outcome collected =
        RunClient({"--server", server.Address(), "collect", "p1", "-q", "-i", "0.01", "-d", "0.05"});
    ASSERT_EQ(collected.m_nExitCode, 0) << collected.m_Error;
    const std::string file = nbitest::OutputOf("ls " + server.Directory() + "/collections/*.csv");
    const Outcome outcome = Plot({file.substr(0, file.find('\n')), "--values", "--output", m_Picture});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(ReadFile(m_Picture), HasSubstr("rxBytes"));
}

TEST_F(PlotTest, NamesAreNoCommands)
{
    for (const std::string& name :
         {std::string("a'; system 'touch X'; '"), std::string("`touch X`"), std::string("$(touch X)"),
          std::string("a\nset output 'X'\n"), std::string("<b>&\"X\\n@X")}) {
        const std::string file = m_Folder / name;
        WriteFile(file, Collected());
        const Outcome outcome = Plot({file, "-o", m_Folder / (name + ".svg")});
        EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
        EXPECT_THAT(ReadFile(m_Folder / (name + ".svg")), HasSubstr("</svg>"));
        EXPECT_FALSE(nbitest::Exists("X")) << name;
    }
    ExpectNoCollection("time,rx'Bytes`touch X`\n2026-11-21T23:59:50.000Z,1\n", "1");
}

TEST_F(PlotTest, LineThatIsBeingWrittenIsNoneYet)
{
    WriteFile(m_File, Collected() + "2026-11-22T00:00:0");
    EXPECT_THAT(Plot({m_File}).m_Output, HasSubstr(": 10 samples from "));
}

TEST_F(PlotTest, WhatIsNoCollectionIsNamedWithItsLine)
{
    const std::string heading = "time,rxBytes\n";
    const std::string sample = "2026-11-21T23:59:50.000Z,1\n";
    ExpectNoCollection("", "1");
    ExpectNoCollection("hello\n", "1");
    ExpectNoCollection("time\n", "1");
    ExpectNoCollection(std::string("\0\1\2\n", 4), "1");
    ExpectNoCollection(heading + sample + "\n", "3");
    ExpectNoCollection(heading + sample + "2026-11-21T23:59:51.000Z,1,2\n", "3");
    ExpectNoCollection(heading + sample + "2026-11-21T23:59:51.000Z,-1\n", "3");
    ExpectNoCollection(heading + "2026-11-21T23:59:51.000Z,99999999999999999999\n", "2");
    ExpectNoCollection(heading + "2026-11-21 23:59:51,1\n", "2");
}

TEST_F(PlotTest, FileMayHaveAThousandColumns)
{
    const auto repeated = [](const std::string& text, int nTimes) {
        std::string all;
        for (int i = 0; i < nTimes; ++i) all += text;
        return all + "\n";
    };
    const std::string samples =
        "2026-11-21T23:59:50.000Z" + repeated(",1", 999) + "2026-11-21T23:59:51.000Z" + repeated(",2", 999);
    WriteFile(m_File, "time" + repeated(",a", 999) + samples);
    EXPECT_EQ(Plot({m_File}).m_nExitCode, 0);
    ExpectNoCollection("time" + repeated(",a", 1000) + samples, "1");
    ExpectNoCollection("time,a\n2026-11-21T23:59:50.000Z" + repeated(",", 1000000), "2");
}

TEST_F(PlotTest, FileThatCannotBeReadIsNamed)
{
    ExpectFailure("/nowhere cannot be read: No such file or directory", {"/nowhere"});
    ExpectFailure(m_Folder.Path() + " cannot be read: it is no regular file", {m_Folder.Path()});
    const std::string pipe = m_Folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ExpectFailure(pipe + " cannot be read: it is no regular file", {pipe});
    fs::resize_file(m_File, (64U << 20U) + 1);
    ExpectFailure(m_File + " cannot be read: it is longer than 64 MiB", {m_File});
}

TEST_F(PlotTest, FigureThatIsNotThereIsNamedWithThoseThatAre)
{
    ExpectFailure(m_File + " has no figure \"rxByte\"; it has rxBytes, rxPackets, txBytes",
                  {m_File, "-f", "rxBytes,rxByte"});
    ExpectFailure("at most 8 figures are drawn at once",
                  {m_File, "-f", "rxBytes,rxBytes,rxBytes,rxBytes,rxBytes,rxBytes,rxBytes,rxBytes,rxBytes"});
    WriteFile(m_File, "time,rxBytes\n2026-11-21T23:59:50.000Z,1\n");
    ExpectFailure(m_File + " has nothing to draw", {m_File});
}

TEST_F(PlotTest, WithoutGnuplotSaysSoAndDrawsWithBlocks)
{
    setenv("PATH", "/nowhere", 1);
    ExpectFailure(m_Picture + " cannot be written: gnuplot is not installed", {m_File, "-o", m_Picture});
    EXPECT_FALSE(nbitest::Exists(m_Picture));
    EXPECT_FALSE(nbitest::Exists(m_Draft));
    EXPECT_EQ(Plot({m_File}).m_nExitCode, 0);
}

TEST_F(PlotTest, PictureBeforeStaysWhenGnuplotFails)
{
    WriteFile(m_Picture, "before");
    PutInPlaceOfGnuplot("echo half\necho 'line 7: something is wrong' >&2\nexit 1\n");
    ExpectFailure(m_Picture + " cannot be written: gnuplot has failed: line 7: something is wrong\n",
                  {m_File, "-o", m_Picture});
    EXPECT_EQ(ReadFile(m_Picture), "before");
    EXPECT_FALSE(nbitest::Exists(m_Draft));
}

TEST_F(PlotTest, GnuplotThatHangsIsEnded)
{
    PutInPlaceOfGnuplot("exec sleep 3600\n");
    ExpectFailure("gnuplot has not ended after 300 ms", {m_File, "-o", m_Picture, "--timeout", "0.3"});
    PutInPlaceOfGnuplot("exec sleep 3600 2>&-\n");
    ExpectFailure("gnuplot has not ended after 300 ms", {m_File, "-o", m_Picture, "--timeout", "0.3"});
    EXPECT_FALSE(nbitest::Exists(m_Draft));
}

TEST_F(PlotTest, KilledClientLeavesADraftThatTheNextReplaces)
{
    WriteFile(m_Picture, "before");
    const std::string path = getenv("PATH");
    PutInPlaceOfGnuplot("echo half\necho $$ >" + (m_Folder / "pid") + "\nexec sleep 3600\n");
    Program client(m_Folder.Path(), "client", {NBI_CLIENT, "plot", m_File, "--output", m_Picture});
    ASSERT_TRUE(Eventually([this] { return ReadFile(m_Folder / "pid").find('\n') != std::string::npos; }));
    client.Signal(SIGKILL);
    client.Wait();
    kill(std::stoi(ReadFile(m_Folder / "pid")), SIGKILL);
    EXPECT_EQ(ReadFile(m_Picture), "before");
    EXPECT_EQ(ReadFile(m_Draft), "half\n");
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(Plot({m_File, "--output", m_Picture}).m_nExitCode, 0);
    EXPECT_THAT(ReadFile(m_Picture), HasSubstr("</svg>"));
    EXPECT_FALSE(nbitest::Exists(m_Draft));
}

TEST_F(PlotTest, NothingButAFileIsReplaced)
{
    ExpectFailure("/dev/null cannot be written: it is no regular file", {m_File, "-o", "/dev/null"});
    ExpectFailure(m_Folder.Path() + " cannot be written: it is no regular file",
                  {m_File, "-o", m_Folder.Path()});
    ExpectFailure("/nowhere/x.svg.part cannot be written: No such file or directory",
                  {m_File, "-o", "/nowhere/x.svg"});
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

}  // namespace
}  // namespace northbound
