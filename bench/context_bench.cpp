// The request's context, its UUIDs and the log call beside the least that the same job can cost, in one run.
#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>

#include "compare.h"
#include "log/log.h"
#include "nbihost/logservice.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"

namespace {

using benchmark::DoNotOptimize;
using nbibench::Compare;
using NS_UTIL::ThreadContextInfo;
using NS_UTIL::ThreadContextMgr;

constexpr int CALLS = 256;

template <class Work>
auto Repeat(Work work)
{
    return [work] {
        for (int i = 0; i < CALLS; ++i) work();
    };
}

ThreadContextInfo MakeRecord()
{
    ThreadContextInfo info;
    info.SetThreadID(7);
    info.SetInterfaceName("12 getAllManagedElements");
    info.SetUserInfo("operator");
    info.SetOperUUID("");
    info.SetHugeTskInfo(1, 2, 0, "EMS-1");
    return info;
}

/// A mutex, a clock read and a table: what a time-based UUID cannot do without.
std::string LeastUuid()
{
    static std::mutex mutex;
    timespec now{};
    {
        std::lock_guard<std::mutex> guard(mutex);
        clock_gettime(CLOCK_REALTIME, &now);
    }
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string text(36, '-');
    auto nBits = static_cast<unsigned long>(now.tv_nsec);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) continue;
        text[i] = DIGITS[nBits & 0xFU];
        nBits = (nBits >> 4U) | (nBits << 60U);
    }
    return text;
}

void CompareContext()
{
    thread_local ThreadContextInfo floor;
    const ThreadContextInfo record = MakeRecord();
    floor = record;
    ThreadContextMgr& registry = *ThreadContextMgr::Instance();
    registry.SetThreadContext(record);
    Compare("GetThreadContext, a copy of a thread_local record", 1.10, CALLS,
            Repeat([&registry] { DoNotOptimize(registry.GetThreadContext()); }), Repeat([] {
                ThreadContextInfo copy = floor;
                DoNotOptimize(copy);
            }));
    Compare("SetThreadContext, an assignment to a thread_local record", 1.30, CALLS,
            Repeat([&registry, &record] { registry.SetThreadContext(record); }), Repeat([&record] {
                floor = record;
                benchmark::ClobberMemory();
            }));
}

void CompareUuid()
{
    auto& generator = *NS_UTIL::ACE_UUID_Generator::Instance();
    Compare("generate_uuid, a mutex, a clock read and a table", 1.60, CALLS,
            Repeat([&generator] { DoNotOptimize(generator.generate_uuid()); }),
            Repeat([] { DoNotOptimize(LeastUuid()); }));
}

void CallDirectly(NS_LOG_SERVICE1::LogSvcInterface& log, const char* pFormat, ...)
    __attribute__((format(printf, 2, 3)));
void CallDirectly(NS_LOG_SERVICE1::LogSvcInterface& log, const char* pFormat, ...)
{
    std::va_list args;
    va_start(args, pFormat);
    log.LogV("module", NS_UTIL::LOG_FUNCTION, 1, NS_UTIL::LOG_LEVEL, pFormat, args);
    va_end(args);
}

/// Formats and drops, the least that a service does.
class FormattingLog : public NS_LOG_SERVICE1::LogSvcInterface {
public:
    LogSvcInterface* CreateLogger(const char*, const char*, const char*) override { return this; }
    void LogV(const char*, const char*, int, int, const char* pFormat, std::va_list args) override
    {
        char text[256];
        std::vsnprintf(text, sizeof text, pFormat, args);
        DoNotOptimize(text[0]);
    }
};

void CompareLogCall()
{
    static FormattingLog log;
    nbitest::RecordingHost host;
    host.SetLogService(&log);
    static constexpr NS_UTIL::SourceMark MARK{"module", 1};
    Compare("WriteLog with the pointer cached, the service called directly", 1.05, CALLS,
            Repeat([] { NS_UTIL::WriteLog(MARK, "[Class::Method] %s = %d", "value", 7); }),
            Repeat([] { CallDirectly(log, "[Class::Method] %s = %d", "value", 7); }));
}

}  // namespace

int main()
{
    CompareLogCall();
    CompareContext();
    CompareUuid();
    return 0;
}
