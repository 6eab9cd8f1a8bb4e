/// \file
/// What the pools do, for whoever looks after the server.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "nbiutil/poolsnapshot.h"
#include "server/serving/operation.h"

namespace northbound {

/// The pools' snapshots. On the request's own thread, so that it answers when all workers hang.
class Pools {
public:
    static constexpr Profile PROFILE{16, "pools", Place::REQUEST_THREAD, Role::READER};

    struct Request {};
    struct Result {
        std::vector<NS_UTIL::PoolSnapshot> m_Pools;
        NS_UTIL::ProcessSnapshot m_Process;
        unsigned long m_nLinesLost = 0;
    };

    /// \param linesLost how many log lines could not be written
    explicit Pools(std::function<unsigned long()> linesLost) : m_LinesLost(std::move(linesLost)) {}

    Result Run(const Request& /*request*/, const Caller& /*caller*/) const
    {
        return {NS_UTIL::TakePoolSnapshots(), NS_UTIL::TakeProcessSnapshot(), m_LinesLost()};
    }

private:
    std::function<unsigned long()> m_LinesLost;
};

}  // namespace northbound
