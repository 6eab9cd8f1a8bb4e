#include "server/operations/administer.h"

#include <utility>

#include "server/serving/failure.h"
#include "server/serving/usersessions.h"
#include "server/upkeep/configeditor.h"
#include "server/upkeep/items.h"
#include "server/upkeep/packer.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "administer";

PackMethod ToMethod(const std::string& method)
{
    if (method == "gzip") return PackMethod::GZIP;
    if (method == "tar") return PackMethod::TAR;
    if (method == "zip") return PackMethod::ZIP;
    ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                 "\"" + method + "\" is no method of packing: gzip, tar and zip are");
}

}  // namespace

Sessions::Result Sessions::Run(const Request& request, const Caller& /*caller*/) const
{
    std::vector<Session> all;
    for (const UserSession& session : m_Sessions.List()) {
        const NS_UTIL::UserPara& user = session.m_User;
        all.push_back({user.GetFirstText(), user.GetSecondText(), user.GetIPAndPort(), session.m_Role});
    }
    return PageBehind(request.m_After, std::move(all));
}

Pack::Result Pack::Run(const Request& request, const Caller& /*caller*/) const
{
    const PackMethod method = ToMethod(request.m_Method);
    if (request.m_nPerArchive == 0) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE, "an archive holds at least one file");
    }
    const PackOutcome outcome = m_Packer.Pack(method, request.m_nPerArchive);
    m_OnEnd();
    Result result{{}, outcome.m_Archives.size(), outcome.m_nWaiting};
    PageRoom room;
    for (const std::string& archive : outcome.m_Archives) {
        if (!room.Takes(archive.size(), 1)) break;
        result.m_Archives.push_back(archive);
    }
    return result;
}

SetItem::Result SetItem::Run(const Request& request, const Caller& /*caller*/) const
{
    const Item& item = SettableItem(request.m_Key, request.m_Value);
    m_Editor.Set(request.m_Key, request.m_Value);
    return {item.m_Setting == Setting::AT_ONCE};
}

}  // namespace northbound
