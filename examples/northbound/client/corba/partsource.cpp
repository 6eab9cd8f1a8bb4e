#include "client/corba/partsource.h"

#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>

#include "client/texts/texts.h"
#include "shared/names.h"

namespace northbound {
namespace {

/// What a server has answered cannot be a part; what() says why.
class WrongPiece : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Digest {
public:
    Digest() : m_pContext(EVP_MD_CTX_new(), &EVP_MD_CTX_free)
    {
        if (m_pContext == nullptr || EVP_DigestInit_ex(m_pContext.get(), EVP_sha256(), nullptr) != 1) Fail();
    }

    void Add(const unsigned char* pBytes, std::size_t nBytes)
    {
        if (EVP_DigestUpdate(m_pContext.get(), pBytes, nBytes) != 1) Fail();
    }

    /// Lower-case hexadecimal.
    std::string Text()
    {
        constexpr const char* DIGITS = "0123456789abcdef";
        unsigned char bytes[EVP_MAX_MD_SIZE];
        unsigned int nBytes = 0;
        if (EVP_DigestFinal_ex(m_pContext.get(), bytes, &nBytes) != 1) Fail();
        std::string text;
        for (unsigned int i = 0; i < nBytes; ++i) {
            text += DIGITS[bytes[i] >> 4U];
            text += DIGITS[bytes[i] & 15U];
        }
        return text;
    }

private:
    [[noreturn]] static void Fail() { throw std::runtime_error("SHA-256"); }

    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> m_pContext;
};

/// The pieces of a part that have come so far.
class Download {
public:
    explicit Download(const Sink& sink) : m_Sink(sink) {}

    std::uint64_t Offset() const { return m_nOffset; }
    bool IsWhole() const { return m_bBegun && m_nOffset == m_nSize; }

    /// \throws WrongPiece for one that does not go on where the last one ended, or is of another part
    void Take(const Northbound::PartPiece& piece)
    {
        if (!m_bBegun) Begin(piece);
        if (piece.size != m_nSize || m_Digest != piece.digest.in()) {
            throw WrongPiece(Say("the part has changed meanwhile"));
        }
        const std::uint64_t nBytes = piece.data.length();
        if (piece.offset != m_nOffset || nBytes == 0 || nBytes > m_nSize - m_nOffset) {
            throw WrongPiece(Say("a piece is not what was asked for"));
        }
        m_Own.Add(piece.data.get_buffer(), nBytes);
        m_Sink(piece.data.get_buffer(), nBytes);
        m_nOffset += nBytes;
    }

    void CheckDigest()
    {
        if (m_Own.Text() != m_Digest) throw WrongPiece(Say("the digest is wrong"));
    }

private:
    void Begin(const Northbound::PartPiece& piece)
    {
        if (piece.size == 0 || piece.size > LONGEST_PART) {
            throw WrongPiece(Say("a part of {1} bytes is none", {std::to_string(piece.size)}));
        }
        m_nSize = piece.size;
        m_Digest = piece.digest.in();
        m_bBegun = true;
    }

    const Sink& m_Sink;
    Digest m_Own;
    bool m_bBegun = false;
    std::uint64_t m_nOffset = 0;
    std::uint64_t m_nSize = 0;
    std::string m_Digest;
};

/// \throws WrongPiece; what the session throws
void BringOnce(const Session& session, const std::string& operation, unsigned int nFirst, const Sink& sink)
{
    Download download(sink);
    while (!download.IsWhole()) {
        const Northbound::PartPiece_var piece =
            session.Read([&](Northbound::Manager_ptr server, const Northbound::Caller& who) {
                return server->Fetch(who, operation.c_str(), nFirst, download.Offset());
            });
        download.Take(piece.in());
    }
    download.CheckDigest();
}

/// \return why not; nothing when it has come
std::optional<std::string> WhyNot(const Session& session, const std::string& operation, unsigned int nFirst,
                                  const Sink& sink)
{
    try {
        BringOnce(session, operation, nFirst, sink);
        return std::nullopt;
    } catch (const WrongPiece& e) {
        return session.Address() + ": " + e.what();
    } catch (const Northbound::OperationFailed& e) {
        return session.Address() + ": " + e.detail.in();
    } catch (const CORBA::SystemException& e) {
        return session.Address() + ": " + Session::ReasonOf(e);
    } catch (const NoAnswer& e) {
        return Say("no answer from any server: {1}", {e.what()});
    }
}

}  // namespace

std::string BringPart(const Session& session, const std::string& operation, unsigned int nFirst,
                      const std::string& address, const std::function<void()>& restart, const Sink& sink)
{
    if (!address.empty()) session.TurnTo(address);
    std::string reasons;
    for (std::size_t i = 0; i < session.Servers(); ++i) {
        restart();
        const std::optional<std::string> why = WhyNot(session, operation, nFirst, sink);
        if (!why) return "";
        if (reasons.find(*why) == std::string::npos) reasons += (reasons.empty() ? "" : ", ") + *why;
        session.TurnToNext();
    }
    return reasons;
}

}  // namespace northbound
