nbi_test(log/log_test.cpp)
