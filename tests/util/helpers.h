/// \file
/// What the tests of the helpers stand on.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/selfutilcommon.h"
#include "support/testdirectory.h"

namespace nbitest {

using Strings = std::vector<std::string>;

class HelpersTest : public ::testing::Test {
protected:
    void TearDown() override { NS_UTIL::SelfUtilCommon::Destroy(); }

    /// The texts of all log lines; each has to come from this module.
    Strings LogTexts()
    {
        Strings texts;
        for (const LogLine& line : m_Host.Logs()) {
            EXPECT_EQ(line.m_File, "selfutilcommon");
            EXPECT_EQ(line.m_Function, "unknown");
            EXPECT_EQ(line.m_nLevel, 1);
            texts.push_back(line.m_Text);
        }
        return texts;
    }
    bool Start(const std::string& command, bool bWait = true)
    {
        return m_pHelpers->StartProcess(m_Dir.Path(), command, bWait);
    }
    Strings FailedStart(int nError)
    {
        return {std::string("[SelfUtilCommon::StartProcess] Fail to launch process.") +
                std::strerror(nError)};
    }
    bool Modify(const std::string& key, const std::string& value, const std::string& prefix = "true ")
    {
        return m_pHelpers->modifyCorbaItemByCfg(m_Dir / "conf", key, value, prefix);
    }

    RecordingHost m_Host;
    TestDirectory m_Dir;
    NS_UTIL::SelfUtilCommon* m_pHelpers = NS_UTIL::SelfUtilCommon::Instance();
};

}  // namespace nbitest
