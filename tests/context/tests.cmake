nbi_test(context/user_test.cpp)
