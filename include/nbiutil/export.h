/// \file
/// The export mark: the shared library is built with hidden visibility, and what carries NBI_EXPORT is its
/// whole binary interface.
#pragma once

#define NBI_EXPORT __attribute__((visibility("default")))
