/// \file
/// Arrays that start as zeros. Include this in .cpp files alone: it brings in the bounds-checked functions.
#pragma once

#include <cstddef>
#include <memory>

#include "base/wipe.h"
#include "nbihost/annexk.h"

namespace NS_UTIL {

/// A new[] array of \p nSize zero bytes. Beyond the limit of the bounds-checked fill they are zero all the
/// same: callers get such arrays, and the heap's leftovers must not reach them.
inline std::unique_ptr<char[]> ZeroedArray(std::size_t nSize)
{
    std::unique_ptr<char[]> pArray(new char[nSize]);
    if (memset_s(pArray.get(), nSize, 0, nSize) != 0) WipeBytes(pArray.get(), nSize);
    return pArray;
}

}  // namespace NS_UTIL
