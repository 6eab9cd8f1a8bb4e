#include "northbound/programs/certificates.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

namespace northbound {
namespace {

constexpr long DAY = 86400;  // seconds

void Demand(bool bDone)
{
    if (!bDone) throw std::runtime_error("no certificate for the test");
}

void AddExtension(X509* pCertificate, int nId, const std::string& value)
{
    X509_EXTENSION* const pExtension = X509V3_EXT_conf_nid(nullptr, nullptr, nId, value.c_str());
    Demand(pExtension != nullptr && X509_add_ext(pCertificate, pExtension, -1) == 1);
    X509_EXTENSION_free(pExtension);
}

template <class Write>
void WritePem(const std::string& path, mode_t nMode, Write write)
{
    std::FILE* const pFile = std::fopen(path.c_str(), "w");
    Demand(pFile != nullptr && fchmod(fileno(pFile), nMode) == 0 && write(pFile) == 1);
    std::fclose(pFile);
}

void WriteCertificate(const std::string& path, X509* pCertificate)
{
    WritePem(path, 0644, [pCertificate](std::FILE* p) { return PEM_write_X509(p, pCertificate); });
}

void Sign(X509* pCertificate, EVP_PKEY* pKey)
{
    Demand(X509_sign(pCertificate, pKey, EVP_sha256()) > 0);
}

}  // namespace

Authority::Authority(std::string folder, const std::string& name)
    : m_Folder(std::move(folder)),
      m_File(m_Folder + "/" + name + ".pem"),
      m_Key(EVP_EC_gen("P-256"), EVP_PKEY_free),
      m_Certificate(Make(name, m_Key.get(), 1))
{
    AddExtension(m_Certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    X509_set_issuer_name(m_Certificate.get(), X509_get_subject_name(m_Certificate.get()));
    Sign(m_Certificate.get(), m_Key.get());
    WriteCertificate(m_File, m_Certificate.get());
}

TlsFiles Authority::Issue(const std::string& name, const std::string& names, int nDays) const
{
    const std::string path = m_Folder + "/" + name;
    const Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const Certificate certificate = Make(name, key.get(), nDays);
    AddExtension(certificate.get(), NID_subject_alt_name, names);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(m_Certificate.get()));
    Sign(certificate.get(), m_Key.get());
    WriteCertificate(path + ".pem", certificate.get());
    WritePem(path + "-key.pem", 0600, [&key](std::FILE* p) {
        return PEM_write_PrivateKey(p, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
    return {"", path + ".pem", path + "-key.pem"};
}

Authority::Certificate Authority::Make(const std::string& name, EVP_PKEY* pKey, int nDays) const
{
    Certificate certificate(X509_new(), X509_free);
    X509* const p = certificate.get();
    long nSerial = 0;
    Demand(RAND_bytes(reinterpret_cast<unsigned char*>(&nSerial), 4) == 1 && X509_set_version(p, 2) == 1 &&
           ASN1_INTEGER_set(X509_get_serialNumber(p), nSerial) == 1 && X509_set_pubkey(p, pKey) == 1);
    X509_gmtime_adj(X509_getm_notBefore(p), -2 * DAY);
    X509_gmtime_adj(X509_getm_notAfter(p), nDays * DAY);
    const auto* const pName = reinterpret_cast<const unsigned char*>(name.c_str());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(p), "CN", MBSTRING_UTF8, pName, -1, -1, 0);
    return certificate;
}

}  // namespace northbound
