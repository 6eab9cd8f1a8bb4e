#include "server/upkeep/packer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "nbihost/standalone.h"
#include "nbiutil/zipfile.h"
#include "server/serving/failure.h"
#include "shared/names.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using Names = std::list<std::string>;

constexpr const char* MODULE = "packer";

using NS_UTIL::MAX_COMMAND_LENGTH;
using NS_UTIL::MAX_COMMAND_WORDS;

constexpr std::size_t MAX_GROUP = 1000000;

const char* ProgramOf(PackMethod method)
{
    switch (method) {
        case PackMethod::GZIP:
            return "gzip";
        case PackMethod::TAR:
            return "tar";
        case PackMethod::ZIP:
            return "zip";
    }
    return "";
}

bool IsCollectionFile(const fs::path& path)
{
    return path.extension() == ".csv" && path.filename().string().compare(0, 5, "perf-") == 0;
}

std::string ReplaceEnding(const std::string& file, const char* pEnding)
{
    return file.substr(0, file.rfind('.')) + pEnding;
}

std::uint64_t SizeOf(const std::string& path)
{
    std::error_code error;
    const std::uintmax_t nSize = fs::file_size(path, error);
    return error ? 0 : nSize;
}

/// A tar archive holds each file in whole blocks behind a block of its own, and ends in two empty ones.
bool IsWholeTar(const std::string& archive, const std::vector<std::string>& members)
{
    constexpr std::uint64_t BLOCK = 512;
    std::uint64_t nLeast = 2 * BLOCK;
    for (const std::string& member : members) nLeast += BLOCK + (SizeOf(member) + BLOCK - 1) / BLOCK * BLOCK;
    return SizeOf(archive) >= nLeast;
}

/// A zip archive without a comment ends in a record that counts its members.
bool IsWholeZip(const std::string& archive, std::size_t nMembers)
{
    std::array<char, 22> end{};
    std::ifstream file(archive, std::ios::binary);
    file.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end);
    if (!file.read(end.data(), end.size()) || std::memcmp(end.data(), "PK\5\6", 4) != 0) return false;
    const auto low = static_cast<unsigned char>(end[10]);
    const auto high = static_cast<unsigned char>(end[11]);
    return low + 256U * high == nMembers;
}

bool IsWhole(PackMethod method, const std::string& archive, const std::vector<std::string>& members)
{
    switch (method) {
        case PackMethod::GZIP:  // gzip takes the file away once its archive is complete
            return fs::exists(archive) && !fs::exists(ReplaceEnding(archive, ""));
        case PackMethod::TAR:
            return IsWholeTar(archive, members);
        case PackMethod::ZIP:
            return IsWholeZip(archive, members.size());
    }
    return false;
}

bool IsArchiveOf(const std::string& archive, const std::string& firstFile)
{
    return archive == firstFile + ".gz" || archive == ReplaceEnding(firstFile, ".tar") ||
           archive == ReplaceEnding(firstFile, ".zip");
}

/// As many names as fit into "zip <archive> <names>", but no more than \p nWanted.
std::size_t FittingGroup(const Names& files, std::size_t nWanted)
{
    std::size_t nLongest = 0;
    for (const std::string& file : files) nLongest = std::max(nLongest, file.size());
    const std::size_t nRoom =
        MAX_COMMAND_LENGTH - std::min(MAX_COMMAND_LENGTH, std::strlen("zip ") + nLongest);
    return std::min({nWanted, nRoom / (nLongest + 1), MAX_COMMAND_WORDS - 2});  // 0: not even one
}

}  // namespace

Packer::Packer(std::string directory)
    : m_Directory(std::move(directory)), m_SecondNames(m_Directory + "/.packing")
{
}

