#include "server/figures/capturedoutput.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace northbound {
namespace {

std::string ReadAll(int nFile)
{
    std::string text;
    char piece[4096];
    lseek(nFile, 0, SEEK_SET);
    for (ssize_t nRead = 0; (nRead = read(nFile, piece, sizeof(piece))) > 0;) {
        text.append(piece, static_cast<std::size_t>(nRead));
    }
    return text;
}

[[noreturn]] void FailToCapture(int nError)
{
    throw std::system_error(nError, std::generic_category(), "standard output cannot be captured");
}

}  // namespace

CapturedOutput::CapturedOutput()
{
    std::fflush(stdout);
    m_nCapture = memfd_create("output", MFD_CLOEXEC);
    if (m_nCapture < 0) FailToCapture(errno);
    m_nOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    if (m_nOutput < 0 || dup2(m_nCapture, STDOUT_FILENO) < 0) {
        const int nError = errno;
        if (m_nOutput >= 0) close(m_nOutput);
        close(m_nCapture);
        FailToCapture(nError);
    }
}

CapturedOutput::~CapturedOutput()
{
    End();
}

std::string CapturedOutput::End()
{
    if (m_nOutput < 0) return "";
    std::fflush(stdout);
    dup2(m_nOutput, STDOUT_FILENO);
    close(m_nOutput);
    m_nOutput = -1;
    std::string text = ReadAll(m_nCapture);
    close(m_nCapture);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    return text;
}

}  // namespace northbound
