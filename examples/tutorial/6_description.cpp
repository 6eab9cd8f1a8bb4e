#include <nbihost/standalone.h>
#include <nbiutil/async.h>
#include <nbiutil/sdxmlinterpreter.h>

#include <iostream>
#include <map>
#include <string>
#include <vector>

using namespace NS_UTIL;

std::map<std::string, int> g_Ports;

// [interpreter]
class PortsInterpreter : public SDXMLInterpreter {
public:
    int InterpretXMLTag(const XMLTag& root) override
    {
        SDXMLInterpreter::InterpretXMLTag(root);  // macros and includes
        if (root.m_pChildren == nullptr) return 0;
        for (const XMLTag* pElement : *root.m_pChildren) {
            const char* const pName = Attribute(*pElement, "name");
            const char* const pSpeed = Attribute(*pElement, "speed");
            if (pElement->m_Name != "port" || pName == nullptr || pSpeed == nullptr) continue;
            g_Ports[pName] = SDXMLInterpreterMgr::Instance()->ParseInt(pSpeed);
        }
        return 0;
    }
};
// [interpreter]

int main()
{
    DBAgent agent("console", 1);
    nbihost::Host host("server.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();

    // [read]
    SDXMLInterpreterMgr* const pDescriptions = SDXMLInterpreterMgr::Instance();
    pDescriptions->RegisterInterpreter("ports.xml/ports", new PortsInterpreter);
    std::vector<XMLParseFailure> failures;
    pDescriptions->ParseXMLFile("ports.xml", failures);
    for (const auto& [file, nLine, reason] : failures) {
        std::cerr << file << ':' << nLine << ": " << reason << '\n';
    }
    if (g_Ports.empty()) return 1;
    // [read]

    for (std::string port; std::getline(std::cin, port);) {
        std::cout
            << Submit(0, agent, [port] { return g_Ports.count(port) == 0 ? 0 : g_Ports.at(port); }).Get()
            << " Mbit/s\n";
    }
}
