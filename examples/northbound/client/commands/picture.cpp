#include "client/commands/picture.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "client/commands/failure.h"
#include "client/texts/texts.h"
#include "shared/descriptor.h"

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t LONGEST_COMPLAINT = 4096;
constexpr int LOOK = 10;  // milliseconds between two looks at whether gnuplot is gone

[[noreturn]] void Fail(const std::string& path, const std::string& why)
{
    throw InputError(Say("{1} cannot be written: {2}", {path, why}));
}

[[noreturn]] void FailBySystem(const std::string& path)
{
    Fail(path, std::strerror(errno));
}

/// The picture until it is whole. It goes with this, unless it has got its name.
class Draft {
public:
    explicit Draft(const std::string& path)
        : m_Path(path), m_Draft(RequireFree(path) + ".part"), m_File(Open(m_Draft))
    {
        if (!m_File.IsOpen()) FailBySystem(m_Draft);
    }
    ~Draft() { unlink(m_Draft.c_str()); }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    int Number() const { return m_File.Number(); }

    void Keep() const
    {
        if (fsync(Number()) != 0 || std::rename(m_Draft.c_str(), m_Path.c_str()) != 0) FailBySystem(m_Path);
    }

private:
    /// A device or a folder is not to be replaced.
    static const std::string& RequireFree(const std::string& path)
    {
        struct stat status {};
        const bool bTaken = stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
        if (bTaken) Fail(path, Say("it is no regular file"));
        return path;
    }
    static int Open(const std::string& draft)
    {
        unlink(draft.c_str());  // of a client that was killed
        return open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    }

    const std::string& m_Path;
    const std::string m_Draft;
    const Descriptor m_File;
};

/// A file without a name that is read from its beginning.
int Holding(const std::string& text)
{
    const int nFile = memfd_create("script", MFD_CLOEXEC);
    if (nFile < 0) return nFile;
    const bool bWritten = write(nFile, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (bWritten && lseek(nFile, 0, SEEK_SET) == 0) return nFile;
    close(nFile);
    return -1;
}

/// gnuplot with its three streams: what it is to do, the picture, and what it complains of.
class Gnuplot {
public:
    /// \return 0, or the error number of what could not be done
    int Start(int nScript, int nPicture)
    {
        int pipe[2];
        if (pipe2(pipe, O_CLOEXEC) != 0) return errno;
        m_Complaints.Reset(pipe[0]);
        posix_spawn_file_actions_t streams;
        posix_spawn_file_actions_init(&streams);
        posix_spawn_file_actions_adddup2(&streams, nScript, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&streams, nPicture, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&streams, pipe[1], STDERR_FILENO);
        char name[] = "gnuplot";
        char withoutFilesOfTheUser[] = "-d";
        char* const words[] = {name, withoutFilesOfTheUser, nullptr};
        const int nError = posix_spawnp(&m_nProcess, name, &streams, nullptr, words, environ);
        posix_spawn_file_actions_destroy(&streams);
        close(pipe[1]);
        if (nError != 0) m_nProcess = -1;
        return nError;
    }
    Gnuplot() = default;
    ~Gnuplot()
    {
        if (m_nProcess > 0) End();
    }
    Gnuplot(const Gnuplot&) = delete;
    Gnuplot& operator=(const Gnuplot&) = delete;

    /// Until it has said all.
    /// \return false when that takes longer than \p end
    bool Listen(Clock::time_point end)
    {
        for (;;) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
            pollfd source{m_Complaints.Number(), POLLIN, 0};
            if (left <= 0) return false;
            if (poll(&source, 1, static_cast<int>(left)) <= 0) continue;
            char bytes[512];
            const ssize_t nRead = read(m_Complaints.Number(), bytes, sizeof(bytes));
            if (nRead <= 0) return true;
            const std::size_t nRoom = LONGEST_COMPLAINT - std::min(m_Complaint.size(), LONGEST_COMPLAINT);
            m_Complaint.append(bytes, std::min(static_cast<std::size_t>(nRead), nRoom));
        }
    }

    /// \return how it has ended; nothing when that takes longer than \p end
    std::optional<int> EndBy(Clock::time_point end)
    {
        int nStatus = 0;
        while (waitpid(m_nProcess, &nStatus, WNOHANG) == 0) {
            if (Clock::now() >= end) return std::nullopt;
            poll(nullptr, 0, LOOK);
        }
        m_nProcess = -1;
        return nStatus;
    }

    const std::string& Complaint() const { return m_Complaint; }

private:
    void End()
    {
        kill(m_nProcess, SIGKILL);
        while (waitpid(m_nProcess, nullptr, 0) < 0 && errno == EINTR) continue;
    }

    pid_t m_nProcess = -1;
    Descriptor m_Complaints;
    std::string m_Complaint;
};

/// The line of gnuplot's that says what is wrong, without the empty ones and the script around it.
std::string Reason(const std::string& complaint)
{
    const std::size_t nBegin = complaint.find("line ");
    if (nBegin == std::string::npos) return complaint.empty() ? Say("it does not say why") : complaint;
    return complaint.substr(nBegin, complaint.find('\n', nBegin) - nBegin);
}

}  // namespace

void DrawPicture(const std::string& script, const std::string& path, std::chrono::milliseconds patience)
{
    const Draft draft(path);
    const Descriptor text(Holding(script));
    if (!text.IsOpen()) FailBySystem(path);
    Gnuplot gnuplot;
    const int nError = gnuplot.Start(text.Number(), draft.Number());
    if (nError == ENOENT) {
        Fail(path,
             Say("gnuplot is not installed, which draws it; without --output the curves are drawn here"));
    }
    if (nError != 0) Fail(path, std::strerror(nError));
    const Clock::time_point end = Clock::now() + patience;
    const std::optional<int> status = gnuplot.Listen(end) ? gnuplot.EndBy(end) : std::nullopt;
    if (!status) Fail(path, Say("gnuplot has not ended after {1} ms", {std::to_string(patience.count())}));
    if (*status != 0) Fail(path, Say("gnuplot has failed: {1}", {Reason(gnuplot.Complaint())}));
    draft.Keep();
}

}  // namespace northbound
