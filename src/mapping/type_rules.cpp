// Rows of (source kind, target kind, source types, allowed target types); the first row that has
// the source type decides. Easy to get wrong: a type that stands in no row passes with every
// target, which some types rely on (INT between MySQL and Oracle, NCLOB to FoxPro), so a group that
// looks incomplete is meant. The lists are by hand and apart from the catalogue: users were warned
// by them for years, and a new warning stops a session that has always run.

#include "mapping/type_rules.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace vantry {
namespace {

// Type names, some of them named sets; the sets are resolved as the rules are built.
class Names {
public:
    Names(std::initializer_list<const char*> names) : names_(names.begin(), names.end()) {}
    Names operator+(const Names& more) const {
        Names both = *this;
        both.names_.insert(both.names_.end(), more.names_.begin(), more.names_.end());
        return both;
    }
    bool Has(std::string_view name) const {
        return std::find(names_.begin(), names_.end(), name) != names_.end();
    }

private:
    std::vector<std::string_view> names_;
};

struct Rule {
    std::string_view source_kind;
    std::string_view target_kind;
    Names source_types;
    Names allowed;
};

// clang-format off
// Sets that several kinds share: A Access, M MySQL, S SQL Server, F FoxPro; 1 numbers and what takes
// them, 2 texts, 3 binaries, 4 dates.
// NOLINTBEGIN(readability-identifier-naming,readability-function-size,performance-unnecessary-copy-initialization): one table, its
// groups by the names that they have in it
std::vector<Rule> MakeRules() {
    const Names A1 = {"LONG", "INTEGER", "CURRENCY", "DOUBLE", "SINGLE", "TEXT", "MEMO"};
    const Names A2 = {"TEXT", "MEMO"};
    const Names M1 = {"BIT", "TINYINT", "SMALLINT", "MEDIUMINT", "BIGINT", "INTEGER", "FLOAT",
                      "DOUBLE", "DECIMAL", "INT", "CHAR", "TEXT", "VARCHAR", "TINYTEXT",
                      "MEDIUMTEXT", "LONGTEXT"};
    const Names M2 = {"CHAR", "TEXT", "VARCHAR", "TINYTEXT", "MEDIUMTEXT", "LONGTEXT"};
    const Names M3 = {"TINYBLOB", "MEDIUMBLOB", "LONGBLOB", "BLOB"};
    const Names M4 = {"DATE", "TIMESTAMP", "TIME", "DATETIME"};
    const Names S1 = {"INT", "FLOAT", "REAL", "MONEY", "SMALLINT", "NUMERIC", "DECIMAL", "TINYINT",
                      "SMALLMONEY", "UNIQUEIDENTIFIER", "CHAR", "TEXT", "NCHAR", "NVARCHAR",
                      "VARCHAR", "NTEXT"};
    const Names S2 = {"CHAR", "TEXT", "NCHAR", "NVARCHAR", "VARCHAR", "NTEXT"};
    const Names S3 = {"VARBINARY", "BINARY", "IMAGE"};
    const Names S4 = {"SMALLDATETIME", "DATETIME", "TIMESTAMP"};
    const Names F1 = {"INTEGER", "NUMERIC", "CURRENCY", "DOUBLE", "SINGLE", "CHARACTER", "MEMO"};

    // What the source kinds call their types.
    const Names AccessNumbers = {"INTEGER", "DOUBLE", "LONG", "SINGLE", "CURRENCY"};
    const Names AccessDates = {"DATETIME", "DATE"};
    const Names OracleTexts = {"VARCHAR", "VARCHAR2", "LONG", "CLOB", "NCLOB"};
    const Names FoxNumbers = {"NUMERIC", "INTEGER", "LONG", "DOUBLE", "CURRENCY"};
    const Names FoxTexts = {"CHARACTER", "MEMO"};
    const Names FoxBinaries = {"GENERAL", "MEMOBIN"};
    const Names TEXTS = M2;
    const Names BLOBS = M3;
    const Names DATES = M4;
    const Names NUMS = {"INT", "FLOAT", "MONEY", "DECIMAL", "NUMERIC", "REAL", "SMALLINT",
                        "SMALLMONEY", "TINYINT", "UNIQUEIDENTIFIER"};
    const Names CHARS = {"CHAR", "NCHAR", "NVARCHAR", "NTEXT", "TEXT", "VARCHAR"};
    const Names BINS = {"BINARY", "IMAGE", "VARBINARY"};
    const Names STAMPS = {"DATETIME", "SMALLDATETIME", "TIMESTAMP"};

    return {
        {"ACCESS", "ACCESS", AccessNumbers,      A1},
        {"ACCESS", "ACCESS", {"TEXT", "MEMO"},   A2},
        {"ACCESS", "ACCESS", {"BINARY"},         {"MEMOBIN", "BINARY"}},
        {"ACCESS", "ACCESS", AccessDates,        {"DATE", "DATETIME"}},

        {"ACCESS", "ORACLE", AccessNumbers,      {"VARCHAR", "NUMBER", "VARCHAR2", "LONG", "CLOB"}},
        {"ACCESS", "ORACLE", {"TEXT", "MEMO"},   {"CHAR", "VARCHAR", "VARCHAR2", "LONG", "CLOB"}},
        {"ACCESS", "ORACLE", {"BINARY"},         {"BLOB", "LONG RAW"}},
        {"ACCESS", "ORACLE", AccessDates,        {"DATE", "DATETIME"}},

        {"ACCESS", "MySQL",  AccessNumbers,      M1},
        {"ACCESS", "MySQL",  {"TEXT", "MEMO"},   M2},
        {"ACCESS", "MySQL",  {"BINARY"},         M3},
        {"ACCESS", "MySQL",  AccessDates,        M4},

        {"ACCESS", "MSSQL",  AccessNumbers,      S1},
        {"ACCESS", "MSSQL",  {"TEXT", "MEMO"},   S2},
        {"ACCESS", "MSSQL",  {"BINARY"},         S3},
        {"ACCESS", "MSSQL",  AccessDates,        S4},

        // TEXT and not CHARACTER here: a number goes to a FoxPro text column by MEMO alone.
        {"ACCESS", "FOXPRO", AccessNumbers,
            {"INTEGER", "NUMERIC", "CURRENCY", "DOUBLE", "SINGLE", "TEXT", "MEMO"}},
        {"ACCESS", "FOXPRO", {"TEXT"},           {"CHARACTER"}},
        {"ACCESS", "FOXPRO", {"MEMO"},           {"MEMO"}},
        {"ACCESS", "FOXPRO", {"BINARY"},         {"MEMOBIN", "GENERAL"}},
        {"ACCESS", "FOXPRO", AccessDates,        {"DATE", "DATETIME"}},

        {"ORACLE", "ACCESS", {"NUMBER"},                A1},
        {"ORACLE", "ACCESS", {"VARCHAR", "VARCHAR2"},   A2},
        {"ORACLE", "ACCESS", {"LONG", "CLOB", "NCLOB"}, {"MEMO"}},
        {"ORACLE", "ACCESS", {"LONG RAW", "BLOB"},      {"BINARY", "MEMOBIN"}},
        {"ORACLE", "ACCESS", {"DATE"},                  {"DATETIME", "DATE"}},

        {"ORACLE", "ORACLE", {"NUMBER"},
            {"VARCHAR2", "NUMBER", "VARCHAR", "CHAR", "LONG", "CLOB", "NCLOB"}},
        {"ORACLE", "ORACLE", OracleTexts,
            {"VARCHAR2", "VARCHAR", "CHAR", "LONG", "CLOB", "NCLOB"}},
        {"ORACLE", "ORACLE", {"LONG RAW", "BLOB"},      {"BLOB", "LONG RAW"}},
        {"ORACLE", "ORACLE", {"DATE"},                  {"DATE"}},
        {"ORACLE", "ORACLE", {"RAW"},                   {"RAW"}},

        {"ORACLE", "MySQL",  {"NUMBER"},
            {"BIT", "TINYINT", "SMALLINT", "MEDIUMINT", "BIGINT", "INTEGER", "FLOAT", "DOUBLE",
             "DECIMAL", "INT", "VARCHAR", "VARCHAR2", "LONG", "CLOB", "NCLOB"}},
        {"ORACLE", "MySQL",  OracleTexts,                 M2},
        {"ORACLE", "MySQL",  {"LONG RAW", "BLOB", "RAW"}, M3},
        {"ORACLE", "MySQL",  {"DATE", "TIMESTAMP"},       M4},

        {"ORACLE", "MSSQL",  {"NUMBER"},                  S1},
        {"ORACLE", "MSSQL",  OracleTexts,                 S2},
        {"ORACLE", "MSSQL",  {"LONG RAW", "BLOB", "RAW"}, S3},
        {"ORACLE", "MSSQL",  {"DATE", "TIMESTAMP"},       S4},

        {"ORACLE", "FOXPRO", {"NUMBER"},                F1},
        {"ORACLE", "FOXPRO", {"VARCHAR", "VARCHAR2"},   {"MEMO", "CHARACTER"}},
        {"ORACLE", "FOXPRO", {"LONG", "CLOB"},          {"MEMO"}},
        {"ORACLE", "FOXPRO", {"LONG RAW", "BLOB"},      {"MEMOBIN", "GENERAL"}},
        {"ORACLE", "FOXPRO", {"DATE"},                  {"DATETIME", "DATE"}},

        {"FOXPRO", "ACCESS", FoxNumbers,   A1},
        {"FOXPRO", "ACCESS", FoxTexts,     A2},
        {"FOXPRO", "ACCESS", {"DATETIME"}, {"DATETIME"}},
        {"FOXPRO", "ACCESS", {"GENERAL"},  {"BINARY"}},

        {"FOXPRO", "ORACLE", FoxNumbers,
            {"VARCHAR2", "NUMBER", "CHAR", "VARCHAR", "CLOB", "LONG"}},
        {"FOXPRO", "ORACLE", FoxTexts,     {"CHAR", "VARCHAR2", "VARCHAR", "CLOB", "LONG"}},
        {"FOXPRO", "ORACLE", {"DATETIME"}, {"DATE"}},
        {"FOXPRO", "ORACLE", FoxBinaries,  {"BLOB", "LONG RAW"}},

        {"FOXPRO", "FOXPRO", FoxNumbers,   {"INTEGER", "NUMERIC", "LONG", "DOUBLE", "CURRENCY"}},
        {"FOXPRO", "FOXPRO", FoxTexts,     {"CHARACTER", "MEMO"}},
        {"FOXPRO", "FOXPRO", {"DATETIME"}, {"DATETIME"}},
        {"FOXPRO", "FOXPRO", FoxBinaries,  {"MEMOBIN", "GENERAL"}},

        {"FOXPRO", "MySQL",  FoxNumbers,   M1},
        {"FOXPRO", "MySQL",  FoxTexts,     M2},
        {"FOXPRO", "MySQL",  {"DATETIME"}, M4},
        {"FOXPRO", "MySQL",  FoxBinaries,  M3},

        {"FOXPRO", "MSSQL",  FoxNumbers,   S1},
        {"FOXPRO", "MSSQL",  FoxTexts,     S2},
        {"FOXPRO", "MSSQL",  {"DATETIME"}, S4},
        {"FOXPRO", "MSSQL",  FoxBinaries,  S3},

        {"MySQL", "ACCESS",
            {"BIT", "INT", "SMALLINT", "MEDIUMINT", "BIGINT", "INTEGER", "FLOAT", "DOUBLE",
             "DECIMAL"},                   A1},
        {"MySQL", "ACCESS", {"TINYINT"},
            {"BOOLEAN", "INTEGER", "SINGLE", "LONG", "DOUBLE", "TEXT", "MEMO"}},
        {"MySQL", "ACCESS", TEXTS,         A2},
        {"MySQL", "ACCESS", BLOBS,         {"BINARY", "MEMOBIN"}},
        {"MySQL", "ACCESS", DATES,         {"DATETIME", "DATE"}},

        // INT is left free here.
        {"MySQL", "ORACLE",
            {"BIT", "SMALLINT", "MEDIUMINT", "BIGINT", "INTEGER", "FLOAT", "DOUBLE", "DECIMAL",
             "TINYINT"},
            {"VARCHAR2", "NUMBER", "VARCHAR", "CHAR", "LONG", "CLOB", "NCLOB"}},
        {"MySQL", "ORACLE", TEXTS,
            {"VARCHAR2", "VARCHAR", "CHAR", "LONG", "CLOB", "NCLOB"}},
        {"MySQL", "ORACLE", BLOBS,         {"LONG RAW", "BLOB"}},
        {"MySQL", "ORACLE", DATES,         {"TIMESTAMP", "DATE"}},
        {"MySQL", "ORACLE", {"RAW"},       {"RAW"}},

        {"MySQL", "MySQL",
            {"BIT", "TINYINT", "SMALLINT", "MEDIUMINT", "BIGINT", "INTEGER", "FLOAT", "DOUBLE",
             "DECIMAL", "INT"},            M1},
        {"MySQL", "MySQL",  TEXTS,         M2},
        {"MySQL", "MySQL",  BLOBS,         M3},
        {"MySQL", "MySQL",  DATES,         M4},

        {"MySQL", "MSSQL",
            {"BIT", "TINYINT", "SMALLINT", "MEDIUMINT", "BIGINT", "INTEGER", "FLOAT", "DOUBLE",
             "DECIMAL", "INT", "UNSIGNEDINT"}, S1 + Names{"BIT"}},
        {"MySQL", "MSSQL",  TEXTS,         S2},
        {"MySQL", "MSSQL",  BLOBS,         S3},
        {"MySQL", "MSSQL",  DATES,         S4},

        // INT is left free here.
        {"MySQL", "FOXPRO",
            {"BIT", "SMALLINT", "MEDIUMINT", "BIGINT", "INTEGER", "FLOAT", "DOUBLE", "DECIMAL"},
            F1},
        {"MySQL", "FOXPRO", {"TINYINT"},
            {"LOGICAL", "INTEGER", "LONG", "DOUBLE", "SINGLE", "CHARACTER", "MEMO"}},
        {"MySQL", "FOXPRO", TEXTS,         {"MEMO", "CHARACTER"}},
        {"MySQL", "FOXPRO", BLOBS,         {"MEMOBIN", "GENERAL"}},
        {"MySQL", "FOXPRO", DATES,         {"DATETIME", "DATE"}},

        // Between two SQL Servers everything passes: there are no rows.
        {"MSSQL", "ACCESS", NUMS,          A1},
        {"MSSQL", "ACCESS", CHARS,         A2},
        {"MSSQL", "ACCESS", {"BIT"},       {"BOOLEAN"}},
        {"MSSQL", "ACCESS", BINS,          {"MEMOBIN", "BINARY"}},
        {"MSSQL", "ACCESS", STAMPS,        {"DATE", "DATETIME"}},

        {"MSSQL", "ORACLE", NUMS,
            {"NUMBER", "VARCHAR", "CHAR", "VARCHAR2", "LONG", "CLOB"}},
        {"MSSQL", "ORACLE", CHARS + Names{"BIT"}, {"VARCHAR", "CHAR", "VARCHAR2", "LONG", "CLOB"}},
        {"MSSQL", "ORACLE", BINS,          {"BLOB", "LONG RAW"}},
        {"MSSQL", "ORACLE", STAMPS,        {"DATE", "DATETIME", "TIMESTAMP"}},

        {"MSSQL", "MySQL",  NUMS + Names{"BIT"}, M1},
        {"MSSQL", "MySQL",  CHARS,         M2 + Names{"TINYINT"}},
        {"MSSQL", "MySQL",  BINS,          M3},
        {"MSSQL", "MySQL",  STAMPS,        M4},

        {"MSSQL", "FOXPRO", NUMS,          F1},
        {"MSSQL", "FOXPRO", CHARS,         {"MEMO", "CHARACTER"}},
        {"MSSQL", "FOXPRO", {"BIT"},       {"LOGICAL"}},
        {"MSSQL", "FOXPRO", BINS,          {"MEMOBIN", "GENERAL"}},
        {"MSSQL", "FOXPRO", STAMPS,        {"DATE", "DATETIME"}},
    };
}
// NOLINTEND(readability-identifier-naming,readability-function-size,performance-unnecessary-copy-initialization)
// clang-format on

}  // namespace

bool IsTypePairAllowed(std::string_view source_kind,
                       std::string_view target_kind,
                       std::string_view source_type,
                       std::string_view target_type) {
    // Built once; a few hundred comparisons a column are nothing beside the probe that found it.
    static const std::vector<Rule> rules = MakeRules();
    for (const auto& rule : rules) {
        if (rule.source_kind == source_kind && rule.target_kind == target_kind &&
            rule.source_types.Has(source_type)) {
            return rule.allowed.Has(target_type);
        }
    }
    return true;
}

}  // namespace vantry
