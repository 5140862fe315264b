// Statements, clause by clause, into the records of syntax.h; expressions are read by the base
// class. Nothing is looked up here: a statement that names nonsense is parsed, and refused where
// the database is known. Easy to get wrong: brackets before SELECT may hold a branch of a union or
// a table, words that may follow a table (LEFT, SET, WITH ...) aren't its alias, and older files
// keep queries among tables as [SELECT ...]. AS x, which is one bracketed name to the lexer.

#include "drivers/sql/parse/parser.h"

#include "data/letter_case.h"
#include "data/value_text.h"
#include "drivers/sql/parse/definition_parser.h"
#include "drivers/sql/parse/expression_parser.h"

namespace vantry::sql {
namespace {

constexpr std::string_view kFrom = "FROM clause";
constexpr std::string_view kInsert = "INSERT INTO statement";
constexpr std::string_view kUpdate = "UPDATE statement";
constexpr std::string_view kDelete = "DELETE statement";
constexpr std::size_t kMaxTables = 60;  // one join of SQLite holds 64

class StatementParser : public ExpressionParser {
public:
    explicit StatementParser(TokenReader& reader) : ExpressionParser(reader) {}

    // One statement, whole: what is left over behind it is an error.
    ParsedStatement Run() {
        ParseParameterNames();
        ParsedStatement statement = ParseAny();
        reader_.AcceptSymbol(";");
        if (!reader_.AtEnd()) {
            throw TextAfterEnd(reader_.Here());
        }
        statement.parameter_count = std::max(parameter_count_, declared_parameters_.size());
        return statement;
    }

protected:
    std::unique_ptr<Select> ParseQuery() override {
        return std::make_unique<Select>(ParseSelect());
    }

private:
    ParsedStatement ParseAny() {
        // A union may begin with a bracket.
        if (reader_.IsWord("select") || reader_.IsSymbol("(")) {
            return {ParseSelect(), 0};
        }
        if (reader_.AcceptWord("insert")) {
            return {ParseInsert(), 0};
        }
        if (reader_.AcceptWord("update")) {
            return {ParseUpdate(), 0};
        }
        if (reader_.AcceptWord("delete")) {
            return {ParseDelete(), 0};
        }
        if (reader_.AcceptWord("drop")) {
            if (!reader_.AcceptWord("table")) {
                throw NotSupported("DROP of anything but a table");
            }
            DropTable drop;
            drop.table = reader_.ExpectTableName("DROP TABLE or DROP INDEX");
            return {std::move(drop), 0};
        }
        if (reader_.AcceptWord("create")) {
            return ParseCreate();
        }
        if (const auto step = ParseTransactionStep()) {
            return {*step, 0};
        }
        // Known, but not done: "isn't supported" is a better answer than "syntax error".
        for (const auto word : {"alter", "transform", "exec", "execute", "grant", "revoke"}) {
            if (reader_.IsWord(word)) {
                throw NotSupported("The statement " + reader_.Current().text);
            }
        }
        throw InvalidStatement();
    }

    std::optional<TransactionStep> ParseTransactionStep() {
        static constexpr std::pair<const char*, TransactionStep> kSteps[] = {
            {"begin", TransactionStep::Begin},
            {"commit", TransactionStep::Commit},
            {"rollback", TransactionStep::Rollback},
        };
        for (const auto& [word, step] : kSteps) {
            if (reader_.AcceptWord(word)) {
                if (!reader_.AcceptWord("transaction")) {
                    throw InvalidStatement();
                }
                return step;
            }
        }
        return std::nullopt;
    }

    ParsedStatement ParseCreate() {
        const bool unique = reader_.AcceptWord("unique");
        if (reader_.AcceptWord("index")) {
            return {ParseCreateIndex(reader_, unique), 0};
        }
        if (unique || !reader_.AcceptWord("table")) {
            throw NotSupported("CREATE of anything but a table or an index");
        }
        return {ParseCreateTable(reader_), 0};
    }

