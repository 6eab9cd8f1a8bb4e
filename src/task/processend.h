/// \file
/// Workers that are still on their way when the process ends.
#pragma once

namespace NS_UTIL {

/// A process may return from main() while its pools are alive. ACE then takes itself down. A worker that
/// sleeps or runs a body at that moment does no harm, but one that has just been started, and is on its way
/// through ACE's code, crashes. So the end of the process waits until the workers have come to svc(), for a
/// second at most: a derived class may have an svc() of its own.
///
/// Threads: any. A process that fork() made has no workers and waits for none.
class ProcessEnd {
public:
    /// \p nWorkers threads are about to be started: call before they are.
    static void ExpectWorkers(int nWorkers);
    /// \p nWorkers of them have not been started after all.
    static void ForgetWorkers(int nWorkers);
    /// A worker has come to svc().
    static void WorkerArrives();
};

}  // namespace NS_UTIL
