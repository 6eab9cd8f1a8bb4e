#include "northbound/programs/processmemory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace northbound {
namespace {

constexpr unsigned long LARGEST_AREA = 1UL << 30U;
constexpr unsigned long PIECE = 1UL << 20U;

class File {
public:
    explicit File(const std::string& path) : m_nFile(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~File()
    {
        if (m_nFile >= 0) close(m_nFile);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool IsOpen() const { return m_nFile >= 0; }

    /// The bytes from \p nAt on, as far as they can be read.
    std::size_t Read(std::vector<char>& piece, unsigned long nAt) const
    {
        const ssize_t nBytes = pread(m_nFile, piece.data(), piece.size(), static_cast<off_t>(nAt));
        return static_cast<std::size_t>(std::max<ssize_t>(nBytes, 0));
    }

private:
    int m_nFile;
};

struct Area {
    unsigned long m_nBegin;
    unsigned long m_nEnd;
};

std::vector<Area> WritableAreas(const std::string& maps)
{
    std::vector<Area> areas;
    std::ifstream file(maps);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        Area area{};
        char dash = 0;
        std::string access;
        words >> std::hex >> area.m_nBegin >> dash >> area.m_nEnd >> access;
        const bool bSmall = area.m_nEnd - area.m_nBegin <= LARGEST_AREA;
        if (bSmall && access.compare(0, 2, "rw") == 0) areas.push_back(area);
    }
    return areas;
}

}  // namespace

bool ProcessMemory::IsReadable() const
{
    return File(m_Directory + "/mem").IsOpen();
}

void ProcessMemory::Visit(std::size_t nOverlap, const std::function<void(std::string_view)>& look) const
{
    const File memory(m_Directory + "/mem");
    std::vector<char> piece(PIECE + nOverlap);
    for (const Area& area : WritableAreas(m_Directory + "/maps")) {
        for (unsigned long nAt = area.m_nBegin; nAt < area.m_nEnd; nAt += PIECE) {
            const std::size_t nRead = memory.Read(piece, nAt);
            look({piece.data(), std::min<std::size_t>(nRead, area.m_nEnd - nAt)});
        }
    }
}

std::size_t ProcessMemory::Count(const std::string& bytes) const
{
    std::size_t nCount = 0;
    Visit(bytes.size() - 1, [&](std::string_view piece) {
        std::size_t nAt = 0;
        for (; (nAt = piece.find(bytes, nAt)) != piece.npos; ++nAt) ++nCount;
    });
    return nCount;
}

}  // namespace northbound
