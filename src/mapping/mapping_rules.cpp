// A row is judged by its target's rules for names and widths first, then by the table of type
// pairs. The first rule that is broken gives the name message; the type block is added to it, so a
// row can have both. Easy to get wrong: a FoxPro source is judged by rules of its own in three
// points, a text source has no types, and the messages' words, line breaks included, are what users
// search for.

#include "mapping/mapping_rules.h"

#include "core/kinds.h"
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
        // Thirty are allowed, whatever the words say.
        return "Column Name must be less than 30 Chars";
    }
    return HasBlank(name) ? NoSpaces(name) : "";
}

std::string FoxProError(const ColumnPair& pair, NumericWidthTest numeric_test) {
    const std::string& name = pair.DCName;
    const std::string kind = UpperCased(Trimmed(pair.DDtype));
    // A free table's file has room for ten bytes a name; a container keeps long ones beside it.
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
    switch (ThisTarget().name_rules) {
        case NameRules::Oracle:
            return OracleNameError(pair.DCName);
        case NameRules::FoxPro:
            return FoxProError(pair, numeric_test);
        case NameRules::None:
            break;
    }
    return {};
}

// The block for a type that mustn't go there; empty when it may. `source_key` is what is looked up,
// the block shows names and types as they were given.
std::string TypeError(const std::string& source_key, const ColumnPair& pair) {
    if (IsTypePairAllowed(SourceType, TargetType, source_key, UpperCased(Trimmed(pair.DDtype)))) {
        return {};
    }
    return "\r\nInvalid Datatype Mapping.\r\nSrc Col Name :" + pair.SCName +
           "\r\nDest Col Name:" + pair.DCName + "\r\nSource Datatype:" + pair.SDtype +
           "\r\nDest. Datatype:" + pair.DDtype;
}

std::string NameAndTypeErrors(const ColumnPair& pair) {
    return NameError(pair, NumericWidthTest::Yes) +
           TypeError(UpperCased(Trimmed(pair.SDtype)), pair);
}

std::string CheckFromAccess(const ColumnPair& pair) {
    return NameAndTypeErrors(pair);
}

std::string CheckFromOracle(const ColumnPair& pair) {
    return NameAndTypeErrors(pair);
}

// Unlike the others: no name rule for an Oracle target, no numeric width test, and outer blanks of
// the source type count except for an Access target.
std::string CheckFromFoxPro(const ColumnPair& pair) {
    const auto& target = ThisTarget();
    std::string text;
    if (target.name_rules == NameRules::FoxPro) {
        text = FoxProError(pair, NumericWidthTest::No);
    }
    const std::string key = UpperCased(target.trims_foxpro_types ? Trimmed(pair.SDtype)
                                                                 : std::string_view(pair.SDtype));
    return text + TypeError(key, pair);
}

std::string CheckFromMySQL(const ColumnPair& pair) {
    return NameAndTypeErrors(pair);
}

std::string CheckFromMSSQL(const ColumnPair& pair) {
    return NameAndTypeErrors(pair);
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
    // Widths of the source and decimals are part of what callers pass, and no rule looks at them.
    const ColumnPair pair{SCName, DCName, SDtype, DDtype, DWidth};
    switch (ThisSource().map_rules) {
        case MapRules::Access:
            return CheckFromAccess(pair);
        case MapRules::Oracle:
            return CheckFromOracle(pair);
        case MapRules::FoxPro:
            return CheckFromFoxPro(pair);
        case MapRules::MySQL:
            return CheckFromMySQL(pair);
        case MapRules::MSSQL:
            return CheckFromMSSQL(pair);
        case MapRules::Text:
            return CheckFromText(pair);
        case MapRules::None:
            break;
    }
    return {};
}

}  // namespace vantry
