nbi_test(util/conversions_test.cpp)
nbi_test(util/commandline_test.cpp)
