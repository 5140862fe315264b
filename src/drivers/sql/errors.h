#pragma once
// The errors of the SQL layer, in the words that users of this dialect know. `engine` is the
// dialect's engine name ("Microsoft Jet database engine").

#include "data/data_error.h"

#include <string>
#include <string_view>

namespace vantry::sql {

// Where reading a statement stopped: the statement and a byte offset in it.
struct Spot {
    std::string_view sql;
    std::size_t offset = 0;
};

// A clause that can't be read: "FROM clause", "CREATE TABLE statement", ...
// ---- The statement can't be read, or isn't for these engines (kErrSyntax)
DataError SyntaxErrorIn(std::string_view clause, Spot spot);
DataError MissingOperator(std::string_view expression, Spot spot);
DataError SyntaxErrorInExpression(std::string_view why, std::string_view expression);
DataError InvalidStatement();
DataError TextAfterEnd(Spot spot);
DataError FieldDefinitionError(Spot spot);
// `what` begins a sentence: "DROP of anything but a table".
DataError NotSupported(std::string_view what);
DataError NoTransaction();
// More levels, tables or columns than there is room for.
DataError TooComplex();

// ---- It names what isn't there, or uses it where it can't stand
DataError NoSuchTable(std::string_view engine, std::string_view table);
DataError NoSuchTableToDrop(std::string_view table);
DataError TableExists(std::string_view table);
// `name`: what was taken for a parameter; empty: a parameter has no value.
DataError NoSuchColumn(std::string_view name = {});
DataError AmbiguousColumn(std::string_view column);
DataError UndefinedFunction(std::string_view function);
DataError WrongArguments(std::string_view function);
// A column of a grouped query that is neither grouped by nor in an aggregate.
DataError NotInAggregate(std::string_view expression);
// An aggregate in WHERE, ON or another aggregate.
DataError MisplacedAggregate(std::string_view expression);
DataError ViewCycle(std::string_view view);
DataError ColumnCountDiffers();
DataError UnknownTarget(std::string_view column);
DataError DuplicateTarget(std::string_view column);
DataError SizeTooLong(std::string_view column);

// `text`: the text that should be `wanted`, "a date".
DataError TypeMismatch(std::string_view text = {}, std::string_view wanted = {});
// ---- Found only when a row's values are there; they end the statement
DataError DivisionByZero();
DataError Overflow();
DataError TextTooLong(std::string_view function, std::size_t most_bytes);
DataError InvalidUseOfNull();
DataError InvalidCall(std::string_view function);
// Deleted by another program between finding the row and reading it.
DataError RowGone(std::string_view table);
DataError ManyRowsInSubquery();
// `what` begins a sentence: "Deleting rows".
DataError ReadOnlyEngine(std::string_view what);

}  // namespace vantry::sql
