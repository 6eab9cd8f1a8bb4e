/// \file
/// TLS as the ORB speaks it, at either end.
#pragma once

#include <omniORB4/CORBA.h>
#include <omniORB4/sslContext.h>

#include <functional>
#include <string>

#include "shared/tlsfiles.h"

namespace northbound {

/// TLS 1.2 or later, with one's own certificate and key, and the authorities that the other side needs one of. The
/// ORB's own options would take TLS 1.0 and have certificate, chain and key in one file that anybody may read.
/// Ownership: one at a time, made by InstallForServer() or InstallForClient() before the ORB is, which
/// deletes it when it ends.
class TlsContext final : public sslContext {
public:
    /// Takes the other side's address, "" when it is gone, and in one line why TLS with it failed. On threads of the
    /// ORB's.
    using FailureSink = std::function<void(const std::string& peer, const std::string& why)>;

    /// Clients need a certificate of one of \p files' authorities; without any, none is asked for.
    /// \throws TlsError
    static void InstallForServer(const TlsFiles& files, FailureSink onFailure);

    /// Servers need a certificate of one of \p files' authorities; without any, of one of the system's. Before Expect()
    /// none is good.
    /// \throws TlsError
    static void InstallForClient(const TlsFiles& files, FailureSink onFailure);

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
    TlsContext(bool bServer, TlsFiles files, FailureSink onFailure);

    static void Install(TlsContext* pContext);
    static void Look(const SSL* pConnection, int nWhere, int nResult);

    const bool m_bServer;
    const TlsFiles m_Files;
    const FailureSink m_OnFailure;
};

}  // namespace northbound
