// The table is one constant expression: lists of type names first, then a row a kind, then the
// search. A row says only where its kind departs from the defaults of kinds.h, so what a kind is
// like can be read off in one place. Easy to get wrong: the order of the rows is the order of the
// options on the wizard's first page, and type names are in capitals where they are compared, as
// users see them where they are offered.

#include "core/kinds.h"

#include <algorithm>
#include <iterator>

namespace vantry {
namespace {

using Name = std::string_view;

// clang-format off

// ---- Types of a target column as the mapping page offers them. They are in part neither those of
// the catalogue nor those of the rules, misspellings included: stored maps hold them.

constexpr Name kFoxProChoices[] = {"Numeric", "Character", "Currency", "Date", "DateTime",
    "Double", "Integer", "Logical", "Memo", "General", "CharBin", "MemoBin"};
constexpr Name kAccessChoices[] = {"Boolean", "Byte", "Integer", "Long", "Currency", "Single",
    "Double", "DateTime", "Text", "Binary", "Memo"};
constexpr Name kOracleChoices[] = {"Char", "Varchar2", "Number", "Date", "Long", "Long Raw",
    "BLOB", "CLOB", "RAW"};
constexpr Name kMySQLChoices[] = {"DateTime", "Double", "Decimal", "Integer", "SmallInt",
    "TinyInt", "Varchar", "SmallText", "MeduimText", "LongText", "BLOB", "MeduimBLOB",
    "LongBLOB"};
constexpr Name kMSSQLChoices[] = {"Binary", "Bit", "Char", "Datetime", "Decimal", "Float",
    "Image", "Int", "Money", "NChar", "NText", "Numeric", "NVarchar", "Real", "Smalldatetime",
    "Smallint", "Smallmoney", "Text", "Timestamp", "Tinyint", "Uniqueidentifier", "Varbinary",
    "Varchar"};
constexpr Name kTextChoices[] = {"Char", "Integer", "Date"};

// ---- Types whose size CREATE states

constexpr Name kAccessWidth[] = {"TEXT"};
constexpr Name kFoxProWidth[] = {"CHARACTER"};
constexpr Name kFoxProScale[] = {"NUMERIC"};
constexpr Name kOracleWidth[] = {"CHAR", "VARCHAR2"};
constexpr Name kOracleWidthIfMade[] = {"VARCHAR"};
constexpr Name kOracleScale[] = {"NUMBER"};
constexpr Name kUnsizedForOracle[] = {"LONG", "DOUBLE", "INTEGER", "SINGLE", "CURRENCY", "INT",
    "MONEY", "SMALLINT", "TINYINT", "REAL", "FLOAT", "DECIMAL"};
constexpr Name kMSSQLWidth[] = {"CHAR", "VARCHAR", "VARBINARY", "NCHAR", "NVARCHAR", "BINARY"};
constexpr Name kMySQLWidth[] = {"CHAR", "VARCHAR", "TEXT"};
constexpr Name kMySQLTargetWidth[] = {"INTEGER", "INT"};

// ---- Words in place of types. The doubled blank of Access and the two cases of its OLE word are
// in the statements of old logs, which users compare with new ones.

constexpr TypeWord kAccessWords[] = {
    {"BINARY",  " OLEOBJECT", " oleobject"},
    {"BOOLEAN", " yesno",     " yesno"},
};
constexpr TypeWord kFoxProWords[] = {
    {"CURRENCY", "Y", "Y"},
    {"DOUBLE",   "B", "B"},
};

constexpr Kind kKinds[] = {
    {.name = "ORACLE",
     .types = TypeNames::Oracle,
     .source = {
         .page = "Form6",
         .column = kDoubleQuotes,
         .table = kBare,
         // The batch load puts a dot before a table without owner: the server refuses it, as the
         // setup failure that users know. The filter is tried on the login's own table.
         .owner_rules = {.row_load = OwnerRule::UnlessBlank,
                         .batch_load = OwnerRule::Always,
                         .text_run = OwnerRule::UnlessBlank,
                         .probe = OwnerRule::UnlessBlank,
                         .reprobe = OwnerRule::Always},
         .owner_is = OwnerIs::User,
         .map_rules = MapRules::Oracle,
         .back_from_text_target = true,
         .explains_unsupported_types = true},
     .target = {
         .page = "Form9",
         .table = kBare,
         .table_list = "select table_name from user_tables",
         .rename_looks_up_all = true,
         .sizes = {.width = kOracleWidth,
                   .width_if_made = kOracleWidthIfMade,
                   .width_and_scale = kOracleScale,
                   .unsized_sources = kUnsizedForOracle,
                   .unsized_of_own_kind = "VARNUMERIC"},
         .boolean_parameter = adVarChar,
         .currency_parameter = adVarNumeric,
         .letters_for_booleans = true,
         .name_rules = NameRules::Oracle,
         .type_choices = kOracleChoices}},

    {.name = "ACCESS",
     .types = TypeNames::Access,
     .source = {
         .page = "Form2",
         .reads_beside_appends = true,
         .binary_booleans = true,
         .map_rules = MapRules::Access,
         .back_from_text_target = true,
         .asks_for_password_file = true},
     .target = {
         .page = "Form8",
         .name = kBrackets,
         .column_lead = " ",
         .made_column_lead = " ",
         .sizes = {.width = kAccessWidth, .widest = 255},
         .words = kAccessWords,
         .binds_booleans = true,
         .date_unit = DateUnit::Milliseconds,
         .one_file = true,
         .trims_foxpro_types = true,
         .type_choices = kAccessChoices}},

    {.name = "FOXPRO",
     .types = TypeNames::FoxPro,
     .source = {
         .page = "Form10",
         .column = kBare,
         .file_in_folder_mode = true,
         .file_ending = ".dbf",
         .reads_beside_appends = true,
         .map_rules = MapRules::FoxPro,
         .back_from_text_target = true},
     .target = {
         .page = "Form3",
         .file_in_folder_mode = true,
         .brackets_blanks = true,
         .sizes = {.width = kFoxProWidth, .width_and_scale = kFoxProScale},
         .words = kFoxProWords,
         .words_by_source_type = true,
         .long_text = "MEMO",
         .long_text_width = 255,
         .most_digits = 20,
         .wide_text_by_recordset = true,
         .date_unit = DateUnit::Milliseconds,
         .name_rules = NameRules::FoxPro,
         .type_choices = kFoxProChoices}},

    {.name = "MySQL",
     .types = TypeNames::MySQL,
     .source = {
         .page = "MySQLSrc",
         .column = kBackticks,
         .table = kBackticks,
         // Without the owner, a text run reads the database that its connection opens.
         .owner_rules = {.row_load = OwnerRule::Always, .batch_load = OwnerRule::Always},
         .owner_is = OwnerIs::Database,
         .map_rules = MapRules::MySQL,
         .back_from_text_target = true},
     .target = {
         .page = "MySQLDest",
         .loader = Loader::Batches,
         .table = kBackticks,
         .name = kBackticks,
         .column_lead = " ",
         .sizes = {.width = kMySQLWidth, .target_width = kMySQLTargetWidth},
         .source_cursor = adOpenForwardOnly,
         .default_port = "3306",
         .type_choices = kMySQLChoices}},

    {.name = "MSSQL",
     .types = TypeNames::MSSQL,
     .source = {
         .page = "MSSQLSrc",
         .owner = kBrackets,
         // Nothing fills OnlyTabname: a batch load reads the table of the login's own schema, which
         // is the one that saved sessions have copied so far.
         .owner_rules = {.row_load = OwnerRule::UnlessBlank,
                         .batch_load = OwnerRule::UnlessOnlyTabnameBlank,
                         .text_run = OwnerRule::UnlessBlank,
                         .probe = OwnerRule::UnlessEmpty,
                         .reprobe = OwnerRule::Always,
                         .filter_test = OwnerRule::Always},
         .owner_is = OwnerIs::Schema,
         .binary_booleans = true,
         .map_rules = MapRules::MSSQL,
         .back_from_text_target = true,
         .leads_to_own_kind = false},
     .target = {
         .page = "MSSQLDest",
         .name = kBrackets,
         .column_lead = " ",
         .sizes = {.width = kMSSQLWidth},
         .source_cursor = adOpenForwardOnly,
         .date_unit = DateUnit::ThreeHundredths,
         .type_choices = kMSSQLChoices,
         .page_after_failed_probe = false}},

    {.name = "ODBC",
     .source = {
         .page = "ODBCSrc",
         .column = kBare,
         .table = kBare,
         .row_load_brackets_columns = true,
         .brackets_later_questions = true,
         .can_be_any_kind = true,
         .page_after_failed_probe = false}},

    {.name = "TEXT",
     .source = {
         .page = "Form11",
         .probe_end = "",
         .text_files = true,
         .extension_is_replaced = true,
         .text_by_type_names = true,
         .map_rules = MapRules::Text,
         .back_from_text_target = true},
     .target = {
         .page = "Form12c",
         .loader = Loader::Files,
         .date_unit = DateUnit::Exact,
         .type_choices = kTextChoices,
         .page_before_mapping = false,
         .page_after_failed_probe = false}},

    {.name = "TEXTPOLL",
     .source = {
         .page = "Form11Poll",
         .probe_end = "",
         .text_files = true,
         .polled = true}},
};
// clang-format on

constexpr Kind kNoKind;

}  // namespace

std::string Quotes::operator()(std::string_view name) const {
    std::string quoted(open);
    return quoted.append(name).append(close);
}

OwnerRule OwnerRules::For(Reading reading) const {
    switch (reading) {
        case Reading::RowLoad:
            return row_load;
        case Reading::BatchLoad:
            return batch_load;
        case Reading::TextRun:
            return text_run;
        case Reading::Probe:
            return probe;
        case Reading::Reprobe:
            return reprobe;
        case Reading::FilterTest:
            break;
    }
    return filter_test;
}

std::span<const Kind> AllKinds() {
    return kKinds;
}

const Kind& KindOf(std::string_view name) {
    const auto* const row = std::find_if(
        std::begin(kKinds), std::end(kKinds), [&](const Kind& kind) { return kind.name == name; });
    // A repository may name a kind of another version: nothing is known of it, and no page follows.
    return row == std::end(kKinds) ? kNoKind : *row;
}

const SourceKind& ThisSource() {
    return KindOf(SourceType).source;
}

const TargetKind& ThisTarget() {
    return KindOf(TargetType).target;
}

}  // namespace vantry
