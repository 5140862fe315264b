#pragma once
// Expressions of keys and of FOR conditions: parsed once, evaluated for each record. Only what
// gives the same whatever the settings and the time is evaluated; anything else is named as what
// can't be done.

#include "drivers/foxpro/indexes/letter_table.h"
#include "drivers/foxpro/table/table_layout.h"

#include <exception>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::foxpro {

// Why an expression, or its value for one record, can't be had: a part of a sentence.
class KeyTrouble : public std::exception {
public:
    explicit KeyTrouble(std::string reason) : reason_(std::move(reason)) {}
    const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string reason_;
};

enum class KeyType : std::uint8_t { Text, Number, Date, Moment, Logical };

struct KeyValue {
    KeyType type = KeyType::Text;
    bool null = false;
    bool logical = false;
    // A date's day number, a moment's with the part of the day; 0 is a blank one.
    double number = 0;
    std::string_view text;  // in the table's code page; good until the next evaluation
};

class ExpressionNode;

class KeyExpression {
public:
    // `layout` and `letters` must outlive it. Throws KeyTrouble.
    KeyExpression(std::string_view text, const TableLayout& layout, const LetterTable& letters);
    KeyExpression(KeyExpression&&) noexcept;
    KeyExpression& operator=(KeyExpression&&) noexcept;
    ~KeyExpression();

    KeyType Type() const;
    // The most bytes of a text; 0 if they can't be told beforehand.
    std::size_t Width() const;
    // The field, if the expression is that alone.
    const Field* SingleField() const;
    // Whether it compares texts, which an order of letters may see in another way.
    bool ComparesTexts() const { return compares_texts_; }
    // Whether a field of it can be NULL.
    bool HasNullableField() const { return has_nullable_field_; }
    // Those that it names, one more than once if it does.
    std::span<const Field* const> Fields() const { return fields_; }

    // Throws KeyTrouble.
    KeyValue Evaluate(const RecordView& record) const;

private:
    std::unique_ptr<ExpressionNode> root_;
    bool compares_texts_ = false;
    bool has_nullable_field_ = false;
    std::vector<const Field*> fields_;
};

}  // namespace vantry::foxpro
