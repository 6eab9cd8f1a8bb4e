/// \file
/// The configuration items that this server knows.
#pragma once

#include <string>
#include <vector>

#include "nbihost/standalone.h"

namespace northbound {

/// Whether a client may set an item, and from when on it holds. Paths are nobody's to set from afar, since
/// whoever sets one has the server write or read there; nor are users and their passwords.
enum class Setting { NEVER, AT_ONCE, AFTER_RESTART };

/// One item, or all whose names begin alike: "Password_" stands for "Password_<user>".
struct Item {
    enum class Kind { TEXT, NUMBER, ROLE, DIGEST };

    const char* m_pName;
    Kind m_Kind;
    Setting m_Setting;
    int m_nLowest = 0;  // of a number
    int m_nHighest = 0;
    const char* m_pOtherwise =
        nullptr;  // what holds in place of a bad value; null: the server does not start
};

/// \return null when this server has no such item.
const Item* FindItem(const std::string& name);

/// What \p value should be and is not, such as "a whole number from 1 to 999"; "" for a good one.
std::string FaultOf(const Item& item, const std::string& value);

/// The item that a client may set \p name to \p value of.
/// \throws ProcessException BAD_ARGUMENT when there is none of exactly this name, or the value is none for it
const Item& SettableItem(const std::string& name, const std::string& value);

/// One line for each item that this server does not know, and for each with a value that it cannot use:
/// file, key, and what holds instead. Values that keep the server from starting are not among them, see
/// ReadSettings(), nor are secrets shown.
std::vector<std::string> ItemWarnings(const std::vector<nbihost::ConfigItem>& items);

}  // namespace northbound
