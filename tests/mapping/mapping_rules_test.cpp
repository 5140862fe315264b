// The rules as a table of this test's own: which source types (left) may go to which target types
// (right), for each pair of kinds. A line that begins deeper goes on with the line above it.

#include "mapping/mapping_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vantry {
namespace {

const char kSets[] = R"(
A1 = LONG, INTEGER, CURRENCY, DOUBLE, SINGLE, TEXT, MEMO
A2 = TEXT, MEMO
M1 = BIT, TINYINT, SMALLINT, MEDIUMINT, BIGINT, INTEGER, FLOAT, DOUBLE, DECIMAL, INT, CHAR, TEXT,
    VARCHAR, TINYTEXT, MEDIUMTEXT, LONGTEXT
M2 = CHAR, TEXT, VARCHAR, TINYTEXT, MEDIUMTEXT, LONGTEXT
M3 = TINYBLOB, MEDIUMBLOB, LONGBLOB, BLOB
M4 = DATE, TIMESTAMP, TIME, DATETIME
S1 = INT, FLOAT, REAL, MONEY, SMALLINT, NUMERIC, DECIMAL, TINYINT, SMALLMONEY, UNIQUEIDENTIFIER,
    CHAR, TEXT, NCHAR, NVARCHAR, VARCHAR, NTEXT
S2 = CHAR, TEXT, NCHAR, NVARCHAR, VARCHAR, NTEXT
S3 = VARBINARY, BINARY, IMAGE
S4 = SMALLDATETIME, DATETIME, TIMESTAMP
F1 = INTEGER, NUMERIC, CURRENCY, DOUBLE, SINGLE, CHARACTER, MEMO
TEXTS = CHAR, TEXT, VARCHAR, TINYTEXT, MEDIUMTEXT, LONGTEXT
BLOBS = TINYBLOB, MEDIUMBLOB, LONGBLOB, BLOB
DATES = DATE, TIMESTAMP, TIME, DATETIME
NUMS = INT, FLOAT, MONEY, DECIMAL, NUMERIC, REAL, SMALLINT, SMALLMONEY, TINYINT, UNIQUEIDENTIFIER
CHARS = CHAR, NCHAR, NVARCHAR, NTEXT, TEXT, VARCHAR
BINS = BINARY, IMAGE, VARBINARY
STAMPS = DATETIME, SMALLDATETIME, TIMESTAMP
)";

const char kRules[] = R"(
ACCESS > ACCESS
  INTEGER, DOUBLE, LONG, SINGLE, CURRENCY -> A1
  TEXT, MEMO -> A2
  BINARY -> MEMOBIN, BINARY
  DATETIME, DATE -> DATE, DATETIME
ACCESS > ORACLE
  INTEGER, DOUBLE, LONG, SINGLE, CURRENCY -> VARCHAR, NUMBER, VARCHAR2, LONG, CLOB
  TEXT, MEMO -> CHAR, VARCHAR, VARCHAR2, LONG, CLOB
  BINARY -> BLOB, LONG RAW
  DATETIME, DATE -> DATE, DATETIME
ACCESS > MySQL
  INTEGER, DOUBLE, LONG, SINGLE, CURRENCY -> M1
  TEXT, MEMO -> M2
  BINARY -> M3
  DATETIME, DATE -> M4
ACCESS > MSSQL
  INTEGER, DOUBLE, LONG, SINGLE, CURRENCY -> S1
  TEXT, MEMO -> S2
  BINARY -> S3
  DATETIME, DATE -> S4
ACCESS > FOXPRO
  INTEGER, DOUBLE, LONG, SINGLE, CURRENCY -> INTEGER, NUMERIC, CURRENCY, DOUBLE, SINGLE, TEXT,
      MEMO
  TEXT -> CHARACTER
  MEMO -> MEMO
  BINARY -> MEMOBIN, GENERAL
  DATETIME, DATE -> DATE, DATETIME
