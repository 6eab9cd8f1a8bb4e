/// \file
/// Servers that answer what a test says, each a process of its own.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "northbound.hh"
#include "support/testdirectory.h"

namespace northbound {

/// What one answers. In its process, and a copy of what the test has set.
struct FakeAnswers {
    Northbound::ServerList m_Servers;
    Northbound::OpenOrderList m_Orders;
    std::function<bool()> m_Order = [] { return false; };
    /// \param nAsked how often this server was asked for an order before
    std::function<Northbound::OrderState(const std::string& operation, int nAsked)> m_Await;
    std::function<Northbound::PartPiece(unsigned int nFirst, unsigned long long nOffset)> m_Fetch;
    std::string m_Key;  // that requests need; Login() answers with it. "": none
};

/// Serves until it is killed, with the test at the latest. Made before the test's process has threads.
class FakeServer {
public:
    FakeServer(const nbitest::TestDirectory& directory, const std::string& name, const FakeAnswers& answers);
    ~FakeServer();
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    /// "unix:<path>", known before the server is made.
    static std::string AddressOf(const nbitest::TestDirectory& directory, const std::string& name);

    void Kill();

    /// What it was asked for, one line each: "order <operation>", "await ...", "cancel ...", "fetch <first> <offset>", "login".
    std::string Calls() const;

private:
    void Serve(const FakeAnswers& answers) const;

    const std::string m_Path;
    pid_t m_nPid = -1;
};

/// In an answer: ends the server as a kill does.
[[noreturn]] void Die();
/// In an answer: it does not come.
[[noreturn]] void Hang();

/// The servers of a book, all at work, with as much to do as their place in the list.
Northbound::ServerList BookOf(const nbitest::TestDirectory& directory, const std::vector<std::string>& names);

Northbound::OrderState RunningState();
/// Of one that has ended well, in one part.
Northbound::OrderState EndedState(const std::string& operation);
void AddPart(Northbound::OrderState& state, const std::string& server, unsigned int nFirst,
             unsigned int nSamples);

}  // namespace northbound
