#include "server/serving/requestscope.h"

#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"

namespace northbound {
namespace {

using NS_UTIL::ThreadContextInfo;
using NS_UTIL::ThreadContextMgr;

constexpr int NO_HUGE_TASK = -1;
constexpr int SYNCHRONOUS = -1;
constexpr int MODE_ORDINARY = 0;
constexpr int MODE_HUGE = 1;

ThreadContextInfo SetRequestContext(const Profile& operation, const std::string& user)
{
    ThreadContextMgr* const pContexts = ThreadContextMgr::Instance();
    pContexts->SetThreadContext(operation.m_nId, operation.m_pName);
    ThreadContextInfo context = pContexts->GetThreadContext();
    context.SetUserInfo(user.empty() ? "-" : user.substr(0, RequestScope::MAX_USER));
    context.SetHugeTskInfo(NO_HUGE_TASK, 0, MODE_ORDINARY, "");
    pContexts->SetThreadContext(context);
    return context;
}

}  // namespace

RequestScope::RequestScope(const Profile& operation, const std::string& user)
    : m_Prefix(SetRequestContext(operation, user))
{
}

void MarkAsHuge(const std::string& dn, int nPerObject)
{
    ThreadContextInfo context = ThreadContextMgr::Instance()->GetThreadContext();
    context.SetHugeTskInfo(nPerObject, SYNCHRONOUS, MODE_HUGE, dn + " ");
    ThreadContextMgr::Instance()->SetThreadContext(context);
}

}  // namespace northbound