ORACLE > ACCESS
  NUMBER -> A1
  VARCHAR, VARCHAR2 -> A2
  LONG, CLOB, NCLOB -> MEMO
  LONG RAW, BLOB -> BINARY, MEMOBIN
  DATE -> DATETIME, DATE
ORACLE > ORACLE
  NUMBER -> VARCHAR2, NUMBER, VARCHAR, CHAR, LONG, CLOB, NCLOB
  VARCHAR, VARCHAR2, LONG, CLOB, NCLOB -> VARCHAR2, VARCHAR, CHAR, LONG, CLOB, NCLOB
  LONG RAW, BLOB -> BLOB, LONG RAW
  DATE -> DATE
  RAW -> RAW
ORACLE > MySQL
  NUMBER -> BIT, TINYINT, SMALLINT, MEDIUMINT, BIGINT, INTEGER, FLOAT, DOUBLE, DECIMAL, INT,
      VARCHAR, VARCHAR2, LONG, CLOB, NCLOB
  VARCHAR, VARCHAR2, LONG, CLOB, NCLOB -> M2
  LONG RAW, BLOB, RAW -> M3
  DATE, TIMESTAMP -> M4
ORACLE > MSSQL
  NUMBER -> S1
  VARCHAR, VARCHAR2, LONG, CLOB, NCLOB -> S2
  LONG RAW, BLOB, RAW -> S3
  DATE, TIMESTAMP -> S4
ORACLE > FOXPRO
  NUMBER -> F1
  VARCHAR, VARCHAR2 -> MEMO, CHARACTER
  LONG, CLOB -> MEMO
  LONG RAW, BLOB -> MEMOBIN, GENERAL
  DATE -> DATETIME, DATE
FOXPRO > ACCESS
  NUMERIC, INTEGER, LONG, DOUBLE, CURRENCY -> A1
  CHARACTER, MEMO -> A2
  DATETIME -> DATETIME
  GENERAL -> BINARY
FOXPRO > ORACLE
  NUMERIC, INTEGER, LONG, DOUBLE, CURRENCY -> VARCHAR2, NUMBER, CHAR, VARCHAR, CLOB, LONG
  CHARACTER, MEMO -> CHAR, VARCHAR2, VARCHAR, CLOB, LONG
  DATETIME -> DATE
  GENERAL, MEMOBIN -> BLOB, LONG RAW
FOXPRO > FOXPRO
  NUMERIC, INTEGER, LONG, DOUBLE, CURRENCY -> INTEGER, NUMERIC, LONG, DOUBLE, CURRENCY
  CHARACTER, MEMO -> CHARACTER, MEMO
  DATETIME -> DATETIME
  GENERAL, MEMOBIN -> MEMOBIN, GENERAL
FOXPRO > MySQL
  NUMERIC, INTEGER, LONG, DOUBLE, CURRENCY -> M1
  CHARACTER, MEMO -> M2
  DATETIME -> M4
  GENERAL, MEMOBIN -> M3
FOXPRO > MSSQL
  NUMERIC, INTEGER, LONG, DOUBLE, CURRENCY -> S1
  CHARACTER, MEMO -> S2
  DATETIME -> S4
  GENERAL, MEMOBIN -> S3
MySQL > ACCESS
  BIT, INT, SMALLINT, MEDIUMINT, BIGINT, INTEGER, FLOAT, DOUBLE, DECIMAL -> A1
  TINYINT -> BOOLEAN, INTEGER, SINGLE, LONG, DOUBLE, TEXT, MEMO
  TEXTS -> A2
  BLOBS -> BINARY, MEMOBIN
  DATES -> DATETIME, DATE
MySQL > ORACLE
  BIT, SMALLINT, MEDIUMINT, BIGINT, INTEGER, FLOAT, DOUBLE, DECIMAL, TINYINT -> VARCHAR2, NUMBER,
      VARCHAR, CHAR, LONG, CLOB, NCLOB
  TEXTS -> VARCHAR2, VARCHAR, CHAR, LONG, CLOB, NCLOB
  BLOBS -> LONG RAW, BLOB
  DATES -> TIMESTAMP, DATE
  RAW -> RAW
