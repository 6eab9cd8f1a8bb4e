#include "server/serving/safename.h"

#include <charconv>
#include <cstddef>
#include <cstdio>

namespace northbound {
namespace {

bool IsPlain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
}

std::string Coded(char c)
{
    char text[4];
    std::snprintf(text, sizeof(text), "%%%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
    return text;
}

}  // namespace

std::string SafeName(const std::string& name)
{
    std::string safe;
    for (const char c : name) {
        if (IsPlain(c)) {
            safe += c;
        } else {
            safe += Coded(c);
        }
    }
    return safe;
}

/// What is coded in another way than SafeName() does it names nothing: each thing has one name.
std::string PlainName(const std::string& safe)
{
    std::string name;
    for (std::size_t i = 0; i < safe.size(); ++i) {
        unsigned char nByte = static_cast<unsigned char>(safe[i]);
        if (safe[i] == '%' && i + 2 < safe.size()) {
            std::from_chars(safe.data() + i + 1, safe.data() + i + 3, nByte, 16);
            i += 2;
        }
        name += static_cast<char>(nByte);
    }
    return SafeName(name) == safe ? name : "";
}

}  // namespace northbound
