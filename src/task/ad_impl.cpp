#include "task/ad_impl.h"

#include <ace/Condition_Attributes.h>
#include <ace/Monotonic_Time_Policy.h>

#include <utility>

#include "base/lockguard.h"
#include "base/probe.h"
#include "nbihost/bundlemgr.h"
#include "nbiutil/ad.h"
#include "nbiutil/errcode.h"
#include "task/throw.h"
#include "task/waiters.h"
#include "task/yieldgate.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "ad";
constexpr SourceMark WAIT_FAILED{MODULE, 84};

constexpr int SLICE_SECONDS = 10;

bool IsFrameworkStopping()
{
    return NS_BUNDLEMGR1::BundleMgr::Instance()->GetState() == NS_BUNDLEMGR1::FRAMEWORK_STOPPING;
}

/// Waits in a row that find their answer there: a thread with so many collects those of many tasks.
constexpr int ANSWERS_OF_MANY = 3;

/// After a slow yield of the calling thread: how many waits must still find their answer there.
__attribute__((tls_model("initial-exec"))) thread_local int t_nAnswersOwed = 0;

/// Slices are real time: a waiter looks at the framework after ten seconds, also when somebody sets the clock.
using SliceClock = ACE_Monotonic_Time_Policy;

/// Never destroyed: descriptors are made until the process has ended.
const ACE_Condition_Attributes& ConditionAttributes()
{
    static const auto* const pAttributes = new ACE_Condition_Attributes_T<SliceClock>;
    return *pAttributes;
}

ACE_Time_Value EndOfSlice()
{
    return SliceClock()() + ACE_Time_Value(SLICE_SECONDS);
}

}  // namespace

AD_Impl::AD_Impl() : m_Condition(m_Mutex, ConditionAttributes())
{
}

AD_Impl::~AD_Impl() = default;

bool AD_Impl::IsFinished() const
{
    return m_bFinished.load(std::memory_order_acquire);
}

template <class Change>
bool AD_Impl::ChangeWhilePending(Change change)
{
    if (AD_Impl::IsFinished()) return false;
    RecursiveGuard guard(m_Mutex);
    if (AD_Impl::IsFinished()) return false;
    change();
    return true;
}

/// Broadcasts without the mutex: a waiter that wakes up while it is held would have to sleep once more, which
/// costs half of a round trip's processor time where both threads have a core of their own.
void AD_Impl::Awake()
{
    if (ChangeWhilePending([this] { m_bFinished.store(true, std::memory_order_release); })) {
        NBI_PROBE(wake, this);
        m_Condition.broadcast();
    }
}

unsigned long AD_Impl::GetErrorCode()
{
    if (!IsFrameworkStopping()) Wait();
    return m_nErrorCode.load(std::memory_order_acquire);
}

void AD_Impl::Wait()
{
    if (!FinishesSoon()) {
        RecursiveGuard guard(m_Mutex);
        if (!AD_Impl::IsFinished()) WaitInSlicesLocked();
        // Deliberate: a stopping framework gives code 1 whatever the work has recorded; callers tell by it
        // that the answer may be missing although the work is still going on.
        if (IsFrameworkStopping()) m_nErrorCode.store(ErrCode::FRAMEWORK_STOPPED, std::memory_order_release);
    }
    ThrowOnFailure();
}

/// Yields for a while where that is cheap. A slow yield at whose end the answer is there is judged by the thread's next
/// waits: where their answers are there too, the thread collects those of many tasks, and the yield was the time in which
/// they ran. Otherwise it has kept this thread from an answer that may long have been there.
bool AD_Impl::FinishesSoon() const
{
    if (AD_Impl::IsFinished()) {
        if (t_nAnswersOwed > 0) --t_nAnswersOwed;
        return true;
    }
    if (std::exchange(t_nAnswersOwed, 0) > 0) g_YieldGate.Close();
    Yields yields(g_YieldGate);
    while (yields.Next() && !AD_Impl::IsFinished()) {
    }
    if (!AD_Impl::IsFinished()) return false;
    if (yields.WereSlow()) t_nAnswersOwed = ANSWERS_OF_MANY;
    return true;
}

void AD_Impl::WaitInSlicesLocked()
{
    Waiter waiter;
    ACE_Time_Value deadline = EndOfSlice();
    while (!IsFrameworkStopping()) {
        if (m_Condition.wait(&deadline) == 0 || AD_Impl::IsFinished()) return;
        waiter.SliceEnds();
        deadline = EndOfSlice();
    }
}

void AD_Impl::ThrowOnFailure()
{
    const unsigned long nCode = m_nErrorCode.load(std::memory_order_acquire);
    if (nCode == 0) return;
    std::string info;
    {
        RecursiveGuard guard(m_Mutex);  // the work goes on, and may still record its text
        info = m_ErrorInfo;
    }
    Throw(WAIT_FAILED, nCode, info);
}

void AD_Impl::WaitToComplete()
{
    ChangeWhilePending([this] {
        const Waiter waiter;
        m_Condition.wait();
    });
}

void AD_Impl::SetErrorCode(unsigned long nCode)
{
    ChangeWhilePending([this, nCode] { m_nErrorCode.store(nCode, std::memory_order_release); });
}

void AD_Impl::SetErrorInfo(const std::string& info)
{
    ChangeWhilePending([this, &info] { m_ErrorInfo = info; });
}

void AD_Impl::Bind(Functor* pFunctor)
{
    ChangeWhilePending([this, pFunctor] {
        if (!m_pCallbacks) m_pCallbacks = std::make_unique<std::list<Functor*>>();
        m_pCallbacks->push_back(pFunctor);
    });
}

void AD_Impl::CallBack()
{
    if (!m_pCallbacks) return;
    for (Functor* const pFunctor : *m_pCallbacks) (*pFunctor)();
}

}  // namespace NS_UTIL
