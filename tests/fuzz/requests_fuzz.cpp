// Requests of any content to every operation of the example's server, with no front end in between: each has a result or a
// failure with a code and a detail in UTF-8, and whatever was asked, the server answers the next one.
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <variant>

#include "fuzz/demand.h"
#include "fuzz/fuzzinput.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/localrsakeymgr.h"
#include "server/operations/service.h"
#include "server/serving/stopsignal.h"
#include "server/upkeep/configeditor.h"
#include "shared/names.h"
#include "shared/utf8.h"
#include "support/testdirectory.h"

namespace {

using namespace northbound;
using nbitest::Demand;
using nbitest::FuzzInput;

const char* const CONFIG = "[server]\nHugeTaskLimit = 4\nPassword_alice = x\n";

Catalogue OneCounter()
{
    Column column;
    column.m_Table = "traffic";
    column.m_Name = "rxBytes";
    column.m_bCounter = true;
    column.m_File = "/proc/net/dev";
    column.m_nColumn = 1;
    return {{column}, {}};
}

/// One for all inputs. It goes with the process, whose folder is the last to be removed.
class Server {
public:
    Server()
        : m_Config(m_Folder.Add("server.ini", CONFIG)),
          m_Editor(m_Config, m_Config, [] {}),
          m_Service(
              SettingsIn(m_Folder), OneCounter(), m_Editor, m_Stop, [] {}, [] { return 0UL; })
    {
        m_Host.SetInt("TaskMgrMaxThreadNum", 2);
        m_Host.KeepLogs(false);
        NS_UTIL::LocalRsaKeyMgr::Instance()->Init();
    }

    template <class Operation>
    void Ask(const Caller& caller, typename Operation::Request request)
    {
        const auto outcome = m_Service.Ask<Operation>(caller, std::move(request));
        const auto* const pFailure = std::get_if<Failure>(&outcome);
        if (pFailure == nullptr) return;
        Demand(pFailure->m_nCode != 0 && pFailure->m_nCode != ErrCode::INTERNAL, "a failure with a code");
        Demand(WellFormed(pFailure->m_Detail) == pFailure->m_Detail, "a detail in UTF-8");
    }

    /// Whatever clients set, the file is the operator's.
    void CheckConfig()
    {
        const std::string text = nbitest::ReadFile(m_Config);
        Demand(text.find("[server]\n") == 0 && text.find("\nPassword_alice = x\n") != std::string::npos,
               "the configuration");
        nbitest::WriteFile(m_Config, CONFIG);
    }

private:
    static Settings SettingsIn(const nbitest::TestDirectory& folder)
    {
        Settings settings;
        settings.m_CollectionDirectory = folder / "collections";
        std::filesystem::create_directory(settings.m_CollectionDirectory);
        settings.m_ElementRoot = "/";
        settings.m_nHugeTaskLimit = 4;
        return settings;
    }

    nbitest::RecordingHost m_Host;
    nbitest::TestDirectory m_Folder;
    const std::string m_Config;
    StopSignal m_Stop;
    ConfigEditor m_Editor;
    Service m_Service;
};

/// Too long for anything that is meant to end, or a few milliseconds.
unsigned int Milliseconds(unsigned int nNumber)
{
    return nNumber > 24U * 3600U * 1000U ? nNumber : nNumber % 32;
}

Caller CallerFrom(FuzzInput& input)
{
    Caller caller;
    const unsigned int nKind = input.Byte();
    caller.m_bLocal = nKind % 4 != 0;
    caller.m_bEncrypted = nKind % 8 > 3;
    caller.m_User = input.Text();
    caller.m_Address = input.Text();
    if (nKind % 16 == 0) caller.m_Key = input.Text();
    if (nKind == 255) caller.m_HasGone = [] { return true; };
    return caller;
}

void AskOne(Server& server, FuzzInput& input)
{
    const unsigned int nOperation = input.Byte();
    const Caller caller = CallerFrom(input);
    switch (nOperation % 16) {
        case 0:
            return server.Ask<Inventory>(caller, {input.LongText()});
        case 1:
            return server.Ask<ReadCounters>(caller, {nOperation > 127 ? "lo" : input.LongText()});
        case 2: {
            const std::string name = nOperation > 127 ? "lo" : input.LongText();
            const unsigned int nInterval = Milliseconds(input.Number());
            return server.Ask<Collect>(caller, {name, nInterval, Milliseconds(input.Number())});
        }
        case 3:
            return server.Ask<Cancel>(caller, {input.LongText()});
        case 4:
            return server.Ask<HugeTasks>(caller, {input.LongText()});
        case 5:
            return server.Ask<SendSecret>(caller, {input.LongText()});
        case 6:
            return server.Ask<Challenge>(caller, {});
        case 7:
            return server.Ask<Login>(caller, {input.LongText()});
        case 8:
            return server.Ask<Logout>(caller, {});
        case 9:
            return server.Ask<Sessions>(caller, {input.LongText()});
        case 10: {
            const std::string method = nOperation > 127 ? "tar" : input.LongText();
            return server.Ask<Pack>(caller, {method, input.Number()});
        }
        case 11: {
            const std::string key = nOperation > 127 ? "HugeTaskLimit" : input.LongText();
            return server.Ask<SetItem>(caller, {key, input.LongText()});
        }
        case 12:
            return server.Ask<Pools>(caller, {});
        case 13:
            return server.Ask<Files>(caller, {input.LongText()});
        case 14:
            return server.Ask<Columns>(caller, {});
        default:
            return server.Ask<Stop>(caller, {});
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    static auto& server = *new Server;
    FuzzInput input(pData, nSize);
    for (int i = 0; i < 8 && !input.IsEmpty(); ++i) AskOne(server, input);
    server.CheckConfig();
    Caller local;
    local.m_bLocal = true;
    server.Ask<Inventory>(local, {});
    return 0;
}
