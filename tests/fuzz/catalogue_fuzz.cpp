// ErrorInfoMgr::LoadErrorInfoFrmCfg over any directory entries and any pairs in their files.
// Input: lines; one that starts with '/' names the file of the lines behind it (the first file is the one of
// the static data), all others are "name=value".
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "demand.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/errorinfomgr.h"
#include "support/testdirectory.h"

using nbitest::Demand;
using nbitest::TestDirectory;
using NS_UTIL::ErrorInfoMgr;
using Pairs = std::vector<NS_BUNDLEMGR1::NameValueStru>;

namespace {

constexpr std::size_t MOST_FILES = 10;  // each is a real one

/// An installation root without anything in its directory of English files.
class Installation {
public:
    Installation()
    {
        std::filesystem::create_directories(m_Dir / "lib");
        std::filesystem::create_directories(m_Dir / "etc/nbires/en_US");
    }
    std::string Root() const { return m_Dir / "lib"; }
    std::string Directory() const { return Root() + "/../etc/nbires/en_US/"; }
    std::string StaticDataFile() const
    {
        return Root() + "/../nbi/corba/res/staticdata/en_US/errcode_TAVO_TDT.res";
    }

private:
    TestDirectory m_Dir;
};

bool IsFileName(const std::string& name)
{
    return !name.empty() && name.size() < 200 && name != "." && name != ".." &&
           name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

std::map<std::string, Pairs> FilesOf(const std::string& text, const Installation& installation)
{
    std::map<std::string, Pairs> files;
    std::string path = installation.StaticDataFile();
    files[path];
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line[0] == '/') {
            if (!IsFileName(line.substr(1)) || files.size() > MOST_FILES) continue;
            path = installation.Directory() + line.substr(1);
            files[path];
            continue;
        }
        const std::size_t nEquals = line.find('=');
        if (nEquals == std::string::npos) continue;
        files[path].push_back({line.substr(0, nEquals), line.substr(nEquals + 1)});
    }
    return files;
}

void CheckOrder(const std::vector<std::string>& read, const std::map<std::string, Pairs>& files,
                const Installation& installation)
{
    Demand(read.size() == files.size(), "every file is read once");
    Demand(std::set<std::string>(read.begin(), read.end()).size() == files.size(), "and no other");
    Demand(read.back() == installation.StaticDataFile(), "the static data last");
    const std::string access = installation.Directory() + "errcode_ACCESS_TDT.res";
    if (files.count(access) != 0) Demand(read.front() == access, "the access file first");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    static const Installation installation;
    nbitest::RecordingHost host;
    host.SetRoot(installation.Root());
    const auto files = FilesOf(std::string(reinterpret_cast<const char*>(pData), nSize), installation);
    for (const auto& [path, pairs] : files) {
        host.SetCfgFile(path, pairs, pairs.size() % 2 == 0);
        if (path != installation.StaticDataFile()) nbitest::WriteFile(path, "");
    }

    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    const std::vector<std::string> read = host.CfgFilesRead();
    CheckOrder(read, files, installation);
    std::map<unsigned long, std::string> expected;
    for (const std::string& path : read) {
        for (const auto& pair : files.at(path)) {
            expected[std::strtoul(pair.m_Name.c_str(), nullptr, 0)] = pair.m_Value;
        }
    }
    std::string reason;
    for (const auto& [nCode, text] : expected) {
        ErrorInfoMgr::Instance()->GetErrReasonByErrCode(reason, nCode);
        Demand(reason == text, "the last text of a code is kept");
        ErrorInfoMgr::Instance()->GetErrReasonByErrCode(reason, nCode + 1);
        Demand(reason.empty() || expected.count(nCode + 1) != 0, "a code that no file holds has no text");
    }

    ErrorInfoMgr::Destroy();
    for (const auto& [path, pairs] : files) std::remove(path.c_str());
    return 0;
}
