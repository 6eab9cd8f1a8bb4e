nbi_test(context/user_test.cpp)
nbi_test(context/threadcontextinfo_test.cpp LIBRARIES nbi_lockfailure)
nbi_test(context/threadcontextmgr_test.cpp SOURCES support/livecount.cpp LIBRARIES nbi_lockfailure)
