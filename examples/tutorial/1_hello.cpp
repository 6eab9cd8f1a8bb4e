#include <nbihost/standalone.h>
#include <nbiutil/async.h>

#include <iostream>

int main()
{
    NS_UTIL::DBAgent agent("console", 1);
    nbihost::Host host("server.ini", {{}, &NS_UTIL::TaskPoolMgr::ShutDown});
    host.Start();

    NS_UTIL::Submit(0, agent, [] { std::cout << "hello from a worker\n"; }).Get();
}
