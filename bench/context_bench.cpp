// The request's context, its UUIDs and the log call beside the least that the same job can cost, in one run.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
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

/// A mutex, a clock read, a count for those of the same moment, and a table of pairs of digits: what a time-based UUID
/// cannot do without.
std::string LeastUuid()
{
    static const std::string pairs = [] {
        std::string text;
        char pair[3];
        for (unsigned int n = 0; n < 256; ++n) {
            std::snprintf(pair, sizeof pair, "%02x", n);
            text += pair;
        }
        return text;
    }();
    static std::mutex mutex;
    static unsigned long nCount = 0;
    std::array<unsigned char, 16> bytes{};
    {
        std::lock_guard<std::mutex> guard(mutex);
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        const auto nTime = static_cast<unsigned long>(now.tv_sec * 1'000'000'000 + now.tv_nsec);
        ++nCount;
        std::memcpy(bytes.data(), &nTime, sizeof nTime);
        std::memcpy(bytes.data() + sizeof nTime, &nCount, sizeof nCount);
    }
    std::string text(36, '-');
    char* pNext = text.data();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) ++pNext;
        std::memcpy(pNext, pairs.data() + 2UL * bytes[i], 2);
        pNext += 2;
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
    Compare("generate_uuid, a mutex, a clock read and a table of pairs", 1.40, CALLS,
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
