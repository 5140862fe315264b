#pragma once
// Values of fields as key expressions see them: without code pages, and blanks as zeros.

#include "drivers/foxpro/indexes/key_expression.h"

#include <optional>

namespace vantry::foxpro {

// Nothing for a type that isn't kept in keys here.
std::optional<KeyType> KeyTypeOf(const Field& field);
// Throws KeyTrouble for bytes that are no value of the field's type.
KeyValue FieldValue(const Field& field, const RecordView& record);

}  // namespace vantry::foxpro
