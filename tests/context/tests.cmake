nbi_test(context/user_test.cpp)
nbi_test(context/threadcontextinfo_test.cpp LIBRARIES nbi_lockfailure)
nbi_test(context/threadcontextmgr_test.cpp LIBRARIES nbi_heapwatch nbi_lockfailure)
