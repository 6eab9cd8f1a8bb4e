/// \file
/// The error codes that the library itself records or raises, each with who sees it. Every other code
/// that a caller meets comes from a task body or from the host. 0 is success everywhere.
///
/// The numbers are part of the interface: they travel to other processes, and log searches and reason files
/// use them. A code keeps its number, and a number is not used again. src/error/reasons holds a text for
/// each, in English and Chinese.
#pragma once

namespace NS_UTIL::ErrCode {

/// The host's framework stops while a caller waits. Thrown by AD::Wait.
constexpr unsigned int FRAMEWORK_STOPPED = 1U;

/// The pool went away while the task was queued. Set on the descriptor, never thrown by a push.
constexpr unsigned int POOL_DESTROYED = 0x41180009U;

/// Pool 2 is at its limit. Thrown by TaskPoolMgr::PushTask, which has deleted the task.
constexpr unsigned int HUGE_TASK_LIMIT = 0x4118000AU;

/// The task was cancelled, its deadline passed, or the framework began to stop before it started; it has not
/// run. Thrown by Future::Get.
constexpr unsigned int TASK_CANCELLED = 0x4118000BU;

/// As many tasks are queued as the caller allows. Thrown by TrySubmit.
constexpr unsigned int QUEUE_FULL = 0x4118000CU;

/// The pushed task is not idle, or a pool owns it already. Thrown by the pushes.
constexpr unsigned int TASK_NOT_IDLE = 0x41180010U;

/// A body let something other than a ProcessException escape. Set on the descriptor by NBITask::Run.
constexpr unsigned int TASK_BODY_FAILED = 0x411802BCU;

/// A body that Submit() has pushed let a std::exception escape, whose text is the detail. Thrown by
/// Future::Get.
constexpr unsigned int TASK_EXCEPTION = 0x411802BDU;

static_assert(TASK_NOT_IDLE == 1092091920U, "messages and log searches use the decimal form");

}  // namespace NS_UTIL::ErrCode
