/// \file
/// What the tests of the packing operations stand on.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/zipfile.h"
#include "support/inchild.h"
#include "support/testdirectory.h"

namespace nbitest {

using Names = std::list<std::string>;
using Strings = std::vector<std::string>;
using NameSet = std::set<std::string>;

inline LogLine Line(int nLine, const std::string& text)
{
    LogLine line;
    line.m_File = "zipfile";
    line.m_Function = "unknown";
    line.m_nLine = nLine;
    line.m_nLevel = 1;
    line.m_Text = text;
    return line;
}

inline LogLine NotStarted(int nError)
{
    return Line(75, "[ZipFileInterface::ExecuteCmd] ProcInstance.spawn error." + std::to_string(nError));
}

/// What standard output receives while it lives, children included.
class Printed {
public:
    Printed() { testing::internal::CaptureStdout(); }
    ~Printed()
    {
        if (!m_bTaken) testing::internal::GetCapturedStdout();
    }
    std::string Text()
    {
        m_bTaken = true;
        return testing::internal::GetCapturedStdout();
    }

private:
    bool m_bTaken = false;
};

class PackingTest : public ::testing::Test {
protected:
    void SetUp() override { m_OldPath = std::getenv("PATH"); }
    void TearDown() override
    {
        setenv("PATH", m_OldPath.c_str(), 1);
        NS_UTIL::ZipFileInterface::Destroy();
    }

    /// Adds a file for each name, its content being "text of <name>".
    Names AddFiles(const Names& names)
    {
        Names paths;
        for (const std::string& name : names) paths.push_back(m_Dir.Add(name, "text of " + name));
        return paths;
    }
    std::string In(const std::string& name) { return m_Dir / name; }
    void Hide(const std::string& program)
    {
        ASSERT_EQ(mkdir(In("bin").c_str(), 0755), 0);
        for (const std::string name : {"tar", "gzip", "zip", "sh"}) {
            if (name == program) continue;
            const std::string path = OutputOf("command -v " + name);
            ASSERT_EQ(symlink(path.substr(0, path.find('\n')).c_str(), In("bin/" + name).c_str()), 0);
        }
        setenv("PATH", In("bin").c_str(), 1);
    }
    Strings Members(const std::string& tar)
    {
        Strings members;
        std::string listing = OutputOf("tar -tf " + tar);
        for (std::size_t nEnd; (nEnd = listing.find('\n')) != std::string::npos; listing.erase(0, nEnd + 1)) {
            members.push_back(listing.substr(0, nEnd));
        }
        return members;
    }
    int Tar(Names& in, long nPerArchive)
    {
        Printed quiet;
        return m_pPacker->TarFile(m_Dir.Path(), in, m_Out, nPerArchive);
    }
    int Zip(Names& in, int nPerArchive)
    {
        Printed quiet;
        std::string workDir = m_Dir.Path();
        return m_pPacker->ArchiveZipFile(workDir, in, m_Out, nPerArchive);
    }

    RecordingHost m_Host;
    TestDirectory m_Dir;
    Names m_Out;
    std::string m_OldPath;
    NS_UTIL::ZipFileInterface* m_pPacker = NS_UTIL::ZipFileInterface::Instance();
};

}  // namespace nbitest
