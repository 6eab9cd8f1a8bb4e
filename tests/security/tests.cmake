nbi_test(security/autoreleasestrex_test.cpp)
nbi_test(security/nbirsa_test.cpp LIBRARIES nbi_lockfailure)
nbi_test(security/securebuffer_test.cpp LIBRARIES nbi_heapwatch)
