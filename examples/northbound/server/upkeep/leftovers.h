/// \file
/// What a killed server may have left: programs that still pack, and drafts of edits.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>

namespace northbound {

/// A tar, gzip or zip of this user's that works in \p folder; 0 without one.
pid_t PackerIn(const std::string& folder);

/// Waits for the end of what a killed server has set to pack in \p folder, so that nobody packs beside it. What waits
/// is told in the log. To be called once the folder is claimed.
/// \throws SettingsError when it takes longer than \p limit
void AwaitPackers(const std::string& folder, std::chrono::milliseconds limit);

/// Removes drafts of \p file that edits have left; they may hold what the file does. Each is told in the log.
/// \return how many have gone
std::size_t RemoveDrafts(const std::string& file);

}  // namespace northbound
