/// \file
/// What the tests of the request context share.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"

namespace nbitest {

inline const std::string OPEN_TAG = "<OpUUID>";
inline const std::string CLOSE_TAG = "</OpUUID>";
constexpr std::size_t UUID_LENGTH = 36;

inline bool IsUUID(const std::string& text)
{
    const std::string shape = "hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh";
    const auto fits = [](char character, char wanted) {
        return wanted == 'h' ? std::string("0123456789abcdef").find(character) != std::string::npos
                             : character == wanted;
    };
    return text.size() == shape.size() && std::equal(text.begin(), text.end(), shape.begin(), fits);
}

inline bool IsWrappedUUID(const std::string& text)
{
    return text.size() == OPEN_TAG.size() + UUID_LENGTH + CLOSE_TAG.size() &&
           text.compare(0, OPEN_TAG.size(), OPEN_TAG) == 0 &&
           text.compare(OPEN_TAG.size() + UUID_LENGTH, CLOSE_TAG.size(), CLOSE_TAG) == 0 &&
           IsUUID(text.substr(OPEN_TAG.size(), UUID_LENGTH));
}

/// A record in which no two values are alike.
inline NS_UTIL::ThreadContextInfo FullRecord()
{
    NS_UTIL::TskInfo tskInfo;
    tskInfo.m_nTskNum = 11;
    tskInfo.m_nTskMode = 22;
    tskInfo.m_nTskType = 33;
    tskInfo.m_TskMgr = "manager";
    return NS_UTIL::ThreadContextInfo(44, "interface", "user", "uuid", tskInfo);
}

/// Tests of the calling thread's record; each leaves no registry behind.
class RecordTest : public ::testing::Test {
protected:
    ~RecordTest() override { NS_UTIL::ThreadContextMgr::Destroy(); }

    static NS_UTIL::ThreadContextInfo Get()
    {
        return NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
    }
    static void Set(const NS_UTIL::ThreadContextInfo& info)
    {
        NS_UTIL::ThreadContextMgr::Instance()->SetThreadContext(info);
    }
};

}  // namespace nbitest
