/// \file
/// The host's configuration items.
#pragma once

#include <string>

#include "nbihost/api.h"

namespace NS_BUNDLEMGR1 {

/// The host's configuration items. The host owns the object; any thread may read.
class NBIHOST_API CorbaConfigItems {
public:
    static CorbaConfigItems* Instance();

    /// \return false when the host has no such item or it is not an integer; \p nValue is then as it was.
    bool GetIntItemInfo(const std::string& name, int& nValue);

    /// \return false when the host has no such item; \p value is then as it was.
    bool GetStrItemInfo(const std::string& name, std::string& value);
};

}  // namespace NS_BUNDLEMGR1
