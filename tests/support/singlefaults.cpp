#include "support/singlefaults.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <string_view>

#include "nbiutil/poolsnapshot.h"
#include "nbiutil/processexception.h"

/// A child ends without ACE's own end, which joins threads that have ended by themselves.
extern "C" __attribute__((visibility("default"))) const char*
__tsan_default_options();                        // NOLINT: the sanitizer's name
extern "C" const char* __tsan_default_options()  // NOLINT
{
    return "report_thread_leaks=0";
}

/// SimpleIni loses the text that it reads when there is no memory for an entry of it: that leak is its own.
extern "C" __attribute__((visibility("default"))) const char*
__lsan_default_suppressions();                        // NOLINT: the sanitizer's name
extern "C" const char* __lsan_default_suppressions()  // NOLINT
{
    return "leak:CSimpleIniTempl*::LoadData";
}

/// There only in a program with LeakSanitizer.
extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();  // NOLINT: the sanitizer's name

namespace nbitest {
namespace {

constexpr auto KINDS = static_cast<std::size_t>(FaultKind::COUNT);
constexpr std::array<const char*, KINDS> KIND_NAMES{"allocation",     "ACE's memory",
                                                    "lock",           "semaphore post",
                                                    "semaphore wait", "thread",
                                                    "spawn",          "open",
                                                    "read",           "write",
                                                    "fsync",          "rename",
                                                    "cipher",         "OpenSSL's memory",
                                                    "expat's memory"};
constexpr long NEVER = -1;
constexpr long MOST = 24;             // faults of a kind in a scenario, when nobody says otherwise
constexpr unsigned int HANGS = 60;    // seconds
constexpr long TOO_MANY = 1'000'000;  // a fault that makes its own scenario longer and longer

std::atomic<bool> g_bArmed{false};
std::atomic<bool> g_bFired{false};
std::array<std::atomic<long>, KINDS> g_Calls{};
FaultKind g_Kind = FaultKind::COUNT;  // written before anything is armed
long g_nFailing = NEVER;
const void* g_pNeverFails = nullptr;

std::array<long, KINDS> g_Injected{};  // of this program, so far

std::size_t IndexOf(FaultKind kind)
{
    return static_cast<std::size_t>(kind);
}

bool Decide(FaultKind kind, const void* pObject)
{
    if (!g_bArmed || (pObject != nullptr && pObject == g_pNeverFails)) return false;
    const long nCall = ++g_Calls[IndexOf(kind)];
    if (kind != g_Kind || nCall != g_nFailing) return false;
    g_bFired = true;
    return true;
}

/// How far apart the faults lie that are tried.
long StepFor(long nCalls)
{
    const char* const pMost = std::getenv("NBI_FAULTS_MOST");
    if (pMost != nullptr && std::string_view(pMost) == "all") return 1;
    const long nMost = pMost != nullptr ? std::max(std::atol(pMost), 1L) : MOST;
    return (nCalls + nMost - 1) / nMost;
}

/// At the end of each program: how many faults of each kind it has tried.
class Figures : public ::testing::Environment {
public:
    void TearDown() override
    {
        std::printf("faults injected:");
        for (std::size_t i = 0; i < KINDS; ++i) {
            if (g_Injected[i] > 0) std::printf(" %s %ld;", KIND_NAMES[i], g_Injected[i]);
        }
        std::printf("\n");
    }
};
[[maybe_unused]] const auto* const g_pFigures = ::testing::AddGlobalTestEnvironment(new Figures);

}  // namespace

void NeverFail(const void* pLock)
{
    g_pNeverFails = pLock;
}

Faults::Armed::Armed(Faults& faults) : m_Faults(faults)
{
    if (!m_Faults.m_Secrets.empty()) m_Faults.m_pWatch = std::make_unique<HeapWatch>();
    g_bArmed = true;
}

Faults::Armed::~Armed()
{
    g_bArmed = false;
    if (m_Faults.m_pWatch) m_Faults.m_pWatch->Stop();
}

Faults::Faults() : m_nOpenFiles(OpenFiles())
{
}

std::size_t Faults::OpenFiles()
{
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

std::string Faults::Guarded(const std::function<std::string()>& work)
{
    try {
        return work();
    } catch (NS_UTIL::ProcessException& failure) {
        return "code " + std::to_string(failure.GetErrorCode());
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

void Faults::KeepSecret(const std::string& bytes)
{
    m_Secrets.push_back(bytes);
}

void Faults::Expect(bool bHolds, const std::string& what)
{
    if (!bHolds) m_Problems += what + "; ";
}

void Faults::LookForTraces()
{
    for (const std::string& secret : m_Secrets) {
        Expect(m_pWatch == nullptr || m_pWatch->Sightings(secret) == 0, "a secret stands in freed memory");
    }
    m_pWatch.reset();
    Expect(NS_UTIL::TakeProcessSnapshot().m_nWaiting == 0, "somebody still waits on a descriptor");
    Expect(OpenFiles() == m_nOpenFiles, "files are open that were not, or the other way round");
    for (const std::string& name : m_Folder.Names()) {
        Expect(name.find(".nbi-draft.") == std::string::npos, "the draft " + name + " is left");
    }
    if (&__lsan_do_recoverable_leak_check != nullptr) {
        Expect(__lsan_do_recoverable_leak_check() == 0, "memory has leaked");
    }
}

struct Scenario::Counts {
    std::array<long, KINDS> m_Calls{};
    bool m_bFired = false;
};

struct Scenario::Outcome {
    Counts m_Counts;
    std::string m_Result;
    std::string m_Problems;
};

std::string Scenario::TestName() const
{
    std::string name = m_Operations;
    for (char& character : name) {
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) character = '_';
    }
    return name;
}

std::ostream& operator<<(std::ostream& out, const Scenario& scenario)
{
    return out << scenario.Operations();
}

/// In the child.
Scenario::Outcome Scenario::Run(FaultKind kind, long nFailing) const
{
    g_Kind = kind;
    g_nFailing = nFailing;
    g_FaultPoint = &Decide;
    Outcome outcome;
    Faults faults;
    outcome.m_Result = m_Body(faults);
    g_FaultPoint = nullptr;
    faults.LookForTraces();
    outcome.m_Problems = faults.Problems();
    outcome.m_Counts.m_bFired = g_bFired;
    for (std::size_t i = 0; i < KINDS; ++i) outcome.m_Counts.m_Calls[i] = g_Calls[i];
    return outcome;
}

/// What the child has to say goes through a file: the counts, the result, a zero byte, the problems. What it prints goes
/// nowhere, but for what sanitizers say.
Scenario::Outcome Scenario::InChild(FaultKind kind, long nFailing) const
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> told(std::tmpfile(), &std::fclose);
    std::fflush(nullptr);
    const pid_t nChild = fork();
    if (nChild == 0) {
        alarm(HANGS);
        if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(1);
        const Outcome outcome = Run(kind, nFailing);
        std::fwrite(&outcome.m_Counts, sizeof outcome.m_Counts, 1, told.get());
        std::fwrite(outcome.m_Result.c_str(), 1, outcome.m_Result.size() + 1, told.get());
        std::fwrite(outcome.m_Problems.data(), 1, outcome.m_Problems.size(), told.get());
        std::fflush(told.get());
        _exit(0);
    }
    int nStatus = 0;
    if (nChild < 0 || waitpid(nChild, &nStatus, 0) != nChild) return {{}, "", "no child"};
    if (WIFSIGNALED(nStatus) && WTERMSIG(nStatus) == SIGALRM) return {{}, "", "it hangs"};
    if (!WIFEXITED(nStatus) || WEXITSTATUS(nStatus) != 0) return {{}, "", "it crashes"};
    Outcome outcome;
    std::rewind(told.get());
    if (std::fread(&outcome.m_Counts, sizeof outcome.m_Counts, 1, told.get()) != 1) {
        return {{}, "", "it is mute"};
    }
    for (int nByte; (nByte = std::fgetc(told.get())) > 0;) outcome.m_Result += static_cast<char>(nByte);
    for (int nByte; (nByte = std::fgetc(told.get())) >= 0;) outcome.m_Problems += static_cast<char>(nByte);
    return outcome;
}

bool Scenario::IsAllowed(const std::string& result, const std::string& usual, FaultKind kind) const
{
    const bool bMemory = kind == FaultKind::ALLOCATION || kind == FaultKind::ACE_MEMORY;
    if (result == usual || (bMemory && result == std::bad_alloc().what())) return true;
    return std::find(m_Others.begin(), m_Others.end(), result) != m_Others.end();
}

void Scenario::TryEveryFault() const
{
    const Outcome usual = InChild(FaultKind::COUNT, NEVER);
    ASSERT_EQ(usual.m_Problems, "") << "without a fault";
    for (std::size_t i = 0; i < KINDS; ++i) {
        const auto kind = static_cast<FaultKind>(i);
        const long nStep = StepFor(usual.m_Counts.m_Calls[i]);
        if (nStep == 0 || m_Without.count(kind) > 0) continue;
        for (long nFailing = 1; nFailing < TOO_MANY; nFailing += nStep) {
            const Outcome outcome = InChild(kind, nFailing);
            const std::string what = std::string(KIND_NAMES[i]) + " " + std::to_string(nFailing);
            ASSERT_EQ(outcome.m_Problems, "") << what << ", result " << outcome.m_Result;
            ASSERT_TRUE(IsAllowed(outcome.m_Result, usual.m_Result, kind))
                << what << ": \"" << outcome.m_Result << "\" instead of \"" << usual.m_Result << '"';
            if (!outcome.m_Counts.m_bFired) break;
            ++g_Injected[i];
        }
    }
}

}  // namespace nbitest
