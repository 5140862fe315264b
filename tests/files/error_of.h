#pragma once
// What a failing piece of work says.

#include "data/data_error.h"
#include "support/has.h"

#include <string>

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

}  // namespace vantry::test
