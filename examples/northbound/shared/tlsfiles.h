/// \file
/// What a server or a client shows and trusts when it speaks TLS.
#pragma once

#include <stdexcept>
#include <string>

namespace northbound {

/// In front of "<host>:<port>" where TLS is spoken: "tls:nbi.example.org:12809".
constexpr const char* TLS_SCHEME = "tls:";

/// Files in PEM form, each absolute or "".
struct TlsFiles {
    std::string m_Authorities;  // who may vouch for the other side; see TlsContext for ""
    std::string m_Certificate;  // one's own, then those between it and its authority; "": none is shown
    std::string m_Key;          // of that certificate, without a password
};

/// One of the files cannot be used; what() is one line that names it.
class TlsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace northbound
