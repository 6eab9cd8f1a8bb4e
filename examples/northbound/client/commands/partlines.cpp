#include "client/commands/partlines.h"

namespace northbound {

void PartLines::Add(const char* pBytes, std::size_t nBytes)
{
    for (std::size_t i = 0; i < nBytes; ++i) {
        const char c = pBytes[i];
        if (m_nLines == 0 && m_Heading.size() < LONGEST_HEADING) m_Heading += c;
        m_bWithinLine = c != '\n';
        if (c == ',') ++m_nCommas;
        if (c == '\n') EndLine();
    }
}

void PartLines::EndLine()
{
    if (m_nLines++ == 0) {
        m_nHeadingCommas = m_nCommas;
        m_bWrong = m_Heading.back() != '\n' || m_Heading.rfind("time,", 0) != 0;
    }
    m_bWrong = m_bWrong || m_nCommas != m_nHeadingCommas;
    m_nCommas = 0;
}

bool PartLines::Are(unsigned int nSamples) const
{
    return !m_bWrong && !m_bWithinLine && m_nLines == std::uint64_t{nSamples} + 1;
}

}  // namespace northbound
