nbi_test(task/nbitaskmgr_test.cpp)
nbi_test(task/taskqueue_test.cpp)
nbi_test(task/hugepool_test.cpp)
