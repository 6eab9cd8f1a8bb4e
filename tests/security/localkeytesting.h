/// \file
/// What the tests of the local key pair share.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "nbihost/recordinghost.h"
#include "nbiutil/localrsakeymgr.h"

namespace nbitest {

/// A key pair of its own, which is not made yet.
class LocalKeyTest : public ::testing::Test {
protected:
    LocalKeyTest() : m_Manager(*NS_UTIL::LocalRsaKeyMgr::Instance()) {}
    ~LocalKeyTest() override { NS_UTIL::LocalRsaKeyMgr::Destroy(); }

    std::string PublicDer() const
    {
        return std::string(m_Manager.GetLocalRsaPublicKey(),
                           static_cast<std::size_t>(m_Manager.GetLocalRsaPublicKeyLen()));
    }

    RecordingHost m_Host;
    NS_UTIL::LocalRsaKeyMgr& m_Manager;
};

}  // namespace nbitest
