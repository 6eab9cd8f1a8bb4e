// RsaAlgorithm::Decrypt over any cipher text and any key, and back and forth with Encrypt.
// Input: what the rest is, the rest.
#include <cstdint>
#include <memory>
#include <string>

#include "demand.h"
#include "fuzzkey.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/nbirsa.h"

using nbitest::Demand;
using NS_UTIL::RsaAlgorithm;

namespace {

enum Meaning { CIPHER, KEY, PLAIN, PLAIN_AS_TEXT, MEANINGS };

constexpr std::size_t LONGEST_KEY = 700;  // a longer one only takes longer

struct Outcome {
    std::unique_ptr<char[]> m_pOut;
    long m_nLength;
};

/// From an array of exactly the input's size, so that the address sanitizer sees what this library reads
/// beyond; OpenSSL is not instrumented.
Outcome Decrypt(const std::string& cipher, const std::string& key)
{
    const std::unique_ptr<char[]> pIn(new char[cipher.size()]);
    cipher.copy(pIn.get(), cipher.size());
    char* pOut = nullptr;
    long nLength = static_cast<long>(cipher.size());
    RsaAlgorithm::Decrypt(pOut, pIn.get(), nLength, key.data(), static_cast<int>(key.size()));
    return Outcome{std::unique_ptr<char[]>(pOut), nLength};
}

void CheckOutcome(const Outcome& outcome, std::size_t nInput)
{
    if (outcome.m_nLength < 0) {
        Demand(outcome.m_nLength == -1 && outcome.m_pOut == nullptr, "a failure leaves -1 and no output");
    } else {
        Demand(outcome.m_pOut != nullptr, "output");
        Demand(static_cast<std::size_t>(outcome.m_nLength) <= nInput,
               "plain text is no longer than its cipher");
    }
}

std::string Hex(const std::string& bytes)
{
    std::string text;
    for (const char character : bytes) {
        const auto nByte = static_cast<unsigned char>(character);
        text += "0123456789abcdef"[nByte / 16];
        text += "0123456789ABCDEF"[nByte % 16];
    }
    return text;
}

void BackAndForth(const std::string& plain, bool bAsText)
{
    const std::string& key = nbitest::FuzzPublicKey();
    char* pCipher = nullptr;
    long nCipher = static_cast<long>(plain.size());
    RsaAlgorithm::Encrypt(pCipher, plain.data(), nCipher, key.data(), static_cast<int>(key.size()));
    const std::unique_ptr<char[]> pOwner(pCipher);
    if (plain.size() > nbitest::FUZZ_KEY_ROOM) {
        Demand(nCipher == -1 && pCipher == nullptr, "an input beyond one block is refused");
        return;
    }
    Demand(nCipher == static_cast<long>(nbitest::FUZZ_KEY_SIZE), "one block");
    const std::string cipher(pCipher, nbitest::FUZZ_KEY_SIZE);
    const Outcome outcome = Decrypt(bAsText ? Hex(cipher) : cipher, nbitest::FuzzPrivateKey());
    Demand(outcome.m_nLength == static_cast<long>(plain.size()), "length of what comes back");
    Demand(plain.compare(0, std::string::npos, outcome.m_pOut.get(), plain.size()) == 0, "what comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    if (nSize < 1) return 0;
    static nbitest::RecordingHost host;
    host.ClearLogs();
    const std::string rest(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    switch (pData[0] % MEANINGS) {
        case CIPHER:
            CheckOutcome(Decrypt(rest, nbitest::FuzzPrivateKey()), rest.size());
            break;
        case KEY:
            if (rest.size() <= LONGEST_KEY) {
                const std::string cipher(2 * nbitest::FUZZ_KEY_SIZE, '1');
                CheckOutcome(Decrypt(cipher, rest), cipher.size());
                CheckOutcome(Decrypt("short", rest), 5);
            }
            break;
        case PLAIN:
            BackAndForth(rest, false);
            break;
        default:
            BackAndForth(rest, true);
    }
    return 0;
}
