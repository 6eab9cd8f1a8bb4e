#include "nbiutil/zipfile.h"

#include <ace/OS_NS_stdio.h>
#include <ace/Process.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <iterator>

#include "base/singleton.h"
#include "base/wipedtext.h"
#include "log/log.h"
#include "nbihost/cfgfile.h"
#include "util/childprocess.h"
#include "util/commandline.h"

namespace NS_UTIL {
namespace {

using Names = std::list<std::string>;

constexpr const char* MODULE = "zipfile";
constexpr SourceMark NOT_STARTED{MODULE, 75};
constexpr SourceMark TAR_RESULT{MODULE, 230};
constexpr SourceMark TAR_NOT_DELETED{MODULE, 233};
constexpr SourceMark ZIP_NOT_DELETED{MODULE, 308};

constexpr const char* TAR_CREATE_COMMAND = "tar -cvf ";

std::string StemOf(const std::string& name)
{
    return name.substr(0, name.rfind('.'));
}

std::string BaseNameOf(const std::string& name)
{
    const std::size_t nSlash = name.rfind('/');
    return nSlash == std::string::npos ? name : name.substr(nSlash + 1);
}

/// A name as a command can hold it. A file called "-T" is a file, not an option.
std::string FileWord(const std::string& name)
{
    return name.substr(0, 1) == "-" ? "./" + name : name;
}

/// tar takes what stands in front of the first ":" for another machine, unless a "/" comes before it.
std::string ArchiveWord(const std::string& name)
{
    const std::size_t nMark = name.find_first_of(":/");
    return nMark != std::string::npos && name[nMark] == ':' ? "./" + name : FileWord(name);
}

/// zip adds ".zip" to an archive's name only where its last component has no ".".
std::string ZipArchiveWord(const std::string& stem)
{
    const std::string last = BaseNameOf(stem);
    const bool bZipAdds = !last.empty() && last.find('.') == std::string::npos;
    return ArchiveWord(bZipAdds ? stem : stem + ".zip");
}

/// A program's words and the names behind them. With an empty name among them it is not to be run: gzip would
/// read its input, and zip would take the first file for the archive.
class Command {
public:
    explicit Command(const std::string& prefix) : m_Text(prefix) {}

