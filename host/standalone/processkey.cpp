#include "processkey.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>
#include <sys/mman.h>

namespace nbihost {

ProcessKey::~ProcessKey()
{
    unsigned char* const pPage = m_pPage;
    if (pPage == nullptr) return;
    OPENSSL_cleanse(pPage, SIZE);
    ::munmap(pPage, SIZE);
}

CipherResult ProcessKey::Get(const unsigned char*& pKey)
{
    CipherResult result = CIPHER_DONE;
    if (m_pPage.load(std::memory_order_acquire) == nullptr) {
        std::lock_guard<std::mutex> guard(m_Mutex);
        if (m_pPage.load(std::memory_order_relaxed) == nullptr) result = MakeLocked();
    }
    pKey = m_pPage.load(std::memory_order_acquire);
    return result;
}

CipherResult ProcessKey::MakeLocked()
{
    void* const pPage = ::mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pPage == MAP_FAILED) return CIPHER_NO_MEMORY;
    ::madvise(pPage, SIZE, MADV_DONTDUMP);  // an older system dumps it, and that is no reason to fail
    auto* const pBytes = static_cast<unsigned char*>(pPage);
    if (RAND_priv_bytes(pBytes, SIZE) != 1) {
        ::munmap(pPage, SIZE);
        return CIPHER_NO_RANDOM;
    }
    m_pPage.store(pBytes, std::memory_order_release);
    return CIPHER_DONE;
}

CipherResult ProcessKey::CountText()
{
    return m_nTexts.fetch_add(1, std::memory_order_relaxed) < m_nMaxTexts ? CIPHER_DONE : CIPHER_KEY_USED_UP;
}

}  // namespace nbihost
