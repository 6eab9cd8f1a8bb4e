#include "server/upkeep/serversettings.h"

#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "nbihost/corbaconfigitems.h"
#include "server/serving/hostname.h"
#include "server/serving/safename.h"
#include "server/upkeep/items.h"
#include "shared/names.h"

namespace northbound {
namespace {

using NS_BUNDLEMGR1::CorbaConfigItems;

constexpr std::size_t MAX_SERVER = 64;

/// The process's descriptors, less some for files and children.
std::size_t RoomForConnections()
{
    constexpr rlim_t SPARE = 64;
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    return files.rlim_cur > SPARE ? files.rlim_cur - SPARE : 1;
}

class ItemReader {
public:
    explicit ItemReader(std::string configFile) : m_ConfigFile(std::move(configFile)) {}

    static bool Has(const char* pKey)
    {
        std::string value;
        return CorbaConfigItems::Instance()->GetStrItemInfo(pKey, value);
    }

    std::string Text(const char* pKey, const char* pFallback) const
    {
        std::string value = pFallback;
        CorbaConfigItems::Instance()->GetStrItemInfo(pKey, value);
        if (value.empty()) throw SettingsError(m_ConfigFile + ": " + pKey + " is empty");
        return value;
    }

    int Number(const char* pKey, int nFallback) const
    {
        std::string text;
        if (!CorbaConfigItems::Instance()->GetStrItemInfo(pKey, text)) return nFallback;
        const std::string fault = FaultOf(*FindItem(pKey), text);
        if (!fault.empty()) {
            throw SettingsError(m_ConfigFile + ": " + pKey + ": \"" + text + "\" is not " + fault);
        }
        int nValue = 0;
        CorbaConfigItems::Instance()->GetIntItemInfo(pKey, nValue);
        return nValue;
    }

    std::chrono::seconds Seconds(const char* pKey, std::chrono::seconds fallback) const
    {
        return std::chrono::seconds(Number(pKey, static_cast<int>(fallback.count())));
    }

    ConnectionLimits Connections() const
    {
        ConnectionLimits limits;
        const auto nMost =
            static_cast<std::size_t>(Number("MaxConnections", static_cast<int>(limits.m_nMost)));
        limits.m_nMost = std::min(nMost, RoomForConnections());
        limits.m_Idle = Seconds("ConnectionIdle", limits.m_Idle);
        return limits;
    }

    Retention Files() const
    {
        constexpr int HOURS = 24;
        constexpr std::uint64_t MEGABYTE = 1000000;
        Retention retention;
        retention.m_Part = std::chrono::hours(Number("PartDays", 7) * HOURS);
        retention.m_Whole = std::chrono::hours(Number("KeepDays", 0) * HOURS);
        retention.m_nBytes = static_cast<std::uint64_t>(Number("KeepMegabytes", 0)) * MEGABYTE;
        return retention;
    }

    BookPlace Book() const
    {
        BookPlace book;
        if (!Has("Book")) return book;
        book.m_Connection = Text("Book", "");
        book.m_Server = Text("BookServer", HostName().c_str());
        if (book.m_Server.size() > MAX_SERVER || SafeName(book.m_Server) != book.m_Server ||
            book.m_Server.front() == '.') {
            throw SettingsError(m_ConfigFile + ": BookServer: \"" + book.m_Server +
                                "\" is not a name of up to " + std::to_string(MAX_SERVER) +
                                " letters, digits, \"_\", \"-\" and \".\" within");
        }
        if (Has("BookAddress")) book.m_Address = Text("BookAddress", "");
        std::istringstream elements(Text("Elements", HostName().c_str()));
        for (std::string name; elements >> name;) book.m_Elements.push_back(name);
        if (book.m_Elements.empty()) throw SettingsError(m_ConfigFile + ": Elements names none");
        book.m_Lease = Seconds("BookLease", book.m_Lease);
        return book;
    }

    std::string Path(const char* pKey, const char* pFallback) const
    {
        const std::filesystem::path directory = std::filesystem::absolute(m_ConfigFile).parent_path();
        return (directory / Text(pKey, pFallback)).lexically_normal().string();
    }

    MetricsPlaces Metrics() const
    {
        MetricsPlaces places;
        if (Has("MetricsFile")) places.m_File = Path("MetricsFile", "");
        if (Has("MetricsSocket")) places.m_Socket = Path("MetricsSocket", "");
        if (Has("MetricsPort")) places.m_Port = Number("MetricsPort", 0);
        return places;
    }

    /// A certificate asks for TLS, and neither of the other two files is of use without it.
    std::optional<TlsFiles> Tls() const
    {
        const auto path = [this](const char* pKey) { return Has(pKey) ? Path(pKey, "") : ""; };
        TlsFiles files{path("TlsAuthorities"), path("TlsCertificate"), path("TlsKey")};
        if (files.m_Certificate.empty() != files.m_Key.empty() ||
            (files.m_Certificate.empty() && !files.m_Authorities.empty())) {
            throw SettingsError(m_ConfigFile + ": TLS needs both TlsCertificate and TlsKey");
        }
        if (files.m_Certificate.empty()) return std::nullopt;
        return files;
    }

private:
    std::string m_ConfigFile;
};

}  // namespace

Settings ReadSettings(const std::string& configFile)
{
    const ItemReader reader(configFile);
    Settings settings;
    if (reader.Has("ListenAddress") || reader.Has("ListenPort")) {
        settings.m_Listening.m_Tcp = {reader.Text("ListenAddress", DEFAULT_ADDRESS),
                                      reader.Number("ListenPort", DEFAULT_PORT)};
    }
    if (reader.Has("ListenSocket")) settings.m_Listening.m_Socket = reader.Path("ListenSocket", "");
    if (reader.Has("ListenGroup")) settings.m_Listening.m_SocketGroup = reader.Text("ListenGroup", "");
    settings.m_Listening.m_Tls = reader.Tls();
    settings.m_Connections = reader.Connections();
    settings.m_Anonymous = RoleNamed(reader.Text("Anonymous", "none")).value_or(Role::NONE);
    settings.m_CollectionDirectory = reader.Path("CollectionDirectory", "collections");
    settings.m_OutputFile = reader.Path("OutputFile", "nbi-server.out");
    settings.m_Metrics = reader.Metrics();
    settings.m_DescriptionFile = reader.Path("DescriptionFile", "descriptions/northbound.xml");
    settings.m_ElementRoot = reader.Path("ElementRoot", "/");
    settings.m_nHugeTaskLimit = reader.Number("HugeTaskLimit", 4);
    settings.m_nPerPortLimit = reader.Number("CollectionsPerPort", 3);
    settings.m_Sessions.m_Idle = reader.Seconds("SessionIdle", settings.m_Sessions.m_Idle);
    settings.m_Sessions.m_Life = reader.Seconds("SessionLife", settings.m_Sessions.m_Life);
    settings.m_Retention = reader.Files();
    settings.m_Book = reader.Book();
    return settings;
}

}  // namespace northbound
