/// \file
/// Name/value resource files and the installation root.
#pragma once

#include <string>
#include <vector>

#include "nbihost/api.h"

namespace NS_BUNDLEMGR1 {

/// One line of a resource file.
struct NameValueStru {
    std::string m_Name;
    std::string m_Value;
};

/// Reads a resource file. The pairs are appended to \p pairs in file order, duplicates kept.
/// \param bReload reserved by the host; the library always passes true.
/// \return false when the file cannot be read; pairs that were read before the failure stay.
NBIHOST_API bool GetAllCfgFrmFile(std::vector<NameValueStru>& pairs, const std::string& path, bool bReload);

/// The installation root, without a trailing separator.
NBIHOST_API std::string GetTAVOEnvironment();

}  // namespace NS_BUNDLEMGR1
