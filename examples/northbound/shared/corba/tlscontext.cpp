#include "shared/corba/tlscontext.h"

#include <netdb.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace northbound {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
using Key = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)>;

/// What OpenSSL says about a failure.
std::string Reason(unsigned long nError)
{
    if (ERR_SYSTEM_ERROR(nError)) return std::strerror(ERR_GET_REASON(nError));
    const char* const pReason = ERR_reason_error_string(nError);
    return pReason == nullptr ? "no reason is known" : pReason;
}

[[noreturn]] void Fail(const std::string& what, const std::string& path, const std::string& why)
{
    throw TlsError(what + " " + path + " " + why);
}

void Demand(bool bDone, const std::string& what, const std::string& path)
{
    if (!bDone) Fail(what, path, "cannot be used: " + Reason(ERR_peek_error()));
}

/// Root may lend its key to the server's group, as it does where a service must not change its own configuration.
bool IsClosedToOthers(const struct stat& status)
{
    if (status.st_uid == geteuid()) return (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    return status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IXGRP | S_IRWXO)) == 0;
}

/// Nobody is there to type a password.
int NoPassword(char* /*pBuffer*/, int /*nSize*/, int /*nWriting*/, void* /*pData*/)
{
    return -1;
}

/// Looks at the very file that it reads.
Key ReadKey(const std::string& path)
{
    const File file(std::fopen(path.c_str(), "re"), std::fclose);
    if (!file) Fail("the key", path, std::string("cannot be read: ") + std::strerror(errno));
    struct stat status {};
    if (fstat(fileno(file.get()), &status) != 0 || !IsClosedToOthers(status)) {
        Fail("the key", path, "is open to other users; chmod 600 closes it");
    }
    Key key(PEM_read_PrivateKey(file.get(), nullptr, NoPassword, nullptr), EVP_PKEY_free);
    Demand(key != nullptr, "the key", path);
    return key;
}

void ShowCertificate(SSL_CTX* pContext, const std::string& path)
{
    if (path.empty()) return;
    Demand(SSL_CTX_use_certificate_chain_file(pContext, path.c_str()) == 1, "the certificate", path);
}

void UseKey(SSL_CTX* pContext, const std::string& path)
{
    if (path.empty()) return;
    const Key key = ReadKey(path);
    Demand(SSL_CTX_use_PrivateKey(pContext, key.get()) == 1, "the key", path);
}

void Trust(SSL_CTX* pContext, const std::string& path)
{
    if (path.empty()) {
        SSL_CTX_set_default_verify_paths(pContext);
        return;
    }
    Demand(SSL_CTX_load_verify_file(pContext, path.c_str()) == 1, "the authorities' file", path);
    SSL_CTX_set_client_CA_list(pContext, SSL_load_client_CA_file(path.c_str()));
}

/// An ORB whose context fails says nothing of a file.
void Try(const TlsFiles& files)
{
    ERR_clear_error();
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_method()), SSL_CTX_free);
    if (!context) throw TlsError("TLS cannot be had: " + Reason(ERR_peek_error()));
    ShowCertificate(context.get(), files.m_Certificate);
    UseKey(context.get(), files.m_Key);
    Trust(context.get(), files.m_Authorities);
}

bool IsAddress(const std::string& host)
{
    const std::unique_ptr<ASN1_OCTET_STRING, void (*)(ASN1_OCTET_STRING*)> address(
        a2i_IPADDRESS(host.c_str()), ASN1_OCTET_STRING_free);
    return address != nullptr;
}

/// The name of no server.
constexpr const char* NOBODY = "nobody.invalid";

