// A recursive descent over the text, as FoxPro ranks its operators: OR, AND, NOT, comparisons, plus
// and minus, times and divided by. Types are settled while parsing, so that evaluating asks for
// nothing but NULL. A text between signs belongs to the table's code page and is taken byte by
// byte.

#include "drivers/foxpro/indexes/key_expression.h"

#include "data/ascii.h"
#include "data/calendar.h"
#include "data/letter_case.h"
#include "drivers/foxpro/indexes/expression_node.h"
#include "drivers/foxpro/indexes/field_value.h"
#include "drivers/foxpro/table/text_coder.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace vantry::foxpro {
namespace {

constexpr unsigned kMostDepth = 60;

class FieldNode : public ExpressionNode {
public:
    FieldNode(const Field& field, KeyType type)
        : ExpressionNode(type, field.length), field_(&field) {}
    KeyValue Evaluate(const RecordView& record) override { return FieldValue(*field_, record); }
    const Field* FieldAlone() const override { return field_; }

private:
    const Field* field_;
};

class LiteralNode : public ExpressionNode {
public:
    explicit LiteralNode(std::string text)
        : ExpressionNode(KeyType::Text, text.size()), text_(std::move(text)) {
        value_.text = text_;
    }
    explicit LiteralNode(const KeyValue& value) : ExpressionNode(value.type, 0), value_(value) {}
    KeyValue Evaluate(const RecordView&) override { return value_; }
    std::optional<double> Literal() const override {
        return Type() == KeyType::Number ? std::optional(value_.number) : std::nullopt;
    }

private:
    std::string text_;
    KeyValue value_;
};

class CallNode : public ExpressionNode {
public:
    CallNode(const Function& function,
             KeyType type,
             std::vector<NodePtr> arguments,
             const LetterTable& letters)
        : ExpressionNode(type, WidthOf(function, type, arguments)),
          function_(&function),
          arguments_(std::move(arguments)),
          values_(arguments_.size()),
          letters_(&letters) {}

    KeyValue Evaluate(const RecordView& record) override {
        for (std::size_t k = 0; k < arguments_.size(); ++k) {
            values_[k] = arguments_[k]->Evaluate(record);
            // With a NULL the result is NULL, but for the functions that are about NULL.
            if (values_[k].null && !function_->takes_null) {
                KeyValue null;
                null.type = Type();
                null.null = true;
                return null;
            }
        }
        return function_->run({values_, &record, letters_, &scratch_});
    }

private:
    static std::size_t WidthOf(const Function& function,
                               KeyType type,
                               std::span<const NodePtr> arguments) {
        if (type != KeyType::Text) {
            return 0;
        }
        return function.width != nullptr ? function.width(arguments) : arguments[0]->Width();
    }

    const Function* function_;
    std::vector<NodePtr> arguments_;
    std::vector<KeyValue> values_;
    const LetterTable* letters_;
    std::string scratch_;
};

// ---- Parsing ----------------------------------------------------------------------------------

bool StartsName(char c) {
    // A letter beyond ASCII begins with a byte from 0x80 on in every code page of tables.
    return IsLetter(c) || c == '_' || (static_cast<unsigned char>(c) & 0x80U) != 0;
}

class ExpressionParser {
public:
    ExpressionParser(std::string_view text, const TableLayout& layout, const LetterTable& letters)
        : text_(text), layout_(layout), letters_(letters) {}

    NodePtr Parse() {
        auto node = ParseOr(0);
        SkipBlanks();
        if (at_ != text_.size()) {
            throw KeyTrouble("\"" + std::string(text_.substr(at_)) + "\" isn't understood");
        }
        return node;
    }
    bool ComparesTexts() const { return compares_texts_; }
    bool HasNullableField() const { return has_nullable_field_; }
    std::vector<const Field*> TakeFields() { return std::move(fields_); }

private:
    void SkipBlanks() {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) {
            ++at_;
        }
    }
    char Peek(std::size_t ahead = 0) const {
        return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0';
    }
    bool Accept(std::string_view sign) {
        SkipBlanks();
        if (!EqualsNoCase(text_.substr(at_, sign.size()), sign)) {
            return false;
        }
        at_ += sign.size();
        return true;
    }
    // A word that isn't the beginning of a longer one.
    bool AcceptWord(std::string_view word) {
        const auto start = at_;
        if (Accept(word) && !StartsName(Peek()) && !IsDigit(Peek())) {
            return true;
        }
        at_ = start;
        return false;
    }
    void Expect(std::string_view sign) {
        if (!Accept(sign)) {
            throw KeyTrouble("a \"" + std::string(sign) + "\" is missing");
        }
    }
    void CheckDepth(unsigned depth) const {
        if (depth > kMostDepth) {
            throw KeyTrouble("it is nested too deeply");
        }
    }

