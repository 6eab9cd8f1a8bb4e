/// \file
/// Standard output that goes nowhere, for parses that print more than anybody reads.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace nbitest {

/// Standard output goes nowhere for as long as the object lives.
class Silence {
public:
    Silence() : m_nSaved(Redirect(open("/dev/null", O_WRONLY | O_CLOEXEC))) {}
    ~Silence() { close(Redirect(m_nSaved)); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    /// Takes \p nTarget.
    /// \return where standard output went before
    static int Redirect(int nTarget)
    {
        std::fflush(stdout);
        const int nBefore = dup(STDOUT_FILENO);
        dup2(nTarget, STDOUT_FILENO);
        close(nTarget);
        return nBefore;
    }
    const int m_nSaved;
};

}  // namespace nbitest
