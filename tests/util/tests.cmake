nbi_test(util/conversions_test.cpp)
