/// \file
/// Descriptors of the system, and whose they are.
#pragma once

#include <unistd.h>

#include <utility>

namespace northbound {

/// Closes the descriptor it was given, unless that is negative, as what could not be opened.
class Descriptor {
public:
    explicit Descriptor(int nNumber = -1) : m_nNumber(nNumber) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return m_nNumber; }
    bool IsOpen() const { return m_nNumber >= 0; }

    /// From now on it is the caller's to close.
    int Release() { return std::exchange(m_nNumber, -1); }

    /// Takes \p nNumber in place of the one before.
    void Reset(int nNumber)
    {
        Close();
        m_nNumber = nNumber;
    }

    void Close()
    {
        if (IsOpen()) close(std::exchange(m_nNumber, -1));
    }

private:
    int m_nNumber;
};

}  // namespace northbound
