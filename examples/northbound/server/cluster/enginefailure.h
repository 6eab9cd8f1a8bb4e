/// \file
/// How a call to the database engine fails.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace northbound {

/// The engine cannot be reached, or did not answer in time. Nobody knows whether it did what was asked.
class EngineAway : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The engine has refused a statement, or a limit of this side has.
class EngineRefusal : public std::runtime_error {
public:
    EngineRefusal(std::string state, const std::string& what)
        : std::runtime_error(what), m_State(std::move(state))
    {
    }

    /// SQLSTATE; "" when this side refuses.
    const std::string& State() const { return m_State; }

private:
    std::string m_State;
};

}  // namespace northbound