    NodePtr ParseOr(unsigned depth) {
        CheckDepth(depth);
        auto left = ParseAnd(depth);
        while (Accept(".or.") || AcceptWord("or")) {
            left = Combine("or", std::move(left), ParseAnd(depth));
        }
        return left;
    }
    NodePtr ParseAnd(unsigned depth) {
        auto left = ParseNot(depth);
        while (Accept(".and.") || AcceptWord("and")) {
            left = Combine("and", std::move(left), ParseNot(depth));
        }
        return left;
    }
    NodePtr ParseNot(unsigned depth) {
        CheckDepth(depth);
        SkipBlanks();
        if (Accept(".not.") || AcceptWord("not") || (Peek() == '!' && Accept("!"))) {
            return Combine("not", ParseNot(depth + 1), nullptr);
        }
        return ParseComparison(depth);
    }
    NodePtr ParseComparison(unsigned depth) {
        struct Sign {
            std::string_view written;
            std::string_view meant;
        };
        // Longer ones first.
        constexpr std::array kSigns = {Sign{"==", "=="},
                                       Sign{"<>", "<>"},
                                       Sign{"!=", "<>"},
                                       Sign{"<=", "<="},
                                       Sign{"=<", "<="},
                                       Sign{">=", ">="},
                                       Sign{"=>", ">="},
                                       Sign{"#", "<>"},
                                       Sign{"=", "="},
                                       Sign{"<", "<"},
                                       Sign{">", ">"},
                                       Sign{"$", "$"}};
        auto left = ParseSum(depth);
        for (const auto& sign : kSigns) {
            if (Accept(sign.written)) {
                // KeyMaker refuses a tag with a collation then, as that orders comparisons, too.
                compares_texts_ = compares_texts_ || left->Type() == KeyType::Text;
                return Combine(sign.meant, std::move(left), ParseSum(depth));
            }
        }
        return left;
    }
    NodePtr ParseSum(unsigned depth) {
        auto left = ParseProduct(depth);
        for (;;) {
            if (Accept("+")) {
                left = Combine("+", std::move(left), ParseProduct(depth));
            } else if (Accept("-")) {
                left = Combine("-", std::move(left), ParseProduct(depth));
            } else {
                return left;
            }
        }
    }
    NodePtr ParseProduct(unsigned depth) {
        auto left = ParseValue(depth);
        for (;;) {
            if (Accept("*")) {
                left = Combine("*", std::move(left), ParseValue(depth));
            } else if (Accept("/")) {
                left = Combine("/", std::move(left), ParseValue(depth));
            } else {
                return left;
            }
        }
    }

    NodePtr ParseValue(unsigned depth) {
        CheckDepth(depth);
        SkipBlanks();
        const char c = Peek();
        if (c == '-') {
            ++at_;
            return Combine("negative", ParseValue(depth + 1), nullptr);
        }
        if (c == '(') {
            ++at_;
            auto inner = ParseOr(depth + 1);
            Expect(")");
            return inner;
        }
        // Square brackets are quotation marks in FoxPro as well.
        if (c == '"' || c == '\'' || c == '[') {
            return ParseText(c == '[' ? ']' : c);
        }
        if (c == '{') {
            return ParseDate();
        }
        if (c == '.' && !IsDigit(Peek(1))) {
            return ParseLogical();
        }
        if (IsDigit(c) || c == '.') {
            return ParseNumber();
        }
        if (StartsName(c)) {
            return ParseNamed(depth);
        }
        throw KeyTrouble("\"" + std::string(text_.substr(at_)) + "\" isn't understood");
    }
    NodePtr ParseText(char end) {
        const auto close = text_.find(end, at_ + 1);
        if (close == std::string_view::npos) {
            throw KeyTrouble("a text has no end");
        }
        std::string text(text_.substr(at_ + 1, close - at_ - 1));
        at_ = close + 1;
        return std::make_unique<LiteralNode>(std::move(text));
    }
    // {} is a blank date, {^2001-12-31} a day; others depend on a setting.
    NodePtr ParseDate() {
        const auto close = text_.find('}', at_);
        const auto inner =
            text_.substr(at_ + 1, close == std::string_view::npos ? 0 : close - at_ - 1);
        if (close == std::string_view::npos) {
            throw KeyTrouble("a date has no end");
        }
        at_ = close + 1;
        if (inner.find_first_not_of(" /-.") == std::string_view::npos) {
            return std::make_unique<LiteralNode>(NumberValue(0, KeyType::Date));
        }
        std::array<int, 3> parts{};
        const char* at = inner.data();
        const char* const end = inner.data() + inner.size();
        bool good = *at == '^';
        ++at;
        for (std::size_t k = 0; good && k < parts.size(); ++k) {
            const auto [behind, error] = std::from_chars(at, end, parts[k]);
            good = error == std::errc() &&
                   (k == 2 ? behind == end : behind != end && (*behind == '-' || *behind == '/'));
            at = behind + 1;
        }
        const auto day = good ? DayOf(parts[0], parts[1], parts[2]) : std::nullopt;
        if (!day) {
            throw KeyTrouble("the date {" + std::string(inner) +
                             "} isn't of the form {^2001-12-31}");
        }
        return std::make_unique<LiteralNode>(NumberValue(*day + kJulianDayZero, KeyType::Date));
    }
    NodePtr ParseLogical() {
        for (const std::string_view word : {".t.", ".y."}) {
            if (Accept(word)) {
                return std::make_unique<LiteralNode>(LogicalValue(true));
            }
        }
        for (const std::string_view word : {".f.", ".n."}) {
            if (Accept(word)) {
                return std::make_unique<LiteralNode>(LogicalValue(false));
            }
        }
        throw KeyTrouble("\"" + std::string(text_.substr(at_)) + "\" isn't understood");
    }
    // A point belongs to the number if a digit follows: "0.OR." is one, too.
    NodePtr ParseNumber() {
        const auto start = at_;
        while (IsDigit(Peek()) || (Peek() == '.' && IsDigit(Peek(1)))) {
            ++at_;
        }
        double number = 0;
        const char* const end = text_.data() + at_;
        const auto [behind, error] =
            std::from_chars(text_.data() + start, end, number, std::chars_format::fixed);
        if (error != std::errc() || behind != end) {
            throw KeyTrouble("\"" + std::string(text_.substr(start)) + "\" isn't understood");
        }
        return std::make_unique<LiteralNode>(NumberValue(number));
    }

