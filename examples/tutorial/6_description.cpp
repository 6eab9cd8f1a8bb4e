#include <nbihost/standalone.h>
#include <nbiutil/async.h>
#include <nbiutil/sdxmlinterpreter.h>

#include <iostream>
#include <map>
#include <string>

using namespace NS_UTIL;

std::map<std::string, int> g_Ports;

// [attribute]
/// The value of an attribute, or "" when the element has none of that name.
std::string AttributeOf(const XMLTag& element, const std::string& name)
{
    if (element.m_pItems == nullptr) return "";
    for (XMLItem** ppItem = element.m_pItems; *ppItem != nullptr; ++ppItem) {
        if (name == (*ppItem)->m_pName) return (*ppItem)->m_pValue;
    }
    return "";
}
// [attribute]

// [interpreter]
class PortsInterpreter : public SDXMLInterpreter {
public:
    int InterpretXMLTag(const XMLTag& root) override
    {
        SDXMLInterpreter::InterpretXMLTag(root);  // macros and includes
        if (root.m_pChildren == nullptr) return 0;
        for (const XMLTag* pElement : *root.m_pChildren) {
            if (pElement->m_Name != "port") continue;
            const std::string speed = AttributeOf(*pElement, "speed");
            g_Ports[AttributeOf(*pElement, "name")] =
                SDXMLInterpreterMgr::Instance()->ParseInt(speed.c_str());
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
    if (pDescriptions->ParseXMLFile("ports.xml") != 0 || g_Ports.empty()) {
        std::cerr << "ports.xml describes no port\n";
        return 1;
    }
    // [read]

    for (std::string port; std::getline(std::cin, port);) {
        std::cout
            << Submit(0, agent, [port] { return g_Ports.count(port) == 0 ? 0 : g_Ports.at(port); }).Get()
            << " Mbit/s\n";
    }
}