    // PARAMETERS [name] Type(n), ... ;
    void ParseParameterNames() {
        if (!reader_.IsWord("parameters")) {
            return;
        }
        reader_.Take();
        constexpr std::string_view kClause = "PARAMETER clause";
        do {
            declared_parameters_.push_back(reader_.ExpectName(kClause));
            // Types are passed over: a parameter is converted where it is used.
            while (!reader_.IsSymbol(",") && !reader_.IsSymbol(";")) {
                if (reader_.AtEnd()) {
                    throw SyntaxErrorIn(kClause, reader_.Here());
                }
                reader_.Take();
            }
        } while (reader_.AcceptSymbol(","));
        reader_.ExpectSymbol(";", kClause);
    }

    Select ParseSelect() {
        const Nested nested(*this);
        Select select;
        ParseBranch(select);
        while (reader_.AcceptWord("union")) {
            select.keep_duplicates.push_back(reader_.AcceptWord("all"));
            ParseBranch(select);
        }
        if (reader_.AcceptWord("order")) {
            reader_.ExpectWord("by", "ORDER BY clause");
            do {
                OrderItem item;
                item.expression = ParseClause();
                item.descending = reader_.AcceptWord("desc");
                if (!item.descending) {
                    reader_.AcceptWord("asc");
                }
                select.order_by.push_back(std::move(item));
            } while (reader_.AcceptSymbol(","));
        }
        // Access puts this behind each saved query; there are no owners here.
        if (reader_.AcceptWord("with")) {
            reader_.ExpectWord("owneraccess", "WITH clause");
            reader_.ExpectWord("option", "WITH clause");
        }
        return select;
    }

    void ParseBranch(Select& select) {
        const Nested nested(*this);
        if (reader_.AcceptSymbol("(")) {
            ParseBranch(select);
            reader_.ExpectSymbol(")", "union query");
            return;
        }
        reader_.ExpectWord("select", "union query");
        select.cores.emplace_back();
        auto& core = select.cores.back();
        ParseQuantifiers(core);
        do {
            core.items.push_back(ParseOutput());
        } while (reader_.AcceptSymbol(","));
        if (reader_.AcceptWord("into")) {
            select.into = reader_.ExpectTableName("SELECT INTO statement");
        }
        if (reader_.AcceptWord("from")) {
            core.from = ParseTables(kFrom);
        }
        ParseWhere(core.where);
        if (reader_.AcceptWord("group")) {
            reader_.ExpectWord("by", "GROUP BY clause");
            do {
                core.group_by.push_back(ParseClause());
            } while (reader_.AcceptSymbol(","));
        }
        if (reader_.AcceptWord("having")) {
            core.having = ParseClause();
        }
    }

    void ParseQuantifiers(SelectCore& core) {
        for (;;) {
            // Several may stand together; DISTINCT wins over DISTINCTROW.
            if (reader_.IsWord("distinct")) {
                core.distinct = true;
            } else if (reader_.IsWord("distinctrow")) {
                core.distinct_row = true;
            } else if (!reader_.IsWord("all")) {
                break;
            }
            reader_.Take();
        }
        if (reader_.AcceptWord("top")) {
            if (reader_.Current().kind != TokenKind::Number) {
                throw SyntaxErrorIn("TOP clause", reader_.Here());
            }
            core.top = ParseDouble(reader_.Take().text);
            core.top_percent = reader_.AcceptWord("percent");
            // Above, the count would overflow where the engines have 32 bits.
            const auto limit = core.top_percent ? 100.0 : 2147483647.0;
            if (!core.top || *core.top > limit) {
                throw SyntaxErrorIn("TOP clause", reader_.Here());
            }
        }
    }

