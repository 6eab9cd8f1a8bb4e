/// \file
/// The client's texts in both languages, side by side.
#pragma once

#include <vector>

namespace northbound {

struct TextPair {
    const char* m_pEnglish;
    const char* m_pChinese;  // with the same {1}, {2}, ...
};

/// What Say() is given.
const std::vector<TextPair>& OwnTexts();

/// What Translated() is given; {1} stands for anything. The first that fits counts.
const std::vector<TextPair>& ForeignTexts();

}  // namespace northbound
