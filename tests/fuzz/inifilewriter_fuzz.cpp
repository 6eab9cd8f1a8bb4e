// Configuration files that SimpleIni has written: what is read is what was written.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include <SimpleIni.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/demand.h"
#include "fuzz/fuzzinput.h"
#include "host/standalone/inifile.h"

namespace {

using Section =
    std::vector<std::pair<std::string, std::vector<std::string>>>;  // a name's values stand together

/// A text that can stand in a file: no line ends, no blanks around it.
std::string Writable(std::string text)
{
    for (char& character : text) {
        if (character == '\0' || character == '\r' || character == '\n') character = '.';
    }
    const std::size_t nBegin = text.find_first_not_of(" \t");
    if (nBegin == std::string::npos) return "";
    return text.substr(nBegin, text.find_last_not_of(" \t") + 1 - nBegin);
}

/// No text that begins like a comment, a section or a file, and no end of a name in it.
std::string WritableName(std::string text)
{
    for (char& character : text) {
        if (std::string("=;#[]<").find(character) != std::string::npos ||
            static_cast<unsigned char>(character) >= 0x80 ||
            std::isspace(static_cast<unsigned char>(character)) != 0) {
            character = '_';
        }
    }
    text = Writable(std::move(text));
    return text.empty() ? "name" : text;
}

void Enter(Section& section, const std::string& name, std::string value)
{
    auto found =
        std::find_if(section.begin(), section.end(), [&](const auto& entry) { return entry.first == name; });
    if (found == section.end()) found = section.insert(section.end(), {name, {}});
    found->second.push_back(std::move(value));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    nbitest::FuzzInput input(pData, nSize);
    CSimpleIniCaseA writer;
    writer.SetMultiKey(true);
    writer.SetSpaces((input.Byte() & 1U) != 0);
    std::vector<nbihost::IniEntry> wanted;
    for (int nSection = 0; !input.IsEmpty() && nSection < 8; ++nSection) {
        const std::string title = "s" + std::to_string(nSection);
        Section section;
        for (unsigned int n = input.Byte() % 8; n > 0; --n) {
            const std::string name = WritableName(input.Text());
            const std::string value = Writable(input.Text());
            writer.SetValue(title.c_str(), name.c_str(), value.c_str());
            Enter(section, name, value);
        }
        for (const auto& [name, values] : section) {
            for (const std::string& value : values) wanted.push_back({title, name, value});
        }
    }
    std::string text;
    if (writer.Save(text) < 0) return 0;
    nbitest::Demand(nbihost::FindMalformedLine(text) == 0, "a line that its writer would not know again");
    const std::vector<nbihost::IniEntry> read = nbihost::ParseIni(text);
    nbitest::Demand(read.size() == wanted.size(), "the number of entries");
    for (std::size_t i = 0; i < read.size(); ++i) {
        nbitest::Demand(read[i].m_Section == wanted[i].m_Section && read[i].m_Name == wanted[i].m_Name &&
                            read[i].m_Value == wanted[i].m_Value,
                        "an entry");
    }
    return 0;
}
