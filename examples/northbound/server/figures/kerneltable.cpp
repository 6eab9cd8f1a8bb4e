#include "server/figures/kerneltable.h"

#include <fstream>
#include <sstream>

namespace northbound {

std::optional<KernelTable> ReadKernelTable(const std::string& path)
{
    std::ifstream file(path);
    if (!file) return std::nullopt;
    KernelTable table;
    for (std::string line; std::getline(file, line);) {
        const std::size_t nColon = line.rfind(':');
        const std::size_t nStart = line.find_first_not_of(' ');
        if (nColon == std::string::npos || nStart >= nColon) continue;
        std::vector<std::string>& row = table[line.substr(nStart, nColon - nStart)];
        std::istringstream cells(line.substr(nColon + 1));
        for (std::string cell; cells >> cell;) row.push_back(cell);
    }
    return table;
}

}  // namespace northbound
