#pragma once
// The words of a check: grades and their marks, reasons, examples. The runner's text, the window
// and the tables of the help are made of these.

#include "check/type_check.h"

#include <string>
#include <string_view>

namespace vantry {

// "kept", "changed", "refused"; with the mark before it that tells them apart without colour.
std::string_view GradeWord(Grade grade);
std::string_view GradeMark(Grade grade);  // "=", "~", "x"

// "places behind the point are lost", ...
std::string_view ReasonText(Reason reason);

// A value as an example: texts in quotes, long ones and bytes by their length.
std::string ShownValue(const Cell& value);

// "3 values: places behind the point are lost; the first in row 2: 12.34 arrives as 12".
std::string FindingText(const Finding& finding);

// "longest text 38; 12 nulls": what the data of a column reach to; empty without data.
std::string ExtentText(const Extent& extent);

// One line for the table, then one for each column that isn't kept; lines end in "\n".
std::string TableText(const TableCheck& check);
// "2 columns are changed, 1 is refused", or that all are kept.
std::string SummaryText(const TableCheck& check);

}  // namespace vantry