PackOutcome Packer::Pack(PackMethod method, std::size_t nPerArchive)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    if (!NS_UTIL::ZipFileInterface::Instance()->ExecuteCmd(m_Directory,
                                                           std::string(ProgramOf(method)) + " --version")) {
        ThrowFailure(ErrCode::CANNOT_PACK, MODULE,
                     std::string(ProgramOf(method)) + " cannot be started: " + std::strerror(errno));
    }
    Recover();
    const Names files = WaitingFiles();
    Secure(files);
    PackOutcome outcome;
    outcome.m_Archives = Run(method, nPerArchive, files);
    Recover();
    outcome.m_nWaiting = WaitingFiles().size();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%zu files packed into %zu archives, %zu wait",
                 files.size() - outcome.m_nWaiting, outcome.m_Archives.size(), outcome.m_nWaiting);
    return outcome;
}

std::size_t Packer::RecoverAll()
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    std::size_t nFiles = 0;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_SecondNames, error)) {
        const std::string file = (fs::path(m_Directory) / entry.path().filename()).string();
        for (const std::string& archive :
             {file + ".gz", ReplaceEnding(file, ".tar"), ReplaceEnding(file, ".zip")}) {
            fs::remove(archive, error);
        }
        ++nFiles;
    }
    Recover();
    return nFiles;
}

Names Packer::WaitingFiles() const
{
    Names files;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_Directory)) {
        if (IsCollectionFile(entry.path())) files.push_back(entry.path().string());
    }
    files.sort();
    return files;
}

std::string Packer::SecondName(const std::string& file) const
{
    return m_SecondNames + "/" + fs::path(file).filename().string();
}

void Packer::Secure(const Names& files) const
{
    std::error_code error;
    fs::create_directory(m_SecondNames, error);
    for (const std::string& file : files) {
        if (!error) fs::create_hard_link(file, SecondName(file), error);
    }
    if (!error) return;
    Recover();
    ThrowFailure(ErrCode::FILE_NOT_WRITTEN, MODULE, m_SecondNames + ": " + error.message());
}

/// Whatever still has a second name is in no archive: it gets its first name again, if that has gone.
void Packer::Recover() const
{
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_SecondNames, error)) {
        const fs::path firstName = fs::path(m_Directory) / entry.path().filename();
        error.clear();
        if (!fs::exists(firstName)) fs::create_hard_link(entry.path(), firstName, error);
        if (!error) fs::remove(entry.path(), error);
    }
    fs::remove(m_SecondNames, error);
}

/// Packs, and takes the second name from what is in a whole archive.
/// \return the whole archives
Names Packer::Run(PackMethod method, std::size_t nPerArchive, const Names& files) const
{
    const std::size_t nMembers = method == PackMethod::GZIP  ? 1
                                 : method == PackMethod::ZIP ? FittingGroup(files, nPerArchive)
                                                             : nPerArchive;
    Names whole;
    for (const std::string& archive : Call(method, nMembers, files)) {
        std::vector<std::string> members;
        for (auto file = std::find_if(files.begin(), files.end(),
                                      [&](const std::string& name) { return IsArchiveOf(archive, name); });
             file != files.end() && members.size() < nMembers; ++file) {
            members.push_back(SecondName(*file));
        }
        if (IsWhole(method, archive, members)) {
            for (const std::string& member : members) fs::remove(member);
            whole.push_back(archive);
        } else {
            nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s is not whole, its files stay",
                         archive.c_str());
            fs::remove(archive);
        }
    }
    return whole;
}

/// What the archive interface says it has made.
Names Packer::Call(PackMethod method, std::size_t nPerArchive, Names files) const
{
    auto& packer = *NS_UTIL::ZipFileInterface::Instance();
    std::string directory = m_Directory;
    const int nGroup = static_cast<int>(std::min<std::size_t>(nPerArchive, MAX_GROUP));
    Names made;
    if (method == PackMethod::GZIP) packer.ZipFile(directory, files, made);
    if (method == PackMethod::TAR) packer.TarFile(directory, files, made, nGroup);
    if (method == PackMethod::ZIP) packer.ArchiveZipFile(directory, files, made, nGroup);
    return made;
}

}  // namespace northbound
