// RSA beside the bare calls of OpenSSL, what a key pair costs besides its generation, and the catalogue
// beside a plain map. Ratios are those of the minima of processor time, over all threads where there are
// several.
#include <ace/Guard_T.h>
#include <ace/RW_Mutex.h>
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "compare.h"
#include "nbihost/cfgfile.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/errorinfomgr.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "support/rsakey.h"

namespace {

using benchmark::DoNotOptimize;
using nbibench::Compare;
using nbibench::CpuNanoseconds;
using nbibench::Time;
using NS_UTIL::ErrorInfoMgr;
using NS_UTIL::LocalRsaKeyMgr;
using NS_UTIL::RsaAlgorithm;

double g_nGenerating = 0;  // processor time inside RSA_generate_key_ex

}  // namespace

/// Stands before OpenSSL's own and measures it.
extern "C" __attribute__((visibility("default"))) int RSA_generate_key_ex(RSA* pKey, int nBits,
                                                                          BIGNUM* pExponent,
                                                                          BN_GENCB* pProgress)
{
    static const auto pReal =
        reinterpret_cast<decltype(&RSA_generate_key_ex)>(dlsym(RTLD_NEXT, "RSA_generate_key_ex"));
    const double start = CpuNanoseconds();
    const int nResult = pReal(pKey, nBits, pExponent, pProgress);
    g_nGenerating += CpuNanoseconds() - start;
    return nResult;
}

