nbi_test(security/securebuffer_test.cpp)
