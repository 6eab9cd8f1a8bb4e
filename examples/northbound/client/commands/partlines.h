/// \file
/// Whether bytes are the lines of a collection's part.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace northbound {

/// Looks at the bytes of one part as they come: a line of names, "time,...", and lines of as many cells.
class PartLines {
public:
    static constexpr std::size_t LONGEST_HEADING = 65536;

    void Add(const char* pBytes, std::size_t nBytes);

    /// Whether these were whole lines, and \p nSamples of them behind the line of names.
    bool Are(unsigned int nSamples) const;

    /// The line of names, with its line break.
    const std::string& Heading() const { return m_Heading; }

private:
    void EndLine();

    std::string m_Heading;
    std::uint64_t m_nLines = 0;
    std::size_t m_nCommas = 0;         // in the line that is coming
    std::size_t m_nHeadingCommas = 0;  // in that of the names
    bool m_bWrong = false;
    bool m_bWithinLine = false;
};

}  // namespace northbound
