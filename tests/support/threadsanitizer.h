/// \file
/// Whether ThreadSanitizer watches this program: its runtime has calls of its own where tests put theirs.
#pragma once

#ifdef __SANITIZE_THREAD__
#define NBI_THREAD_SANITIZER 1
#elif defined(__has_feature)
#define NBI_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define NBI_THREAD_SANITIZER 0
#endif
