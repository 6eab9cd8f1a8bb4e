nbi_test(security/autoreleasestrex_test.cpp)
nbi_library_test(security/localkeyonhost_test.cpp)
nbi_test(security/localrsakeymgr_test.cpp LIBRARIES nbi_heapwatch nbi_lockfailure)
# RAND_METHOD, with which OpenSSL is kept from making keys, belongs to the interface of 1.1.
set_source_files_properties(security/localrsakeymgr_test.cpp PROPERTIES
    COMPILE_DEFINITIONS OPENSSL_API_COMPAT=0x10101000L)
nbi_test(security/nbirsa_test.cpp LIBRARIES nbi_lockfailure)
nbi_test(security/securebuffer_test.cpp)
nbi_test(security/wipe_test.cpp LIBRARIES nbi_heapwatch)
