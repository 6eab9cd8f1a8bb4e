nbi_test(task/nbitaskmgr_test.cpp)
nbi_test(task/taskqueue_test.cpp)
nbi_test(task/hugepool_test.cpp)
nbi_test(task/ad_test.cpp SOURCES support/condwaits.cpp support/livecount.cpp LIBRARIES nbi_lockfailure)