/// The subject's name is nobody's proof: what a certificate is for stands among its alternative names.
void DemandName(SSL_CTX* pContext, const std::string& host)
{
    X509_VERIFY_PARAM* const pDemands = SSL_CTX_get0_param(pContext);
    X509_VERIFY_PARAM_set_hostflags(
        pDemands, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const bool bAddress = IsAddress(host);
    const bool bDone =
        bAddress ? X509_VERIFY_PARAM_set1_ip_asc(pDemands, host.c_str()) == 1 &&
                       X509_VERIFY_PARAM_set1_host(pDemands, nullptr, 0) == 1
                 : X509_VERIFY_PARAM_set1_host(pDemands, host.empty() ? NOBODY : host.c_str(), 0) == 1 &&
                       X509_VERIFY_PARAM_set1_ip(pDemands, nullptr, 0) == 1;
    if (!bDone) throw TlsError("\"" + host + "\" is no name of a server");
}

/// In words of ours where OpenSSL's need a programmer.
std::string FailureOf(const SSL* pConnection, unsigned long nError)
{
    if (nError == 0) return "the other side closed the connection";
    const int nReason = ERR_GET_REASON(nError);
    if (nReason > SSL_AD_REASON_OFFSET) {
        return std::string("the other side refused: ") +
               SSL_alert_desc_string_long(nReason - SSL_AD_REASON_OFFSET);
    }
    switch (nReason) {
        case SSL_R_CERTIFICATE_VERIFY_FAILED:
            return std::string("the other side's certificate is not accepted: ") +
                   X509_verify_cert_error_string(SSL_get_verify_result(pConnection));
        case SSL_R_PEER_DID_NOT_RETURN_A_CERTIFICATE:
            return "the other side shows no certificate";
        case SSL_R_WRONG_VERSION_NUMBER:
            return "the other side does not speak TLS";
        case SSL_R_UNSUPPORTED_PROTOCOL:
            return "the other side speaks no TLS 1.2 or later";
        case SSL_R_UNEXPECTED_EOF_WHILE_READING:
            return "the other side closed the connection";
        default:
            return Reason(nError);
    }
}

std::string PeerOf(const SSL* pConnection)
{
    sockaddr_storage address{};
    socklen_t nLength = sizeof(address);
    auto* const pAddress = reinterpret_cast<sockaddr*>(&address);
    char host[NI_MAXHOST];
    char port[NI_MAXSERV];
    if (getpeername(SSL_get_fd(pConnection), pAddress, &nLength) != 0 ||
        getnameinfo(pAddress, nLength, host, sizeof(host), port, sizeof(port),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "";
    }
    return std::string(host) + ":" + port;
}

/// Of the handshake on this thread: one that has refused us and gone has no address any more.
thread_local std::string t_HandshakePeer;

/// An alert that came when the handshake was over, as of a server that does not like what it got at its end.
bool IsLateRefusal(const SSL* pConnection, int nWhere, int nResult)
{
    constexpr int FATAL = 2;
    return nWhere == SSL_CB_READ_ALERT && nResult >> 8 == FATAL && SSL_is_init_finished(pConnection) != 0;
}

/// Not one that only waits for the other side.
bool IsFailedHandshake(const SSL* pConnection, int nWhere, int nResult)
{
    if ((nWhere != SSL_CB_ACCEPT_EXIT && nWhere != SSL_CB_CONNECT_EXIT) || nResult > 0) return false;
    return ERR_peek_last_error() != 0 ||
           (!BIO_should_retry(SSL_get_rbio(pConnection)) && !BIO_should_retry(SSL_get_wbio(pConnection)));
}

}  // namespace

TlsContext::TlsContext(bool bServer, TlsFiles files, TlsEvents events)
    : m_bServer(bServer), m_Files(std::move(files)), m_Events(std::move(events))
{
}

void TlsContext::InstallForServer(const TlsFiles& files, FailureSink onFailure)
{
    Try(files);
    Install(new TlsContext(true, files, {std::move(onFailure), [] {}, [] {}}));
}

void TlsContext::InstallForClient(const TlsFiles& files, TlsEvents events)
{
    Try(files);
    Install(new TlsContext(false, files, std::move(events)));
}

void TlsContext::Install(TlsContext* pContext)
{
    delete singleton;  // of an ORB that was never made
    singleton = pContext;
    info_callback = Look;
}

void TlsContext::Expect(const std::string& host)
{
    DemandName(singleton->get_SSL_CTX(), host);
}

void TlsContext::set_supported_versions()
{
    SSL_CTX_set_min_proto_version(get_SSL_CTX(), TLS1_2_VERSION);
    SSL_CTX_set_options(get_SSL_CTX(), SSL_OP_NO_RENEGOTIATION);
}

void TlsContext::set_certificate()
{
    ShowCertificate(get_SSL_CTX(), m_Files.m_Certificate);
    if (!m_bServer && m_Files.m_Certificate.empty()) SSL_CTX_set_cert_cb(get_SSL_CTX(), HaveNone, nullptr);
}

/// OpenSSL asks when the other side does.
int TlsContext::HaveNone(SSL* /*pConnection*/, void* /*pData*/)
{
    constexpr int GO_ON = 1;
    static_cast<const TlsContext*>(singleton)->m_Events.m_OnWanted();
    return GO_ON;
}

void TlsContext::set_privatekey()
{
    UseKey(get_SSL_CTX(), m_Files.m_Key);
}

void TlsContext::set_CA()
{
    Trust(get_SSL_CTX(), m_Files.m_Authorities);
    if (!m_bServer) DemandName(get_SSL_CTX(), NOBODY);
}

int TlsContext::set_verify_mode()
{
    if (m_bServer && m_Files.m_Authorities.empty()) return SSL_VERIFY_NONE;
    return SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT;
}

void TlsContext::Look(const SSL* pConnection, int nWhere, int nResult)
{
    const auto* const pContext = static_cast<const TlsContext*>(singleton);
    if (nWhere == SSL_CB_HANDSHAKE_START) {
        t_HandshakePeer = PeerOf(pConnection);
    } else if (nWhere == SSL_CB_HANDSHAKE_DONE) {
        pContext->m_Events.m_OnEstablished();
    } else if (IsLateRefusal(pConnection, nWhere, nResult)) {
        pContext->m_Events.m_OnFailure(PeerOf(pConnection), std::string("the other side refused: ") +
                                                                SSL_alert_desc_string_long(nResult));
    } else if (IsFailedHandshake(pConnection, nWhere, nResult)) {
        pContext->m_Events.m_OnFailure(t_HandshakePeer, FailureOf(pConnection, ERR_peek_last_error()));
    }
}

}  // namespace northbound
