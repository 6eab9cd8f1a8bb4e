/// \file
/// Where the parts of collections lie.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "server/operations/collectionbook.h"

namespace northbound {

/// One server's share of a collection.
struct CollectionShare {
    CollectionPart m_Part;
    std::string m_File;  // on the server's machine; "" where none is known
};

/// A server that is alone has one file a collection, in its collection folder. Servers that share a book have a folder
/// each in that folder, under their names, and in it a file for each claim; on a folder that they share, each can read
/// what the others have taken. Threads: any.
class PartFiles {
public:
    /// \param server this server's name in a shared book; "" without one
    explicit PartFiles(std::string directory, std::string server = "")
        : m_Directory(std::move(directory)), m_Server(std::move(server))
    {
    }

    /// Where this server writes.
    std::string OwnFolder() const { return FolderOf(m_Server); }

    /// What the file of a claim is called: the operation of a server that is alone, with the token in front of it where
    /// others may go on with the collection.
    std::string NameOf(const CollectionClaim& claim) const;

    /// The parts of a collection with their files: the whole ones' names, or those of unfinished ones where they are there.
    std::vector<CollectionShare> SharesOf(const CollectionState& state) const;

private:
    std::string FolderOf(const std::string& server) const;
    std::string FileOf(const CollectionOrder& order, const CollectionPart& part) const;

    const std::string m_Directory;
    const std::string m_Server;
};

}  // namespace northbound
