#include "nbiutil/threadcontextinfo.h"

#include <ace/UUID.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include "base/lockguard.h"
#include "base/singleton.h"

namespace NS_UTIL {
namespace {

constexpr const char* UUID_OPEN_TAG = "<OpUUID>";
constexpr const char* UUID_CLOSE_TAG = "</OpUUID>";

/// The digits of each byte, one pair behind the other: "000102...ff".
constexpr std::array<char, 512> MakeHexPairs()
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::array<char, 512> pairs{};
    for (std::size_t n = 0; n < 256; ++n) {
        pairs[2 * n] = DIGITS[n >> 4U];
        pairs[2 * n + 1] = DIGITS[n & 0xFU];
    }
    return pairs;
}
constexpr std::array<char, 512> HEX_PAIRS = MakeHexPairs();

/// Writes integers as lower-case hexadecimal digits, one behind the other. ACE's own conversion goes through
/// a printf, which costs several times what making the UUID does.
class HexWriter {
public:
    explicit HexWriter(char* pText) : m_pNext(pText) {}

    void Skip() { m_pNext++; }

    void Byte(unsigned int nByte)
    {
        std::memcpy(m_pNext, &HEX_PAIRS[2UL * (nByte & 0xFFU)], 2);
        m_pNext += 2;
    }

    template <class Unsigned>
    void Number(Unsigned nValue)
    {
        for (std::size_t nByte = sizeof(Unsigned); nByte-- > 0;) {
            Byte(static_cast<unsigned int>(nValue >> (8U * nByte)));
        }
    }

private:
    char* m_pNext;
};

std::string TextOf(const ACE_Utils::UUID& uuid)
{
    std::string text(36, '-');
    HexWriter writer(text.data());
    writer.Number(uuid.time_low());
    writer.Skip();
    writer.Number(uuid.time_mid());
    writer.Skip();
    writer.Number(uuid.time_hi_and_version());
    writer.Skip();
    writer.Byte(uuid.clock_seq_hi_and_reserved());
    writer.Byte(uuid.clock_seq_low());
    writer.Skip();
    for (const u_char nByte : uuid.node().node_ID()) writer.Byte(nByte);
    return text;
}

}  // namespace

ThreadContextInfo::ThreadContextInfo(const int& nThreadId, const std::string& interfaceName,
                                     const std::string& userInfo, const std::string& operUUID,
                                     TskInfo& tskInfo)
    : m_nThreadId(nThreadId),
      m_InterfaceName(interfaceName),
      m_UserInfo(userInfo),
      m_OperUUID(operUUID),
      m_nTskNum(tskInfo.m_nTskNum),
      m_nTskMode(tskInfo.m_nTskMode),
      m_nTskType(tskInfo.m_nTskType),
      m_TskMgr(tskInfo.m_TskMgr)
{
}

bool ThreadContextInfo::operator==(const ThreadContextInfo& other) const
{
    return m_nThreadId == other.m_nThreadId && m_InterfaceName == other.m_InterfaceName &&
           m_UserInfo == other.m_UserInfo && m_OperUUID == other.m_OperUUID;
}

void ThreadContextInfo::SetHugeTskInfo(const int& nTskNum, const int& nTskType, const int& nTskMode,
                                       const std::string& tskMgr)
{
    m_nTskNum = nTskNum;
    m_nTskType = nTskType;
    m_nTskMode = nTskMode;
    m_TskMgr = tskMgr;
}

void ThreadContextInfo::SetOperUUID(const std::string& uuid)
{
    if (uuid.empty()) {
        m_OperUUID = UUID_OPEN_TAG + GenerateUUID() + UUID_CLOSE_TAG;
    } else {
        m_OperUUID = uuid;
    }
}

std::string ThreadContextInfo::GetBareOperUUID() const
{
    constexpr std::string_view OPEN = UUID_OPEN_TAG;
    constexpr std::string_view CLOSE = UUID_CLOSE_TAG;
    const std::string uuid = GetOperUUID();
    const bool bTagged = uuid.size() >= OPEN.size() + CLOSE.size() &&
                         uuid.compare(0, OPEN.size(), OPEN) == 0 &&
                         uuid.compare(uuid.size() - CLOSE.size(), CLOSE.size(), CLOSE) == 0;
    return bTagged ? uuid.substr(OPEN.size(), uuid.size() - OPEN.size() - CLOSE.size()) : uuid;
}

std::string ThreadContextInfo::GenerateUUID()
{
    ACE_UUID_Generator* const pGenerator = ACE_UUID_Generator::Instance();
    return pGenerator != nullptr ? pGenerator->generate_uuid() : std::string();
}

std::atomic<ACE_UUID_Generator*> ACE_UUID_Generator::m_pInstance{nullptr};

ACE_UUID_Generator* ACE_UUID_Generator::Instance()
{
    return InstanceIn(m_pInstance, [] { return new ACE_UUID_Generator; });
}

void ACE_UUID_Generator::Destroy()
{
    DestroyIn(m_pInstance, [](ACE_UUID_Generator* pGenerator) { delete pGenerator; });
}

ACE_UUID_Generator::ACE_UUID_Generator()
    : m_pMutex(std::make_unique<ACE_Thread_Mutex>()),
      m_pGenerator(std::make_unique<ACE_Utils::UUID_Generator>())
{
    if (m_pGenerator->lock() == nullptr) throw std::bad_alloc();  // ACE goes on without it
    m_pGenerator->init();
}

ACE_UUID_Generator::~ACE_UUID_Generator() = default;

std::string ACE_UUID_Generator::generate_uuid()
{
    constexpr ACE_UINT16 TIME_BASED = 0x0001;
    constexpr u_char VARIANT = 0x80;
    ACE_Utils::UUID uuid;
    {
        MutexGuard guard(*m_pMutex);
        m_pGenerator->generate_UUID(uuid, TIME_BASED, VARIANT);
    }
    return TextOf(uuid);
}

}  // namespace NS_UTIL
