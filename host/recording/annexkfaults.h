/// \file
/// How many of the next calls of each bounds-checked function are to fail.
#pragma once

#include <atomic>

namespace nbitest::annexk {

struct Faults {
    std::atomic<int> m_nMemcpy{0};
    std::atomic<int> m_nMemset{0};
    std::atomic<int> m_nStrncpy{0};
    std::atomic<int> m_nSnprintf{0};

    void Clear() { m_nMemcpy = m_nMemset = m_nStrncpy = m_nSnprintf = 0; }
};
extern Faults g_Faults;

}  // namespace nbitest::annexk
