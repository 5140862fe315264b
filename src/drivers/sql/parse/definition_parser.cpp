// CREATE TABLE and CREATE INDEX. Types are taken as words and given on: which words there are, and
// how wide they make a column, is the engine's business. What holds for all of them is checked
// here, names above all, so that no engine begins to make a table that it can't finish. Easy to get
// wrong: a default is any expression and ends at a word that may also begin the next rule, and
// FoxPro's AUTOINC NEXTVALUE n STEP m takes the places of size and scale.

#include "drivers/sql/parse/definition_parser.h"

#include "data/letter_case.h"
#include "data/value_text.h"

namespace vantry::sql {
namespace {

constexpr std::string_view kCreate = "CREATE TABLE statement";
constexpr std::string_view kConstraint = "CONSTRAINT clause";
constexpr std::string_view kIndex = "CREATE INDEX statement";
constexpr std::size_t kMaxColumns = 255;

// Only these are cut at 255 characters; MEMO(500) is as good as MEMO.
bool IsShortTextWord(std::string_view type) {
    for (const auto word : {"TEXT",
                            "VARCHAR",
                            "STRING",
                            "ALPHANUMERIC",
                            "CHARACTER VARYING",
                            "CHAR VARYING",
                            "NVARCHAR",
                            "NATIONAL CHAR VARYING",
                            "NATIONAL CHARACTER VARYING",
                            "NCHAR VARYING",
                            "CHAR",
                            "CHARACTER",
                            "NCHAR",
                            "NATIONAL CHAR",
                            "NATIONAL CHARACTER"}) {
        if (type == word) {
            return true;
        }
    }
    return false;
}

class DefinitionParser {
public:
    explicit DefinitionParser(TokenReader& reader) : reader_(reader) {}

    CreateTable ParseTable() {
        CreateTable create;
        definition_ = &create.definition;
        definition_->name = reader_.ExpectTableName(kCreate);
        if (reader_.FoxPro()) {
            // Nothing hangs on it: the connection says whether there is a container.
            reader_.AcceptWord("free");
        }
        reader_.ExpectSymbol("(", kCreate);
        do {
            if (IsTableConstraint()) {
                ParseTableConstraint();
            } else {
                definition_->columns.push_back(ParseColumn());
            }
            // Within the loop, so that a damaged script of a million columns stops early.
            if (definition_->columns.size() > kMaxColumns) {
                throw DataError(kErrSyntax, "Too many fields defined.");
            }
        } while (reader_.AcceptSymbol(","));
        reader_.ExpectSymbol(")", kCreate);
        CheckNames();
        return create;
    }

private:
    bool IsTableConstraint() {
        return reader_.IsWord("constraint") ||
               (reader_.IsWord("primary") && reader_.IsNextWord("key")) ||
               (reader_.IsWord("foreign") && reader_.IsNextWord("key"));
    }

    ColumnDefinition ParseColumn() {
        ColumnDefinition column;
        column.name = reader_.ExpectName(kCreate);
        if (reader_.Current().kind != TokenKind::Name) {
            throw FieldDefinitionError(reader_.Here());
        }
        column.type = UpperCased(reader_.Take().text);
        // DOUBLE PRECISION, CHARACTER VARYING, NATIONAL CHAR VARYING are one type each.
        while (reader_.IsAnyWord({"precision", "varying"}) ||
               (column.type == "NATIONAL" && reader_.IsAnyWord({"char", "character"}))) {
            column.type += ' ' + UpperCased(reader_.Take().text);
        }
        if (reader_.AcceptSymbol("(")) {
            column.size = ExpectNumber();
            if (reader_.AcceptSymbol(",")) {
                column.scale = ExpectNumber();
            }
            if (!reader_.AcceptSymbol(")")) {
                throw FieldDefinitionError(reader_.Here());
            }
        }
        if (!reader_.FoxPro() && IsShortTextWord(column.type) && column.size > 255) {
            throw SizeTooLong(column.name);
        }
        while (ParseAttribute(column)) {
        }
        return column;
    }

    // Signed: FoxPro's STEP may be negative.
    int ExpectNumber() {
        const bool negative = reader_.AcceptSymbol("-");
        const auto number = reader_.Current().kind == TokenKind::Number
                                ? ParseInt64(reader_.Current().text)
                                : std::nullopt;
        if (!number || *number > INT32_MAX) {
            throw FieldDefinitionError(reader_.Here());
        }
        reader_.Take();
        return static_cast<int>(negative ? -*number : *number);
    }

    bool ParseAttribute(ColumnDefinition& column) {
        if (reader_.AcceptWord("not")) {
            if (!reader_.AcceptWord("null")) {
                throw FieldDefinitionError(reader_.Here());
            }
            column.not_null = true;
        } else if (reader_.AcceptWord("null")) {
            column.null = true;
        } else if (reader_.AcceptWord("default")) {
            column.default_text = ParseDefault();
        } else if (reader_.AcceptWord("with")) {
            if (!reader_.AcceptWord("compression") && !reader_.AcceptWord("comp")) {
                throw FieldDefinitionError(reader_.Here());
            }
            column.compressed = true;
        } else if (reader_.FoxPro() && (reader_.IsWord("nocptrans") || reader_.IsWord("autoinc"))) {
            column.type += ' ' + UpperCased(reader_.Take().text);
        } else if (reader_.FoxPro() && (reader_.AcceptWord("nextvalue"))) {
            column.size = ExpectNumber();
        } else if (reader_.FoxPro() && (reader_.AcceptWord("step"))) {
            column.scale = ExpectNumber();
        } else {
            return ParseColumnConstraint(column);
        }
        return true;
    }

