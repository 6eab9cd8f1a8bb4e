#include "server/serving/failure.h"

#include "nbiutil/processexception.h"

namespace northbound {

using NS_UTIL::ProcessException;

// The detail goes in twice: a task's frame hands the error info to the descriptor, which raises a message
// made of it in the waiting thread; raised on a request thread the message is all there is.
void ThrowFailure(unsigned int nCode, const char* pModule, const std::string& detail, int nLine)
{
    throw ProcessException(nCode, detail, detail, pModule, "unknown", nLine);
}

}  // namespace northbound
