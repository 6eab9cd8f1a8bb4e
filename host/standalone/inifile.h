/// \file
/// Files of "name = value" lines, with sections and comments, read without touching a byte of a value.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace nbihost {

struct IniEntry {
    std::string m_Section;  // "" before the first section
    std::string m_Name;
    std::string m_Value;
};

/// The longest file that is read.
constexpr std::size_t MAX_FILE_BYTES = std::size_t{64} << 20;

/// The bytes of a regular file.
/// \return 0, or an error number: EISDIR for a directory, EINVAL for a pipe or a device, which could block or
///         never end, EFBIG beyond MAX_FILE_BYTES
int ReadWholeFile(const std::string& path, std::string& text);

/// All entries in file order, duplicates kept. Blanks around names and values go, everything else of a value
/// stays. \p text holds no zero byte.
std::vector<IniEntry> ParseIni(const std::string& text);

/// Number (from 1) of the first line that ParseIni() would skip although it is neither empty nor a comment;
/// 0 when there is none.
std::size_t FindMalformedLine(const std::string& text);

}  // namespace nbihost
