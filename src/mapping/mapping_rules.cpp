#include "mapping/mapping_rules.h"

#include "data/letter_case.h"
#include "data/utf.h"
#include "mapping/type_rules.h"

#include <string_view>

namespace vantry {
namespace {

enum class NumericWidthTest { No, Yes };

// What the rules look at; they know nothing of the source's width and of decimals.
struct ColumnPair {
    const std::string& SCName;
    const std::string& DCName;
    const std::string& SDtype;
    const std::string& DDtype;
    i16 DWidth;
};

constexpr std::size_t kOracleNameLimit = 30;  // characters
constexpr std::size_t kFreeTableNameLimit = 10;
constexpr i16 kFoxCharacterLimit = 254;
constexpr i16 kFoxNumericLimit = 20;

std::string NoSpaces(const std::string& name) {
    return "No Spaces Allowed in Column Names. Col:" + name;
}

bool HasBlank(const std::string& name) {
    return name.find(' ') != std::string::npos;
}

std::string OracleNameError(const std::string& name) {
    if (CountCodePoints(name) > kOracleNameLimit) {
        return "Column Name must be less than 30 Chars";
    }
    return HasBlank(name) ? NoSpaces(name) : "";
}

std::string FoxProError(const ColumnPair& pair, NumericWidthTest numeric_test) {
    const std::string& name = pair.DCName;
    const std::string kind = UpperCased(Trimmed(pair.DDtype));
    if (FoxDestMode == "DIR" && CountCodePoints(name) > kFreeTableNameLimit) {
        return name + " Col. Name Length must be <= 10 Chars in Free table DBF File";
    }
    if (kind == "CHARACTER" && pair.DWidth > kFoxCharacterLimit) {
        return "Character Column width must be <= 254 Col:" + name;
    }
    if (numeric_test == NumericWidthTest::Yes && kind == "NUMERIC" &&
        pair.DWidth > kFoxNumericLimit) {
        return "Numeric Column width must be <= 20 Col:" + name;
    }
    return HasBlank(name) ? NoSpaces(name) : "";
}

std::string NameError(const ColumnPair& pair, NumericWidthTest numeric_test) {
    if (TargetType == "ORACLE") {
        return OracleNameError(pair.DCName);
    }
    if (TargetType == "FOXPRO") {
        return FoxProError(pair, numeric_test);
    }
    return {};
}

// The block for a type that mustn't go there; empty when it may. `source_key` is what is looked up,
// the block shows names and types as they were given.
std::string TypeError(std::string_view source_kind,
                      const std::string& source_key,
                      const ColumnPair& pair) {
    if (IsTypePairAllowed(source_kind, TargetType, source_key, UpperCased(Trimmed(pair.DDtype)))) {
        return {};
    }
    return "\r\nInvalid Datatype Mapping.\r\nSrc Col Name :" + pair.SCName +
           "\r\nDest Col Name:" + pair.DCName + "\r\nSource Datatype:" + pair.SDtype +
           "\r\nDest. Datatype:" + pair.DDtype;
}

std::string NameAndTypeErrors(std::string_view source_kind, const ColumnPair& pair) {
    return NameError(pair, NumericWidthTest::Yes) +
           TypeError(source_kind, UpperCased(Trimmed(pair.SDtype)), pair);
}

std::string CheckFromAccess(const ColumnPair& pair) {
    return NameAndTypeErrors("ACCESS", pair);
}

std::string CheckFromOracle(const ColumnPair& pair) {
    return NameAndTypeErrors("ORACLE", pair);
}

// Unlike the others: no name rule for an Oracle target, no numeric width test, and outer blanks of
// the source type count except for an Access target.
std::string CheckFromFoxPro(const ColumnPair& pair) {
    std::string text;
    if (TargetType == "FOXPRO") {
        text = FoxProError(pair, NumericWidthTest::No);
    }
    const std::string key =
        TargetType == "ACCESS" ? UpperCased(Trimmed(pair.SDtype)) : UpperCased(pair.SDtype);
    return text + TypeError("FOXPRO", key, pair);
}

std::string CheckFromMySQL(const ColumnPair& pair) {
    return NameAndTypeErrors("MySQL", pair);
}

std::string CheckFromMSSQL(const ColumnPair& pair) {
    return NameAndTypeErrors("MSSQL", pair);
}

// Text has no types: names and widths alone.
std::string CheckFromText(const ColumnPair& pair) {
    return NameError(pair, NumericWidthTest::No);
}

}  // namespace

std::string CheckColumnPair(const std::string& SCName,
                            const std::string& DCName,
                            const std::string& SDtype,
                            const std::string& DDtype,
                            i16 /*SWidth*/,
                            i16 DWidth,
                            i16 /*SScale*/,
                            i16 /*DScale*/) {
    using RuleFunction = decltype(&CheckFromAccess);
    static constexpr std::pair<std::string_view, RuleFunction> kFunctions[] = {
        {"ACCESS", CheckFromAccess},
        {"ORACLE", CheckFromOracle},
        {"FOXPRO", CheckFromFoxPro},
        {"MySQL", CheckFromMySQL},
        {"MSSQL", CheckFromMSSQL},
        {"TEXT", CheckFromText},
    };
    for (const auto& [kind, function] : kFunctions) {
        if (SourceType == kind) {
            return function({SCName, DCName, SDtype, DDtype, DWidth});
        }
    }
    return {};
}

}  // namespace vantry
