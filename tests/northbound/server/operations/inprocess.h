/// \file
/// The server without a front end: what nbi-server is made of, in the test's own process.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "nbihost/standalone.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbitaskmgr.h"
#include "server/operations/service.h"
#include "server/serving/logprefix.h"
#include "server/serving/stopsignal.h"
#include "server/upkeep/configeditor.h"
#include "support/testdirectory.h"

namespace northbound {

/// One at a time in a process, and only one: the pools end with it.
class InProcessServer {
public:
    /// \param items lines of the configuration's [server] section
    explicit InProcessServer(const std::string& items = "")
    {
        nbitest::WriteFile(ConfigFile(),
                           "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n[server]\n" + items);
        nbihost::HostHooks hooks;
        hooks.m_LogPrefix = LogPrefix::Append;
        hooks.m_OnStop = [this] {
            m_Stop.Raise();
            NS_UTIL::TaskPoolMgr::ShutDown();
        };
        m_pHost = std::make_unique<nbihost::Host>(ConfigFile(), hooks);
        m_pHost->Start();
        const Settings settings = ReadSettings(ConfigFile());
        std::filesystem::create_directory(settings.m_CollectionDirectory);
        NS_UTIL::LocalRsaKeyMgr::Instance()->Init();
        m_pEditor = std::make_unique<ConfigEditor>(ConfigFile(), m_pHost->ItemsFile(), [this] {
            m_pHost->Reload();
            m_pService->Apply(ReadSettings(ConfigFile()));
        });
        m_pService = std::make_unique<Service>(
            settings, CatalogueOfOneCounter(), *m_pEditor, m_Stop, [this] { m_bStopRequested = true; },
            [this] { return m_pHost->LinesLost(); });
    }
    ~InProcessServer() { m_pHost->Stop(); }
    InProcessServer(const InProcessServer&) = delete;
    InProcessServer& operator=(const InProcessServer&) = delete;

    template <class Operation>
    Outcome<typename Operation::Result> Ask(typename Operation::Request request,
                                            const std::string& user = "alice",
                                            std::function<bool()> hasGone = {})
    {
        Caller caller{user, "192.0.2.1:7", true};
        caller.m_HasGone = std::move(hasGone);
        return m_pService->Ask<Operation>(caller, std::move(request));
    }

    /// What the server does by itself again and again.
    void Schedule(Timetable& timetable) { m_pService->Schedule(timetable); }

    std::string CollectionDirectory() const { return m_Folder / "collections"; }
    std::string ConfigFile() const { return m_Folder / "server.ini"; }
    std::string LogText() const { return nbitest::ReadFile(m_Folder / "log"); }
    bool IsStopRequested() const { return m_bStopRequested; }
    nbihost::Host& Host() { return *m_pHost; }

private:
    static Catalogue CatalogueOfOneCounter()
    {
        Column column;
        column.m_Table = "traffic";
        column.m_Name = "rxBytes";
        column.m_Unit = "bytes";
        column.m_bCounter = true;
        column.m_File = "/proc/net/dev";
        column.m_nColumn = 1;
        return {{column}, {}};
    }

    nbitest::TestDirectory m_Folder;
    StopSignal m_Stop;
    bool m_bStopRequested = false;
    std::unique_ptr<nbihost::Host> m_pHost;
    std::unique_ptr<ConfigEditor> m_pEditor;
    std::unique_ptr<Service> m_pService;
};

/// The code of a failure; 0 for a result.
template <class Result>
unsigned int CodeOf(const Outcome<Result>& outcome)
{
    const Failure* const pFailure = std::get_if<Failure>(&outcome);
    return pFailure == nullptr ? 0 : pFailure->m_nCode;
}

}  // namespace northbound
