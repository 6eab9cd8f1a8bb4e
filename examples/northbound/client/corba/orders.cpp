#include "client/corba/orders.h"

#include <algorithm>
#include <cstdio>
#include <random>

#include "shared/names.h"

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// Of a server that stops, or whose book is away, and not of the order.
bool IsOfServer(unsigned int nCode)
{
    return nCode == ErrCode::BOOK_AWAY || nCode == ErrCode::CUT_SHORT || nCode == ErrCode::NOT_CARRIED_OUT;
}

}  // namespace

std::string NewOperation()
{
    std::random_device random;
    unsigned int words[4];
    for (unsigned int& nWord : words) nWord = random();
    words[1] = (words[1] & 0xFFFF0FFFU) | 0x00004000U;  // of chance: version 4, variant 1
    words[2] = (words[2] & 0x3FFFFFFFU) | 0x80000000U;
    char text[37];
    std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%04x-%04x%08x", words[0], words[1] >> 16U,
                  words[1] & 0xFFFFU, words[2] >> 16U, words[2] & 0xFFFFU, words[3]);
    return text;
}

SharedOrder::SharedOrder(const Session& session, const Northbound::CollectionOrder& work)
    : m_Session(session), m_Work(work)
{
}

void SharedOrder::Send()
{
    try {
        m_Session.Read([this](Northbound::Manager_ptr server, const Northbound::Caller& who) {
            return server->Order(who, m_Operation.c_str(), m_Work);
        });
    } catch (const Northbound::OperationFailed& e) {
        m_pRefusal = std::make_unique<Northbound::OperationFailed>(e);
    }
    m_LastAnswer = Clock::now();
}

bool SharedOrder::MayPass(const Northbound::OperationFailed& failure) const
{
    return IsOfServer(failure.code) && Clock::now() < m_LastAnswer + m_Session.Timeout();
}

void SharedOrder::Note(Northbound::OrderState* pState)
{
    m_State = pState;
    m_LastAnswer = Clock::now();
    if (!IsOver() || m_State->code == 0) return;
    m_pRefusal = std::make_unique<Northbound::OperationFailed>(m_State->code, m_State->detail.in());
}

void SharedOrder::Look(Milliseconds limit)
{
    if (IsOver()) return;
    const auto nLimit = static_cast<CORBA::ULong>(limit.count());
    try {
        Note(m_Session.Read([&](Northbound::Manager_ptr server, const Northbound::Caller& who) {
            return server->Await(who, m_Operation.c_str(), nLimit);
        }));
    } catch (const Northbound::OperationFailed& e) {
        if (!MayPass(e)) {
            m_pRefusal = std::make_unique<Northbound::OperationFailed>(e);
        } else if (m_Session.HasSeveralServers()) {
            m_Session.TurnToNext();
        }
    }
}

void SharedOrder::Cancel()
{
    if (IsOver()) return;
    try {
        m_Session.Read([this](Northbound::Manager_ptr server, const Northbound::Caller& who) {
            server->Cancel(who, m_Operation.c_str());
            return true;
        });
    } catch (const Northbound::OperationFailed&) {
        // It has just ended.
    } catch (const CORBA::SystemException&) {
        // The servers carry it out to its end.
    } catch (const NoAnswer&) {
        // The same.
    }
}

Milliseconds LongestWait(const Session& session)
{
    constexpr Milliseconds ENOUGH(250);  // between two pictures of the progress
    const auto nShares = static_cast<Milliseconds::rep>(2 * session.Servers() + 2);
    return std::min(ENOUGH, session.Timeout() / nShares);
}

}  // namespace northbound
