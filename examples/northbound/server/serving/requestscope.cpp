#include "server/serving/requestscope.h"

#include "nbiutil/threadcontextmgr.h"

namespace northbound {

RequestScope::RequestScope(const Profile& operation, const std::string& user)
    : m_Context(std::to_string(operation.m_nId) + ' ' + operation.m_pName,
                user.empty() ? "-" : user.substr(0, MAX_USER)),
      m_Prefix(NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext())
{
}

}  // namespace northbound