    std::string_view ReadName() {
        const auto start = at_;
        while (at_ < text_.size() && (StartsName(text_[at_]) || IsDigit(text_[at_]))) {
            ++at_;
        }
        return text_.substr(start, at_ - start);
    }
    NodePtr ParseNamed(unsigned depth) {
        auto name = ReadName();
        SkipBlanks();
        if (Peek() == '(') {
            return ParseCall(name, depth);
        }
        // The point may belong to an operator that follows without a blank; the name is no alias
        // then.
        const auto rest = text_.substr(at_, 5);
        const bool is_operator = EqualsNoCase(rest.substr(0, 4), ".or.") ||
                                 EqualsNoCase(rest, ".and.") || EqualsNoCase(rest, ".not.");
        if (Accept("->") || (Peek() == '.' && StartsName(Peek(1)) && !is_operator && Accept("."))) {
            // "m." is for variables of a program, which an index has nothing of.
            if (EqualsNoCase(name, "m")) {
                throw KeyTrouble("it has a variable");
            }
            const auto alias = name;
            name = ReadName();
            RequireOwnName(alias, name);
        }
        return MakeField(name);
    }

    // The value of another table's field depends on where that one stands.
    void RequireOwnName(std::string_view alias, std::string_view field) const {
        const TextCoder coder(layout_.code_page, false);
        std::string scratch;
        const auto decoded = coder.Decode(alias, scratch);
        const auto wanted = UpperCased(decoded.value_or(alias));
        for (const auto& name : layout_.names) {
            auto own = UpperCased(name);
            // What can't stand in a name is _ in the alias of the table.
            std::replace_if(
                own.begin(), own.end(), [](char c) { return !StartsName(c) && !IsDigit(c); }, '_');
            if (own == wanted) {
                return;
            }
        }
        const bool may_be_long = !layout_.back_link.empty() && layout_.names.size() < 2;
        throw KeyTrouble("it has a field of another table, " + std::string(alias) + "." +
                         std::string(field) +
                         (may_be_long ? ", unless its container calls the table so; open the "
                                        "table through the container"
                                      : ""));
    }