MySQL > MySQL
  BIT, TINYINT, SMALLINT, MEDIUMINT, BIGINT, INTEGER, FLOAT, DOUBLE, DECIMAL, INT -> M1
  TEXTS -> M2
  BLOBS -> M3
  DATES -> M4
MySQL > MSSQL
  BIT, TINYINT, SMALLINT, MEDIUMINT, BIGINT, INTEGER, FLOAT, DOUBLE, DECIMAL, INT,
      UNSIGNEDINT -> S1, BIT
  TEXTS -> S2
  BLOBS -> S3
  DATES -> S4
MySQL > FOXPRO
  BIT, SMALLINT, MEDIUMINT, BIGINT, INTEGER, FLOAT, DOUBLE, DECIMAL -> F1
  TINYINT -> LOGICAL, INTEGER, LONG, DOUBLE, SINGLE, CHARACTER, MEMO
  TEXTS -> MEMO, CHARACTER
  BLOBS -> MEMOBIN, GENERAL
  DATES -> DATETIME, DATE
MSSQL > ACCESS
  NUMS -> A1
  CHARS -> A2
  BIT -> BOOLEAN
  BINS -> MEMOBIN, BINARY
  STAMPS -> DATE, DATETIME
MSSQL > ORACLE
  NUMS -> NUMBER, VARCHAR, CHAR, VARCHAR2, LONG, CLOB
  CHARS, BIT -> VARCHAR, CHAR, VARCHAR2, LONG, CLOB
  BINS -> BLOB, LONG RAW
  STAMPS -> DATE, DATETIME, TIMESTAMP
MSSQL > MySQL
  NUMS, BIT -> M1
  CHARS -> M2, TINYINT
  BINS -> M3
  STAMPS -> M4
MSSQL > FOXPRO
  NUMS -> F1
  CHARS -> MEMO, CHARACTER
  BIT -> LOGICAL
  BINS -> MEMOBIN, GENERAL
  STAMPS -> DATE, DATETIME
)";

using Names = std::set<std::string>;
using Kinds = std::pair<std::string, std::string>;

const std::vector<std::string> kSourceKinds = {
    "ACCESS", "FOXPRO", "ORACLE", "MySQL", "MSSQL", "ODBC", "TEXT", "TEXTPOLL"};
const std::vector<std::string> kTargetKinds = {
    "ACCESS", "FOXPRO", "ORACLE", "MySQL", "MSSQL", "TEXT"};

// Logical lines: a line that begins deeper than `depth` belongs to the one before it.
std::vector<std::string> LinesOf(const char* text, std::size_t depth) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        const auto start = line.find_first_not_of(' ');
        if (start == std::string::npos) {
            continue;
        }
        if (start > depth) {
            lines.back() += ' ' + line.substr(start);
        } else {
            lines.push_back(line.substr(start));
        }
    }
    return lines;
}

Names NamesOf(const std::string& list, const std::map<std::string, Names>& sets) {
    Names names;
    std::istringstream in(list);
    for (std::string name; std::getline(in, name, ',');) {
        name.erase(0, name.find_first_not_of(' '));
        name.erase(name.find_last_not_of(' ') + 1);
        const auto set = sets.find(name);
        if (set == sets.end()) {
            names.insert(name);
        } else {
            names.insert(set->second.begin(), set->second.end());
        }
    }
    return names;
}

struct Table {
    // Kinds, then source type, then the target types that it may go to.
    std::map<Kinds, std::map<std::string, Names>> rules;
    Names source_types = {"", "NOTYPE"};
    Names target_types = {"", "NOTYPE"};

    Table() {
        std::map<std::string, Names> sets;
        for (const auto& line : LinesOf(kSets, 0)) {
            const auto sign = line.find(" = ");
            sets[line.substr(0, sign)] = NamesOf(line.substr(sign + 3), {});
        }
        Kinds kinds;
        for (const auto& line : LinesOf(kRules, 2)) {
            if (const auto sign = line.find(" > "); sign != std::string::npos) {
                kinds = {line.substr(0, sign), line.substr(sign + 3)};
                continue;
            }
            const auto sign = line.find(" -> ");
            const auto allowed = NamesOf(line.substr(sign + 4), sets);
            target_types.insert(allowed.begin(), allowed.end());
            for (const auto& source : NamesOf(line.substr(0, sign), sets)) {
                source_types.insert(source);
                rules[kinds][source] = allowed;
            }
        }
    }
};

