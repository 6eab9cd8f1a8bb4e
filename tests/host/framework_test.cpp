#include <gtest/gtest.h>

#include "host/hostfixture.h"
#include "nbihost/bundlemgr.h"
#include "nbihost/logservice.h"
#include "nbihost/standalone.h"
#include "nbiutil/processexception.h"

namespace {

using NS_BUNDLEMGR1::BundleMgr;
using NS_BUNDLEMGR1::CheckIFBuf;

class FrameworkTest : public nbitest::HostFixture {};

TEST_F(FrameworkTest, WithoutAHostItRunsAndHasNoLogService)
{
    EXPECT_NE(BundleMgr::Instance()->GetState(), NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
    EXPECT_EQ(CheckIFBuf("LogSvcInterface"), -1);
    EXPECT_THROW(BundleMgr::Instance()->GetService(-1), NS_UTIL::InterfaceNotExistException);
    EXPECT_THROW(BundleMgr::Instance()->GetService(1000), NS_UTIL::InterfaceNotExistException);
}

TEST_F(FrameworkTest, StartedHostServesTheLogUnderItsName)
{
    nbihost::Host host(WriteConfig());
    host.Start();
    NS_BUNDLEMGR1::ServiceInterface* const pService =
        BundleMgr::Instance()->GetService(CheckIFBuf("LogSvcInterface"));
    EXPECT_NE(dynamic_cast<NS_LOG_SERVICE1::LogSvcInterface*>(pService), nullptr);
}

TEST_F(FrameworkTest, StoppedHostKeepsTheNumberAndServesNothingUnderIt)
{
    nbihost::Host host(WriteConfig());
    host.Start();
    const int nInterface = CheckIFBuf("LogSvcInterface");
    host.Stop();
    EXPECT_EQ(CheckIFBuf("LogSvcInterface"), nInterface);
    EXPECT_THROW(BundleMgr::Instance()->GetService(nInterface), NS_UTIL::InterfaceNotExistException);
}

TEST_F(FrameworkTest, NullServiceObjectKeepsItsName)
{
    EXPECT_EQ(NS_BUNDLEMGR1::NULLServiceInterface::m_pInstance, nullptr);
    const NS_BUNDLEMGR1::NULLServiceInterface none("NULLServiceInterface!");
    EXPECT_EQ(none.GetName(), "NULLServiceInterface!");
}

TEST_F(FrameworkTest, GlobalMutexIsOne)
{
    EXPECT_EQ(&NS_BUNDLEMGR1::GlobalMutex(), &NS_BUNDLEMGR1::GlobalMutex());
}

}  // namespace
