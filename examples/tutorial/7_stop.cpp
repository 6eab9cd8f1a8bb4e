#include <nbihost/standalone.h>
#include <nbiutil/async.h>
#include <signal.h>

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

using namespace NS_UTIL;

// [signals]
/// The orders to stop: blocked in every thread, so that main() can wait for them.
sigset_t BlockStopOrders()
{
    sigset_t orders;
    sigemptyset(&orders);
    sigaddset(&orders, SIGTERM);
    sigaddset(&orders, SIGINT);
    pthread_sigmask(SIG_BLOCK, &orders, nullptr);
    return orders;
}
// [signals]

// [body]
/// Works until it is told to stop; how far it came is its answer.
std::string Measure(const std::string& port, const StopToken& token)
{
    while (!token.IsStopRequested()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    nbihost::Log(nbihost::LOG_LEVEL_INFO, "server", "%s: stopped in good order", port.c_str());
    return port;
}
// [body]

// [serve]
/// Until the input ends, and as long as the process lives: nothing here belongs to main().
void Serve()
{
    static auto& agent = *new DBAgent("console", 1);
    for (std::string port; std::getline(std::cin, port);) {
        Submit(0, agent, [port](const StopToken& token) { return Measure(port, token); });
        std::cout << "measuring " << port << std::endl;
    }
    kill(getpid(), SIGTERM);
}
// [serve]

int main()
{
    // [main]
    const sigset_t orders = BlockStopOrders();
    nbihost::Host host("server.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();
    std::thread(Serve).detach();

    int nSignal = 0;
    sigwait(&orders, &nSignal);
    host.Stop();  // the state is "stopping", bodies see it; then the pools are shut down
    std::cout << "stopped" << std::endl;
    // [main]
}
