#pragma once
// The columns of Form5's grid.

namespace vantry::form5 {

enum Column {
    kPos,
    kSourceColumn,
    kSourceType,
    kSourceSize,
    kSourceDec,
    kTargetColumn,
    kTargetType,
    kTargetSize,
    kTargetDec,
    kNull,
    kPosAgain,
};

}  // namespace vantry::form5