    // The long name counts; where it isn't known, its first ten letters are those of the header,
    // unless another field with the same beginning had to get another name there.
    NodePtr MakeField(std::string_view name) {
        const Field* found = nullptr;
        const auto upper = UpperCased(name);
        for (const auto& field : layout_.fields) {
            if (!field.hidden &&
                (UpperCased(field.long_name) == upper || EqualsNoCase(field.name, name))) {
                found = &field;
                break;
            }
        }
        if (found == nullptr && name.size() > kFieldNameLength) {
            const auto beginning = name.substr(0, kFieldNameLength);
            const auto stem = name.substr(0, kFieldNameLength - 1);
            int alike = 0;
            for (const auto& field : layout_.fields) {
                // Those with a long name of their own were compared with it above.
                if (field.hidden || field.long_name != field.name) {
                    continue;
                }
                found = EqualsNoCase(field.name, beginning) ? &field : found;
                alike +=
                    field.name.size() == kFieldNameLength &&
                            EqualsNoCase(std::string_view(field.name).substr(0, stem.size()), stem)
                        ? 1
                        : 0;
            }
            if (alike > 1) {
                throw KeyTrouble("its container has to tell which field " + std::string(name) +
                                 " is; open the table through the container");
            }
        }
        if (found == nullptr) {
            throw KeyTrouble("there is no field " + std::string(name));
        }
        const auto type = KeyTypeOf(*found);
        if (!type) {
            throw KeyTrouble("fields of the type " + std::string(1, found->type) + ", such as " +
                             found->name + ", aren't kept in keys here");
        }
        // A tag that is made from it needs room for NULL in its keys.
        has_nullable_field_ = has_nullable_field_ || found->nullable;
        fields_.push_back(found);
        return std::make_unique<FieldNode>(*found, *type);
    }

    NodePtr ParseCall(std::string_view name, unsigned depth) {
        const auto* const function = FindFunction(name);
        if (function == nullptr) {
            throw KeyTrouble("the function " + UpperCased(name) + "() isn't known here");
        }
        if (!letters_.IsComplete() && (function->name == "upper" || function->name == "lower")) {
            throw KeyTrouble("letter case of the table's code page isn't known here");
        }
        Expect("(");
        std::vector<NodePtr> arguments;
        if (!Accept(")")) {
            do {
                arguments.push_back(ParseOr(depth + 1));
            } while (Accept(","));
            Expect(")");
        }
        return Call(*function, std::move(arguments));
    }

    NodePtr Combine(std::string_view sign, NodePtr left, NodePtr right) {
        const auto* const function = FindOperator(sign, left->Type());
        if (function == nullptr) {
            throw KeyTrouble("the operator " + UpperCased(sign) +
                             " isn't known here between these values");
        }
        std::vector<NodePtr> arguments;
        arguments.push_back(std::move(left));
        if (right) {
            arguments.push_back(std::move(right));
        }
        return Call(*function, std::move(arguments));
    }

    static bool Takes(char wanted, KeyType type, KeyType of_sibling) {
        switch (wanted) {
            case 't':
                return type == KeyType::Text;
            case 'n':
                return type == KeyType::Number;
            case 'd':
                return type == KeyType::Date || type == KeyType::Moment;
            case 'D':
                return type == KeyType::Date;
            case 'l':
                return type == KeyType::Logical;
            case 's':
                return type == of_sibling;
            default:
                return true;
        }
    }

    NodePtr Call(const Function& function, std::vector<NodePtr> arguments) {
        std::size_t number = 0;
        bool optional = false;
        KeyType any = KeyType::Text;
        for (const char wanted : function.arguments) {
            if (wanted == '?') {
                optional = true;
                continue;
            }
            if (number == arguments.size()) {
                if (optional) {
                    break;
                }
                throw KeyTrouble("an argument of " + UpperCased(function.name) + " is missing");
            }
            if (!Takes(wanted, arguments[number]->Type(), any)) {
                throw KeyTrouble("an argument of " + UpperCased(function.name) +
                                 " has a type that isn't known here");
            }
            any = wanted == 'a' ? arguments[number]->Type() : any;
            ++number;
        }
        if (number < arguments.size()) {
            throw KeyTrouble(UpperCased(function.name) + " has too many arguments");
        }
        return std::make_unique<CallNode>(
            function, function.result.value_or(any), std::move(arguments), letters_);
    }

    std::string_view text_;
    const TableLayout& layout_;
    const LetterTable& letters_;
    std::size_t at_ = 0;
    bool compares_texts_ = false;
    bool has_nullable_field_ = false;
    std::vector<const Field*> fields_;
};

}  // namespace

KeyExpression::KeyExpression(std::string_view text,
                             const TableLayout& layout,
                             const LetterTable& letters) {
    ExpressionParser parser(text, layout, letters);
    root_ = parser.Parse();
    compares_texts_ = parser.ComparesTexts();
    has_nullable_field_ = parser.HasNullableField();
    fields_ = parser.TakeFields();
}

KeyExpression::KeyExpression(KeyExpression&&) noexcept = default;
KeyExpression& KeyExpression::operator=(KeyExpression&&) noexcept = default;
KeyExpression::~KeyExpression() = default;

KeyType KeyExpression::Type() const {
    return root_->Type();
}
std::size_t KeyExpression::Width() const {
    return root_->Width();
}
const Field* KeyExpression::SingleField() const {
    return root_->FieldAlone();
}
KeyValue KeyExpression::Evaluate(const RecordView& record) const {
    return root_->Evaluate(record);
}

}  // namespace vantry::foxpro