namespace {

// RSA

const unsigned char* AsBytes(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

void BareEncrypt(const std::string& plain, const std::string& der)
{
    const unsigned char* pNext = AsBytes(der);
    RSA* const pKey = d2i_RSAPublicKey(nullptr, &pNext, static_cast<long>(der.size()));
    const std::unique_ptr<unsigned char[]> pOut(new unsigned char[static_cast<std::size_t>(RSA_size(pKey))]);
    DoNotOptimize(RSA_public_encrypt(static_cast<int>(plain.size()), AsBytes(plain), pOut.get(), pKey,
                                     RSA_PKCS1_OAEP_PADDING));
    RSA_free(pKey);
}

void BareDecrypt(const std::string& cipher, const std::string& der)
{
    const unsigned char* pNext = AsBytes(der);
    RSA* const pKey = d2i_RSAPrivateKey(nullptr, &pNext, static_cast<long>(der.size()));
    const std::unique_ptr<unsigned char[]> pOut(new unsigned char[cipher.size()]);
    DoNotOptimize(RSA_private_decrypt(static_cast<int>(cipher.size()), AsBytes(cipher), pOut.get(), pKey,
                                      RSA_PKCS1_OAEP_PADDING));
    RSA_free(pKey);
}

using Operation = void (*)(char*&, const char*, long&, const char*, const int&);

void Ours(Operation operation, const std::string& in, const std::string& key)
{
    char* pOut = nullptr;
    long nLength = static_cast<long>(in.size());
    operation(pOut, in.data(), nLength, key.data(), static_cast<int>(key.size()));
    if (nLength < 0) std::abort();
    const std::unique_ptr<char[]> pOwner(pOut);
}

std::string Hex(const std::string& bytes)
{
    std::string text;
    for (const char character : bytes) {
        text += "0123456789abcdef"[static_cast<unsigned char>(character) / 16];
        text += "0123456789abcdef"[static_cast<unsigned char>(character) % 16];
    }
    return text;
}

void CompareRsa(unsigned int nBits)
{
    const nbitest::RsaKey key(nBits);
    const std::string publicKey = key.Public();
    const std::string privateKey = key.Private();
    const std::string plain = "a secret of thirty-two bytes ...";
    const std::string cipher = key.Encrypt(plain);
    const std::string text = Hex(cipher);
    const std::string bits = ", " + std::to_string(nBits) + " bits : bare OpenSSL";
    constexpr int ROUNDS = 1000;
    Compare(("Encrypt" + bits).c_str(), 1.05, 1, [&] { Ours(RsaAlgorithm::Encrypt, plain, publicKey); },
            [&] { BareEncrypt(plain, publicKey); }, ROUNDS);
    Compare(("Decrypt, raw" + bits).c_str(), 1.05, 1,
            [&] { Ours(RsaAlgorithm::Decrypt, cipher, privateKey); },
            [&] { BareDecrypt(cipher, privateKey); }, ROUNDS);
    Compare(("Decrypt, text" + bits).c_str(), 1.05, 1, [&] { Ours(RsaAlgorithm::Decrypt, text, privateKey); },
            [&] { BareDecrypt(cipher, privateKey); }, ROUNDS);
}

void MeasureKeyPair()
{
    const int nPairs = nbibench::Rounds(20);
    constexpr double NANOSECONDS_PER_MS = 1e6;
    double nLeast = std::numeric_limits<double>::max();
    double nMost = 0;
    for (int i = 0; i < nPairs; ++i) {
        LocalRsaKeyMgr::Destroy();
        g_nGenerating = 0;
        const double nAll = Time([] { LocalRsaKeyMgr::Instance()->Init(); });
        const double nOwn = (nAll - g_nGenerating) / NANOSECONDS_PER_MS;
        nLeast = std::min(nLeast, nOwn);
        nMost = std::max(nMost, nOwn);
    }
    std::printf("%-58s %.2f ms to %.2f ms, limit 5 ms\n", "Init besides RSA_generate_key_ex", nLeast, nMost);
}

// Catalogue

using Pairs = std::vector<NS_BUNDLEMGR1::NameValueStru>;
using Map = std::map<unsigned long, std::string>;

constexpr int CODES = 100000;
constexpr const char* FILE_NAME = "errcode.res";

Pairs ManyPairs(bool bShuffled)
{
    Pairs pairs;
    for (int i = 0; i < CODES; ++i) {
        pairs.push_back(
            {std::to_string(0x41180000 + 3 * i), "The reason of the failure number " + std::to_string(i)});
    }
    if (bShuffled) std::shuffle(pairs.begin(), pairs.end(), std::mt19937(1));
    return pairs;
}

Pairs ReadPairs()
{
    Pairs pairs;
    NS_BUNDLEMGR1::GetAllCfgFrmFile(pairs, FILE_NAME, true);
    return pairs;
}

void InsertAll(Map& map, Pairs pairs)
{
    for (auto& pair : pairs) map[std::strtoul(pair.m_Name.c_str(), nullptr, 0)] = std::move(pair.m_Value);
}

/// Both sides get the pairs from the host; what that alone costs is taken off.
void CompareEntering(const char* pName, nbitest::RecordingHost& host, bool bShuffled)
{
    const int nRounds = nbibench::Rounds(40);
    host.SetCfgFile(FILE_NAME, ManyPairs(bShuffled));
    double nReading = std::numeric_limits<double>::max();
    double nOurs = nReading;
    double nPeer = nReading;
    for (int i = 0; i < nRounds; ++i) {
        nReading = std::min(nReading, Time([] { ReadPairs(); }));
        ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance();
        nOurs = std::min(nOurs, Time([&] { pCatalogue->ReadErrorInfoFrmCfg(FILE_NAME); }));
        ErrorInfoMgr::Destroy();
        Map map;
        nPeer = std::min(nPeer, Time([&] { InsertAll(map, ReadPairs()); }));
    }
    std::printf("%-58s %9.1f ns %9.1f ns  ratio %.2f, limit 1.00\n", pName, (nOurs - nReading) / CODES,
                (nPeer - nReading) / CODES, (nOurs - nReading) / (nPeer - nReading));
}

/// The plainest catalogue under the same lock.
class LockedMap {
public:
    LockedMap() { InsertAll(m_Map, ReadPairs()); }

    void Get(std::string& reason, unsigned long nCode)
    {
        ACE_Read_Guard<ACE_RW_Mutex> guard(m_Lock);
        const auto found = m_Map.find(nCode);
        if (found == m_Map.end()) {
            reason.clear();
        } else {
            reason = found->second;  // into the storage that it has
        }
    }

private:
    ACE_RW_Mutex m_Lock;
    Map m_Map;
};

/// Processor time of one look-up where \p nReaders threads do nothing else at once.
template <class LookUp>
double LookUpTime(int nReaders, const LookUp& lookUp)
{
    constexpr int CALLS = 50000;
    std::vector<double> times(static_cast<std::size_t>(nReaders));
    std::vector<std::thread> readers;
    readers.reserve(times.size());
    for (double& time : times) {
        readers.emplace_back([&lookUp, &time, nSeed = readers.size() + 1] {
            std::minstd_rand random(static_cast<unsigned int>(nSeed));
            std::string reason;
            time = Time([&] {
                for (int i = 0; i < CALLS; ++i) lookUp(reason, 0x41180000UL + 3 * (random() % CODES));
            });
        });
    }
    for (std::thread& reader : readers) reader.join();
    return std::accumulate(times.begin(), times.end(), 0.0) / CALLS / nReaders;
}

void CompareLookUps()
{
    const int nRounds = nbibench::Rounds(21);
    ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance();
    pCatalogue->ReadErrorInfoFrmCfg(FILE_NAME);
    LockedMap map;
    for (const int nReaders : {1, 2, 8}) {
        double nOurs = std::numeric_limits<double>::max();
        double nPeer = nOurs;
        for (int i = 0; i < nRounds; ++i) {
            nOurs = std::min(nOurs, LookUpTime(nReaders, [&](std::string& reason, unsigned long nCode) {
                                 pCatalogue->GetErrReasonByErrCode(reason, nCode);
                             }));
            nPeer = std::min(nPeer, LookUpTime(nReaders, [&](std::string& reason, unsigned long nCode) {
                                 map.Get(reason, nCode);
                             }));
        }
        const std::string name =
            "GetErrReasonByErrCode, readers " + std::to_string(nReaders) + " : locked std::map";
        std::printf("%-58s %9.1f ns %9.1f ns  ratio %.2f, limit 0.40\n", name.c_str(), nOurs, nPeer,
                    nOurs / nPeer);
    }
    ErrorInfoMgr::Destroy();
}

}  // namespace

int main()
{
    nbitest::RecordingHost host;
    std::printf("%-58s %12s %12s\n", "ours : peer", "ours", "peer");
    CompareRsa(2048);
    CompareRsa(4096);
    MeasureKeyPair();
    CompareEntering("Entering 100,000 pairs in order : std::map", host, false);
    CompareEntering("Entering 100,000 pairs in any order : std::map", host, true);
    CompareLookUps();
    return 0;
}
