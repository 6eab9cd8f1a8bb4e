#include "server/serving/randombytes.h"

#include <sys/random.h>

#include "server/serving/failure.h"
#include "shared/names.h"

namespace northbound {

void FillRandomly(unsigned char* pBytes, std::size_t nCount, const char* pModule)
{
    if (getentropy(pBytes, nCount) != 0) {
        ThrowFailure(ErrCode::INTERNAL, pModule, "there are no random numbers");
    }
}

}  // namespace northbound
