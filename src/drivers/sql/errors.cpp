// The words are those that users of these engines have met for decades, so that what they find by
// searching for them helps; what the engines leave out (the place in the statement, the text that
// wasn't a date) follows behind two blanks, as their own sentences do. Numbers are what callers
// branch on: a probe for a table tells "not there" from "not readable" by them alone. Easy to get
// wrong: names and places are cut by characters, never inside one, or the log holds broken UTF-8.

#include "drivers/sql/errors.h"

#include "data/message_text.h"
#include "data/utf.h"

namespace vantry::sql {
namespace {

// "Near 'x y', character 12." so that the user finds the place in a long statement.
std::string Place(Spot spot) {
    const auto offset = std::min(spot.offset, spot.sql.size());
    const auto rest = spot.sql.substr(offset);
    // There is nothing to show behind the last word: the statement lacks something.
    if (rest.find_first_not_of(" \t\r\n;") == std::string_view::npos) {
        return "  The statement ends too early.";
    }
    // A statement of the log may be pages long: thirty characters are enough to find the place.
    const auto shown = PrefixOfUtf16Units(rest.substr(0, rest.find_first_of("\r\n")), 30);
    return "  Near '" + std::string(shown) + "', character " +
           std::to_string(CountCodePoints(spot.sql.substr(0, offset)) + 1) + ".";
}

// An expression as far as it helps: the whole of a long statement would be repeated where one quote
// too many makes one expression of it, connection strings and all.
std::string Excerpt(std::string_view expression) {
    constexpr std::size_t kMostUnits = 80;
    const auto shown = PrefixOfUtf16Units(expression, kMostUnits);
    return Quoted(shown.size() == expression.size() ? std::string(expression)
                                                    : std::string(shown) + "\u2026");
}

DataError Syntax(std::string text) {
    return {kErrSyntax, std::move(text)};
}

}  // namespace

DataError SyntaxErrorIn(std::string_view clause, Spot spot) {
    return Syntax("Syntax error in " + std::string(clause) + "." + Place(spot));
}

DataError MissingOperator(std::string_view expression, Spot spot) {
    return Syntax("Syntax error (missing operator) in query expression " + Excerpt(expression) +
                  "." + Place(spot));
}

DataError SyntaxErrorInExpression(std::string_view why, std::string_view expression) {
    return Syntax("Syntax error" + std::string(why) + " in query expression " +
                  Excerpt(expression) + ".");
}

DataError InvalidStatement() {
    return Syntax(
        "Invalid SQL statement; expected 'DELETE', 'INSERT', 'PROCEDURE', 'SELECT', or 'UPDATE'.");
}

DataError TextAfterEnd(Spot spot) {
    return Syntax("Characters found after end of SQL statement." + Place(spot));
}

DataError FieldDefinitionError(Spot spot) {
    return Syntax("Syntax error in field definition." + Place(spot));
}

DataError NotSupported(std::string_view what) {
    return Syntax(std::string(what) + " isn't supported here.");
}

DataError NoTransaction() {
    return {kErrUnspecified, "There is no transaction to end: BEGIN TRANSACTION comes first."};
}

DataError TooComplex() {
    return Syntax("Query is too complex.");
}

DataError NoSuchTable(std::string_view engine, std::string_view table) {
    return {kErrNoSuchTable,
            "The " + std::string(engine) + " cannot find the input table or query " +
                Quoted(table) + ".  Make sure it exists and that its name is spelled correctly."};
}

DataError NoSuchTableToDrop(std::string_view table) {
    return {kErrNoSuchTable, "Table " + Quoted(table) + " does not exist."};
}

DataError TableExists(std::string_view table) {
    return Syntax("Table " + Quoted(table) + " already exists.");
}

// What isn't a column is taken for a parameter by these engines, so a misspelled field is a
// parameter without a value. The second sentence says what the user has to look for.
DataError NoSuchColumn(std::string_view name) {
    std::string text = "No value given for one or more required parameters.";
    if (!name.empty()) {
        text += "  There is no field " + Quoted(name) + "; check its spelling.";
    }
    return {kErrMissingParameter, std::move(text)};
}

DataError AmbiguousColumn(std::string_view column) {
    return Syntax("The specified field " + Quoted(column) +
                  " could refer to more than one table listed in the FROM clause of your SQL "
                  "statement.");
}

DataError UndefinedFunction(std::string_view function) {
    return Syntax("Undefined function " + Quoted(function) + " in expression.");
}

DataError WrongArguments(std::string_view function) {
    return Syntax("Wrong number of arguments used with function in query expression " +
                  Quoted(function) + ".");
}

DataError NotInAggregate(std::string_view expression) {
    return Syntax("You tried to execute a query that does not include the specified expression " +
                  Quoted(expression) + " as part of an aggregate function.");
}

DataError MisplacedAggregate(std::string_view expression) {
    return Syntax("Cannot have aggregate function in WHERE clause (" + std::string(expression) +
                  ").");
}

DataError ViewCycle(std::string_view view) {
    return Syntax("Circular reference caused by " + Quoted(view) + ".");
}

DataError ColumnCountDiffers() {
    return Syntax(
        "The number of columns in the two selected tables or queries of a union query do not "
        "match.");
}

DataError UnknownTarget(std::string_view column) {
    return Syntax(
        "The INSERT INTO statement contains the following unknown field name: " + Quoted(column) +
        ".  Make sure you have typed the name correctly, and try the operation again.");
}

DataError DuplicateTarget(std::string_view column) {
    return Syntax("Duplicate output destination " + Quoted(column) + ".");
}

DataError SizeTooLong(std::string_view column) {
    return Syntax("Size of field " + Quoted(column) + " is too long.");
}

// Without the text in question the message is of no use in a load of a million rows.
DataError TypeMismatch(std::string_view text, std::string_view wanted) {
    std::string description = "Data type mismatch in criteria expression.";
    if (!wanted.empty()) {
        constexpr std::size_t kLongest = 60;
        const auto shown = PrefixOfUtf16Units(text, kLongest);
        description += "  The text '" + std::string(shown) +
                       (shown.size() < text.size() ? "..." : "") + "' isn't " +
                       std::string(wanted) + ".";
    }
    return {kErrTypeMismatch, std::move(description)};
}

// These are the runtime's words, without a full stop: scripts compare them.
DataError DivisionByZero() {
    return {kErrUnspecified, "Division by zero"};
}

DataError Overflow() {
    return {kErrUnspecified, "Overflow"};
}

DataError TextTooLong(std::string_view function, std::size_t most_bytes) {
    return {kErrUnspecified,
            "The text that " + std::string(function) + "() would make is longer than " +
                std::to_string(most_bytes) + " bytes. Ask for fewer characters."};
}

DataError InvalidUseOfNull() {
    return {kErrUnspecified, "Invalid use of Null"};
}

DataError InvalidCall(std::string_view function) {
    return {kErrUnspecified, "Invalid procedure call: " + std::string(function) + "."};
}

DataError RowGone(std::string_view table) {
    return {kErrUnspecified,
            "A row of the table " + Quoted(table) +
                " was deleted by another user while it was read.  Read the table again."};
}

DataError ManyRowsInSubquery() {
    return {kErrUnspecified, "At most one record can be returned by this subquery."};
}

DataError ReadOnlyEngine(std::string_view what) {
    return {kErrUnspecified, std::string(what) + " isn't possible with this kind of file."};
}

}  // namespace vantry::sql
