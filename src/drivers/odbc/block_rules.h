#pragma once
// What a driver does with several rows of parameters in one execution, and so whether rows may
// travel together through it. A driver is in the table only when tests over the real one have
// proven it (tests/drivers/odbc/blocks_test.cpp).

#include <cstdint>
#include <string_view>

namespace vantry::odbc {

enum class Blocks : std::uint8_t {
    None,          // rows go one by one
    EachRow,       // each row stands alone, and its status and its records say what became of it
    AllOrNothing,  // in a transaction: a refused row takes the others back, and all go one by one
    StopsAtFirst   // rows before the refused one are stored, those behind it weren't sent
};

// `library` is the driver's, by name or path.
Blocks BlocksOf(std::string_view library);

}  // namespace vantry::odbc
