#include "server/operations/fetch.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "server/serving/failure.h"
#include "shared/descriptor.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "fetch";

/// Leaves room in a message for what else an answer has.
constexpr std::uint64_t PIECE = MAX_MESSAGE - 4096;

[[noreturn]] void FailElsewhere(const CollectionShare& share)
{
    const std::string& server = share.m_Part.m_Server;
    ThrowFailure(ErrCode::PART_ELSEWHERE, MODULE,
                 "the part of server \"" + server + "\", " + share.m_File + ": " + std::strerror(errno));
}

std::string Read(const CollectionShare& share, int nDescriptor, std::uint64_t nOffset, std::uint64_t nBytes)
{
    std::string data(nBytes, '\0');
    std::size_t nDone = 0;
    while (nDone < data.size()) {
        const ssize_t nRead =
            pread(nDescriptor, &data[nDone], data.size() - nDone, static_cast<off_t>(nOffset + nDone));
        if (nRead <= 0) FailElsewhere(share);
        nDone += static_cast<std::size_t>(nRead);
    }
    return data;
}

}  // namespace

CollectionShare Fetch::ShareOf(const Request& request) const
{
    const std::optional<CollectionState> state = m_Book.Find(request.m_Operation);
    if (!state) {
        ThrowFailure(ErrCode::UNKNOWN_OPERATION, MODULE,
                     "no collection \"" + request.m_Operation + "\" was ordered, or it is forgotten");
    }
    for (const CollectionShare& share : m_Files.SharesOf(*state)) {
        if (share.m_Part.m_nFirst == request.m_nFirst) return share;
    }
    ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                 "no part of the collection begins with sample " + std::to_string(request.m_nFirst));
}

Fetch::Result Fetch::Run(const Request& request, const Caller& /*caller*/) const
{
    const CollectionShare share = ShareOf(request);
    const Descriptor file(open(share.m_File.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.IsOpen()) FailElsewhere(share);
    const PartExtent extent = m_pExtents->Of(file.Number(), std::uint64_t{share.m_Part.m_nTaken} + 1);
    const std::uint64_t nOffset = std::min(request.m_nOffset, extent.m_nBytes);
    const std::uint64_t nBytes = std::min(PIECE, extent.m_nBytes - nOffset);
    return {Read(share, file.Number(), nOffset, nBytes), nOffset, extent.m_nBytes, extent.m_Digest};
}

}  // namespace northbound
