/// \file
/// Child processes as ACE manages them, started by posix_spawn().
///
/// ACE's own spawn() forks: it copies the page tables of the whole server (tenths of a second for each GB)
/// for a child that throws them away at once, and it does not tell when that child finds no program. Callers
/// delete the files that a command has packed, so they have to be told. posix_spawn() takes the same time in
/// a server of any size and gives the error number that the kernel gave the child, whatever the reason: a
/// missing folder, program, interpreter or loader, an environment that is too large. ACE calls spawn()
/// virtually, so the process manager starts these children like its own.
#pragma once

#include <ace/Process.h>
#include <sys/types.h>

namespace NS_UTIL {

/// What a child gets as standard input, output and error. Where the server has closed one of them, or would
/// close it on the way to the program, the child gets the null device in any case: a program that finds a
/// number free opens its own files under it and then prints into them.
enum class Streams {
    INHERITED,  ///< the server's
    GUARDED,    ///< input: the null device; output and error: the server's, or the null device where the
                ///< server's is a pipe or a socket, whose reader may be gone, which would kill the child, or
                ///< slow, which would stop it
};

/// Starts the program that \p options name, with the server's environment and none of its files above 2. The
/// program is searched for as execvp() does it, from the child's working directory; a script without an
/// interpreter's name runs in the shell.
/// \return the child's process id, or ACE_INVALID_PID with errno.
pid_t StartProgram(ACE_Process_Options& options, Streams streams);

/// Waits until the child has ended or somebody else has collected it. By its own id: the host waits for
/// children of its own.
void WaitForEnd(pid_t nChild);

/// An ACE process that starts its program in this way. \p Process is ACE_Process, or ACE_Managed_Process for
/// a child that the process manager deletes.
template <class Process>
class Child : public Process {
public:
    explicit Child(Streams streams) : m_Streams(streams) {}

    pid_t spawn(ACE_Process_Options& options) override
    {
        this->child_id_ = StartProgram(options, m_Streams);
        return this->child_id_;
    }

private:
    Streams m_Streams;
};

}  // namespace NS_UTIL
