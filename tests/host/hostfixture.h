/// \file
/// What the tests of the standalone host share: a folder with a configuration file, and a look at its log.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/testdirectory.h"

namespace nbitest {

/// Takes the superuser's right to read and write everything away while it lives.
class OrdinaryUser {
public:
    OrdinaryUser() : m_nUser(::geteuid())
    {
        if (m_nUser == 0 && ::seteuid(NOBODY) != 0) ADD_FAILURE() << "still the superuser";
    }
    ~OrdinaryUser() { EXPECT_EQ(::seteuid(m_nUser), 0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr uid_t NOBODY = 65534;
    const uid_t m_nUser;
};

/// A folder of its own for each test.
class HostFixture : public ::testing::Test {
protected:
    std::string PathOf(const std::string& name) const { return m_Folder + "/" + name; }

    std::string WriteFile(const std::string& name, const std::string& text) const
    {
        nbitest::WriteFile(PathOf(name), text);
        return PathOf(name);
    }

    /// A configuration with a log file "log", nothing on stderr, and \p more lines behind.
    std::string WriteConfig(const std::string& more = "") const
    {
        return WriteFile("host.ini",
                         "[host]\nroot = " + m_Folder + "\nlog_file = log\nlog_stderr = no\n" + more);
    }

    std::string ReadFile(const std::string& name) const { return nbitest::ReadFile(PathOf(name)); }

    std::vector<std::string> LinesOf(const std::string& name) const
    {
        std::vector<std::string> lines;
        std::istringstream text(ReadFile(name));
        for (std::string line; std::getline(text, line);) lines.push_back(line);
        return lines;
    }

    /// What stands behind time, level and thread in each line of a log.
    std::vector<std::string> TextsOf(const std::string& name) const
    {
        std::vector<std::string> texts;
        for (const std::string& line : LinesOf(name)) {
            const std::size_t nHead = line.find("] ");
            texts.push_back(nHead == std::string::npos ? line : line.substr(nHead + 2));
        }
        return texts;
    }

    const TestDirectory m_Directory;
    const std::string m_Folder = m_Directory.Path();
};

}  // namespace nbitest
