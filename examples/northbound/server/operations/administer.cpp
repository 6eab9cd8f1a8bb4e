#include "server/operations/administer.h"

#include <algorithm>
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
    PackOutcome outcome = m_Packer.Pack(method, request.m_nPerArchive);
    const std::size_t nMade = outcome.m_Archives.size();
    PageRoom room;
    const auto end =
        std::find_if(outcome.m_Archives.begin(), outcome.m_Archives.end(),
                     [&room](const std::string& archive) { return !room.Takes(archive.size(), 1); });
    outcome.m_Archives.erase(end, outcome.m_Archives.end());
    return {std::move(outcome.m_Archives), nMade, outcome.m_nWaiting};
}

SetItem::Result SetItem::Run(const Request& request, const Caller& /*caller*/) const
{
    const Item& item = SettableItem(request.m_Key, request.m_Value);
    m_Editor.Set(request.m_Key, request.m_Value);
    return {item.m_Setting == Setting::AT_ONCE};
}

}  // namespace northbound