    void Add(const std::string& word)
    {
        if (m_nWords++ > 0) m_Text += ' ';
        m_Text += word;
        if (word.find_first_not_of(' ') == std::string::npos) Refuse();
    }
    void Refuse() { m_bRunnable = false; }
    const std::string& Text() const { return m_Text; }
    /// The text, or an empty one, which cannot be started.
    std::string Runnable() const { return m_bRunnable ? m_Text : std::string(); }

private:
    std::string m_Text;
    int m_nWords = 0;
    bool m_bRunnable = true;
};

/// A group that holds its own archive would be packed into that file and deleted with it.
void AddZipped(Command& command, const std::string& name, const std::string& archive)
{
    command.Add(FileWord(name));
    if (name == archive) command.Refuse();
}

/// Full groups in \p nNames names; none when the size of a group makes no sense.
std::size_t GroupsIn(std::size_t nNames, long nPerGroup)
{
    return nPerGroup < 1 ? 0 : nNames / static_cast<std::size_t>(nPerGroup);
}

/// Commands are format texts for which there are no arguments: "%%" is a "%".
/// \return false for any other "%".
bool ReplaceDoublePercents(const std::string& cmdLine, std::string& command)
{
    command.reserve(cmdLine.size());
    for (std::size_t i = 0; i < cmdLine.size(); ++i) {
        if (cmdLine[i] == '%' && (++i == cmdLine.size() || cmdLine[i] != '%')) return false;
        command += cmdLine[i];
    }
    return true;
}

/// 0, or the error number that says why there can be no child.
int Prepare(ChildOptions& options, const std::string& workDir, const std::string& cmdLine)
{
    if (!options.SetWorkingDirectory(workDir)) return ENAMETOOLONG;
    WipedText command;
    if (!ReplaceDoublePercents(cmdLine, command.m_Text)) return EINVAL;
    options.SetCommand(command.m_Text);
    return CommandError(workDir, command.m_Text);
}

void DeleteTarred(const std::string& name)
{
    if (unlink(name.c_str()) == 0) return;
    WriteLog(TAR_NOT_DELETED, "[ZipFileInterface::TarFile] TAVO_OS::unlink %s error %d", name.c_str(), errno);
}

void DeleteZipped(const std::string& name)
{
    if (unlink(name.c_str()) == 0) return;
    const int nError = errno;
    ACE_OS::printf("[ZipFileInterface::ArchiveZipFile] TAVO_OS::unlink %s error %d", name.c_str(), nError);
    WriteLog(ZIP_NOT_DELETED, "[ZipFileInterface::ArchiveZipFile] TAVO_OS::unlink %s error %d", name.c_str(),
             nError);
}

}  // namespace

std::atomic<ZipFileInterface*> ZipFileInterface::m_pInstance{nullptr};

ZipFileInterface* ZipFileInterface::Instance()
{
    return InstanceIn(m_pInstance, [] { return new ZipFileInterface; });
}

void ZipFileInterface::Destroy()
{
    DestroyIn(m_pInstance, [](ZipFileInterface* pPacker) { delete pPacker; });
}

ZipFileInterface::ZipFileInterface()
{
    init();
}

int ZipFileInterface::init()
{
    m_BasePath = NS_BUNDLEMGR1::GetTAVOEnvironment() + "/../";
    m_ParentPath = m_BasePath + "..";
    m_GzipCommand = "gzip -f -q -N ";
    m_TarAppendCommand = "tar -uvf ";
    m_ZipCommand = "zip ";
    return 1;
}

bool ZipFileInterface::ExecuteCmd(const std::string& workDir, const std::string& cmdLine)
{
    ChildOptions options;
    Child<ACE_Process> process(Streams::GUARDED);
    errno = Prepare(options, workDir, cmdLine);
    if (errno != 0 || process.spawn(options) == ACE_INVALID_PID) {
        const int nError = errno;
        ACE_OS::printf("ProcInstance.spawn error.%d", nError);
        WriteLog(NOT_STARTED, "[ZipFileInterface::ExecuteCmd] ProcInstance.spawn error.%d", nError);
        errno = nError;
        return false;
    }
    WaitForEnd(process.getpid());
    return true;
}

bool ZipFileInterface::Compress(const std::string& workDir, const std::string& name)
{
    Command command(m_GzipCommand);
    command.Add(FileWord(name));
    return ExecuteCmd(workDir, command.Runnable());
}

int ZipFileInterface::ZipFile(const std::string& workDir, const Names& in, Names& out)
{
    Names made;  // the caller may hand in one list twice
    for (const std::string& name : in) {
        if (Compress(workDir, name)) made.push_back(name + ".gz");
    }
    out.splice(out.end(), made);
    return 1;
}

int ZipFileInterface::GZipFile(const std::string& workDir, Names& in, Names& out, bool& bTar)
{
    // Deliberate: the reported name is built from the stem, whatever name gzip gives. Callers of tar archives
    // rely on ".tar.gz".
    const char* const pEnding = bTar ? ".tar.gz" : ".gz";
    Names made;
    for (const std::string& name : in) {
        if (Compress(workDir, name)) made.push_back(StemOf(name) + pEnding);
    }
    out.splice(out.end(), made);
    return 1;
}

int ZipFileInterface::TarFile(const std::string& workDir, Names& in, Names& out, long nPerArchive)
{
    std::size_t nGroups = GroupsIn(in.size(), nPerArchive);
    long nMember = 0;
    std::string archive;
    for (auto name = in.begin(); nGroups > 0;) {
        ++nMember;
        if (nMember == 1) archive = StemOf(*name) + ".tar";
        Command command(nMember == 1 ? TAR_CREATE_COMMAND : m_TarAppendCommand);
        command.Add(ArchiveWord(archive));
        command.Add(FileWord(BaseNameOf(*name)));
        const bool bResult = ExecuteCmd(workDir, command.Runnable());
        WriteLog(TAR_RESULT, "tarCmdLine = %s,result = %d", command.Text().c_str(), bResult);
        // Deliberate: whatever the result. Callers collect again what is missing in an archive; a file that
        // stays would be packed twice.
        DeleteTarred(*name);
        ++name;
        if (nMember == nPerArchive) {
            --nGroups;
            out.push_back(archive);
            name = in.erase(in.begin(), name);
            nMember = 0;
        }
    }
    return 1;
}

int ZipFileInterface::ArchiveZipFile(std::string& workDir, Names& in, Names& out, int nPerArchive)
{
    auto first = in.begin();
    for (std::size_t nGroups = GroupsIn(in.size(), nPerArchive); nGroups > 0; --nGroups) {
        const std::string stem = StemOf(*first);
        const std::string archive = stem + ".zip";
        Command command(m_ZipCommand);
        command.Add(ZipArchiveWord(stem));
        auto last = first;
        AddZipped(command, *first, archive);
        for (int nMember = 1; nMember < nPerArchive && std::next(last) != in.end(); ++nMember) {
            AddZipped(command, *++last, archive);
        }
        if (ExecuteCmd(workDir, command.Runnable())) {
            const auto end = std::next(last);
            for (auto name = first; name != end; ++name) DeleteZipped(*name);
            out.push_back(archive);
            first = in.erase(in.begin(), end);
        } else {
            // Deliberate: the next group begins with the last name of this one. Callers count on the number
            // of attempts, one for each full group.
            first = last;
        }
    }
    return 1;
}

}  // namespace NS_UTIL
