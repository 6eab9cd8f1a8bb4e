/// \file
/// TLS as the ORB speaks it, at either end.
#pragma once

#include <omniORB4/CORBA.h>
#include <omniORB4/sslContext.h>

#include <functional>
#include <string>

#include "shared/tlsfiles.h"

namespace northbound {

/// What a client learns of its handshakes. On threads of the ORB's.
struct TlsEvents {
    /// Takes the other side's address, "" when it is gone, and in one line why TLS with it failed.
    std::function<void(const std::string& peer, const std::string& why)> m_OnFailure;
    std::function<void()> m_OnWanted;  // the other side wants a certificate, and there is none to show
    std::function<void()>
        m_OnEstablished;  // as far as this side knows: the other one may not have looked at it all
};

/// TLS 1.2 or later, with one's own certificate and key, and the authorities that the other side needs one of. The
/// ORB's own options would take TLS 1.0 and have certificate, chain and key in one file that anybody may read.
/// Ownership: one at a time, made by InstallForServer() or InstallForClient() before the ORB is, which
/// deletes it when it ends.
class TlsContext final : public sslContext {
public:
    using FailureSink = decltype(TlsEvents::m_OnFailure);

    /// Clients need a certificate of one of \p files' authorities; without any, none is asked for.
    /// \param onFailure as in TlsEvents
    /// \throws TlsError
    static void InstallForServer(const TlsFiles& files, FailureSink onFailure);

    /// Servers need a certificate of one of \p files' authorities; without any, of one of the system's. Before Expect()
    /// none is good.
    /// \throws TlsError
    static void InstallForClient(const TlsFiles& files, TlsEvents events);

    /// Connections that are made from now on go to a server whose certificate names \p host as one of its alternative
    /// names, as an address or a DNS name. While nobody else makes one, after ORB_init().
    static void Expect(const std::string& host);

protected:
    void set_supported_versions() override;
    void set_certificate() override;
    void set_privatekey() override;
    void set_CA() override;
    int set_verify_mode() override;

private:
    TlsContext(bool bServer, TlsFiles files, TlsEvents events);

    static void Install(TlsContext* pContext);
    static void Look(const SSL* pConnection, int nWhere, int nResult);
    static int HaveNone(SSL* pConnection, void* pData);

    const bool m_bServer;
    const TlsFiles m_Files;
    const TlsEvents m_Events;
};

}  // namespace northbound
