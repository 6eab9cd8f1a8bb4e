#include "server/serving/failure.h"

#include "nbiutil/processexception.h"
#include "shared/utf8.h"

namespace northbound {

using NS_UTIL::ProcessException;

// The detail goes in twice: a task's frame hands the error info to the descriptor, which raises a message
// made of it in the waiting thread; raised on a request thread the message is all there is.
void ThrowFailure(unsigned int nCode, const char* pModule, const std::string& detail, int nLine)
{
    const std::string shown = WellFormed(detail);
    throw ProcessException(nCode, shown, shown, pModule, "unknown", nLine);
}

}  // namespace northbound
