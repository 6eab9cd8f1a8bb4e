/// \file
/// What administrators ask for: who is logged in, the configuration, the packing of files, and the stop.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "server/serving/boundedtext.h"
#include "server/serving/operation.h"
#include "server/serving/page.h"
#include "server/upkeep/collectionfiles.h"

namespace northbound {

class ConfigEditor;
class Packer;
class UserSessions;

/// Who has logged in, a page at a time.
class Sessions {
public:
    static constexpr Profile PROFILE{12, "sessions", Place::REQUEST_THREAD, Role::ADMIN};

    using Request = PageRequest;
    struct Session {
        std::string m_User;
        std::string m_Since;    // see TimeText()
        std::string m_Address;  // "<address>:<port>" of the client
        Role m_Role = Role::NONE;

        std::string Key() const { return m_User + " " + m_Since + " " + m_Address; }
        std::vector<std::string> Texts() const { return {m_User, m_Since, m_Address, NameOf(m_Role)}; }
    };
    using Result = Page<Session>;  // by name, then by time

    explicit Sessions(UserSessions& sessions) : m_Sessions(sessions) {}

    Result Run(const Request& request, const Caller& caller) const;

private:
    UserSessions& m_Sessions;
};

/// Packs the files of the collections that are over.
class Pack {
public:
    static constexpr Profile PROFILE{8, "pack", Place::POOL_0, Role::COLLECTOR};

    struct Request {
        std::string m_Method;  // "gzip", "tar" or "zip"
        unsigned int m_nPerArchive =
            0;  // files in one archive of tar or zip; a rest waits for a later packing

        std::vector<BoundedText> Texts() const { return {{"the method", m_Method, MAX_NAME}}; }
    };
    struct Result {
        std::vector<std::string> m_Archives;  // full paths; as many as an answer holds
        std::size_t m_nMade = 0;              // archives on the whole
        std::size_t m_nWaiting = 0;           // collection files that are not packed yet
    };

    /// \param onEnd is called after each packing
    Pack(Packer& packer, std::function<void()> onEnd) : m_Packer(packer), m_OnEnd(std::move(onEnd)) {}

    /// \throws ProcessException BAD_ARGUMENT, CANNOT_PACK, FILE_NOT_WRITTEN
    Result Run(const Request& request, const Caller& caller) const;

private:
    Packer& m_Packer;
    std::function<void()> m_OnEnd;
};

/// The files of collections and archives, a page at a time.
class Files {
public:
    static constexpr Profile PROFILE{17, "files", Place::POOL_0, Role::READER};

    using Request = PageRequest;
    using Result = Page<CollectionFile>;  // by name

    explicit Files(const CollectionFiles& files) : m_Files(files) {}

    Result Run(const Request& request, const Caller& /*caller*/) const
    {
        return PageBehind(request.m_After, m_Files.List());
    }

private:
    const CollectionFiles& m_Files;
};

/// Removes the files that are kept no longer, as the server does by itself at its start, once an hour and, where a total
/// size is set, after collections and packings.
class Clean {
public:
    static constexpr Profile PROFILE{18, "clean", Place::POOL_0, Role::ADMIN};

    struct Request {};
    using Result = Swept;

    explicit Clean(std::function<Swept()> sweep) : m_Sweep(std::move(sweep)) {}

    Result Run(const Request& /*request*/, const Caller& /*caller*/) const { return m_Sweep(); }

private:
    std::function<Swept()> m_Sweep;
};

/// Changes one of the items that clients may set, and has the configuration read again. The log tells the key,
/// never the value.
class SetItem {
public:
    static constexpr Profile PROFILE{9, "config", Place::POOL_0, Role::ADMIN};

    struct Request {
        std::string m_Key;
        std::string m_Value;

        std::vector<BoundedText> Texts() const
        {
            return {{"the item's name", m_Key, MAX_NAME}, {"the value", m_Value, MAX_VALUE}};
        }
    };
    struct Result {
        bool m_bInForce = false;  // otherwise after a restart
    };

    explicit SetItem(ConfigEditor& editor) : m_Editor(editor) {}

    /// \throws ProcessException BAD_ARGUMENT, NOT_CONFIGURED
    Result Run(const Request& request, const Caller& caller) const;

private:
    ConfigEditor& m_Editor;
};

/// Answers at once; the server then ends in order.
class Stop {
public:
    static constexpr Profile PROFILE{5, "stop", Place::REQUEST_THREAD, Role::ADMIN};

    struct Request {};
    struct Result {};

    /// \param requestStop starts the server's end and returns at once
    explicit Stop(std::function<void()> requestStop) : m_RequestStop(std::move(requestStop)) {}

    Result Run(const Request& /*request*/, const Caller& /*caller*/) const
    {
        m_RequestStop();
        return {};
    }

private:
    std::function<void()> m_RequestStop;
};

}  // namespace northbound
