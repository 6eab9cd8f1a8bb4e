// Single faults in the thread's context, operation UUIDs, and the records of users.
#include <string>

#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"
#include "nbiutil/user.h"
#include "support/recordingfaults.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

const std::string LONG(40, 'x');  // too long to lie inside its object
const std::string SECRET = "correct horse battery staple, and more";

ThreadContextMgr& Registry()
{
    FaultHost();
    return *ThreadContextMgr::Instance();
}

/// What is kept is what was set, or nothing was set.
std::string SetAndGet(Faults& faults)
{
    ThreadContextMgr& registry = Registry();
    ThreadContextInfo info;
    info.SetInterfaceName(LONG);
    info.SetUserInfo(LONG);
    info.SetHugeTskInfo(1, 2, 3, LONG);
    const std::string result = faults.During([&] {
        registry.SetThreadContext(info);
        return registry.GetThreadContext().GetTskInfo();
    });
    registry.SetThreadContext(7, "next");
    faults.Expect(registry.GetThreadContext().GetInterfaceName() == "7 next",
                  "the next request has no context");
    return result;
}

const std::vector<Scenario> SCENARIOS = {
    {"ThreadContextMgr::Instance ThreadContextMgr::Destroy",
     [] {
         const bool bThere = ThreadContextMgr::Instance() != nullptr;
         ThreadContextMgr::Destroy();
         return bThere;
     },
     {"false"}},
    {"ThreadContextMgr::SetThreadContext ThreadContextMgr::GetThreadContext", SetAndGet},
    {"ThreadContextInfo::ThreadContextInfo ThreadContextInfo::SetHugeTskInfo ThreadContextInfo::operator==",
     [] {
         TskInfo task;
         task.m_TskMgr = LONG;
         ThreadContextInfo info(1, LONG, LONG, LONG, task);
         info.SetHugeTskInfo(1, 2, 3, LONG + LONG);
         return info == ThreadContextInfo(info) && info != ThreadContextInfo() ? info.GetTskInfo() : "unlike";
     }},
    {"ThreadContextInfo::SetOperUUID ThreadContextInfo::GetBareOperUUID ThreadContextInfo::GenerateUUID",
     [] {
         ThreadContextInfo info;
         info.SetOperUUID("");
         return info.GetBareOperUUID().size() + ThreadContextInfo::GenerateUUID().size();
     },
     {"0", "36"}},
    {"ACE_UUID_Generator::Instance ACE_UUID_Generator::generate_uuid ACE_UUID_Generator::Destroy",
     [] {
         ACE_UUID_Generator* const pGenerator = ACE_UUID_Generator::Instance();
         const std::size_t nLength = pGenerator == nullptr ? 0 : pGenerator->generate_uuid().size();
         ACE_UUID_Generator::Destroy();
         return nLength;
     },
     {"0"}},
    {"TokenInfo::TokenInfo TokenInfo::operator== TokenInfo::operator!=",
     [] {
         const TokenInfo token(1, 2, LONG, LONG, LONG);
         const TokenInfo copy = token;
         return copy == token && !(copy != token);
     }},
    {"User::Assign User::operator== User::operator!=",
     [] {
         User user;
         user.SetFirstText(LONG);
         user.SetIP(LONG);
         User copy;
         copy.Assign(user);
         return copy == user && !(copy != user);
     }},
    {"UserPara::UserPara UserPara::SetPwd UserPara::ClearPwd UserPara::GetIPAndPort",
     [](Faults& faults) {
         faults.KeepSecret(SECRET);
         User user;
         user.SetPwd(LONG);
         return faults.During([&] {
             UserPara para(LONG, LONG, LONG, SECRET, LONG + ":" + LONG);
             UserPara copy(para);
             copy.SetPwd(LONG);
             copy.SetPwd(SECRET);
             const UserPara ofUser(user);
             para.ClearPwd();
             return copy.GetIPAndPort() + ofUser.GetIPAndPort();
         });
     }},
};

}  // namespace
}  // namespace NS_UTIL

NBI_SINGLE_FAULTS(NS_UTIL::SCENARIOS)
