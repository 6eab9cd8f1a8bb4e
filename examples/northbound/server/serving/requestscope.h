/// \file
/// The context of one northbound request on its request thread.
#pragma once

#include <cstddef>
#include <string>

#include "nbiutil/async.h"
#include "server/serving/logprefix.h"
#include "server/serving/operation.h"

namespace northbound {

/// While one is alive, the thread serves a request: it has a context of its own with a fresh operation UUID,
/// which its log lines carry and which the tasks made on it take along.
class RequestScope {
public:
    /// \param user an empty text becomes "-"; what goes beyond MAX_USER characters is left out
    RequestScope(const Profile& operation, const std::string& user);

    static constexpr std::size_t MAX_USER = 64;

private:
    NS_UTIL::RequestScope m_Context;
    LogPrefixScope m_Prefix;
};

}  // namespace northbound