    bool ParseColumnConstraint(ColumnDefinition& column) {
        // A rule may have a name, CONSTRAINT name UNIQUE; an index is called so.
        std::string name;
        const bool named = reader_.AcceptWord("constraint");
        if (named) {
            name = reader_.ExpectName(kConstraint);
        }
        if (reader_.AcceptWord("primary")) {
            reader_.ExpectWord("key", kConstraint);
            column.primary_key = true;
            AddIndex(name.empty() ? "PrimaryKey" : name, {column.name}, true);
        } else if (reader_.AcceptWord("unique")) {
            // The index is what makes it unique; the flag is for engines without indexes.
            column.unique = true;
            AddIndex(name.empty() ? column.name : name, {column.name}, false);
        } else if (named && reader_.AcceptWord("not")) {
            reader_.ExpectWord("null", kConstraint);
            column.not_null = true;
            // A rule that would not be kept is refused: a table without it is not what was asked
            // for.
        } else if (reader_.IsAnyWord({"references", "check"})) {
            throw NotSupported("The column rule " + UpperCased(reader_.Current().text));
        } else if (named) {
            throw SyntaxErrorIn(kConstraint, reader_.Here());
        } else {
            return false;
        }
        return true;
    }

    // An expression up to the next comma or word outside its brackets, as it stands: a text keeps
    // its quotes, without which it would be a name.
    std::string ParseDefault() {
        const auto begin = reader_.Offset();
        int open = 0;
        std::size_t taken = 0;
        for (;;) {
            if (reader_.AtEnd() ||
                (open == 0 && (reader_.IsSymbol(",") || reader_.IsSymbol(")")))) {
                break;
            }
            if (open == 0 && taken > 0 &&
                reader_.IsAnyWord({"not", "null", "with", "constraint", "primary", "unique"})) {
                break;
            }
            open += reader_.IsSymbol("(") ? 1 : reader_.IsSymbol(")") ? -1 : 0;
            reader_.Take();
            ++taken;
        }
        if (taken == 0) {
            throw FieldDefinitionError(reader_.Here());
        }
        return std::string(reader_.Slice(begin, reader_.LastEnd()));
    }

    void ParseTableConstraint() {
        std::string name;
        if (reader_.AcceptWord("constraint")) {
            name = reader_.ExpectName(kConstraint);
        }
        if (reader_.IsWord("foreign") || reader_.IsWord("check")) {
            throw NotSupported("The table rule " + UpperCased(reader_.Current().text));
        }
        const bool primary = reader_.AcceptWord("primary");
        reader_.ExpectWord(primary ? "key" : "unique", kConstraint);
        reader_.ExpectSymbol("(", kConstraint);
        std::vector<std::string> columns;
        do {
            columns.push_back(reader_.ExpectName(kConstraint));
        } while (reader_.AcceptSymbol(","));
        reader_.ExpectSymbol(")", kConstraint);
        AddIndex(
            name.empty() ? (primary ? "PrimaryKey" : columns.front()) : name, columns, primary);
    }

    // Rules become indexes: to the engine they are the same thing.
    void AddIndex(const std::string& name, const std::vector<std::string>& columns, bool primary) {
        IndexDefinition index;
        index.name = name;
        for (const auto& column : columns) {
            index.parts.push_back({column, false});
        }
        index.unique = true;
        index.primary = primary;
        index.disallow_null = primary;
        definition_->indexes.push_back(std::move(index));
    }

    // Each name once; the columns of a rule are columns of the table.
    void CheckNames() {
        const auto& columns = definition_->columns;
        for (std::size_t k = 0; k < columns.size(); ++k) {
            for (std::size_t j = 0; j < k; ++j) {
                if (SameName(columns[j].name, columns[k].name)) {
                    throw DataError(kErrSyntax,
                                    "Field '" + columns[k].name + "' already exists in table '" +
                                        definition_->name + "'.");
                }
            }
        }
        if (columns.empty()) {
            throw SyntaxErrorIn(kCreate, reader_.Here());
        }
        for (const auto& index : definition_->indexes) {
            for (const auto& part : index.parts) {
                bool found = false;
                for (const auto& column : columns) {
                    found = found || SameName(column.name, part.column);
                }
                if (!found) {
                    throw DataError(kErrSyntax, "No such field '" + part.column + "'.");
                }
            }
        }
    }

    TokenReader& reader_;
    TableDefinition* definition_ = nullptr;
};

}  // namespace

CreateTable ParseCreateTable(TokenReader& reader) {
    return DefinitionParser(reader).ParseTable();
}

CreateIndex ParseCreateIndex(TokenReader& reader, bool unique) {
    CreateIndex create;
    create.index.unique = unique;
    create.index.name = reader.ExpectName(kIndex);
    reader.ExpectWord("on", kIndex);
    create.table = reader.ExpectTableName(kIndex);
    reader.ExpectSymbol("(", kIndex);
    do {
        IndexDefinition::Part part;
        part.column = reader.ExpectName(kIndex);
        part.descending = reader.AcceptWord("desc");
        if (!part.descending) {
            reader.AcceptWord("asc");
        }
        create.index.parts.push_back(std::move(part));
    } while (reader.AcceptSymbol(","));
    reader.ExpectSymbol(")", kIndex);
    if (reader.AcceptWord("with")) {
        if (reader.AcceptWord("primary")) {
            create.index.primary = true;
            create.index.unique = true;
            create.index.disallow_null = true;
        } else {
            const bool disallow = reader.AcceptWord("disallow");
            if (!disallow) {
                reader.ExpectWord("ignore", kIndex);
            }
            reader.ExpectWord("null", kIndex);
            (disallow ? create.index.disallow_null : create.index.ignore_null) = true;
        }
    }
    return create;
}

}  // namespace vantry::sql
