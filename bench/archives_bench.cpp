// Packing beside the bare commands: TarFile() and GZipFile() against the same commands through ACE_Process,
// in turn, in one run. The processor time of the children counts, and what the packing adds in its own
// process is shown per command. Then the start of a child in a process of up to 2 GB, beside vfork() and
// exec, and beside ACE's own.
#include <ace/Process.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/zipfile.h"
#include "rounds.h"
#include "support/testdirectory.h"

namespace {

using NS_UTIL::ZipFileInterface;
using Names = std::list<std::string>;

constexpr double RATIO_LIMIT = 1.03;
constexpr double OWN_LIMIT = 20;

/// Processor time in microseconds.
struct Cpu {
    double m_nSelf;
    double m_nChildren;
    double Total() const { return m_nSelf + m_nChildren; }
};

double Microseconds(int nWho)
{
    rusage usage{};
    getrusage(nWho, &usage);
    const auto nSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec);
    return nSeconds * 1e6 + static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

template <class Work>
Cpu Measure(const Work& work)
{
    const Cpu before{Microseconds(RUSAGE_SELF), Microseconds(RUSAGE_CHILDREN)};
    work();
    return {Microseconds(RUSAGE_SELF) - before.m_nSelf, Microseconds(RUSAGE_CHILDREN) - before.m_nChildren};
}

/// The least that a command costs: the options that the packing uses, a spawn and a wait. TarFile() also
/// deletes each file, and so does its counterpart.
void RunBare(const std::string& workDir, const std::string& command)
{
    ACE_Process_Options options(true, 1024, 16384, 512, 128);
    options.working_directory(workDir.c_str());
    options.command_line("%s", command.c_str());
    ACE_Process process;
    if (process.spawn(options) == ACE_INVALID_PID || process.wait() == ACE_INVALID_PID) std::abort();
}

/// The floor of a start: the child shares the memory until its program runs.
void StartWithVfork(const char* pProgram)
{
    const pid_t nChild = vfork();
    if (nChild == 0) {
        execl(pProgram, pProgram, nullptr);
        _exit(127);
    }
    if (nChild < 0 || waitpid(nChild, nullptr, 0) != nChild) std::abort();
}

/// A folder that holds the files to pack, and nothing else, after each Fill().
class Workshop {
public:
    Names Fill(int nFiles)
    {
        for (const std::string& name : m_Directory.Names()) std::filesystem::remove(m_Directory / name);
        Names names;
        for (int i = 0; i < nFiles; ++i) {
            names.push_back(m_Directory / ("perf" + std::to_string(i) + ".csv"));
            std::ofstream(names.back()) << "counter,value\n" << i << ",4711\n";
        }
        return names;
    }
    const std::string& Path() const { return m_Directory.Path(); }

private:
    nbitest::TestDirectory m_Directory;
};

void TarOurs(Workshop& shop, Names& names)
{
    Names out;
    const auto nFiles = static_cast<long>(names.size());
    ZipFileInterface::Instance()->TarFile(shop.Path(), names, out, nFiles);
}

void TarBare(Workshop& shop, Names& names)
{
    const std::string archive = names.front().substr(0, names.front().rfind('.')) + ".tar ";
    const char* pPrefix = "tar -cvf ";
    for (const std::string& name : names) {
        RunBare(shop.Path(), pPrefix + archive + name.substr(name.rfind('/') + 1));
        pPrefix = "tar -uvf ";
        unlink(name.c_str());
    }
}

void GzipOurs(Workshop& shop, Names& names)
{
    Names out;
    bool bTar = false;
    ZipFileInterface::Instance()->GZipFile(shop.Path(), names, out, bTar);
}

void GzipBare(Workshop& shop, Names& names)
{
    for (const std::string& name : names) RunBare(shop.Path(), "gzip -f -q -N " + name);
}

double Middle(std::vector<double>& values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

using Pack = void (*)(Workshop&, Names&);

/// The two in turn, the first one changing. The ratio is that of the two minima, so that work of others on
/// the machine counts little; the time of its own is the middle one of the rounds.
void Compare(const char* pName, Pack ours, Pack bare, int nFiles, int nUsualRounds)
{
    const int nRounds = nbibench::Rounds(nUsualRounds);
    Workshop shop;
    double nOurs = 1e18;
    double nBare = 1e18;
    std::vector<double> ratios;
    std::vector<double> own;
    for (int i = 0; i < nRounds; ++i) {
        std::array<Cpu, 2> spent{};
        for (int nTurn = 0; nTurn < 2; ++nTurn) {
            const bool bOurs = nTurn == i % 2;
            Names names = shop.Fill(nFiles);
            spent[bOurs ? 0 : 1] = Measure([&] { (bOurs ? ours : bare)(shop, names); });
        }
        nOurs = std::min(nOurs, spent[0].Total());
        nBare = std::min(nBare, spent[1].Total());
        ratios.push_back(spent[0].Total() / spent[1].Total());
        own.push_back((spent[0].m_nSelf - spent[1].m_nSelf) / nFiles);
    }
    const double nOwn = Middle(own);
    std::sort(ratios.begin(), ratios.end());
    std::fprintf(stderr,
                 "%-8s %4d files %8.0f us %8.0f us a command  ratio %.3f (%.3f-%.3f), limit %.2f; "
                 "own %.1f us (%.1f-%.1f), limit %.0f\n",
                 pName, nFiles, nOurs / nFiles, nBare / nFiles, nOurs / nBare, ratios.front(), ratios.back(),
                 RATIO_LIMIT, nOwn, own.front(), own.back(), OWN_LIMIT);
}

template <class Work>
double FastestOf(int nRounds, const Work& work)
{
    double nFastest = 1e18;
    for (int i = 0; i < nRounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
        nFastest = std::min(nFastest, taken.count());
    }
    return nFastest;
}

/// Real time of a start and the wait for its end, in a process that holds \p nMegabytes.
void CompareStarts(std::size_t nMegabytes)
{
    constexpr const char* PROGRAM = "/bin/true";
    constexpr std::size_t PAGE = 4096;
    std::vector<char> memory(nMegabytes << 20);
    for (std::size_t i = 0; i < memory.size(); i += PAGE) memory[i] = 1;
    constexpr int ROUNDS = 100;
    constexpr int COPYING_ROUNDS = 3;  // seconds each
    const double nOurs = FastestOf(ROUNDS, [] { ZipFileInterface::Instance()->ExecuteCmd("", PROGRAM); });
    const double nAce = FastestOf(COPYING_ROUNDS, [] { RunBare("", PROGRAM); });
    const double nVfork = FastestOf(ROUNDS, [] { StartWithVfork(PROGRAM); });
    std::fprintf(stderr,
                 "start in a process of %4zu MB: %6.0f us, vfork and exec %6.0f us, ratio %.2f; "
                 "ACE's own %7.0f us, ratio %.1f\n",
                 nMegabytes, nOurs, nVfork, nOurs / nVfork, nAce, nAce / nVfork);
}

}  // namespace

int main()
{
    nbitest::RecordingHost host;
    // tar prints each member's name; the figures go to the error output
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
    constexpr std::array<std::array<int, 2>, 3> SIZES{{{10, 101}, {100, 15}, {1000, 5}}};
    for (const auto& [nFiles, nRounds] : SIZES) Compare("TarFile", TarOurs, TarBare, nFiles, nRounds);
    for (const auto& [nFiles, nRounds] : SIZES) Compare("GZipFile", GzipOurs, GzipBare, nFiles, nRounds);
    for (const std::size_t nMegabytes : {1, 256, 1024, 2048}) CompareStarts(nMegabytes);
    ZipFileInterface::Destroy();
    return 0;
}
