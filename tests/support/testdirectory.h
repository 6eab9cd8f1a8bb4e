/// \file
/// A temporary directory for one test, with all that stands in it.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

namespace nbitest {

inline std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

inline bool Exists(const std::string& path)
{
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

/// What a shell command prints.
inline std::string OutputOf(const std::string& command)
{
    std::FILE* const pPipe = popen(command.c_str(), "r");
    if (pPipe == nullptr) throw std::runtime_error("no pipe");
    std::string output;
    for (int nByte; (nByte = std::fgetc(pPipe)) != EOF;) output += static_cast<char>(nByte);
    pclose(pPipe);
    return output;
}

/// Open to every user, so that a test may go on as another one. Removed when it goes.
class TestDirectory {
public:
    TestDirectory()
    {
        std::string path = std::filesystem::temp_directory_path().string() + "/nbitestXXXXXX";
        if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
        chmod(path.c_str(), 0777);
        m_Path = path;
    }
    ~TestDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    const std::string& Path() const { return m_Path; }
    std::string operator/(const std::string& name) const { return m_Path + '/' + name; }

    /// Writes a file, with the folders in its name, and gives its path.
    std::string Add(const std::string& name, const std::string& text, mode_t mode = 0644) const
    {
        const std::string path = *this / name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        WriteFile(path, text);
        chmod(path.c_str(), mode);
        return path;
    }
    std::string Text(const std::string& name) const { return ReadFile(*this / name); }
    bool Has(const std::string& name) const { return Exists(*this / name); }

    std::set<std::string> Names() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Path)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

private:
    std::string m_Path;
};

}  // namespace nbitest
