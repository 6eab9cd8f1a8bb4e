/// \file
/// The key of a session, between two runs of the client.
#pragma once

#include <string>

namespace northbound {

/// A file in the user's runtime folder that nobody else can read, for each server and user that logged in there.
/// Threads: one at a time.
class KeyFile {
public:
    KeyFile(const std::string& server, const std::string& user);

    /// \return "" when there is no file
    /// \throws InputError when others may read it or its folder
    std::string Read() const;

    /// In one step: a client that is killed meanwhile leaves the old key or the new one.
    /// \throws InputError when it cannot be written
    void Write(const std::string& key) const;

    void Remove() const;

private:
    std::string m_Folder;
    std::string m_Path;
};

}  // namespace northbound
