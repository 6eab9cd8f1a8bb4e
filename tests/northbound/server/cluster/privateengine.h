/// \file
/// A PostgreSQL of the test's own, on a socket in a scratch folder.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "support/testdirectory.h"

namespace northbound {

/// Whether the package postgresql is installed. A test that needs it begins with
///     if (!HasEngine()) GTEST_SKIP() << NO_ENGINE;
bool HasEngine();
constexpr const char* NO_ENGINE = "PostgreSQL's server is not installed (package postgresql)";

/// Starting one takes longer than most tests, so those of a program share SharedEngine().
///
/// Runs as the user "postgres" where the test is root, since the engine refuses root. Ends with the object, and with
/// the test's process however that ends.
class PrivateEngine {
public:
    /// Whether what is committed is on the disk. Only benchmarks need to wait for that.
    enum class Disk { UNFLUSHED, FLUSHED };

    explicit PrivateEngine(Disk disk = Disk::UNFLUSHED);
    /// Follows \p primary, which from now on accepts nothing that the standby has not got.
    static std::unique_ptr<PrivateEngine> StandbyOf(const PrivateEngine& primary);
    ~PrivateEngine();
    PrivateEngine(const PrivateEngine&) = delete;
    PrivateEngine& operator=(const PrivateEngine&) = delete;

    /// For libpq: the administrator, without a password.
    std::string Text() const { return "host=" + m_Folder.Path() + " user=postgres dbname=postgres"; }

    void Start();
    /// As a machine that loses its power.
    void Kill();
    /// Whatever a test has done to it.
    void Recover();
    /// All its processes stand still, and their sockets stay.
    void Pause();
    void Resume();

    std::string Log() const { return m_Folder.Text("log"); }
    std::string Folder() const { return m_Folder.Path(); }

private:
    explicit PrivateEngine(const std::string& primaryFolder);
    std::vector<pid_t> Children() const;
    bool TryToStart();
    std::vector<pid_t> Halt() const;

    const Disk m_Disk;
    nbitest::TestDirectory m_Folder;
    pid_t m_nMain = -1;  // its first process; -1: not running
};

/// The one of this process, running, with nothing of other tests in it.
PrivateEngine& SharedEngine();

}  // namespace northbound
