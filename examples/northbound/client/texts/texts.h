/// \file
/// What the client says, in the user's language.
#pragma once

#include <initializer_list>
#include <string>

namespace northbound {

/// From now on Chinese or English. Threads: before there are others.
void SpeakChinese(bool bChinese);

/// The text in the user's language; the English one where chinese.cpp has no other.
/// \param pEnglish may have {1}, {2}, ... for \p parts
std::string Say(const char* pEnglish, std::initializer_list<std::string> parts = {});

/// The same for a text that others have made in English, such as what is wrong with a command line. What chinese.cpp
/// does not know stays as it is.
std::string Translated(const std::string& english);

}  // namespace northbound
