/// \file
/// A network element made of files, for the configuration item ElementRoot.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "server/figures/machine.h"
#include "support/testdirectory.h"

namespace northbound {

/// Ports that come and go as a test wants it.
class ElementTree {
public:
    ElementTree()
    {
        std::filesystem::create_directories(m_Folder / "proc/net");
        std::filesystem::create_directories(m_Folder / "sys/class/net");
        Show({});
    }

    std::string Root() const { return m_Folder.Path(); }

    /// From now on the element has these ports; nobody ever sees half the table.
    void Show(const std::vector<std::string>& ports) const
    {
        std::string table = "Inter-|   Receive\n face |bytes    packets\n";
        for (const std::string& port : ports) table += port + ": 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n";
        nbitest::WriteFile(m_Folder / "proc/net/dev.new", table);
        std::filesystem::rename(m_Folder / "proc/net/dev.new", m_Folder / "proc/net/dev");
    }

    /// The names of \p nCount ports, in their order.
    static std::vector<std::string> Names(int nCount)
    {
        std::vector<std::string> names;
        names.reserve(static_cast<std::size_t>(nCount));
        for (int i = 0; i < nCount; ++i) names.push_back("p" + std::to_string(100000 + i));
        return names;
    }

    static std::string DnOf(const std::string& port) { return Machine().DistinguishedName(port); }

private:
    nbitest::TestDirectory m_Folder;
};

}  // namespace northbound
