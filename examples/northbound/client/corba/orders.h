/// \file
/// Collections that the servers of a book carry out, whichever of them lives.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "client/corba/session.h"
#include "northbound.hh"

namespace northbound {

/// An operation UUID of one's own.
std::string NewOperation();

/// A collection that is ordered once under an operation UUID and asked for again and again, of the session's servers in
/// turn. Threads: one at a time.
class SharedOrder {
public:
    SharedOrder(const Session& session, const Northbound::CollectionOrder& work);

    /// Sends the order. A server that does not answer may have taken it: the next one gets it under the same UUID.
    /// \throws NoAnswer, CORBA::SystemException when nobody answers
    void Send();

    /// Asks how far it is, and waits for its end, \p limit at most.
    /// \throws as Send()
    void Look(std::chrono::milliseconds limit);

    /// Asks for its end, unless it is over. Nothing happens when nobody answers.
    void Cancel();

    bool IsOver() const { return m_pRefusal != nullptr || std::string(State().phase.in()) == "ended"; }
    const std::string& Operation() const { return m_Operation; }
    const Northbound::CollectionOrder& Work() const { return m_Work; }
    /// What the last answer told; without a phase before the first one.
    const Northbound::OrderState& State() const { return m_State.in(); }
    /// Why it was not accepted, or nobody tells of it, or it has failed; null for one that runs or has ended well.
    const Northbound::OperationFailed* Refusal() const { return m_pRefusal.get(); }

private:
    void Note(Northbound::OrderState* pState);
    /// \throws the failure being handled when it may pass, and has lasted too long
    bool MayPass(const Northbound::OperationFailed& failure) const;

    const Session& m_Session;
    const Northbound::CollectionOrder m_Work;
    const std::string m_Operation = NewOperation();
    Northbound::OrderState_var m_State = new Northbound::OrderState;
    std::unique_ptr<Northbound::OperationFailed> m_pRefusal;
    std::chrono::steady_clock::time_point m_LastAnswer;
};

/// How long one wait for an end may be, so that a server that hangs is told from one that waits.
std::chrono::milliseconds LongestWait(const Session& session);

}  // namespace northbound
