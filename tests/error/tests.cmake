nbi_test(error/errorinfomgr_test.cpp LIBRARIES nbi_lockfailure)
