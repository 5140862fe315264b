#pragma once
// What a parsed expression is made of: values, and calls of functions with values. Operators are
// functions, too.

#include "drivers/foxpro/indexes/key_expression.h"

#include <optional>
#include <span>
#include <vector>

namespace vantry::foxpro {

class ExpressionNode {
public:
    ExpressionNode(KeyType type, std::size_t width) : type_(type), width_(width) {}
    ExpressionNode(const ExpressionNode&) = delete;
    ExpressionNode& operator=(const ExpressionNode&) = delete;
    virtual ~ExpressionNode() = default;

    KeyType Type() const { return type_; }
    std::size_t Width() const { return width_; }
    virtual KeyValue Evaluate(const RecordView& record) = 0;
    virtual const Field* FieldAlone() const { return nullptr; }
    virtual std::optional<double> Literal() const { return std::nullopt; }

private:
    KeyType type_;
    std::size_t width_;
};

using NodePtr = std::unique_ptr<ExpressionNode>;

// What a function is given.
struct CallInput {
    std::span<const KeyValue> values;
    const RecordView* record;
    const LetterTable* letters;
    std::string* scratch;  // of this call: where a text that it makes stands
    bool Has(std::size_t number) const { return number < values.size(); }
    std::string_view Text(std::size_t number) const { return values[number].text; }
    double Number(std::size_t number) const { return values[number].number; }
    bool Logical(std::size_t number) const { return values[number].logical; }
};

struct Function {
    std::string_view name;
    // A letter for each argument: text, number, date or moment (d), date (D), logical, any; what is
    // behind a "?" can be left out. The second of two (s) has the type of the first.
    std::string_view arguments;
    std::optional<KeyType> result;  // nothing: that of the first argument
    bool takes_null;                // otherwise NULL makes NULL
    KeyValue (*run)(const CallInput&);
    // Of texts; none: as the first argument.
    std::size_t (*width)(std::span<const NodePtr>);
};

// By its name, which may be cut to four letters; null if it isn't known.
const Function* FindFunction(std::string_view name);
// By its sign and the type of its left side: "+", "<=", "and", ...
const Function* FindOperator(std::string_view sign, KeyType left);

inline KeyValue TextValue(std::string_view text) {
    KeyValue value;
    value.text = text;
    return value;
}
inline KeyValue NumberValue(double number, KeyType type = KeyType::Number) {
    KeyValue value;
    value.type = type;
    value.number = number;
    return value;
}
inline KeyValue LogicalValue(bool logical) {
    KeyValue value;
    value.type = KeyType::Logical;
    value.logical = logical;
    return value;
}

}  // namespace vantry::foxpro
