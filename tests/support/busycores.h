/// \file
/// Other work on every core.
#pragma once

#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <vector>

namespace nbitest {

/// While it lives, each core that this process may use has processes of its own that only compute, at this
/// process's priority. They end with this object, or with the thread that made it.
class BusyCores {
public:
    explicit BusyCores(int nPerCore = 1)
    {
        cpu_set_t cores;
        sched_getaffinity(0, sizeof cores, &cores);
        for (int nCore = 0; nCore < CPU_SETSIZE; ++nCore) {
            if (!CPU_ISSET(nCore, &cores)) continue;
            for (int i = 0; i < nPerCore; ++i) m_Processes.push_back(ComputeOn(nCore));
        }
    }
    ~BusyCores()
    {
        for (const pid_t nProcess : m_Processes) {
            kill(nProcess, SIGKILL);
            waitpid(nProcess, nullptr, 0);
        }
        munmap(m_pSteps, BYTES);
    }
    BusyCores(const BusyCores&) = delete;
    BusyCores& operator=(const BusyCores&) = delete;

    /// How far a process on the calling thread's core has come. A step takes about a nanosecond.
    unsigned int StepsHere() const { return m_pSteps[sched_getcpu()]; }

private:
    using Steps = std::atomic<unsigned int>;
    static constexpr std::size_t BYTES = CPU_SETSIZE * sizeof(Steps);

    pid_t ComputeOn(int nCore)
    {
        const pid_t nProcess = fork();
        if (nProcess != 0) return nProcess;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        cpu_set_t own;
        CPU_ZERO(&own);
        CPU_SET(nCore, &own);
        sched_setaffinity(0, sizeof own, &own);
        for (unsigned int nStep = 0;; ++nStep) m_pSteps[nCore].store(nStep, std::memory_order_relaxed);
    }

    Steps* const m_pSteps =
        static_cast<Steps*>(mmap(nullptr, BYTES, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::vector<pid_t> m_Processes;
};

}  // namespace nbitest
