/// \file
/// What the tests of RsaAlgorithm share.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "support/rsakey.h"
#include "support/testdirectory.h"

namespace nbitest {

/// What one of the operations left in its two output arguments.
struct RsaOutcome {
    std::unique_ptr<char[]> m_pOut;
    long m_nLength;

    std::string Text() const { return std::string(m_pOut.get(), static_cast<std::size_t>(m_nLength)); }
};

using RsaOperation = void (*)(char*&, const char*, long&, const char*, const int&);

inline RsaOutcome Run(RsaOperation operation, const std::string& in, const std::string& key)
{
    char* pOut = nullptr;
    long nLength = static_cast<long>(in.size());
    operation(pOut, in.data(), nLength, key.data(), static_cast<int>(key.size()));
    return RsaOutcome{std::unique_ptr<char[]>(pOut), nLength};
}

inline RsaOutcome Encrypt(const std::string& plain, const std::string& key)
{
    return Run(&NS_UTIL::RsaAlgorithm::Encrypt, plain, key);
}

inline RsaOutcome Decrypt(const std::string& cipher, const std::string& key)
{
    return Run(&NS_UTIL::RsaAlgorithm::Decrypt, cipher, key);
}

inline std::string Hex(const std::string& bytes, const char* pDigits = "0123456789abcdef")
{
    std::string text;
    for (const char character : bytes) {
        const auto nByte = static_cast<unsigned char>(character);
        text += pDigits[nByte / 16];
        text += pDigits[nByte % 16];
    }
    return text;
}

/// A key that stays in the build tree for the tests that follow, each a process of its own: to make one takes longer than
/// most of them. A file is whole as soon as it has its name.
inline std::unique_ptr<RsaKey> KeptKeyOf(unsigned int nBits)
{
    const std::string path = NBI_TEST_KEYS "/rsa" + std::to_string(nBits) + ".der";
    std::unique_ptr<RsaKey> pKey = RsaKey::FromPrivate(ReadFile(path));
    if (pKey != nullptr && pKey->Bits() == static_cast<int>(nBits)) return pKey;
    pKey = std::make_unique<RsaKey>(nBits);
    const std::string part = path + "." + std::to_string(getpid());
    WriteFile(part, pKey->Private());
    std::error_code ignored;
    std::filesystem::rename(part, path, ignored);
    return pKey;
}

/// One for each size.
inline const RsaKey& KeyOf(unsigned int nBits)
{
    static std::map<unsigned int, std::unique_ptr<RsaKey>> keys;
    std::unique_ptr<RsaKey>& pKey = keys[nBits];
    if (pKey == nullptr) pKey = KeptKeyOf(nBits);
    return *pKey;
}

/// A PKCS#1 public key with exponent 3 and a modulus of \p nBytes, whose bytes are all 0x7f but the last.
inline std::string SmallPublicKey(std::size_t nBytes)
{
    const std::string modulus = std::string(nBytes - 1, '\x7f') + '\x71';
    const std::string body = "\x02" + std::string(1, static_cast<char>(nBytes)) + modulus + "\x02\x01\x03";
    return "\x30" + std::string(1, static_cast<char>(body.size())) + body;
}

class RsaFixture : public ::testing::Test {
protected:
    ~RsaFixture() override { NS_UTIL::LocalRsaKeyMgr::Destroy(); }

    std::vector<LogLine> Line(int nLine, const std::string& text) const
    {
        return std::vector<LogLine>{{"nbirsa", "unknown", nLine, 1, text}};
    }

    RecordingHost m_Host;
    const RsaKey& m_Key = KeyOf(2048);
    const std::string m_Public = m_Key.Public();
    const std::string m_Private = m_Key.Private();
};

}  // namespace nbitest
