#include "nbiutil/ad.h"

#include "task/ad_impl.h"

namespace NS_UTIL {
namespace {

AD_Impl* Share(AD_Impl* pImpl)
{
    pImpl->AddReference();
    return pImpl;
}

void LetGo(AD_Impl* pImpl)
{
    if (pImpl->DropReference()) delete pImpl;
}

}  // namespace

AD::AD() : m_pImpl(Share(new AD_Impl))
{
}

AD::AD(const AD& other) : m_pImpl(Share(other.m_pImpl))
{
}

AD::~AD()
{
    LetGo(m_pImpl);
}

AD& AD::operator=(const AD& other)
{
    if (m_pImpl != other.m_pImpl) {
        AD_Impl* const pOld = m_pImpl;
        m_pImpl = Share(other.m_pImpl);
        LetGo(pOld);
    }
    return *this;
}

bool AD::IsFinished() const
{
    return m_pImpl->IsFinished();
}
/// With a reference of its own: a waiter sees "finished" without the mutex, and may drop the last handle, this
/// one included, while the others are still being woken.
void AD::Awake()
{
    AD_Impl* const pImpl = Share(m_pImpl);
    pImpl->Awake();
    LetGo(pImpl);
}
unsigned long AD::GetErrorCode()
{
    return m_pImpl->GetErrorCode();
}
void AD::Wait()
{
    m_pImpl->Wait();
}
void AD::WaitToComplete()
{
    m_pImpl->WaitToComplete();
}
void AD::Bind(Functor* pFunctor)
{
    m_pImpl->Bind(pFunctor);
}
void AD::CallBack()
{
    m_pImpl->CallBack();
}
void AD::SetErrorCode(unsigned long nCode)
{
    m_pImpl->SetErrorCode(nCode);
}
void AD::SetErrorInfo(const std::string& info)
{
    m_pImpl->SetErrorInfo(info);
}

}  // namespace NS_UTIL
