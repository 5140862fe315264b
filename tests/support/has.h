#pragma once
// Whether a text has some words in it, with the text in the failure's message.

#include <gtest/gtest.h>

#include <string_view>

namespace vantry::test {

inline testing::AssertionResult Has(std::string_view text, std::string_view words) {
    const bool found = text.find(words) != std::string_view::npos;
    return testing::AssertionResult(found) << (found ? "'" : "no '") << words << "' in: " << text;
}

}  // namespace vantry::test
