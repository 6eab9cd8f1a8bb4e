#include "server/serving/requesttask.h"

#include <exception>
#include <string>
#include <utility>

#include "nbihost/standalone.h"
#include "nbiutil/processexception.h"
#include "server/serving/logprefix.h"
#include "shared/names.h"

namespace northbound {
namespace {

using NS_UTIL::ProcessException;

constexpr const char* MODULE = "requesttask";

ProcessException Unforeseen(const std::string& detail)
{
    return ProcessException(ErrCode::INTERNAL, detail, detail, MODULE, "unknown", __LINE__);
}

/// Under the name and line of the place that raised it.
void Log(const ProcessException& failure)
{
    const std::string origin = failure.GetFile() + ":" + std::to_string(failure.GetLine());
    nbihost::Log(nbihost::LOG_LEVEL_INFO, origin.c_str(), "%s", failure.GetMessage().c_str());
}

}  // namespace

RequestTask::RequestTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, std::function<void()> work)
    : NBITask(agent, false, descriptor), m_Work(std::move(work))
{
}

/// The scope ends with the work, whatever comes of it. A failure stays in here for that: Run() would log it
/// when the scope is gone.
void RequestTask::Execute()
{
    const LogPrefixScope prefix(GetThreadInfo());
    try {
        m_Work();
    } catch (const ProcessException& e) {
        Fail(e);
    } catch (const std::exception& e) {
        Fail(Unforeseen(e.what()));
    } catch (...) {
        Fail(Unforeseen("an exception of an unknown kind"));
    }
}

/// Complete(), which Run() calls next, finds the descriptor finished and changes nothing about it.
void RequestTask::Fail(const ProcessException& cause)
{
    Log(cause);
    NS_UTIL::AD& descriptor = GetDescriptor();
    descriptor.SetErrorCode(cause.GetErrorCode());
    descriptor.SetErrorInfo(cause.GetErrorInfo());
    descriptor.Awake();
}

}  // namespace northbound
