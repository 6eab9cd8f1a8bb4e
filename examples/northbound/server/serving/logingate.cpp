#include "server/serving/logingate.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <thread>
#include <utility>

#include "nbiutil/conversions.h"
#include "server/serving/failure.h"
#include "server/serving/randombytes.h"
#include "shared/ciphertext.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "logingate";

using Guard = std::lock_guard<std::mutex>;
using std::chrono::seconds;

// A challenge is its time, a random number, and a seal on both.
constexpr std::size_t TIME_DIGITS = 8;
constexpr std::size_t RANDOM_BYTES = 8;
constexpr std::size_t SEAL_BYTES = 16;
constexpr std::size_t SEALED = TIME_DIGITS + 2 * RANDOM_BYTES;
static_assert(SEALED + 2 * SEAL_BYTES == LOGIN_CHALLENGE);

[[noreturn]] void ThrowLater(seconds wait)
{
    ThrowFailure(ErrCode::TRY_LATER, MODULE, "try again in " + std::to_string(wait.count()) + " s");
}

}  // namespace

LoginGate::LoginGate(std::function<Clock::time_point()> now, Pause pause)
    : m_Now(std::move(now)), m_Pause(std::move(pause))
{
    FillRandomly(m_Key.data(), m_Key.size(), MODULE);
}

void LoginGate::Sleep(std::chrono::milliseconds time)
{
    std::this_thread::sleep_for(time);
}

std::string LoginGate::Challenge() const
{
    std::array<unsigned char, RANDOM_BYTES> random{};
    FillRandomly(random.data(), random.size(), MODULE);
    char time[TIME_DIGITS + 1];
    std::snprintf(time, sizeof(time), "%08llX", SecondsNow() & 0xFFFFFFFFULL);
    const std::string text = time + NS_UTIL::ByteToHex(random.data(), static_cast<int>(random.size()));
    return text + SealOf(text);
}

std::string LoginGate::SealOf(const std::string& text) const
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> seal{};
    unsigned int nLength = 0;
    HMAC(EVP_sha256(), m_Key.data(), static_cast<int>(m_Key.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), seal.data(), &nLength);
    return NS_UTIL::ByteToHex(seal.data(), static_cast<int>(SEAL_BYTES));
}

unsigned long long LoginGate::SecondsNow() const
{
    return static_cast<unsigned long long>(
        std::chrono::duration_cast<seconds>(m_Now().time_since_epoch()).count());
}

bool LoginGate::IsFresh(const std::string& challenge) const
{
    if (challenge.size() != LOGIN_CHALLENGE) return false;
    const std::string text = challenge.substr(0, SEALED);
    const std::string seal = SealOf(text);
    if (CRYPTO_memcmp(seal.data(), challenge.data() + SEALED, seal.size()) != 0) return false;
    const unsigned long long nGiven = std::strtoull(text.substr(0, TIME_DIGITS).c_str(), nullptr, 16);
    return ((SecondsNow() - nGiven) & 0xFFFFFFFFULL) <=
           static_cast<unsigned long long>(CHALLENGE_LIFE.count());
}

seconds LoginGate::WaitLocked(const std::string& host) const
{
    const auto found = m_Failures.find(host);
    if (found == m_Failures.end() || found->second.m_nCount <= FREE_FAILURES) return seconds(0);
    const unsigned int nDoubled = std::min(found->second.m_nCount - FREE_FAILURES - 1, 6U);
    const seconds wait = std::min<seconds>(seconds(1U << nDoubled), MAX_WAIT);
    const Clock::duration left = found->second.m_Last + wait - m_Now();
    return left <= Clock::duration::zero() ? seconds(0) : std::chrono::ceil<seconds>(left);
}

void LoginGate::NoteFailureLocked(const std::string& host)
{
    ForgetLocked();
    if (m_Failures.size() >= MAX_ADDRESSES && m_Failures.count(host) == 0) {
        m_Failures.erase(
            std::min_element(m_Failures.begin(), m_Failures.end(),
                             [](const auto& a, const auto& b) { return a.second.m_Last < b.second.m_Last; }));
    }
    Failures& failures = m_Failures[host];
    ++failures.m_nCount;
    failures.m_Last = m_Now();
    failures.m_bTold = false;
}

/// From now on it was.
bool LoginGate::WasToldLocked(const std::string& host)
{
    return std::exchange(m_Failures[host].m_bTold, true);
}

/// What is too old to count.
void LoginGate::ForgetLocked()
{
    const Clock::time_point now = m_Now();
    for (auto at = m_Failures.begin(); at != m_Failures.end();) {
        at = now - at->second.m_Last > FAILURE_LIFE ? m_Failures.erase(at) : std::next(at);
    }
    const unsigned long long nOldest = SecondsNow() - static_cast<unsigned long long>(CHALLENGE_LIFE.count());
    for (auto at = m_Redeemed.begin(); at != m_Redeemed.end();) {
        at = at->second < nOldest ? m_Redeemed.erase(at) : std::next(at);
    }
}

LoginGate::Passage::Passage(LoginGate& gate, std::string host) : m_Gate(gate), m_Host(std::move(host))
{
    std::unique_lock<std::mutex> guard(m_Gate.m_Mutex);
    const seconds wait = m_Gate.WaitLocked(m_Host);
    if (wait > seconds(0)) {
        const bool bTold = m_Gate.WasToldLocked(m_Host);
        guard.unlock();
        if (bTold) m_Gate.m_Pause(PACE);
        ThrowLater(wait);
    }
    if (m_Gate.m_nInside >= MAX_AT_ONCE) ThrowLater(seconds(1));
    ++m_Gate.m_nInside;
}

LoginGate::Passage::~Passage()
{
    const Guard guard(m_Gate.m_Mutex);
    --m_Gate.m_nInside;
    if (m_bSucceeded) {
        m_Gate.m_Failures.erase(m_Host);
        return;
    }
    if (!m_Challenge.empty()) m_Gate.m_Redeemed.erase(m_Challenge);
    m_Gate.NoteFailureLocked(m_Host);
}

void LoginGate::Passage::Redeem(const std::string& challenge)
{
    if (!m_Gate.IsFresh(challenge)) {
        ThrowFailure(ErrCode::NOT_LOGGED_IN, MODULE,
                     "the login has no challenge of this server's, or an old one");
    }
    const Guard guard(m_Gate.m_Mutex);
    m_Gate.ForgetLocked();
    if (m_Gate.m_Redeemed.count(challenge) > 0) {
        ThrowFailure(ErrCode::NOT_LOGGED_IN, MODULE, "the login was sent before");
    }
    if (m_Gate.m_Redeemed.size() >= MAX_REDEEMED) ThrowLater(CHALLENGE_LIFE);
    m_Gate.m_Redeemed[challenge] = m_Gate.SecondsNow();
    m_Challenge = challenge;
}

void LoginGate::Passage::Succeed()
{
    m_bSucceeded = true;
}

}  // namespace northbound
