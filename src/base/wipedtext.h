/// \file
/// A text that may hold secrets: plain keys, command lines, the content of configuration files.
#pragma once

#include <string>

#include "base/wipe.h"

namespace NS_UTIL {

/// Overwritten with zeros when it goes, with what a longer text left behind a shorter one. A text that grows
/// leaves copies behind: reserve() first.
struct WipedText {
    WipedText() = default;
    ~WipedText()
    {
        m_Text.resize(m_Text.capacity());  // allocates nothing
        WipeBytes(m_Text.data(), m_Text.size());
    }
    WipedText(const WipedText&) = delete;
    WipedText& operator=(const WipedText&) = delete;

    std::string m_Text;
};

}  // namespace NS_UTIL
