/// \file
/// The key under which the cipher of the standalone host works.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "nbihost/standalone.h"

namespace nbihost {

/// An AES-256 key, made in memory when it is first needed and kept nowhere else. Its page stays out of core
/// dumps where the system can keep it out, and a child of fork() has it too: a server may become a daemon after
/// it has enciphered something.
/// Threads: any.
class ProcessKey {
public:
    static constexpr std::size_t SIZE = 32;

    /// Nonces are random numbers of 96 bits: beyond this many texts two of them may well be the same.
    static constexpr std::uint64_t MAX_TEXTS = std::uint64_t{1} << 32;

    explicit ProcessKey(std::uint64_t nMaxTexts = MAX_TEXTS) : m_nMaxTexts(nMaxTexts) {}
    ~ProcessKey();
    ProcessKey(const ProcessKey&) = delete;
    ProcessKey& operator=(const ProcessKey&) = delete;

    /// The key, made now unless there is one.
    /// \param[out] pKey SIZE bytes; null after a failure, and the next call tries again
    /// \return CIPHER_DONE, CIPHER_NO_MEMORY or CIPHER_NO_RANDOM
    CipherResult Get(const unsigned char*& pKey);

    /// Counts one more text that is enciphered.
    /// \return CIPHER_DONE or CIPHER_KEY_USED_UP
    CipherResult CountText();

private:
    CipherResult MakeLocked();

    const std::uint64_t m_nMaxTexts;
    std::atomic<std::uint64_t> m_nTexts{0};
    std::mutex m_Mutex;  // guards the making
    std::atomic<unsigned char*> m_pPage{nullptr};
};

}  // namespace nbihost