std::string Judge(const std::string& source_type,
                  const std::string& target_type,
                  const std::string& target_name = "b",
                  i16 target_width = 10) {
    return CheckColumnPair("a", target_name, source_type, target_type, 0, target_width, 0, 0);
}

std::string TypeBlock(const std::string& target_name,
                      const std::string& source_type,
                      const std::string& target_type) {
    return "\r\nInvalid Datatype Mapping.\r\nSrc Col Name :a\r\nDest Col Name:" + target_name +
           "\r\nSource Datatype:" + source_type + "\r\nDest. Datatype:" + target_type;
}

class MappingRulesTest : public testing::Test {
protected:
    MappingRulesTest() { FoxDestMode = "DBC"; }

    static void Between(const std::string& source, const std::string& target) {
        SourceType = source;
        TargetType = target;
    }
};

TEST_F(MappingRulesTest, EveryCellOfTheTablesIsJudgedAsItStands) {
    const Table table;
    ASSERT_EQ(table.rules.size(), 24U);
    int judged = 0;
    int refused = 0;
    for (const auto& source_kind : kSourceKinds) {
        for (const auto& target_kind : kTargetKinds) {
            Between(source_kind, target_kind);
            const auto rules = table.rules.find({source_kind, target_kind});
            for (const auto& source : table.source_types) {
                for (const auto& target : table.target_types) {
                    bool allowed = true;
                    if (rules != table.rules.end()) {
                        const auto rule = rules->second.find(source);
                        allowed = rule == rules->second.end() || rule->second.contains(target);
                    }
                    ++judged;
                    refused += allowed ? 0 : 1;
                    EXPECT_EQ(Judge(source, target), allowed ? "" : TypeBlock("b", source, target))
                        << source_kind << " to " << target_kind;
                }
            }
        }
    }
    RecordProperty("judged", judged);
    RecordProperty("refused", refused);
    EXPECT_GT(refused, 1000);
}

TEST_F(MappingRulesTest, LetterCaseAndOuterBlanksOfTypesDontCount) {
    Between("ACCESS", "MySQL");
    EXPECT_EQ(Judge(" Memo ", " text"), "");
    EXPECT_EQ(Judge(" Memo ", "bLob "), TypeBlock("b", " Memo ", "bLob "));
    // A FoxPro source type with blanks is unknown, unless the target is Access.
    Between("FOXPRO", "MySQL");
    EXPECT_EQ(Judge(" Memo ", "BLOB"), "");
    EXPECT_EQ(Judge("Memo", "BLOB"), TypeBlock("b", "Memo", "BLOB"));
    Between("FOXPRO", "ACCESS");
    EXPECT_EQ(Judge(" Memo ", "Binary"), TypeBlock("b", " Memo ", "Binary"));
}

TEST_F(MappingRulesTest, KindsAreComparedExactly) {
    Between("MYSQL", "MySQL");
    EXPECT_EQ(Judge("TEXT", "BLOB"), "");
    Between("MySQL", "MYSQL");
    EXPECT_EQ(Judge("TEXT", "BLOB"), "");
}

const char kTooLongForOracle[] = "Column Name must be less than 30 Chars";
const std::string kNoSpaces = "No Spaces Allowed in Column Names. Col:";
const std::string kFreeTable = " Col. Name Length must be <= 10 Chars in Free table DBF File";
const std::string kCharacterWidth = "Character Column width must be <= 254 Col:";
const std::string kNumericWidth = "Numeric Column width must be <= 20 Col:";

