// One function a level of binding strength, loosest first, each reading its operands by the next
// level; the levels that differ only in their operators are one table-driven loop. A node keeps the
// text that it was read from: messages quote it, and GROUP BY finds equal expressions by it. Easy
// to get wrong: nesting is limited twice, by what is open while it is read (our own stack) and by
// the depth of the tree (SQLite's), and both count through subqueries; "=" may follow "=" (a = b =
// c), and words such as LEFT are a function before a bracket and a join elsewhere.

#include "drivers/sql/parse/expression_parser.h"

#include "data/value_text.h"

namespace vantry::sql {
namespace {

// Sixty brackets take some 800 calls of this parser: far from the end of a thread's stack, and
// more than a person writes.
constexpr std::size_t kMaxNesting = 60;
constexpr std::size_t kMaxDepth = 300;

// Binding strength, loosest first.
enum Level : int {
    kImp,
    kEqv,
    kXor,
    kOr,
    kAnd,
    kNot,
    kComparison,
    kConcatenation,
    kSum,
    kModulo,
    kIntegerDivision,
    kProduct,
    kUnary,
};

// What may follow an expression; anything else means that an operator is missing.
bool StartsNextClause(TokenReader& reader) {
    return reader.IsAnyWord({"from", "where", "group", "having", "order", "union", "as",
                             "into", "on",    "inner", "left",   "right", "join",  "full",
                             "asc",  "desc",  "with",  "set",    "and",   "values"});
}

}  // namespace

ExpressionParser::Nested::Nested(ExpressionParser& parser) : parser_(parser) {
    if (++parser_.nesting_ > kMaxNesting) {
        // No destructor runs behind a constructor that throws.
        --parser_.nesting_;
        throw TooComplex();
    }
}

ExpressionPtr ExpressionParser::ParseClause() {
    const auto outer_begin = clause_begin_;
    clause_begin_ = reader_.Offset();
    auto expression = ParseExpression();
    const auto kind = reader_.Current().kind;
    const bool fine = kind == TokenKind::End || reader_.IsSymbol(")") || reader_.IsSymbol(",") ||
                      reader_.IsSymbol(";") || reader_.IsSymbol("}") || StartsNextClause(reader_) ||
                      // FoxPro's aliases need no AS.
                      (reader_.FoxPro() && kind == TokenKind::Name);
    if (!fine) {
        throw MissingOperatorHere();
    }
    clause_begin_ = outer_begin;
    return expression;
}

// The message quotes the clause from its beginning, and the place where reading stopped.
DataError ExpressionParser::MissingOperatorHere() {
    const auto here = reader_.Here();
    return MissingOperator(reader_.Slice(clause_begin_, here.sql.size()), here);
}

ExpressionPtr ExpressionParser::ParseItem() {
    const auto begin = reader_.Offset();
    if (reader_.AcceptSymbol("*")) {
        return Finish(Make(Expression::Kind::Star), begin);
    }
    return ParseClause();
}

ExpressionPtr ExpressionParser::Make(Expression::Kind kind) {
    auto node = std::make_unique<Expression>();
    node->kind = kind;
    return node;
}

ExpressionPtr ExpressionParser::Finish(ExpressionPtr node, std::size_t begin) {
    // A view would not outlive the statement: saved queries are parsed from a text of their own.
    node->text = reader_.Slice(begin, reader_.LastEnd());
    for (const auto& operand : node->operands) {
        node->depth = std::max(node->depth, operand->depth + 1);
    }
    if (node->depth > kMaxDepth) {
        throw TooComplex();
    }
    deepest_ = std::max(deepest_, node->depth);
    return node;
}

ExpressionPtr ExpressionParser::Join(Operator op,
                                     ExpressionPtr left,
                                     ExpressionPtr right,
                                     std::size_t begin) {
    auto node = Make(Expression::Kind::Binary);
    node->op = op;
    node->operands.push_back(std::move(left));
    node->operands.push_back(std::move(right));
    return Finish(std::move(node), begin);
}

ExpressionPtr ExpressionParser::ParseExpression() {
    const Nested nested(*this);
    return ParseLevel(kImp);
}

std::optional<Operator> ExpressionParser::OperatorAt(int level) {
    const auto word = [this](std::string_view text, Operator op) {
        return reader_.IsWord(text) ? std::optional(op) : std::nullopt;
    };
    const auto symbol = [this](std::string_view text) { return reader_.IsSymbol(text); };
    switch (level) {
        case kImp:
            return word("imp", Operator::Imp);
        case kEqv:
            return word("eqv", Operator::Eqv);
        case kXor:
            return word("xor", Operator::Xor);
        case kOr:
            return word("or", Operator::Or);
        case kAnd:
            return word("and", Operator::And);
        case kConcatenation:
            return symbol("&") ? std::optional(Operator::Concatenate) : std::nullopt;
        case kSum:
            return symbol("+")   ? std::optional(Operator::Add)
                   : symbol("-") ? std::optional(Operator::Subtract)
                                 : std::nullopt;
        case kModulo:
            // There Mod is a function.
            return reader_.FoxPro() ? std::nullopt : word("mod", Operator::Modulo);
        case kIntegerDivision:
            return symbol("\\") ? std::optional(Operator::IntegerDivide) : std::nullopt;
        case kProduct:
            return symbol("*")                       ? std::optional(Operator::Multiply)
                   : symbol("/")                     ? std::optional(Operator::Divide)
                   : symbol("%") && reader_.FoxPro() ? std::optional(Operator::Modulo)
                                                     : std::nullopt;
        default:
            return std::nullopt;
    }
}

ExpressionPtr ExpressionParser::ParseLevel(int level) {
    if (level == kNot) {
        return ParseNot();
    }
    if (level == kComparison) {
        return ParseComparison();
    }
    if (level == kUnary) {
        return ParseUnary();
    }
    const auto begin = reader_.Offset();
    auto left = ParseLevel(level + 1);
    while (const auto op = OperatorAt(level)) {
        reader_.Take();
        auto right = ParseLevel(level + 1);
        left = Join(*op, std::move(left), std::move(right), begin);
    }
    return left;
}

ExpressionPtr ExpressionParser::ParseNot() {
    const auto begin = reader_.Offset();
    if (!reader_.IsWord("not") && !(reader_.FoxPro() && reader_.IsSymbol("!"))) {
        return ParseLevel(kNot + 1);
    }
    const Nested nested(*this);
    reader_.Take();
    auto node = Make(Expression::Kind::Unary);
    node->op = Operator::Not;
    node->operands.push_back(ParseNot());
    return Finish(std::move(node), begin);
}

ExpressionPtr ExpressionParser::ParseComparison() {
    static constexpr std::pair<std::string_view, Operator> kOperators[] = {
        {"=", Operator::Equal},
        {"<>", Operator::NotEqual},
        {"!=", Operator::NotEqual},
        {"<", Operator::Less},
        {"<=", Operator::LessOrEqual},
        {">", Operator::Greater},
        {">=", Operator::GreaterOrEqual}};
    const auto begin = reader_.Offset();
    auto left = ParseLevel(kComparison + 1);
    // A chain: "a < b < c" compares the truth of the first with c, as these engines do.
    for (;;) {
        std::optional<Operator> op;
        for (const auto& [text, candidate] : kOperators) {
            if (reader_.IsSymbol(text)) {
                op = candidate;
            }
        }
        if (!op && reader_.FoxPro()) {
            op = reader_.IsSymbol("==")  ? std::optional(Operator::ExactlyEqual)
                 : reader_.IsSymbol("#") ? std::optional(Operator::NotEqual)
                 : reader_.IsSymbol("$") ? std::optional(Operator::Contains)
                                         : std::nullopt;
        }
        if (op) {
            reader_.Take();
            if (ParseQuantified(left, *op, begin)) {
                continue;
            }
            auto right = ParseLevel(kComparison + 1);
            left = Join(*op, std::move(left), std::move(right), begin);
        } else if (!ParseWordComparison(left, begin)) {
            return left;
        }
    }
}

// All (SELECT ...), Any (SELECT ...) or Some (SELECT ...) behind a comparison's sign. False if none
// follows.
bool ExpressionParser::ParseQuantified(ExpressionPtr& left, Operator op, std::size_t begin) {
    if (!reader_.IsAnyWord({"all", "any", "some"})) {
        return false;
    }
    // Any(x) may be a function of that name: only a query behind the bracket decides.
    const auto bracket = ReadToken(reader_.Here().sql, reader_.Current().end, reader_.Kind());
    if (bracket.kind != TokenKind::Symbol || bracket.text != "(" ||
        !EqualsNoCase(ReadToken(reader_.Here().sql, bracket.end, reader_.Kind()).text, "select")) {
        return false;
    }
    auto node = Make(Expression::Kind::AllOrAny);
    node->op = op;
    node->all = reader_.IsWord("all");
    reader_.Take();
    reader_.Take();
    node->operands.push_back(std::move(left));
    std::size_t depth = 0;
    node->query = ParseNestedQuery(depth);
    node->depth = depth + 1;
    if (!reader_.AcceptSymbol(")")) {
        throw MissingOperatorHere();
    }
    left = Finish(std::move(node), begin);
    return true;
}

// Like, Between, In, Is, each with its Not. False if none follows.
bool ExpressionParser::ParseWordComparison(ExpressionPtr& left, std::size_t begin) {
    bool negated = false;
    // Only before one of these words; else NOT begins the next operand.
    if (reader_.IsWord("not") && (reader_.IsNextWord("like") || reader_.IsNextWord("alike") ||
                                  reader_.IsNextWord("in") || reader_.IsNextWord("between"))) {
        reader_.Take();
        negated = true;
    }
    ExpressionPtr node;
    if (reader_.AcceptWord("is")) {
        node = Make(Expression::Kind::IsNull);
        negated = reader_.AcceptWord("not");
        if (!reader_.AcceptWord("null")) {
            throw MissingOperatorHere();
        }
        node->operands.push_back(std::move(left));
    } else if (reader_.AcceptWord("like") || reader_.AcceptWord("alike")) {
        node = Make(Expression::Kind::Like);
        node->operands.push_back(std::move(left));
        node->operands.push_back(ParseLevel(kComparison + 1));
    } else if (reader_.AcceptWord("between")) {
        node = Make(Expression::Kind::Between);
        node->operands.push_back(std::move(left));
        // Its AND isn't the logical one: the operands bind more tightly than comparisons.
        node->operands.push_back(ParseLevel(kComparison + 1));
        if (!reader_.AcceptWord("and")) {
            throw SyntaxErrorInExpression(" in Between operator",
                                          reader_.Slice(begin, reader_.LastEnd()));
        }
        node->operands.push_back(ParseLevel(kComparison + 1));
    } else if (reader_.AcceptWord("in")) {
        node = ParseInOperands(std::move(left), begin);
    } else {
        return false;
    }
    node->negated = negated;
    left = Finish(std::move(node), begin);
    return true;
}

// What stands behind IN: a query, or values.
ExpressionPtr ExpressionParser::ParseInOperands(ExpressionPtr left, std::size_t begin) {
    if (!reader_.AcceptSymbol("(")) {
        throw SyntaxErrorInExpression(" in In operator", reader_.Slice(begin, reader_.LastEnd()));
    }
    const bool is_query = reader_.IsWord("select");
    auto node = Make(is_query ? Expression::Kind::InQuery : Expression::Kind::InList);
    node->operands.push_back(std::move(left));
    if (is_query) {
        std::size_t depth = 0;
        node->query = ParseNestedQuery(depth);
        node->depth = depth + 1;
    } else {
        do {
            node->operands.push_back(ParseExpression());
        } while (reader_.AcceptSymbol(","));
    }
    if (!reader_.AcceptSymbol(")")) {
        throw MissingOperatorHere();
    }
    return node;
}

ExpressionPtr ExpressionParser::ParseUnary() {
    const auto begin = reader_.Offset();
    if (reader_.AcceptSymbol("+")) {
        // A row of signs goes as deep as a row of brackets.
        const Nested nested(*this);
        return ParseUnary();
    }
    if (!reader_.AcceptSymbol("-")) {
        return ParsePower();
    }
    const Nested nested(*this);
    auto node = Make(Expression::Kind::Unary);
    node->op = Operator::Negate;
    node->operands.push_back(ParseUnary());
    return Finish(std::move(node), begin);
}

ExpressionPtr ExpressionParser::ParsePower() {
    const auto begin = reader_.Offset();
    auto left = ParsePrimary();
    while (reader_.AcceptSymbol("^") || (reader_.FoxPro() && reader_.AcceptSymbol("**"))) {
        // 2 ^ -1; a minus before the base belongs to the whole: -2 ^ 2 is -4.
        auto right = reader_.IsSymbol("-") ? ParseUnary() : ParsePrimary();
        left = Join(Operator::Power, std::move(left), std::move(right), begin);
    }
    return left;
}

ExpressionPtr ExpressionParser::ParsePrimary() {
    const auto begin = reader_.Offset();
    auto node = Make(Expression::Kind::Literal);
    switch (reader_.Current().kind) {
        case TokenKind::Number: {
            const auto text = reader_.Take().text;
            // Decimals keep all digits of a literal; one with an exponent is meant as a double.
            const bool exponent = text.find_first_of("eE") != std::string::npos;
            if (const auto whole = ParseInt64(text)) {
                node->literal.Assign(Cell::Int64(*whole));
            } else if (const auto decimal = exponent ? std::nullopt : ParseDecimal(text)) {
                node->literal.Assign(Cell::FromDecimal(*decimal));
            } else if (const auto number = ParseDouble(text)) {
                node->literal.Assign(Cell::Double(*number));
            } else {
                throw Overflow();
            }
            break;
        }
        case TokenKind::String:
            node->literal.Assign(Cell::Text(reader_.Take().text));
            break;
        case TokenKind::Date:
            node->literal.Assign(Cell::FromDateTime(reader_.Take().date));
            break;
        case TokenKind::Boolean:
            node->literal.Assign(Cell::Boolean(reader_.Take().boolean));
            break;
        case TokenKind::Parameter:
            reader_.Take();
            node->kind = Expression::Kind::Parameter;
            node->parameter = parameter_count_++;
            break;
        case TokenKind::Name:
            return ParseWord();
        case TokenKind::QuotedName:
            return ParseColumn(begin);
        case TokenKind::Symbol:
            return ParseBrackets();
        case TokenKind::End:
            throw MissingOperatorHere();
    }
    return Finish(std::move(node), begin);
}

// (expression), (SELECT ...) and {fn Function(...)}.
ExpressionPtr ExpressionParser::ParseBrackets() {
    const auto begin = reader_.Offset();
    if (reader_.AcceptSymbol("{fn")) {
        auto inside = ParseExpression();
        if (!reader_.AcceptSymbol("}")) {
            throw MissingOperatorHere();
        }
        return inside;
    }
    if (!reader_.AcceptSymbol("(")) {
        throw MissingOperatorHere();
    }
    ExpressionPtr inside;
    if (reader_.IsWord("select")) {
        inside = Make(Expression::Kind::Subquery);
        std::size_t depth = 0;
        inside->query = ParseNestedQuery(depth);
        inside->depth = depth + 1;
    } else {
        inside = ParseExpression();
    }
    if (!reader_.AcceptSymbol(")")) {
        throw MissingOperatorHere();
    }
    // Other expressions keep their text without the brackets, so that GROUP BY finds them by it.
    return inside->kind == Expression::Kind::Subquery ? Finish(std::move(inside), begin)
                                                      : std::move(inside);
}

std::unique_ptr<Select> ExpressionParser::ParseNestedQuery(std::size_t& depth) {
    const Nested nested(*this);
    // The depth of the query alone is wanted, then the outer count goes on.
    const auto outer = deepest_;
    deepest_ = 0;
    auto query = ParseQuery();
    depth = deepest_;
    deepest_ = outer;
    return query;
}

ExpressionPtr ExpressionParser::ParseWord() {
    const auto begin = reader_.Offset();
    if (reader_.IsWord("not")) {
        return ParseNot();
    }
    // What stands behind a word says what it is: a call, a qualifier, a constant, a column.
    const auto after = ReadToken(reader_.Here().sql, reader_.Current().end, reader_.Kind());
    const auto followed_by = [&](std::string_view symbol) {
        return after.kind == TokenKind::Symbol && after.text == symbol;
    };
    if (reader_.IsWord("exists") && followed_by("(")) {
        reader_.Take();
        reader_.Take();
        auto node = Make(Expression::Kind::Exists);
        std::size_t depth = 0;
        if (!reader_.IsWord("select")) {
            throw MissingOperatorHere();
        }
        node->query = ParseNestedQuery(depth);
        node->depth = depth + 1;
        if (!reader_.AcceptSymbol(")")) {
            throw MissingOperatorHere();
        }
        return Finish(std::move(node), begin);
    }
    if (followed_by("(")) {
        auto name = reader_.Take().text;
        reader_.Take();
        return ParseCall(std::move(name), begin);
    }
    if (followed_by(".") || followed_by("!")) {
        return ParseColumn(begin);
    }
    // FoxPro writes .T.; there True is a name like any other.
    const bool jet = !reader_.FoxPro();
    std::optional<Cell> constant;
    if (reader_.IsWord("null")) {
        constant = Cell::Null();
    } else if (jet && reader_.IsAnyWord({"true", "yes", "on"})) {
        constant = Cell::Boolean(true);
    } else if (jet && reader_.IsAnyWord({"false", "no", "off"})) {
        constant = Cell::Boolean(false);
    }
    if (constant) {
        reader_.Take();
        auto node = Make(Expression::Kind::Literal);
        node->literal.Assign(*constant);
        return Finish(std::move(node), begin);
    }
    // As a column's name it would hide that an operand is missing.
    if (reader_.IsAnyWord(
            {"select", "from", "where", "and", "or", "like", "between", "in", "is"})) {
        throw MissingOperatorHere();
    }
    return ParseColumn(begin);
}

ExpressionPtr ExpressionParser::ParseCall(std::string name, std::size_t begin) {
    auto node = Make(Expression::Kind::Call);
    node->name = std::move(name);
    if (!reader_.IsSymbol(")")) {
        node->distinct = reader_.AcceptWord("distinct");
        do {
            const auto star = reader_.Offset();
            if (reader_.AcceptSymbol("*")) {
                node->operands.push_back(Finish(Make(Expression::Kind::Star), star));
            } else {
                node->operands.push_back(ParseExpression());
            }
        } while (reader_.AcceptSymbol(","));
    }
    if (!reader_.AcceptSymbol(")")) {
        throw MissingOperatorHere();
    }
    return Finish(std::move(node), begin);
}

// name, qualifier.name, qualifier!name, qualifier.*
ExpressionPtr ExpressionParser::ParseColumn(std::size_t begin) {
    auto node = Make(Expression::Kind::Column);
    const auto bare = reader_.Current().kind == TokenKind::Name;
    node->name = reader_.Take().text;
    if (reader_.AcceptSymbol(".") || (!reader_.FoxPro() && reader_.AcceptSymbol("!"))) {
        node->qualifier = std::move(node->name);
        if (reader_.AcceptSymbol("*")) {
            node->kind = Expression::Kind::Star;
            node->name.clear();
            return Finish(std::move(node), begin);
        }
        const auto kind = reader_.Current().kind;
        if (kind != TokenKind::Name && kind != TokenKind::QuotedName) {
            throw MissingOperatorHere();
        }
        node->name = reader_.Take().text;
        // A name that PARAMETERS declared wins over a column of that name.
    } else if (bare || !declared_parameters_.empty()) {
        for (std::size_t k = 0; k < declared_parameters_.size(); ++k) {
            if (EqualsNoCase(declared_parameters_[k], node->name)) {
                node->kind = Expression::Kind::Parameter;
                node->parameter = k;
            }
        }
    }
    return Finish(std::move(node), begin);
}

}  // namespace vantry::sql
