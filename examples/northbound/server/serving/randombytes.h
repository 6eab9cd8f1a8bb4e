/// \file
/// Bytes that nobody can guess.
#pragma once

#include <cstddef>

namespace northbound {

/// Fills \p nCount bytes, at most 256, from the system's own generator. OpenSSL's keeps a state for each thread that asks
/// it, and requests come on the ORB's threads, which end when the ORB likes.
/// \param pModule as in ThrowFailure()
/// \throws NS_UTIL::ProcessException where the system has none
void FillRandomly(unsigned char* pBytes, std::size_t nCount, const char* pModule);

}  // namespace northbound
