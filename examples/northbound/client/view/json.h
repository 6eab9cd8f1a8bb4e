/// \file
/// JSON text, as much of it as the client prints.
#pragma once

#include <string>
#include <type_traits>
#include <vector>

namespace northbound {

/// \p text as a JSON string, quotes included. Bytes that are no UTF-8 are shown as "\xNN".
std::string JsonText(const std::string& text);

/// \p items, each JSON already, as an array.
std::string JsonArray(const std::vector<std::string>& items);

/// An object whose members are given one after the other.
class JsonObject {
public:
    JsonObject& Text(const char* pName, const std::string& value) { return Raw(pName, JsonText(value)); }

    template <class Integer>
    JsonObject& Number(const char* pName, Integer nValue)
    {
        static_assert(std::is_integral_v<Integer>);
        return Raw(pName, std::to_string(nValue));
    }

    /// \param value JSON already
    JsonObject& Raw(const char* pName, const std::string& value);

    std::string Done() const { return "{" + m_Members + "}"; }

private:
    std::string m_Members;
};

}  // namespace northbound
