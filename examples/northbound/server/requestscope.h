/// \file
/// The context of one northbound request on its request thread.
#pragma once

#include <string>

#include "serving.h"

namespace northbound {

/// One operation of the northbound interface, as context and log call it: "<id> <name>".
struct Operation {
    int m_nId;
    const char* m_pName;
    bool m_bNeedsLogin = true;  // where the server wants its users to log in
};

constexpr Operation INVENTORY{1, "inventory"};
constexpr Operation COUNTERS{2, "counters"};
constexpr Operation COLLECT{3, "collect"};
constexpr Operation TASKS{4, "tasks"};
constexpr Operation STOP{5, "stop"};
constexpr Operation PUBLIC_KEY{6, "pubkey", false};
constexpr Operation SECRET{7, "secret"};
constexpr Operation PACK{8, "pack"};
constexpr Operation CONFIG{9, "config"};
constexpr Operation COLUMNS{10, "columns"};
constexpr Operation LOGIN{11, "login", false};
constexpr Operation SESSIONS{12, "sessions"};

/// While one is alive, the thread serves a request: it has a context of its own with a fresh operation UUID,
/// which its log lines carry and which the tasks made on it take along.
class RequestScope {
public:
    /// \param user an empty text becomes "-"; what goes beyond MAX_USER characters is left out
    RequestScope(const Operation& operation, const std::string& user);

    static constexpr std::size_t MAX_USER = 64;

private:
    ServingScope m_Serving;
};

/// Makes the calling thread's request a huge one whose caller waits for it.
/// \param nPerObject collections of \p dn that may run; one more still begins, and 0 sets no limit
void MarkAsHuge(const std::string& dn, int nPerObject);

}  // namespace northbound
