#pragma once
// A text file that a run has written, read back for the comparison of its content: by the form in
// which it was written (the variables of the text target), not by what a "Schema.ini" beside it
// says, and without types: a field is a text, or Null where nothing stands.

#include "engine/verification.h"
#include "text/field_text.h"

#include <memory>
#include <span>
#include <string>

namespace vantry {

// `columns` are those by which the lines were written.
std::unique_ptr<TargetRows> ReadTextBack(const std::string& path,
                                         std::span<const text::LineColumn> columns,
                                         bool delimited,
                                         bool has_heading);

}  // namespace vantry
