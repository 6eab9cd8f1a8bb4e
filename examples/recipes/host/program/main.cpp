#include <myhost.h>
#include <nbiutil/async.h>

#include <iostream>

using namespace NS_UTIL;

int main()
{
    DBAgent agent("console", 1);
    Submit(0, agent, [] { std::cout << "hello from a worker\n"; }).Get();
    std::cout << NBITaskMgr::GetTaskMgr(0)->thr_count() << " workers\n";
    NBITaskMgr::GetTaskMgr(0)->PushTask(nullptr);  // for the log

    StopMyHost();
    TaskPoolMgr::ShutDown();
}
