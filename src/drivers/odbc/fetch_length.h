#pragma once
// How many bytes of a buffer a driver has filled, by the length that it reports beside. Reported
// lengths can be wrong: what comes out of here never reaches beyond the buffer.

#include <sql.h>

#include <cstddef>

namespace vantry::odbc {

enum class Fill { Null, Whole, CutOff, Impossible };

struct Filled {
    Fill fill = Fill::Impossible;
    std::size_t bytes = 0;  // of the buffer, terminator not counted
    bool rest_known = false;
    std::size_t rest = 0;  // bytes that are still to come, by the driver's word: a hint and no more
};

// `indicator`: as the driver left it. `capacity`: bytes of the buffer without its terminator.
// `said_cut_off`: the call's own result said that more is to come.
Filled FilledBytes(SQLLEN indicator, std::size_t capacity, bool said_cut_off);

}  // namespace vantry::odbc
