#pragma once
// What a failing piece of work says.

#include "data/data_error.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vantry::test {

// The message of the DataError that `work` throws; empty if it throws none.
template <typename Work>
std::string ErrorOf(Work&& work) {
    try {
        work();
    } catch (const DataError& error) {
        return error.Description();
    }
    return {};
}

// Whether `text` has `words` in it; shows the text if not.
inline testing::AssertionResult Has(std::string_view text, std::string_view words) {
    return text.find(words) != std::string_view::npos
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << "no '" << words << "' in: " << text;
}

}  // namespace vantry::test
