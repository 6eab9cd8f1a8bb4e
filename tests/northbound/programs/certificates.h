/// \file
/// Certificates for tests, made in memory and written as PEM files.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "shared/tlsfiles.h"

namespace northbound {

/// An authority whose certificate is a file of its folder.
class Authority {
public:
    /// \param folder holds what is made
    /// \param name   of the authority and of its file
    Authority(std::string folder, const std::string& name);

    const std::string& File() const { return m_File; }

    /// A certificate of this authority and its key, in files of the authority's folder.
    /// \param names as OpenSSL has them, "DNS:localhost,IP:127.0.0.1"
    /// \param nDays from now until it ends; a negative number has it end so long ago
    TlsFiles Issue(const std::string& name, const std::string& names, int nDays = 1) const;

private:
    using Key = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)>;
    using Certificate = std::unique_ptr<X509, void (*)(X509*)>;

    Certificate Make(const std::string& name, EVP_PKEY* pKey, int nDays) const;

    const std::string m_Folder;
    const std::string m_File;
    Key m_Key;
    Certificate m_Certificate;
};

}  // namespace northbound
