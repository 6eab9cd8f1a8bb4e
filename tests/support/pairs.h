/// \file
/// Functions whose behaviour is a list of texts and what becomes of each.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace nbitest {

/// Expects that \p make gives what stands beside each text.
template <class Result, class Make>
void ExpectEach(const std::vector<std::pair<std::string, Result>>& pairs, Make make)
{
    for (const auto& [text, result] : pairs) EXPECT_EQ(make(text), result) << '"' << text << '"';
}

}  // namespace nbitest
