#include "server/operations/partfiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "server/operations/perffile.h"
#include "server/serving/safename.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

/// "eth0" of "ne=<name>,port=eth0".
std::string SafePortOf(const std::string& dn)
{
    const std::string separator = ",port=";
    const std::size_t nFound = dn.find(separator);
    return nFound == std::string::npos ? "" : dn.substr(nFound + separator.size());
}

/// As one folder's name: no name leads to another folder.
std::string FolderName(const std::string& server)
{
    std::string name = SafeName(server);
    return name.front() == '.' ? "%2E" + name.substr(1) : name;
}

}  // namespace

std::string PartFiles::FolderOf(const std::string& server) const
{
    return server.empty() ? m_Directory : m_Directory + "/" + FolderName(server);
}

std::string PartFiles::NameOf(const CollectionClaim& claim) const
{
    return m_Server.empty() ? claim.m_Operation : std::to_string(claim.m_nToken) + "-" + claim.m_Operation;
}

std::string PartFiles::FileOf(const CollectionOrder& order, const CollectionPart& part) const
{
    const std::string path = FolderOf(part.m_Server) + "/" +
                             PerfFileName(SafePortOf(order.m_Dn), NameOf({order.m_Operation, part.m_nToken}));
    std::error_code error;
    const bool bUnfinished = !fs::exists(path, error) && fs::exists(path + UNFINISHED, error);
    return bUnfinished ? path + UNFINISHED : path;
}

std::vector<CollectionShare> PartFiles::SharesOf(const CollectionState& state) const
{
    std::vector<CollectionPart> parts = state.m_Parts;
    if (m_Server.empty()) parts = {{"", 0, 0, state.m_nTaken}};
    std::vector<CollectionShare> shares;
    for (const CollectionPart& part : parts) {
        if (part.m_nTaken > 0) shares.push_back({part, FileOf(state.m_Order, part)});
    }
    return shares;
}

}  // namespace northbound
