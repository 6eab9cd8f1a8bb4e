#include "client/view/json.h"

#include <cstdio>

#include "shared/utf8.h"

namespace northbound {
namespace {

std::string Escaped(char c)
{
    switch (c) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        default:
            break;
    }
    const auto nByte = static_cast<unsigned char>(c);
    if (nByte >= 0x20 && nByte != 0x7F) return std::string(1, c);
    char text[8];
    std::snprintf(text, sizeof(text), "\\u%04x", nByte);
    return text;
}

}  // namespace

std::string JsonText(const std::string& text)
{
    std::string result = "\"";
    for (const char c : WellFormed(text)) result += Escaped(c);
    return result + "\"";
}

std::string JsonArray(const std::vector<std::string>& items)
{
    std::string result = "[";
    for (const std::string& item : items) {
        if (result.size() > 1) result += ',';
        result += item;
    }
    return result + "]";
}

JsonObject& JsonObject::Raw(const char* pName, const std::string& value)
{
    if (!m_Members.empty()) m_Members += ',';
    m_Members += JsonText(pName) + ":" + value;
    return *this;
}

}  // namespace northbound
