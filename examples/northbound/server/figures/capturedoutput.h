/// \file
/// What is printed to standard output, as a text.
#pragma once

#include <string>

namespace northbound {

/// Keeps standard output to itself from construction to End() or destruction, which pass it on. One at a
/// time, and only while nobody else in the process prints.
class CapturedOutput {
public:
    /// \throws std::system_error when the system has no room for it
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /// \return what was printed; "" when called again
    std::string End();

private:
    int m_nCapture = -1;
    int m_nOutput = -1;  // the real one
};

}  // namespace northbound
