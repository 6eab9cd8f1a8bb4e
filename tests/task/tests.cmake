nbi_test(task/nbitaskmgr_test.cpp)