TEST_F(MappingRulesTest, NamesForOracleHaveAtMostThirtyCharactersAndNoBlank) {
    const std::string thirty(30, 'n');
    std::string accented;
    for (int i = 0; i < 30; ++i) {
        accented += "\u00e9";
    }
    for (const auto& source : kSourceKinds) {
        Between(source, "ORACLE");
        const bool judged = source == "ACCESS" || source == "ORACLE" || source == "MySQL" ||
                            source == "MSSQL" || source == "TEXT";
        EXPECT_EQ(Judge("", "", thirty), "") << source;
        EXPECT_EQ(Judge("", "", accented), "") << source;
        EXPECT_EQ(Judge("", "", thirty + "n"), judged ? kTooLongForOracle : "") << source;
        EXPECT_EQ(Judge("", "", thirty + " n"), judged ? kTooLongForOracle : "") << source;
        EXPECT_EQ(Judge("", "", "Order Date"), judged ? kNoSpaces + "Order Date" : "") << source;
    }
}

TEST_F(MappingRulesTest, NamesAndWidthsForFoxProAreJudgedInOneOrder) {
    struct {
        const char* mode;
        const char* name;
        const char* type;
        i16 width;
        std::string error;         // from kinds with the numeric width test
        std::string without_test;  // from the others
    } const cases[] = {
        {"DIR", "tencharact", "", 0, "", ""},
        {"DIR", "Order Date", "", 0, kNoSpaces + "Order Date", kNoSpaces + "Order Date"},
        {"DIR", "Order Date2", "", 0, "Order Date2" + kFreeTable, "Order Date2" + kFreeTable},
        {"DIR",
         "elevenchars",
         "Character",
         300,
         "elevenchars" + kFreeTable,
         "elevenchars" + kFreeTable},
        {"DBC", "elevenchars", "", 0, "", ""},
        {"DBC", "eleven char", "", 0, kNoSpaces + "eleven char", kNoSpaces + "eleven char"},
        {"DBC", "c", "Character", 254, "", ""},
        {"DBC", "c", " character ", 255, kCharacterWidth + "c", kCharacterWidth + "c"},
        {"DBC", "a c", "CHARACTER", 255, kCharacterWidth + "a c", kCharacterWidth + "a c"},
        {"DBC", "n", "Numeric", 20, "", ""},
        {"DBC", "n", "Numeric", 21, kNumericWidth + "n", ""},
        {"DBC", "a n", "Numeric", 30, kNumericWidth + "a n", kNoSpaces + "a n"},
        {"DBC", "m", "Memo", 300, "", ""},
    };
    for (const auto& source : kSourceKinds) {
        Between(source, "FOXPRO");
        for (const auto& c : cases) {
            FoxDestMode = c.mode;
            std::string expected;
            if (source == "FOXPRO" || source == "TEXT") {
                expected = c.without_test;
            } else if (source != "ODBC" && source != "TEXTPOLL") {
                expected = c.error;
            }
            EXPECT_EQ(Judge("", c.type, c.name, c.width), expected) << source << ' ' << c.name;
        }
    }
}

TEST_F(MappingRulesTest, NamesForOtherTargetsAreFree) {
    const std::string name = "a name of more than thirty characters";
    for (const auto& source : kSourceKinds) {
        for (const char* target : {"ACCESS", "MySQL", "MSSQL", "TEXT"}) {
            Between(source, target);
            EXPECT_EQ(Judge("", "", name, 300), "") << source << ' ' << target;
        }
    }
}

TEST_F(MappingRulesTest, ANameMessageStandsBeforeTheTypeBlock) {
    const std::string name(31, 'n');
    Between("ACCESS", "ORACLE");
    EXPECT_EQ(Judge("Text", "Date", name), kTooLongForOracle + TypeBlock(name, "Text", "Date"));
    Between("FOXPRO", "FOXPRO");
    EXPECT_EQ(Judge("Memo", "Date", "a b"), kNoSpaces + "a b" + TypeBlock("a b", "Memo", "Date"));
    Between("TEXT", "ORACLE");
    EXPECT_EQ(Judge("Text", "Date", name), kTooLongForOracle);
}

}  // namespace
}  // namespace vantry
