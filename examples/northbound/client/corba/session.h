/// \file
/// The client's way to the server.
#pragma once

#include <omniORB4/CORBA.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "northbound.hh"
#include "shared/tlsfiles.h"

namespace northbound {

/// Where a server is, and the user's key there.
struct Endpoint {
    std::string m_Address;  // "<host>:<port>", "tls:<host>:<port>" or "unix:<path>"
    std::string m_Key;      // "" without a session
};

/// Where the user's keys come from.
struct Keys {
    /// Of the server at this address; "" without one.
    std::function<std::string(const std::string& address)> m_Known;
    /// Logs in at the server that is asked now, and returns the key. Empty: nobody knows a password.
    std::function<std::string()> m_LogIn;
};

/// One of the servers that share a book, as it tells of itself.
struct Neighbour {
    std::string m_Name;
    std::string m_Address;
};

/// None of the servers has answered; what() names each with the reason.
class NoAnswer : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The process's ORB and the servers' objects: one at a time. No connection is made before the first request, and no name
/// looked up; the time that this takes is the request's.
///
/// Of several servers one is asked: the first, and in Read() and Settle() the next one when it does not answer. Each
/// gets its share of the time that is left, so that one that hangs leaves time for the others.
///
/// A session's key is good at one server. Where there is a password, Read() and Settle() log in at the server that knows
/// the key no longer, or had none.
/// Threads: any may send requests with Server() and Who(), each has a connection of its own; while one is in Read() or
/// Settle() no other may, unless there is one server or Settle() has returned before.
class Session {
public:
    /// \param servers at least one
    /// \param timeout for the calling thread's requests, as LimitAnswerTime() sets it
    /// \param tls     for those with TLS
    /// \throws NoAnswer when an address is none
    /// \throws TlsError
    Session(const std::vector<Endpoint>& servers, const std::string& user, std::chrono::milliseconds timeout,
            const TlsFiles& tls = {});
    /// With one server.
    Session(const std::string& server, const std::string& user, const std::string& key = "",
            std::chrono::milliseconds timeout = std::chrono::seconds(30))
        : Session({Endpoint{server, key}}, user, timeout)
    {
    }
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// The server that is asked now.
    /// \throws CORBA::TRANSIENT when its name stands for no address; ReasonOf() tells
    Northbound::Manager_ptr Server() const;
    const Northbound::Caller& Who() const { return Current().m_Who; }
    const std::string& Address() const { return Current().m_Address; }
    bool HasSeveralServers() const { return m_Servers.size() > 1; }

    std::chrono::milliseconds Timeout() const { return m_Timeout; }

    /// Before the first request.
    void Use(Keys keys) { m_Keys = std::move(keys); }

    /// From now on the servers of a book are asked, one after the other in the order of \p neighbours. The server that is
    /// asked now stays among them, and so do those that were given, the latter behind all others: each of them is asked for
    /// its neighbours before anything else, and passed over when it has none of \p neighbours, since it knows nothing of what
    /// was ordered here. What cannot be reached the way that the given servers are, is left out: by TCP where they have TLS, a
    /// key and a password would be seen.
    void Adopt(const std::vector<Neighbour>& neighbours) const;

    /// Before the next request: the server that is asked now has answered and cannot help.
    void TurnToNext() const;
    /// Before the next request: to the server at \p address, when it is one of the session's.
    void TurnTo(const std::string& address) const;
    std::size_t Servers() const { return m_Servers.size(); }

    /// For requests that may be sent twice.
    /// \param ask takes Northbound::Manager_ptr and const Northbound::Caller&
    /// \return what \p ask has, with the first server that answers
    /// \throws NoAnswer when none of several does; whatever \p ask throws with one server
    template <class Ask>
    auto Read(const Ask& ask) const
    {
        if (!HasSeveralServers() || m_bSettled) return AskLoggedIn(ask);
        for (Attempts attempts(*this, 0);;) {
            try {
                attempts.Begin();
                RequireBook();
                return AskLoggedIn(ask);
            } catch (const CORBA::SystemException& e) {
                attempts.GoOn(e);
            }
        }
    }

    /// For requests that may not be sent twice, before the first of them: looks for a server that answers. From now on
    /// no other one is asked, until Adopt().
    /// \throws as Read()
    void Settle() const;

    /// Returns when the server answers.
    /// \throws CORBA::SystemException when it does not, CORBA::TIMEOUT when it takes longer than the timeout
    void Ping() const;

    /// Whether the server has stopped. One that is stopping turns requests away, but is still there.
    bool IsGone() const;

    /// From now on the calling thread's requests fail when they are not answered within this time.
    static void LimitAnswerTime(unsigned int nMilliseconds);

    /// What the ORB says about \p failure, in a few words; what TLS says where that has failed.
    static std::string ReasonOf(const CORBA::SystemException& failure);

    /// Whether \p failure says that the request is longer than a message may be.
    static bool IsTooLong(const CORBA::SystemException& failure);

private:
    struct Way {
        Way(const Endpoint& server, const char* pUser, std::chrono::milliseconds patience);

        std::string m_Address;
        Northbound::Manager_var
            m_Manager;  // nil until the address behind a name is known; guarded by m_ReachLock
        Northbound::Caller m_Who;
        bool m_bOfBook = true;  // false: it has to say so first
    };

    /// One server after the other, until the time is over.
    class Attempts {
    public:
        /// \param nReserved shares of the time that are left when all servers have had theirs
        Attempts(const Session& session, unsigned int nReserved);
        /// Gives the current server its share of the time.
        /// \throws as Server()
        void Begin();
        /// Takes the next server.
        /// \throws NoAnswer after the last one
        void GoOn(const CORBA::SystemException& failure);
        /// Gives the current server all the time that is left.
        void TakeTheRest();

    private:
        void Limit(unsigned int nShares);

        const Session& m_Session;
        const std::chrono::steady_clock::time_point m_End;
        unsigned int m_nLeft;  // servers that have not been asked
        unsigned int m_nReserved;
        std::string m_Failures;
    };

    template <class Ask>
    auto AskLoggedIn(const Ask& ask) const
    {
        try {
            return ask(Server(), Who());
        } catch (const Northbound::OperationFailed& e) {
            if (!IsToLogInFor(e)) throw;
        }
        LogIn();
        return ask(Server(), Who());
    }
    bool IsToLogInFor(const Northbound::OperationFailed& failure) const;
    void LogIn() const;

    /// \throws CORBA::TRANSIENT when the current server is none of the book's
    void RequireBook() const;
    bool IsReachedLikeOneOf(const std::string& address) const;
    std::size_t IndexOf(const std::string& address) const;

    void MakeWhatNeedsNoSearch();
    Northbound::Manager_ptr ManagerAt(const std::string& address, std::chrono::milliseconds limit) const;
    /// Gives the current server its object, unless it has one.
    /// \return what is left of \p limit, and more than nothing
    /// \throws as Server()
    std::chrono::milliseconds Reach(std::chrono::milliseconds limit) const;
    const Way& Current() const { return m_Servers[m_nCurrent]; }

    CORBA::ORB_var m_Orb;
    const std::chrono::milliseconds m_Timeout;
    Keys m_Keys;
    mutable std::mutex m_ReachLock;
    // Which one is asked is no part of what callers see.
    mutable std::vector<Way> m_Servers;
    mutable std::size_t m_nCurrent = 0;
    mutable bool m_bSettled = false;
    mutable std::set<std::string> m_Neighbours;  // names
};

}  // namespace northbound