    OutputItem ParseOutput() {
        if (reader_.AtEnd() || reader_.IsWord("from")) {
            throw DataError(kErrSyntax,
                            "The SELECT statement includes a reserved word or an argument name "
                            "that is misspelled or missing, or the punctuation is incorrect.");
        }
        OutputItem item;
        item.expression = ParseItem();
        if (reader_.AcceptWord("as")) {
            item.alias = reader_.ExpectName("AS clause");
        } else if (reader_.FoxPro() && reader_.Current().kind == TokenKind::Name &&
                   !reader_.IsAnyWord(
                       {"from", "where", "group", "having", "order", "union", "into"})) {
            item.alias = reader_.Take().text;
        }
        return item;
    }

    void ParseWhere(ExpressionPtr& where) {
        if (reader_.AcceptWord("where")) {
            where = ParseClause();
        }
    }

    std::vector<TableExpression> ParseTables(std::string_view clause) {
        std::vector<TableExpression> tables;
        do {
            tables.push_back(ParseJoins(clause));
        } while (reader_.AcceptSymbol(","));
        // It would need a second database in one statement.
        if (reader_.IsWord("in")) {
            throw NotSupported("A table of another database (IN 'path')");
        }
        return tables;
    }

    TableExpression ParseJoins(std::string_view clause) {
        const Nested nested(*this);
        auto left = ParseTable(clause);
        for (;;) {
            using JoinType = TableExpression::JoinType;
            auto type = JoinType::Inner;
            if (reader_.AcceptWord("left")) {
                type = JoinType::Left;
                reader_.AcceptWord("outer");
            } else if (reader_.AcceptWord("right")) {
                type = JoinType::Right;
                reader_.AcceptWord("outer");
            } else if (reader_.IsAnyWord({"full", "cross"})) {
                // Taken for an alias, FULL would turn into an inner join without a word.
                throw NotSupported(UpperCased(reader_.Current().text) + " JOIN");
            } else if (!reader_.AcceptWord("inner") && !reader_.IsWord("join")) {
                return left;
            }
            reader_.ExpectWord("join", clause);
            TableExpression join;
            join.kind = TableExpression::Kind::Join;
            join.join = type;
            join.left = std::make_unique<TableExpression>(std::move(left));
            join.right = std::make_unique<TableExpression>(ParseTable(clause));
            reader_.ExpectWord("on", "JOIN operation");
            join.condition = ParseClause();
            left = std::move(join);
        }
    }

    TableExpression ParseTable(std::string_view clause) {
        const Nested nested(*this);
        if (++table_count_ > kMaxTables) {
            throw TooComplex();
        }
        TableExpression table;
        // By character and not by token: what follows may be a name that is no token, orders#csv.
        const auto here = reader_.Here();
        if (here.sql.substr(here.offset).starts_with('(')) {
            reader_.MoveTo(here.offset + 1);
            if (reader_.IsWord("select")) {
                table.kind = TableExpression::Kind::Query;
                table.query = ParseQuery();
            } else {
                table = ParseJoins(clause);
            }
            reader_.ExpectSymbol(")", clause);
            if (table.kind == TableExpression::Kind::Join) {
                return table;
            }
        } else {
            table.name = reader_.ExpectTableName(clause);
            // A name can't begin so unless it is a query in brackets.
            if (table.name.size() > 7 && EqualsNoCase(table.name.substr(0, 7), "select ")) {
                ParseBracketedQuery(table);
            }
        }
        ParseAlias(table, clause);
        return table;
    }

    // [SELECT ...]. AS x: the older form of a query among tables.
    void ParseBracketedQuery(TableExpression& table) {
        reader_.AcceptSymbol(".");
        TokenReader inner(table.name, reader_.Kind());
        StatementParser parser(inner);
        // A parser of its own, but the limits go on counting.
        parser.nesting_ = nesting_ + 1;
        parser.table_count_ = table_count_;
        auto statement = parser.Run();
        table_count_ = parser.table_count_;
        deepest_ = std::max(deepest_, parser.deepest_);
        auto* select = std::get_if<Select>(&statement.content);
        if (select == nullptr || statement.parameter_count > 0) {
            throw SyntaxErrorIn(kFrom, reader_.Here());
        }
        table.kind = TableExpression::Kind::Query;
        table.query = std::make_unique<Select>(std::move(*select));
        table.name.clear();
    }

