/// \file
/// What a login passes before its password is looked at.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace northbound {

/// Keeps logins from being replayed, from taking the server's processors, and from being tried without end.
/// Challenges are not stored when they are given, so that asking for many takes nothing from anybody. Threads: any.
class LoginGate {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr unsigned int MAX_AT_ONCE = 2;  // each costs a decryption and a slow digest
    static constexpr std::chrono::seconds CHALLENGE_LIFE{60};
    static constexpr unsigned int FREE_FAILURES = 2;         // of an address: slips of the finger
    static constexpr std::chrono::seconds MAX_WAIT{60};      // doubled from a second with each failure more
    static constexpr std::chrono::minutes FAILURE_LIFE{15};  // then an address starts anew
    static constexpr std::chrono::milliseconds PACE{100};    // of an address that comes again all the same
    static constexpr std::size_t MAX_ADDRESSES = 1024;       // the one whose failure is the oldest gives way
    static constexpr std::size_t MAX_REDEEMED = 1024;

    using Pause = std::function<void(std::chrono::milliseconds)>;

    /// \param pause has the calling thread wait
    /// \throws ProcessException INTERNAL without random numbers
    explicit LoginGate(std::function<Clock::time_point()> now = Clock::now, Pause pause = Sleep);

    /// A text of LOGIN_CHALLENGE characters that the next login encrypts together with the password.
    std::string Challenge() const;

    /// One login's way through the gate, from construction to destruction.
    class Passage {
    public:
        /// A host that has to wait is told so at once, and when it comes again meanwhile after PACE, so that it takes the
        /// processors from nobody. That holds up its connection's own thread, and no worker.
        /// \throws ProcessException TRY_LATER when as many are inside as may, or \p host has to wait
        Passage(LoginGate& gate, std::string host);
        ~Passage();
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;

        /// The challenge is given out for one login.
        /// \throws ProcessException NOT_LOGGED_IN when it is none of this gate's, too old, or redeemed already;
        ///         TRY_LATER when too many have been redeemed in its time
        void Redeem(const std::string& challenge);

        /// The password was right. A passage without it counts as a failure of its host, and frees its challenge.
        void Succeed();

    private:
        LoginGate& m_Gate;
        const std::string m_Host;
        std::string m_Challenge;
        bool m_bSucceeded = false;
    };

private:
    struct Failures {
        unsigned int m_nCount = 0;
        Clock::time_point m_Last;
        bool m_bTold = false;  // that it has to wait, since then
    };

    static void Sleep(std::chrono::milliseconds time);

    std::string SealOf(const std::string& text) const;
    bool IsFresh(const std::string& challenge) const;
    unsigned long long SecondsNow() const;
    std::chrono::seconds WaitLocked(const std::string& host) const;
    bool WasToldLocked(const std::string& host);
    void NoteFailureLocked(const std::string& host);
    void ForgetLocked();

    const std::function<Clock::time_point()> m_Now;
    const Pause m_Pause;
    std::array<unsigned char, 32> m_Key{};
    std::mutex m_Mutex;
    unsigned int m_nInside = 0;                            // guarded by m_Mutex
    std::map<std::string, Failures> m_Failures;            // by address; guarded by m_Mutex
    std::map<std::string, unsigned long long> m_Redeemed;  // with the seconds when; guarded by m_Mutex
};

}  // namespace northbound
