// What a program sees of the host beside the names that the library takes from it.
#pragma once

#include <nbihost/api.h>

/// Ends every wait, from now on.
NBIHOST_API void StopMyHost();
