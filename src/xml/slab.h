/// \file
/// Memory for the small objects of a description tree, which come one after the other and go together.
#pragma once

#include <cstddef>

namespace NS_UTIL {

/// \return \p nSize bytes, aligned for a pointer, cut off the calling thread's current slab, which the thread
/// keeps until it is used up or the thread ends. Throws std::bad_alloc. \p nSize is small: a slab is 128 KiB.
void* TakeFromSlab(std::size_t nSize);

/// Gives back what TakeFromSlab() gave; null: nothing. A slab is freed when all its objects are back.
/// Threads: any, whoever took it.
void GiveToSlab(void* pObject) noexcept;

}  // namespace NS_UTIL
