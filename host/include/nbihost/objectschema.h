/// \file
/// The host's domain model, as far as it is called from here.
#pragma once

#include <set>
#include <string>

#include "nbihost/api.h"

/// The attributes of one managed object. The host decides what else stands in it.
struct ObjectSchema_T {
    std::set<std::string> m_DirtyAttributes;
};

/// Marks one attribute as changed.
NBIHOST_API void __SetDirty(ObjectSchema_T& schema, const char* pAttribute);  // NOLINT: the host's own name
