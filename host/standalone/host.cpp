// Starting and stopping the standalone host.
#include <atomic>
#include <condition_variable>
#include <cstdarg>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "framework.h"
#include "logservice.h"
#include "nbihost/standalone.h"
#include "settings.h"

namespace nbihost {
namespace {

constexpr const char* MODULE = "host";
constexpr const char* LOG_INTERFACE = "LogSvcInterface";

std::atomic<bool> g_bStarted{false};  // what a Host serves belongs to the process: one at a time

}  // namespace

HostError::~HostError() = default;

class Host::Impl {
public:
    Impl(std::string configFile, HostHooks hooks)
        : m_ConfigFile(std::move(configFile)),
          m_Hooks(std::move(hooks)),
          m_Settings(LoadSettings(m_ConfigFile))
    {
    }

    void Start();
    void Stop();
    void Reload();

    bool IsStarted() const
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        return m_Phase == Phase::STARTED;
    }

    unsigned long LinesLost() const
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        return m_Log ? m_Log->LinesLost() : 0;
    }

    std::string ItemsFile() const
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        return m_Settings->m_ItemsFile.empty() ? m_ConfigFile : m_Settings->m_ItemsFile;
    }

    std::string LogFile() const
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        return m_Settings->m_Log.m_File;
    }

    std::vector<ConfigItem> Items() const
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        std::vector<ConfigItem> items;
        for (const auto& [name, value] : m_Settings->m_Items) {
            items.push_back({name, value, m_Settings->m_ItemOrigins.at(name)});
        }
        return items;
    }

    const std::string m_ConfigFile;

private:
    enum class Phase { STOPPED, STARTED, STOPPING };

    std::shared_ptr<OpenLog> OpenLogFor(const Settings& settings) const;
    bool BeginStop();
    void CallStopHook() const;
    void CloseLogLocked();

    const HostHooks m_Hooks;
    mutable std::mutex m_Mutex;
    std::condition_variable m_Stopped;
    Phase m_Phase = Phase::STOPPED;              // guarded by m_Mutex
    std::thread::id m_Stopper;                   // guarded by m_Mutex
    std::shared_ptr<const Settings> m_Settings;  // guarded by m_Mutex
    std::shared_ptr<OpenLog> m_Log;              // guarded by m_Mutex; null when stopped
};

std::shared_ptr<OpenLog> Host::Impl::OpenLogFor(const Settings& settings) const
{
    try {
        return std::make_shared<OpenLog>(settings.m_Log, m_Hooks.m_LogPrefix);
    } catch (const std::system_error& error) {
        throw HostError(m_ConfigFile + ": [host] log_file: cannot write " + settings.m_Log.m_File + ": " +
                        error.code().message());
    }
}

void Host::Impl::Start()
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    if (m_Phase != Phase::STOPPED) return;
    std::shared_ptr<OpenLog> log = OpenLogFor(*m_Settings);
    if (g_bStarted.exchange(true)) {
        throw HostError(m_ConfigFile + ": another host is started in this process");
    }
    m_Log = std::move(log);
    m_Phase = Phase::STARTED;
    PutInForce(m_Settings);
    LogService::Instance().Use(m_Log);
    Framework::Instance().Register(LOG_INTERFACE, &LogService::Instance());
    Framework::Instance().SetState(Framework::RUNNING);
}

bool Host::Impl::BeginStop()
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    if (m_Phase == Phase::STOPPING && m_Stopper != std::this_thread::get_id()) {
        m_Stopped.wait(lock, [this] { return m_Phase != Phase::STOPPING; });
        return false;
    }
    if (m_Phase != Phase::STARTED) return false;
    m_Phase = Phase::STOPPING;
    m_Stopper = std::this_thread::get_id();
    Framework::Instance().SetState(NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
    return true;
}

void Host::Impl::CallStopHook() const
{
    if (!m_Hooks.m_OnStop) return;
    try {
        m_Hooks.m_OnStop();
    } catch (const std::exception& error) {
        Log(LOG_LEVEL_ERROR, MODULE, "the stop callback failed: %s", error.what());
    } catch (...) {
        Log(LOG_LEVEL_ERROR, MODULE, "the stop callback failed");
    }
}

void Host::Impl::Stop()
{
    if (!BeginStop()) return;
    CallStopHook();  // without the lock: what it waits for may ask or reload this host
    std::lock_guard<std::mutex> guard(m_Mutex);
    CloseLogLocked();
    m_Phase = Phase::STOPPED;
    g_bStarted = false;
    m_Stopped.notify_all();
}

void Host::Impl::CloseLogLocked()
{
    Framework::Instance().Register(LOG_INTERFACE, nullptr);
    LogService::Instance().Use(nullptr);
    m_Log->ReportLosses();
    m_Log.reset();
}

void Host::Impl::Reload()
{
    std::shared_ptr<const Settings> settings = LoadSettings(m_ConfigFile);
    std::lock_guard<std::mutex> guard(m_Mutex);
    if (m_Log) {
        std::shared_ptr<OpenLog> log = OpenLogFor(*settings);  // also for a file that was moved away
        LogService::Instance().Use(log);
        m_Log->ReportLosses();
        m_Log = std::move(log);
        PutInForce(settings);
    }
    m_Settings = std::move(settings);
}

Host::Host(std::string configFile, HostHooks hooks)
    : m_pImpl(std::make_unique<Impl>(std::move(configFile), std::move(hooks)))
{
}

Host::~Host()
{
    Stop();
}

void Host::Start()
{
    m_pImpl->Start();
}

void Host::Stop() noexcept
{
    m_pImpl->Stop();
}

void Host::Reload()
{
    m_pImpl->Reload();
}

bool Host::IsStarted() const
{
    return m_pImpl->IsStarted();
}

const std::string& Host::ConfigFile() const
{
    return m_pImpl->m_ConfigFile;
}

std::vector<ConfigItem> Host::Items() const
{
    return m_pImpl->Items();
}

std::string Host::ItemsFile() const
{
    return m_pImpl->ItemsFile();
}

std::string Host::LogFile() const
{
    return m_pImpl->LogFile();
}

unsigned long Host::LinesLost() const
{
    return m_pImpl->LinesLost();
}

void Log(LogLevel level, const char* pModule, const char* pFormat, ...)
{
    std::va_list args;
    va_start(args, pFormat);
    LogService::Instance().LogV(pModule, "unknown", 0, level, pFormat, args);
    va_end(args);
}

}  // namespace nbihost
