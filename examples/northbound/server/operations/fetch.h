/// \file
/// What has been taken of a collection, in pieces that fit a message.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "server/operations/collectionbook.h"
#include "server/operations/partextent.h"
#include "server/operations/partfiles.h"
#include "server/serving/boundedtext.h"
#include "server/serving/operation.h"

namespace northbound {

/// A piece of a part that this server has, or can read in a shared folder.
class Fetch {
public:
    static constexpr Profile PROFILE{23, "fetch", Place::POOL_0, Role::READER};

    struct Request {
        std::string m_Operation;
        unsigned int m_nFirst = 0;    // number of the part's first sample
        std::uint64_t m_nOffset = 0;  // bytes

        std::vector<BoundedText> Texts() const { return {{"the operation", m_Operation, MAX_NAME}}; }
    };
    struct Result {
        std::string m_Data;           // empty behind the end
        std::uint64_t m_nOffset = 0;  // of its first byte
        std::uint64_t m_nSize = 0;    // of the whole part
        std::string m_Digest;         // of the whole part: SHA-256, lower-case hexadecimal
    };

    Fetch(const CollectionBook& book, const PartFiles& files)
        : m_Book(book), m_Files(files), m_pExtents(std::make_shared<PartExtents>())
    {
    }

    /// \throws ProcessException UNKNOWN_OPERATION, BAD_ARGUMENT when the collection has no such part, PART_ELSEWHERE,
    ///         and what the book throws
    Result Run(const Request& request, const Caller& caller) const;

private:
    CollectionShare ShareOf(const Request& request) const;

    const CollectionBook& m_Book;
    const PartFiles& m_Files;
    std::shared_ptr<PartExtents> m_pExtents;  // operations are copied into their list
};

}  // namespace northbound
