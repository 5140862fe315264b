#include "mapping/mapping_rules.h"

#include "data/letter_case.h"
#include "data/utf.h"
#include "mapping/type_rules.h"

#include <string_view>

namespace vantry {
namespace {

enum class NumericWidthTest { No, Yes };

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

std::string FoxProError(const std::string& name,
                        const std::string& type,
                        i16 width,
                        NumericWidthTest numeric_test) {
    const std::string kind = UpperCased(Trimmed(type));
    if (FoxDestMode == "DIR" && CountCodePoints(name) > kFreeTableNameLimit) {
        return name + " Col. Name Length must be <= 10 Chars in Free table DBF File";
    }
    if (kind == "CHARACTER" && width > kFoxCharacterLimit) {
        return "Character Column width must be <= 254 Col:" + name;
    }
    if (numeric_test == NumericWidthTest::Yes && kind == "NUMERIC" && width > kFoxNumericLimit) {
        return "Numeric Column width must be <= 20 Col:" + name;
    }
    return HasBlank(name) ? NoSpaces(name) : "";
}

std::string NameError(const std::string& name,
                      const std::string& type,
                      i16 width,
                      NumericWidthTest numeric_test) {
    if (TargetType == "ORACLE") {
        return OracleNameError(name);
    }
    if (TargetType == "FOXPRO") {
        return FoxProError(name, type, width, numeric_test);
    }
    return {};
}

// The block for a type that mustn't go there; empty when it may. `source_key` is what is looked up,
// the block shows names and types as they were given.
std::string TypeError(std::string_view source_kind,
                      const std::string& source_key,
                      const std::string& source_name,
                      const std::string& target_name,
                      const std::string& source_type,
                      const std::string& target_type) {
    if (IsTypePairAllowed(source_kind, TargetType, source_key, UpperCased(Trimmed(target_type)))) {
        return {};
    }
    return "\r\nInvalid Datatype Mapping.\r\nSrc Col Name :" + source_name +
           "\r\nDest Col Name:" + target_name + "\r\nSource Datatype:" + source_type +
           "\r\nDest. Datatype:" + target_type;
}

std::string NameAndTypeErrors(std::string_view source_kind,
                              const std::string& source_name,
                              const std::string& target_name,
                              const std::string& source_type,
                              const std::string& target_type,
                              i16 target_width) {
    return NameError(target_name, target_type, target_width, NumericWidthTest::Yes) +
           TypeError(source_kind,
                     UpperCased(Trimmed(source_type)),
                     source_name,
                     target_name,
                     source_type,
                     target_type);
}

}  // namespace

std::string CheckFromAccess(const std::string& SCName,
                            const std::string& DCName,
                            const std::string& SDtype,
                            const std::string& DDtype,
                            i16 /*SWidth*/,
                            i16 DWidth,
                            i16 /*SScale*/,
                            i16 /*DScale*/) {
    return NameAndTypeErrors("ACCESS", SCName, DCName, SDtype, DDtype, DWidth);
}

std::string CheckFromOracle(const std::string& SCName,
                            const std::string& DCName,
                            const std::string& SDtype,
                            const std::string& DDtype,
                            i16 /*SWidth*/,
                            i16 DWidth,
                            i16 /*SScale*/,
                            i16 /*DScale*/) {
    return NameAndTypeErrors("ORACLE", SCName, DCName, SDtype, DDtype, DWidth);
}

// Unlike the others: no name rule for an Oracle target, no numeric width test, and outer blanks of
// the source type count except for an Access target.
std::string CheckFromFoxPro(const std::string& SCName,
                            const std::string& DCName,
                            const std::string& SDtype,
                            const std::string& DDtype,
                            i16 /*SWidth*/,
                            i16 DWidth,
                            i16 /*SScale*/,
                            i16 /*DScale*/) {
    std::string text;
    if (TargetType == "FOXPRO") {
        text = FoxProError(DCName, DDtype, DWidth, NumericWidthTest::No);
    }
    const std::string key =
        TargetType == "ACCESS" ? UpperCased(Trimmed(SDtype)) : UpperCased(SDtype);
    return text + TypeError("FOXPRO", key, SCName, DCName, SDtype, DDtype);
}

std::string CheckFromMySQL(const std::string& SCName,
                           const std::string& DCName,
                           const std::string& SDtype,
                           const std::string& DDtype,
                           i16 /*SWidth*/,
                           i16 DWidth,
                           i16 /*SScale*/,
                           i16 /*DScale*/) {
    return NameAndTypeErrors("MySQL", SCName, DCName, SDtype, DDtype, DWidth);
}

std::string CheckFromMSSQL(const std::string& SCName,
                           const std::string& DCName,
                           const std::string& SDtype,
                           const std::string& DDtype,
                           i16 /*SWidth*/,
                           i16 DWidth,
                           i16 /*SScale*/,
                           i16 /*DScale*/) {
    return NameAndTypeErrors("MSSQL", SCName, DCName, SDtype, DDtype, DWidth);
}

std::string CheckFromText(const std::string& /*SCName*/,
                          const std::string& DCName,
                          const std::string& /*SDtype*/,
                          const std::string& DDtype,
                          i16 /*SWidth*/,
                          i16 DWidth,
                          i16 /*SScale*/,
                          i16 /*DScale*/) {
    return NameError(DCName, DDtype, DWidth, NumericWidthTest::No);
}

std::string CheckColumnPair(const std::string& SCName,
                            const std::string& DCName,
                            const std::string& SDtype,
                            const std::string& DDtype,
                            i16 SWidth,
                            i16 DWidth,
                            i16 SScale,
                            i16 DScale) {
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
            return function(SCName, DCName, SDtype, DDtype, SWidth, DWidth, SScale, DScale);
        }
    }
    return {};
}

}  // namespace vantry
