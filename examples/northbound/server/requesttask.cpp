#include "requesttask.h"

#include <exception>

#include "names.h"
#include "nbiutil/processexception.h"
#include "serving.h"

namespace northbound {
namespace {

using NS_UTIL::ProcessException;

constexpr const char* MODULE = "requesttask";

/// What leaves Execute() in place of the body's exception. Run() logs it inside its handler, hands it to the
/// descriptor, and then destroys it, which is the only sign of a failed task's end that reaches the task:
/// the serving ends with it, before the worker looks for other work.
class RequestFailure : public ProcessException {
public:
    using ProcessException::ProcessException;
    explicit RequestFailure(ProcessException& cause) : ProcessException(cause) {}
    ~RequestFailure() override { Serving::End(); }
};

[[noreturn]] void FailUnforeseen(const std::string& detail)
{
    throw RequestFailure(ErrCode::INTERNAL, detail, detail, MODULE, "unknown", __LINE__);
}

}  // namespace

RequestTask::RequestTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor) : NBITask(agent, false, descriptor)
{
}

void RequestTask::Init()
{
    Serving::Begin(GetThreadInfo());
}

void RequestTask::Execute()
{
    try {
        Work();
    } catch (ProcessException& e) {
        throw RequestFailure(e);
    } catch (const std::exception& e) {
        FailUnforeseen(e.what());
    } catch (...) {
        FailUnforeseen("an exception of an unknown kind");
    }
}

void RequestTask::Complete()
{
    NBITask::Complete();
    Serving::End();  // touches the thread alone: the task may be deleted by now
}

}  // namespace northbound
