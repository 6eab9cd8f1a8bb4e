// Single faults in parsing, in the interpreters' manager and in the registry of parse functions.
#include <string>
#include <vector>

#include "nbiutil/sdxmlinterpreter.h"
#include "nbiutil/xmltag.h"
#include "support/recordingfaults.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

const std::string LONG(40, 'x');  // too long to lie inside its object

SDXMLInterpreterMgr& Manager()
{
    FaultHost();
    return *SDXMLInterpreterMgr::Instance();
}

TEParserFuncRegistry& Registry()
{
    FaultHost();
    return *TEParserFuncRegistry::Instance();
}

/// Looks for an element and an attribute of what is parsed, then does what the base does.
class Looking : public SDXMLInterpreter {
public:
    int InterpretXMLTag(const XMLTag& tag) override
    {
        std::string name = "macro_desc";
        char* path[] = {name.data(), nullptr};
        XMLTag* pFound = nullptr;
        m_bFound = tag.getTag(path, &pFound);
        if (pFound != nullptr) m_bFound = Attribute(*pFound, "SOME_MACRO") != nullptr;
        tag.print(3);
        return SDXMLInterpreter::InterpretXMLTag(tag);
    }
    bool m_bFound = false;
};

int SeventyOne(const XMLTag& /*tag*/, TEParserPara* /*pPara*/)
{
    return 71;
}

/// The file after a fault is parsed as ever.
std::string ParseFile(Faults& faults, bool bCollect)
{
    faults.Folder().Add("inner.xml", "<inner><macro_desc INNER=\"5\"/></inner>");
    const std::string path = faults.Folder().Add(
        "outer.xml", "<outer><macro_desc SOME_MACRO=\"7\"/><include file=\"" + faults.Folder().Path() +
                         "/inner.xml\"/><rest a=\"" + LONG + "\">" + LONG + "</rest></outer>");
    SDXMLInterpreterMgr& manager = Manager();
    auto* const pLooking = new Looking;
    manager.RegisterInterpreter("outer.xml", pLooking);
    manager.RegisterInterpreter("inner.xml", new SDXMLInterpreter);
    std::vector<XMLParseFailure> failures;
    const std::string result = faults.During([&] {
        return bCollect ? manager.ParseXMLFile(path.c_str(), failures) : manager.ParseXMLFile(path.c_str());
    });
    faults.Expect(result != "-1" || !bCollect || failures.size() == 1, "nobody knows why it failed");
    faults.Expect(manager.ParseXMLFile(path.c_str()) == 0 && pLooking->m_bFound &&
                      manager.ParseInt("SOME_MACRO") == 7 && manager.ParseInt("INNER") == 5,
                  "the next parse is not as ever");
    SDXMLInterpreterMgr::Destroy();
    return result;
}

const std::vector<Scenario> SCENARIOS = {
    {"SDXMLInterpreterMgr::Instance SDXMLInterpreterMgr::Destroy SDXMLInterpreterMgr::Initial",
     [] {
         SDXMLInterpreterMgr* const pManager = SDXMLInterpreterMgr::Instance();
         if (pManager != nullptr) pManager->Initial();
         SDXMLInterpreterMgr::Destroy();
         return pManager != nullptr;
     },
     {"false"}},
    {"SDXMLInterpreterMgr::ParseXMLFile SDXMLInterpreter::InterpretXMLTag XMLTag::getTag XMLTag::print "
     "Attribute",
     [](Faults& faults) { return ParseFile(faults, false); },
     {"-1"}},
    {"SDXMLInterpreterMgr::ParseXMLFile", [](Faults& faults) { return ParseFile(faults, true); }, {"-1"}},
    {"SDXMLInterpreterMgr::ParseXMLBuffer",
     [](Faults& faults) {
         SDXMLInterpreterMgr& manager = Manager();
         manager.setFileName("text.xml");
         manager.RegisterInterpreter("text.xml", new SDXMLInterpreter);
         const std::string text = "<a b=\"" + LONG + "\"><macro_desc M=\"4\"/>" + LONG + "</a>";
         const std::string result =
             faults.During([&] { return manager.ParseXMLBuffer(text.data(), text.size()); });
         faults.Expect(manager.ParseXMLBuffer(text.data(), text.size()), "the next parse fails");
         SDXMLInterpreterMgr::Destroy();
         return result;
     },
     {"false"}},
    {"SDXMLInterpreterMgr::RegisterInterpreter SDXMLInterpreterMgr::GetInterpreter "
     "SDXMLInterpreterMgr::Clear",
     [](Faults& faults) {
         SDXMLInterpreterMgr& manager = Manager();
         auto* const pInterpreter = new SDXMLInterpreter;
         manager.RegisterInterpreter("one", pInterpreter);
         const std::string result = faults.During([&] {
             manager.RegisterInterpreter(LONG, pInterpreter);
             const bool bThere = manager.GetInterpreter(LONG) == pInterpreter;
             manager.Clear();
             return bThere;
         });
         SDXMLInterpreterMgr::Destroy();
         return result;
     }},
    {"SDXMLInterpreterMgr::AddMacorValue SDXMLInterpreterMgr::ParseInt",
     [](Faults& faults) {
         SDXMLInterpreterMgr& manager = Manager();
         return faults.During([&] {
             manager.AddMacorValue(LONG, 5);
             return manager.ParseInt(LONG.c_str());
         });
     }},
    {"SDXMLInterpreterMgr::ParseIntList SDXMLInterpreterMgr::ParseNestingList",
     [](Faults& faults) {
         SDXMLInterpreterMgr& manager = Manager();
         return faults.During([&] {
             std::list<int> numbers;
             std::vector<int> more;
             std::list<std::list<int>> lists;
             manager.ParseIntList("[1,3-5]", numbers);
             manager.ParseIntList("[1,3-5]", more);
             manager.ParseNestingList("{[1,2];[5-7];9}", lists);
             return numbers.size() + more.size() + lists.size();
         });
     }},
    {"SDXMLInterpreterMgr::setFileName SDXMLInterpreterMgr::getFileName",
     [](Faults& faults) {
         SDXMLInterpreterMgr& manager = Manager();
         return faults.During([&] {
             manager.setFileName("a/" + LONG);
             return manager.getFileName();
         });
     }},
    {"TEParserFuncRegistry::Instance", [] { return TEParserFuncRegistry::Instance() != nullptr; }, {"false"}},
    {"TEParserFuncRegistry::Register TEParserFuncRegistry::Find TEParserFuncRegistry::Remove "
     "TEParserFuncRegistry::RemoveBySecond TEParserKey::TEParserKey operator<",
     [](Faults& faults) {
         TEParserFuncRegistry& registry = Registry();
         return faults.During([&] {
             const TEParserKey key(LONG, LONG, LONG);
             const TEParserKey other("a", "b", "c");
             registry.Register(key, &SeventyOne);
             registry.Register(other, &SeventyOne);
             const bool bFound = registry.Find(key) == &SeventyOne && registry.Find(other) == &SeventyOne;
             return registry.Remove(key) + registry.RemoveBySecond("b") + (bFound ? 10 : 0);
         });
     }},
    {"SDXMLInterpreter::AppXMLParseFunc",
     [](Faults& faults) {
         const TEParserKey key(LONG, LONG, LONG);
         Registry().Register(key, &SeventyOne);
         SDXMLInterpreter interpreter;
         return faults.During([&] { return interpreter.AppXMLParseFunc(key, XMLTag(), nullptr); });
     }},
};

}  // namespace
}  // namespace NS_UTIL

NBI_SINGLE_FAULTS(NS_UTIL::SCENARIOS)
