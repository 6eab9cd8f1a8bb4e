#include "server/operations/partextent.h"

#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

#include "server/serving/failure.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "partextent";
constexpr std::size_t BLOCK = 65536;

[[noreturn]] void FailToRead()
{
    ThrowFailure(ErrCode::PART_ELSEWHERE, MODULE,
                 std::string("the file of the part cannot be read: ") + std::strerror(errno));
}

class Digest {
public:
    Digest() : m_pContext(EVP_MD_CTX_new())
    {
        if (!m_pContext || EVP_DigestInit_ex(m_pContext.get(), EVP_sha256(), nullptr) != 1) Fail();
    }
    void Add(const char* pBytes, std::size_t nBytes)
    {
        if (EVP_DigestUpdate(m_pContext.get(), pBytes, nBytes) != 1) Fail();
    }
    std::string Text()
    {
        std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
        unsigned int nBytes = 0;
        if (EVP_DigestFinal_ex(m_pContext.get(), bytes.data(), &nBytes) != 1) Fail();
        std::string text;
        for (unsigned int i = 0; i < nBytes; ++i) {
            text += "0123456789abcdef"[bytes[i] >> 4U];
            text += "0123456789abcdef"[bytes[i] & 15U];
        }
        return text;
    }

private:
    [[noreturn]] static void Fail() { ThrowFailure(ErrCode::INTERNAL, MODULE, "no SHA-256"); }

    struct Free {
        void operator()(EVP_MD_CTX* pContext) const { EVP_MD_CTX_free(pContext); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> m_pContext;
};

/// Bytes of \p block up to the end of the last line that counts; takes its lines from \p nLines.
std::size_t CountingBytes(const char* pBlock, std::size_t nBytes, std::uint64_t& nLines)
{
    std::size_t nEnd = 0;
    while (nLines > 0) {
        const void* const pFound = std::memchr(pBlock + nEnd, '\n', nBytes - nEnd);
        if (pFound == nullptr) break;
        nEnd = static_cast<std::size_t>(static_cast<const char*>(pFound) - pBlock) + 1;
        --nLines;
    }
    return nEnd;
}

/// The end of \p nLines lines, or of the last whole one.
std::uint64_t EndOf(int nDescriptor, std::uint64_t nLines)
{
    std::vector<char> block(BLOCK);
    std::uint64_t nEnd = 0;
    for (off_t nOffset = 0; nLines > 0;) {
        const ssize_t nRead = pread(nDescriptor, block.data(), block.size(), nOffset);
        if (nRead < 0) FailToRead();
        if (nRead == 0) break;
        const std::size_t nCounting = CountingBytes(block.data(), static_cast<std::size_t>(nRead), nLines);
        if (nCounting > 0) nEnd = static_cast<std::uint64_t>(nOffset) + nCounting;
        nOffset += nRead;
    }
    return nEnd;
}

std::string DigestOf(int nDescriptor, std::uint64_t nBytes)
{
    Digest digest;
    std::vector<char> block(BLOCK);
    for (std::uint64_t nDone = 0; nDone < nBytes;) {
        const std::size_t nWanted = std::min<std::uint64_t>(block.size(), nBytes - nDone);
        const ssize_t nRead = pread(nDescriptor, block.data(), nWanted, static_cast<off_t>(nDone));
        if (nRead <= 0) FailToRead();
        digest.Add(block.data(), static_cast<std::size_t>(nRead));
        nDone += static_cast<std::uint64_t>(nRead);
    }
    return digest.Text();
}

}  // namespace

bool PartExtents::Key::operator<(const Key& other) const
{
    return std::tie(m_nDevice, m_nNode, m_nLines, m_nSize, m_nChanged) <
           std::tie(other.m_nDevice, other.m_nNode, other.m_nLines, other.m_nSize, other.m_nChanged);
}

PartExtent PartExtents::Of(int nDescriptor, std::uint64_t nLines)
{
    struct stat status {};
    if (fstat(nDescriptor, &status) != 0) FailToRead();
    const Key key{status.st_dev, status.st_ino, nLines, status.st_size,
                  status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec};
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        const auto found = m_Kept.find(key);
        if (found != m_Kept.end()) return found->second;
    }
    PartExtent extent;
    extent.m_nBytes = EndOf(nDescriptor, nLines);
    extent.m_Digest = DigestOf(nDescriptor, extent.m_nBytes);
    std::lock_guard<std::mutex> guard(m_Mutex);
    if (m_Kept.size() >= MOST_KEPT) m_Kept.clear();
    m_Kept[key] = extent;
    return extent;
}

}  // namespace northbound
