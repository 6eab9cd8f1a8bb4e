/// \file
/// What the tests of interpreters share: interpreters that note or call back, and the manager with a folder.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "nbiutil/sdxmlinterpreter.h"
#include "support/testdirectory.h"
#include "xml/xmltesting.h"

namespace nbitest {

using NS_UTIL::SDXMLInterpreter;
using NS_UTIL::SDXMLInterpreterMgr;
using NS_UTIL::XMLTag;
using Lines = std::vector<std::string>;

inline SDXMLInterpreterMgr& Mgr()
{
    return *SDXMLInterpreterMgr::Instance();
}

/// Notes what it is given, then does what the base does.
class NotingInterpreter : public SDXMLInterpreter {
public:
    explicit NotingInterpreter(std::vector<Lines>& seen, int nResult = 0) : m_Seen(seen), m_nResult(nResult)
    {
    }
    int InterpretXMLTag(const XMLTag& tag) override
    {
        m_Seen.push_back(LinesOf(tag));
        SDXMLInterpreter::InterpretXMLTag(tag);
        return m_nResult;
    }

private:
    std::vector<Lines>& m_Seen;
    const int m_nResult;
};

/// Calls back when it interprets and when it is deleted.
class CallingInterpreter : public SDXMLInterpreter {
public:
    explicit CallingInterpreter(
        std::function<void()> interpret, std::function<void()> destroyed = [] {})
        : m_Interpret(std::move(interpret)), m_Destroyed(std::move(destroyed))
    {
    }
    ~CallingInterpreter() override { m_Destroyed(); }
    int InterpretXMLTag(const XMLTag& /*tag*/) override
    {
        m_Interpret();
        return 0;
    }

private:
    const std::function<void()> m_Interpret;
    const std::function<void()> m_Destroyed;
};

class SDXMLInterpreterMgrTest : public ::testing::Test {
protected:
    ~SDXMLInterpreterMgrTest() override { SDXMLInterpreterMgr::Destroy(); }

    void Note(const std::string& name, int nResult = 0)
    {
        Mgr().RegisterInterpreter(name, new NotingInterpreter(m_Seen, nResult));
    }
    /// An interpreter that adds one to \p nCount when it is deleted.
    static SDXMLInterpreter* Counted(int& nCount)
    {
        return new CallingInterpreter([] {}, [&nCount] { ++nCount; });
    }
    int ParseFile(const std::string& path)
    {
        int nResult = 1;
        m_Output = PrintedBy([&] { nResult = Mgr().ParseXMLFile(path.c_str()); });
        return nResult;
    }
    bool ParseBuffer(const std::string& text)
    {
        const Silence silence;
        return Mgr().ParseXMLBuffer(text.data(), text.size());
    }

    const TestDirectory m_Folder;
    std::vector<Lines> m_Seen;
    std::string m_Output;
};

}  // namespace nbitest
