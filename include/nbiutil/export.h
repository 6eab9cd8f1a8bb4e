/// \file
/// The export mark: the shared library is built with hidden visibility, and what carries NBI_EXPORT is its
/// whole binary interface. A test compares the marks with the symbols of the library.
#pragma once

#define NBI_EXPORT __attribute__((visibility("default")))
