/// \file
/// What every request passes, whichever front end it comes through.
#pragma once

#include <chrono>
#include <exception>
#include <utility>
#include <vector>

#include "nbiutil/nbitask.h"
#include "nbiutil/processexception.h"
#include "server/serving/boundedtext.h"
#include "server/serving/occasionally.h"
#include "server/serving/operation.h"
#include "server/serving/requestscope.h"
#include "server/serving/runinpool.h"
#include "server/serving/usersessions.h"

namespace northbound {

/// Gives a request its context, checks who asks, has the operation carried out where it belongs, and turns
/// whatever goes wrong into a Failure, which it logs.
///
/// An operation is any object with
///     static constexpr Profile PROFILE;
///     struct Request; struct Result;       // a request with texts has std::vector<BoundedText> Texts() const
///     Result Run(const Request&, const Caller&);  // throws ProcessException, see ThrowFailure()
/// Threads: any number of request threads. Dispatcher and operations outlive the pools.
class Dispatcher {
public:
    /// \param nHugeTaskLimit for a log line of the pools
    Dispatcher(UserSessions& sessions, int nHugeTaskLimit);

    template <class Operation>
    Outcome<typename Operation::Result> Ask(Operation& operation, const Caller& caller,
                                            typename Operation::Request request)
    {
        try {
            const Caller known = m_Sessions.Identified(caller);
            const RequestScope scope(Operation::PROFILE, known.m_User);
            return Answer(operation, known, std::move(request));
        } catch (const std::exception& e) {
            return Unforeseen(e);  // no memory, be it for the context or for telling what has failed
        }
    }

    /// On whose behalf the server's tasks run.
    NS_UTIL::DBAgent& Agent() { return m_Agent; }

private:
    /// In the request's context.
    template <class Operation>
    Outcome<typename Operation::Result> Answer(Operation& operation, const Caller& caller,
                                               typename Operation::Request request)
    {
        try {
            Admit(Operation::PROFILE, caller);
            CheckSizes(TextsOf(request, 0));
            return CarryOut(operation, caller, std::move(request));
        } catch (const NS_UTIL::ProcessException& e) {
            return Refused(e.GetErrorCode(), e.GetDetail());
        } catch (const std::exception& e) {
            return Unforeseen(e);
        }
    }

    template <class Operation>
    typename Operation::Result CarryOut(Operation& operation, const Caller& caller,
                                        typename Operation::Request request)
    {
        constexpr Place PLACE = Operation::PROFILE.m_Place;
        if constexpr (PLACE == Place::REQUEST_THREAD) {
            return operation.Run(request, caller);
        } else {
            return ResultFromPool(m_Agent, PLACE == Place::POOL_0 ? 0 : 1,
                                  [&operation, caller, request = std::move(request)] {
                                      CheckWaiting(caller);
                                      return operation.Run(request, caller);
                                  });
        }
    }

    static void Admit(const Profile& operation, const Caller& caller);
    static void CheckWaiting(const Caller& caller);
    static void CheckSizes(const std::vector<BoundedText>& texts);
    Failure Refused(unsigned int nCode, std::string detail);
    void LogRefusal(unsigned int nCode, const std::string& detail);
    Failure Unforeseen(const std::exception& cause);

    UserSessions& m_Sessions;
    Occasionally m_SentAway{std::chrono::minutes(1)};  // logins
    NS_UTIL::DBAgent m_Agent;
};

}  // namespace northbound
