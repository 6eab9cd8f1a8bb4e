// Single faults in what holds and moves secrets: buffers, RSA, the local key pair.
#include <string>
#include <vector>

#include "nbihost/cipher.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"
#include "security/keytomake.h"
#include "security/privateneedles.h"
#include "support/recordingfaults.h"
#include "support/rsakey.h"

// The host's cipher, in front of the recording one.
extern "C" {
int __real__ZN13tavoAESCipher9encryptExERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS5_j(
    const std::string& plain, std::string& cipher, unsigned int nSelector);
int __wrap__ZN13tavoAESCipher9encryptExERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS5_j(
    const std::string& plain, std::string& cipher, unsigned int nSelector)
{
    if (nbitest::FailsHere(nbitest::FaultKind::CIPHER)) return 1;
    return __real__ZN13tavoAESCipher9encryptExERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS5_j(
        plain, cipher, nSelector);
}
int __real__ZN13tavoAESCipher9decryptExERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS5_j(
    const std::string& cipher, std::string& plain, unsigned int nSelector);
int __wrap__ZN13tavoAESCipher9decryptExERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS5_j(
    const std::string& cipher, std::string& plain, unsigned int nSelector)
{
    if (nbitest::FailsHere(nbitest::FaultKind::CIPHER)) return 1;
    return __real__ZN13tavoAESCipher9decryptExERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS5_j(
        cipher, plain, nSelector);
}
}

