#include "server/upkeep/items.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "server/serving/failure.h"
#include "server/serving/role.h"
#include "shared/names.h"

namespace northbound {
namespace {

using Kind = Item::Kind;

constexpr const char* MODULE = "items";

constexpr std::size_t DIGEST_DIGITS = 64;

constexpr Item ITEMS[] = {
    {"ListenAddress", Kind::TEXT, Setting::AFTER_RESTART},
    {"ListenPort", Kind::NUMBER, Setting::AFTER_RESTART, 0, 65535},
    {"CollectionDirectory", Kind::TEXT, Setting::NEVER},
    {"OutputFile", Kind::TEXT, Setting::NEVER},
    {"DescriptionFile", Kind::TEXT, Setting::NEVER},
    {"ElementRoot", Kind::TEXT, Setting::NEVER},
    {"HugeTaskLimit", Kind::NUMBER, Setting::AT_ONCE, 0, 1000000},
    {"CollectionsPerPort", Kind::NUMBER, Setting::AT_ONCE, 0, 1000000},
    {"TaskMgrMaxThreadNum", Kind::NUMBER, Setting::AFTER_RESTART, 1, 999, "each pool has 20 workers"},
    {"ListenSocket", Kind::TEXT, Setting::NEVER},
    {"ListenGroup", Kind::TEXT, Setting::NEVER},
    {"MetricsFile", Kind::TEXT, Setting::NEVER},
    {"MetricsSocket", Kind::TEXT, Setting::NEVER},
    {"MetricsPort", Kind::NUMBER, Setting::NEVER, 0, 65535},
    {"TlsCertificate", Kind::TEXT, Setting::NEVER},
    {"TlsKey", Kind::TEXT, Setting::NEVER},
    {"TlsAuthorities", Kind::TEXT, Setting::NEVER},
    {"MaxConnections", Kind::NUMBER, Setting::AFTER_RESTART, 1, 1000000},
    {"ConnectionIdle", Kind::NUMBER, Setting::AFTER_RESTART, 1, 86400},
    {"SessionIdle", Kind::NUMBER, Setting::AT_ONCE, 1, 31536000},
    {"SessionLife", Kind::NUMBER, Setting::AT_ONCE, 1, 31536000},
    {"PartDays", Kind::NUMBER, Setting::AT_ONCE, 1, 3650},
    {"KeepDays", Kind::NUMBER, Setting::AT_ONCE, 0, 3650},
    {"KeepMegabytes", Kind::NUMBER, Setting::AT_ONCE, 0, 1000000000},
    {"Book", Kind::TEXT, Setting::NEVER},
    {"BookServer", Kind::TEXT, Setting::NEVER},
    {"BookAddress", Kind::TEXT, Setting::NEVER},
    {"BookLease", Kind::NUMBER, Setting::NEVER, 1, 3600},
    {"Elements", Kind::TEXT, Setting::NEVER},
    {"Role_", Kind::ROLE, Setting::NEVER, 0, 0, "this user may do nothing"},
    {"Anonymous", Kind::ROLE, Setting::NEVER, 0, 0, "it counts as none"},
    {"Password_", Kind::DIGEST, Setting::NEVER, 0, 0, "this user cannot log in"},
};

bool IsPrefix(const std::string& name)
{
    return name.back() == '_';
}

bool IsNamed(const Item& item, const std::string& name)
{
    const std::string known = item.m_pName;
    if (!IsPrefix(known)) return name == known;
    return name.size() > known.size() && name.compare(0, known.size(), known) == 0;
}

bool IsNumberBetween(const std::string& text, int nLowest, int nHighest)
{
    int nValue = 0;
    const auto [pStop, error] = std::from_chars(text.data(), text.data() + text.size(), nValue);
    return error == std::errc() && pStop == text.data() + text.size() && nValue >= nLowest &&
           nValue <= nHighest;
}

bool IsDigest(const std::string& text)
{
    return text.size() == DIGEST_DIGITS && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

/// "A, B, C"
std::string SettableNames()
{
    std::string names;
    for (const Item& item : ITEMS) {
        if (item.m_Setting == Setting::NEVER) continue;
        names += (names.empty() ? "" : ", ") + std::string(item.m_pName);
    }
    return names;
}

std::string WarningOf(const nbihost::ConfigItem& entry)
{
    const std::string place = entry.m_File + ": " + entry.m_Name + ": ";
    const Item* const pItem = FindItem(entry.m_Name);
    if (pItem == nullptr) return place + "this server has no such item; it is ignored";
    const std::string fault = FaultOf(*pItem, entry.m_Value);
    if (fault.empty() || pItem->m_pOtherwise == nullptr) return "";
    const std::string shown = pItem->m_Kind == Kind::DIGEST ? "the value" : "\"" + entry.m_Value + "\"";
    return place + shown + " is not " + fault + "; " + pItem->m_pOtherwise;
}

}  // namespace

const Item* FindItem(const std::string& name)
{
    const auto* const pFound = std::find_if(std::begin(ITEMS), std::end(ITEMS),
                                            [&name](const Item& item) { return IsNamed(item, name); });
    return pFound == std::end(ITEMS) ? nullptr : pFound;
}

std::string FaultOf(const Item& item, const std::string& value)
{
    switch (item.m_Kind) {
        case Kind::TEXT:
            return value.empty() ? "a text" : "";
        case Kind::NUMBER:
            if (IsNumberBetween(value, item.m_nLowest, item.m_nHighest)) return "";
            return "a whole number from " + std::to_string(item.m_nLowest) + " to " +
                   std::to_string(item.m_nHighest);
        case Kind::ROLE:
            return RoleNamed(value) ? "" : "none, reader, collector or admin";
        case Kind::DIGEST:
            return IsDigest(value) ? "" : "what \"nbi-client password-item\" prints";
    }
    return "";
}

const Item& SettableItem(const std::string& name, const std::string& value)
{
    const Item* const pItem = FindItem(name);
    if (pItem == nullptr || pItem->m_Setting == Setting::NEVER) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                     "\"" + name + "\" cannot be set: " + SettableNames() + " can");
    }
    const std::string fault = FaultOf(*pItem, value);
    if (!fault.empty()) ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE, "\"" + value + "\" is not " + fault);
    return *pItem;
}

std::vector<std::string> ItemWarnings(const std::vector<nbihost::ConfigItem>& items)
{
    std::vector<std::string> warnings;
    for (const nbihost::ConfigItem& item : items) {
        std::string warning = WarningOf(item);
        if (!warning.empty()) warnings.push_back(std::move(warning));
    }
    return warnings;
}

}  // namespace northbound
