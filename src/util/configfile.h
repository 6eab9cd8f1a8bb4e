/// \file
/// The two halves of an edit of a configuration file: the text as an edit sees it, and its replacement.
#pragma once

#include <string>
#include <string_view>

#include "base/wipedtext.h"
#include "nbiutil/selfutilcommon.h"  // the limits

namespace NS_UTIL {

/// Reads as much of a file as an edit can hold.
/// \return false when the file cannot be opened or read.
bool ReadConfigText(const std::string& path, WipedText& text);

/// Replaces every held line that contains \p key: by "key=value", and by "-key value" when the key is
/// "SSLVersion" or "SSLPrivateKeyPasswd". Held lines are joined by line ends; the last one gets none.
void EditConfigText(std::string_view text, const std::string& key, const std::string& value,
                    WipedText& edited);

enum class StoreResult {
    STORED,
    NOT_OPENED,  // the file could not be opened for writing
    NOT_STORED,  // it could; errno says why. It holds what it held before, or, when only its folder was not
                 // synced, the new text
};

/// Makes \p text the content of the file, a link's target being the file. A draft with the file's owner and
/// mode takes its place by rename; where there can be none, the file is rewritten in place, and its old text
/// put back from memory on a failure, for which the file may not be longer than what ReadConfigText() reads. A kill leaves one of the two texts, in place a mixture. A file that is
/// not there is made, for its owner alone.
StoreResult StoreConfigText(const std::string& path, const std::string& text);

}  // namespace NS_UTIL