    void ParseAlias(TableExpression& table, std::string_view clause) {
        const bool expected = reader_.AcceptWord("as");
        const auto kind = reader_.Current().kind;
        if (expected || kind == TokenKind::QuotedName ||
            (kind == TokenKind::Name && !reader_.IsAnyWord({"where",
                                                            "group",
                                                            "having",
                                                            "order",
                                                            "inner",
                                                            "left",
                                                            "right",
                                                            "full",
                                                            "cross",
                                                            "join",
                                                            "on",
                                                            "union",
                                                            "in",
                                                            "set",
                                                            "values",
                                                            "with",
                                                            "select"}))) {
            table.alias = reader_.ExpectName(clause);
        }
    }

    Insert ParseInsert() {
        Insert insert;
        reader_.ExpectWord("into", kInsert);
        insert.table = reader_.ExpectTableName(kInsert);
        // INSERT INTO t (SELECT ...) has no column list.
        const auto begin = reader_.Offset();
        if (reader_.AcceptSymbol("(")) {
            if (reader_.IsWord("select")) {
                reader_.MoveTo(begin);
            } else {
                do {
                    insert.columns.push_back(ParseColumnName(kInsert));
                } while (reader_.AcceptSymbol(","));
                reader_.ExpectSymbol(")", kInsert);
            }
        }
        if (reader_.IsWord("select") || reader_.IsSymbol("(")) {
            insert.query = ParseQuery();
            return insert;
        }
        reader_.ExpectWord("values", kInsert);
        reader_.ExpectSymbol("(", kInsert);
        do {
            insert.values.push_back(ParseClause());
        } while (reader_.AcceptSymbol(","));
        if (!reader_.AcceptSymbol(")")) {
            throw SyntaxErrorIn(kInsert, reader_.Here());
        }
        return insert;
    }

    // name or table.name
    std::string ParseColumnName(std::string_view clause) {
        auto name = reader_.ExpectName(clause);
        if (reader_.AcceptSymbol(".") || reader_.AcceptSymbol("!")) {
            name = reader_.ExpectName(clause);
        }
        return name;
    }

    Update ParseUpdate() {
        Update update;
        update.tables = ParseTables(kUpdate);
        reader_.ExpectWord("set", kUpdate);
        do {
            Assignment assignment;
            assignment.column = reader_.ExpectName(kUpdate);
            if (reader_.AcceptSymbol(".") || reader_.AcceptSymbol("!")) {
                assignment.qualifier = std::move(assignment.column);
                assignment.column = reader_.ExpectName(kUpdate);
            }
            reader_.ExpectSymbol("=", kUpdate);
            assignment.value = ParseClause();
            update.assignments.push_back(std::move(assignment));
        } while (reader_.AcceptSymbol(","));
        ParseWhere(update.where);
        return update;
    }

    Delete ParseDelete() {
        Delete erase;
        if (!reader_.IsWord("from")) {
            // DELETE FROM t, DELETE * FROM t, DELETE t.* FROM t, t, u are all in use.
            if (!reader_.AcceptSymbol("*")) {
                erase.target = reader_.ExpectName(kDelete);
                if (reader_.AcceptSymbol(".")) {
                    reader_.ExpectSymbol("*", kDelete);
                }
            }
        }
        reader_.ExpectWord("from", kDelete);
        erase.tables = ParseTables(kDelete);
        ParseWhere(erase.where);
        return erase;
    }

    std::size_t table_count_ = 0;
};

}  // namespace

ParsedStatement ParseStatement(std::string_view sql, Dialect::Kind dialect) {
    TokenReader reader(sql, dialect);
    return StatementParser(reader).Run();
}

}  // namespace vantry::sql
