nbi_bench(security_bench)
# The peers are the bare calls of OpenSSL's 1.1 interface.
set_source_files_properties(security_bench.cpp PROPERTIES COMPILE_DEFINITIONS OPENSSL_API_COMPAT=0x10101000L)
