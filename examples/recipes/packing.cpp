// packing FOLDER: packs the folder's *.csv into one tar archive, named after the first; loses nothing on the way.
#include <nbihost/standalone.h>
#include <nbiutil/nbiutil.h>

#include <filesystem>
#include <iostream>
#include <list>
#include <string>

using namespace NS_UTIL;
namespace fs = std::filesystem;
using Names = std::list<std::string>;

// [names]
/// Commands are split at blanks, "%" and quotes have meanings of their own: such a file is left alone.
bool IsPlain(const fs::path& path)
{
    return path.string().find_first_of(" \t\"'%") == std::string::npos;
}

Names FilesOf(const fs::path& folder)
{
    Names files;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".csv" && IsPlain(entry.path()))
            files.push_back(entry.path().string());
    }
    files.sort();
    return files;
}
// [names]

// [keep]
/// A second name for each file while it is packed. Whatever still has one at the end, or when the next
/// process begins after a kill, gets its first name back.
class SecondNames {
public:
    explicit SecondNames(const fs::path& folder) : m_Folder(folder), m_Kept(folder / ".packing")
    {
        GiveBack();
        fs::create_directory(m_Kept);
        for (const std::string& file : FilesOf(folder)) fs::create_hard_link(file, Of(file));
    }
    ~SecondNames() { GiveBack(); }
    SecondNames(const SecondNames&) = delete;
    SecondNames& operator=(const SecondNames&) = delete;

    fs::path Of(const fs::path& file) const { return m_Kept / file.filename(); }
    void Release(const fs::path& file) const { fs::remove(Of(file)); }

private:
    void GiveBack() const
    {
        std::error_code error;
        for (const fs::directory_entry& kept : fs::directory_iterator(m_Kept, error)) {
            const fs::path firstName = m_Folder / kept.path().filename();
            error.clear();
            if (!fs::exists(firstName)) fs::create_hard_link(kept.path(), firstName, error);
            if (!error) fs::remove(kept.path(), error);
        }
        fs::remove(m_Kept, error);
    }

    const fs::path m_Folder;
    const fs::path m_Kept;
};
// [keep]

// [whole]
/// A tar archive holds each file in whole blocks behind a block of its own, and ends in two empty ones.
bool IsWhole(const fs::path& archive, const Names& files, const SecondNames& kept)
{
    constexpr std::uintmax_t BLOCK = 512;
    std::uintmax_t nLeast = 2 * BLOCK;
    for (const std::string& file : files) {
        nLeast += BLOCK + (fs::file_size(kept.Of(file)) + BLOCK - 1) / BLOCK * BLOCK;
    }
    return fs::exists(archive) && fs::file_size(archive) >= nLeast;
}
// [whole]

// [pack]
/// \return the archive, or "" when there is none: every file is in place then
std::string Pack(const fs::path& folder)
{
    ZipFileInterface& packer = *ZipFileInterface::Instance();
    if (!packer.ExecuteCmd(folder.string(), "tar --version"))
        return "";  // TarFile() would delete all the same

    const SecondNames kept(folder);
    const Names files = FilesOf(folder);
    Names waiting = files;
    Names archives;
    packer.TarFile(folder.string(), waiting, archives, static_cast<long>(files.size()));
    if (archives.empty()) return "";
    if (!IsWhole(archives.front(), files, kept)) {
        fs::remove(archives.front());
        return "";
    }
    for (const std::string& file : files) kept.Release(file);
    return archives.front();
}
// [pack]

int main(int nArguments, char** pArguments)
{
    nbihost::Host host("host.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();
    const std::string archive = Pack(fs::absolute(nArguments > 1 ? pArguments[1] : "."));
    std::cout << (archive.empty() ? "nothing packed" : fs::path(archive).filename().string()) << '\n';
    return archive.empty() ? 1 : 0;
}
