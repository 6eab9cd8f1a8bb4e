/// \file
/// The export mark of the host platform's symbols.
#pragma once

#define NBIHOST_API __attribute__((visibility("default")))
