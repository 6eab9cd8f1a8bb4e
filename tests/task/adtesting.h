/// \file
/// What the tests of the completion descriptor share.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "nbihost/recordinghost.h"
#include "nbiutil/ad.h"
#include "nbiutil/processexception.h"

namespace nbitest {

constexpr int RUNNING = 0;
constexpr int STOPPING = 2;

/// What a ProcessException from waiting says; empty when nothing was raised.
struct Outcome {
    bool m_bRaised = false;
    unsigned int m_nCode = 0;
    std::string m_Message;
};

template <class Call>
Outcome OutcomeOf(Call call)
{
    Outcome outcome;
    try {
        call();
    } catch (NS_UTIL::ProcessException& failure) {
        outcome = {true, failure.GetErrorCode(), failure.MessageStream().str()};
        EXPECT_EQ(failure.FileStream().str(), "ad");
        EXPECT_EQ(failure.FunctionStream().str(), "unknown");
        EXPECT_EQ(failure.GetLine(), 84);
        EXPECT_EQ(failure.ErrorInfoStream().str(), "");
    }
    return outcome;
}

inline Outcome OutcomeOfWait(NS_UTIL::AD& ad)
{
    return OutcomeOf([&ad] { ad.Wait(); });
}

class ADTest : public ::testing::Test {
protected:
    /// What all descriptors share is made with the first, and stays.
    ADTest() { const NS_UTIL::AD first; }

    /// The stored code, which only a stopping framework gives without a wait.
    unsigned long StoredCode(NS_UTIL::AD& ad)
    {
        m_Host.SetState(STOPPING);
        const unsigned long nCode = ad.GetErrorCode();
        m_Host.SetState(RUNNING);
        return nCode;
    }

    RecordingHost m_Host;
};

}  // namespace nbitest