namespace NS_UTIL {
namespace {

using namespace nbitest;

const std::string LONG(60, 'x');
const std::string SECRET = "correct horse battery staple, and a few bytes more";

/// Made once, before the first scenario's processes begin.
const RsaKey& Key()
{
    static const RsaKey key(2048);
    return key;
}
const std::string PUBLIC = Key().Public();
const std::string PRIVATE = Key().Private();
const std::string CIPHER = Key().Encrypt(SECRET);
const KeyToMake KEY_TO_MAKE(PRIVATE);

void KeepKeySecret(Faults& faults)
{
    for (const std::string& needle : PrivateNeedles(PRIVATE, {SECRET})) faults.KeepSecret(needle);
}

LocalRsaKeyMgr& Manager()
{
    FaultHost();
    return *LocalRsaKeyMgr::Instance();
}

LocalRsaKeyMgr& ManagerWithKey()
{
    LocalRsaKeyMgr& manager = Manager();
    manager.Init();
    return manager;
}

/// A failed key pair can be made again.
std::string MakeKey(Faults& faults, int (LocalRsaKeyMgr::*pMake)())
{
    LocalRsaKeyMgr& manager = Manager();
    KeepKeySecret(faults);
    const std::string result = faults.During([&] { return (manager.*pMake)(); });
    faults.Expect(result != "0" || manager.CheckLocalRsaKey() == 1 || manager.RsaKeyPairGen() <= 1,
                  "no answer");
    LocalRsaKeyMgr::Destroy();
    faults.Expect(Manager().Init() == 1, "no key can be made any more");
    return result;
}

/// What decrypting leaves is wiped, as the caller has to.
std::string DecryptedLength(const std::string& cipher)
{
    char* pOut = nullptr;
    long nLength = static_cast<long>(cipher.size());
    RsaAlgorithm::Decrypt(pOut, cipher.data(), nLength, PRIVATE.data(), static_cast<int>(PRIVATE.size()));
    const std::unique_ptr<char[]> pPlain(pOut);
    if (nLength > 0) explicit_bzero(pOut, static_cast<std::size_t>(nLength));
    return std::to_string(nLength);
}

const Scenario::Kinds WITH_OPENSSL{
    {FaultKind::LOCK, "OpenSSL forgets memory when one of its own locks cannot be taken"}};

const std::vector<Scenario> SCENARIOS = {
    {"AutoReleaseString::setBuffer AutoReleaseString::getBuffer AutoReleaseString::length",
     [](Faults& faults) {
         faults.KeepSecret(SECRET);
         return faults.During([] {
             AutoReleaseString held;
             if (held.setBuffer(SECRET.c_str()) != 0 || held.setBuffer(LONG.c_str()) != 0) {
                 return std::string("-2");
             }
             return std::to_string(held.length()) + held.getBuffer();
         });
     }},
    {"PwdCtrlString::SetStr PwdCtrlString::ClearStr",
     [](Faults& faults) {
         faults.KeepSecret(SECRET);
         return faults.During([] {
             PwdCtrlString held;
             held.SetStr(SECRET);
             held.SetStr(LONG);
             held.SetStr(SECRET);
             held.ClearStr();
             return held.GetStr();
         });
     }},
    {"RsaAlgorithm::CheckPublicKey",
     [] { return RsaAlgorithm::CheckPublicKey(PUBLIC, 2048); },
     {"false"},
     WITH_OPENSSL},
    {"RsaAlgorithm::Encrypt",
     [](Faults& faults) {
         faults.KeepSecret(SECRET);
         return faults.During([] {
             char* pOut = nullptr;
             long nLength = static_cast<long>(SECRET.size());
             RsaAlgorithm::Encrypt(pOut, SECRET.data(), nLength, PUBLIC.data(),
                                   static_cast<int>(PUBLIC.size()));
             const std::unique_ptr<char[]> pCipher(pOut);
             return nLength;
         });
     },
     {"-1", std::to_string(SECRET.size())},
     WITH_OPENSSL},  // the second: the key did not parse
    {"RsaAlgorithm::Decrypt",
     [](Faults& faults) {
         KeepKeySecret(faults);
         return faults.During([] { return DecryptedLength(CIPHER); });
     },
     {"-1", "256"},
     WITH_OPENSSL},
    {"RsaAlgorithm::RsaEncryptByPublicKey",
     [](Faults& faults) {
         AutoReleaseString in;
         if (in.setBuffer(SECRET.c_str()) != 0) return std::string("no memory");
         faults.KeepSecret(SECRET);
         return faults.During([&] {
             AutoReleaseString out;
             return RsaAlgorithm::RsaEncryptByPublicKey(out, in, PUBLIC.data(),
                                                        static_cast<int>(PUBLIC.size()));
         });
     },
     {"0"},
     WITH_OPENSSL},
    {"LocalRsaKeyMgr::Instance LocalRsaKeyMgr::Destroy",
     [] {
         const bool bThere = LocalRsaKeyMgr::Instance() != nullptr;
         LocalRsaKeyMgr::Destroy();
         return bThere;
     },
     {"false"}},
    {"LocalRsaKeyMgr::Init",
     [](Faults& faults) { return MakeKey(faults, &LocalRsaKeyMgr::Init); },
     {"0"},
     WITH_OPENSSL},
    {"LocalRsaKeyMgr::RsaKeyPairGen",
     [](Faults& faults) { return MakeKey(faults, &LocalRsaKeyMgr::RsaKeyPairGen); },
     {"0"},
     WITH_OPENSSL},
    {"LocalRsaKeyMgr::CheckLocalRsaKey",
     [](Faults& faults) {
         LocalRsaKeyMgr& manager = ManagerWithKey();
         KeepKeySecret(faults);
         return faults.During([&] { return manager.CheckLocalRsaKey(); });
     },
     {"0"},
     WITH_OPENSSL},
    {"LocalRsaKeyMgr::DecryptByLocalRsaKey",
     [](Faults& faults) {
         LocalRsaKeyMgr& manager = ManagerWithKey();
         KeepKeySecret(faults);
         return faults.During([&] {
             AutoReleaseString out;
             const long nLength = static_cast<long>(CIPHER.size());
             return manager.DecryptByLocalRsaKey(out, CIPHER.data(), nLength) *
                    static_cast<int>(out.length());
         });
     },
     {"0"},
     WITH_OPENSSL},
    {"LocalRsaKeyMgr::GetLocalRsaPublicKeyFingerprint",
     [](Faults& faults) {
         LocalRsaKeyMgr& manager = ManagerWithKey();
         return faults.During([&] { return manager.GetLocalRsaPublicKeyFingerprint(); });
     },
     {""},
     WITH_OPENSSL},
};

}  // namespace
}  // namespace NS_UTIL

NBI_SINGLE_FAULTS(NS_UTIL::SCENARIOS)
