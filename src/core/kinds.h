#pragma once
// The table of kinds: one row for each kind of database or text, with everything in which a kind
// differs from the others: how names are quoted, when an owner stands before them, which types have
// a size, which loader and which pages serve it. Rules that every kind shares stand where they are
// used and read the row; nothing outside this room compares SourceType or TargetType with a name.
//
// A new kind is a row here, a column in mapping/type_catalogue, rules in mapping/type_rules, a
// driver, and two pages. A field's default is what most kinds do.
//
// Many rows have an exception that looks like an oversight. Each is a field of its own with a
// sentence on what breaks if it is straightened out; docs/compatibility.md has the list for users.

#include "core/session_state.h"

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>

namespace vantry {

// The signs around a name in a statement. A sign inside the name isn't escaped: table names with a
// "]" or a "`" have never worked, and users' saved names hold the escapes that they need.
struct Quotes {
    std::string_view open;
    std::string_view close;

    bool None() const { return open.empty(); }
    std::string operator()(std::string_view name) const;
};
inline constexpr Quotes kBare{};
inline constexpr Quotes kBrackets{"[", "]"};
inline constexpr Quotes kBackticks{"`", "`"};
inline constexpr Quotes kDoubleQuotes{"\"", "\""};

// What a source table is read for. The statements differ by it in which names they qualify.
enum class Reading : std::uint8_t {
    RowLoad,    // rows for LoadRowsGeneric
    BatchLoad,  // rows for LoadRowsMySQL
    TextRun,    // rows for a text file
    Probe,      // the columns, when the mapping page opens
    Reprobe,    // the columns, after a target was given another name
    FilterTest  // whether the user's WHERE condition is understood
};

// When the owner stands before a source table's name.
enum class OwnerRule : std::uint8_t {
    Never,
    UnlessBlank,  // blanks alone are no owner
    UnlessEmpty,  // blanks alone are one
    UnlessOnlyTabnameBlank,
    Always
};
struct OwnerRules {
    OwnerRule row_load = OwnerRule::Never;
    OwnerRule batch_load = OwnerRule::Never;
    OwnerRule text_run = OwnerRule::Never;
    OwnerRule probe = OwnerRule::Never;
    OwnerRule reprobe = OwnerRule::Never;
    OwnerRule filter_test = OwnerRule::Never;
    OwnerRule For(Reading reading) const;
};

// What an owner is to the kind: by it, two names are found to mean one table.
enum class OwnerIs : std::uint8_t { Nothing, Database, Schema, User };

// The rules of the column map by the source's kind (mapping/mapping_rules).
enum class MapRules : std::uint8_t { None, Access, Oracle, FoxPro, MySQL, MSSQL, Text };
// The column of the type catalogue (mapping/type_catalogue); Neutral leaves names as they are.
enum class TypeNames : std::uint8_t { Neutral, Access, FoxPro, Oracle, MySQL, MSSQL };
// Which names a target column may have (mapping/mapping_rules).
enum class NameRules : std::uint8_t { None, Oracle, FoxPro };
// What moves the rows into the target.
enum class Loader : std::uint8_t {
    Rows,     // LoadRowsGeneric
    Batches,  // LoadRowsMySQL
    Files     // RunSessionToText, in place of RunSession
};

struct SourceKind {
    std::string_view page = {};  // empty: the kind is no source

    // ---- Names in statements
    Quotes column = kBrackets;
    Quotes table = kBrackets;
    Quotes owner = kBare;
    OwnerRules owner_rules = {};
    // In folder mode the rows are read from "prefix + name" in double quotes; probes name the table
    // alone, because the driver finds the file by the folder of the connection.
    bool file_in_folder_mode = false;
    // ODBC: names are bare, since a data source may know no brackets. Row loads bracket its columns
    // all the same: sessions that read columns with blanks through an Access or SQL Server data
    // source run by that, and would fail with bare names.
    bool row_load_brackets_columns = false;
    // ODBC again: what the mapping page asks after its first probe is bracketed. Tables with blanks
    // pass there, and the messages that users know come from that form.
    bool brackets_later_questions = false;
    std::string_view probe_end = " WHERE 1=2";

    // ---- What it is
    bool text_files = false;
    bool polled = false;  // a loaded file is renamed
    // TEXT, not TEXTPOLL: a text file written from it replaces the source's extension by the
    // target's, and the log names the file without the latter. Polled files keep theirs before it:
    // programs that collect "a.csv.txt" wait for that name.
    bool extension_is_replaced = false;
    // TEXT: written into text files, its columns' formats go by the type names of the map. Files of
    // saved sessions would change their widths by any other rule.
    bool text_by_type_names = false;
    // ODBC: may turn out to be any target's own data.
    bool can_be_any_kind = false;
    OwnerIs owner_is = OwnerIs::Nothing;
    std::string_view file_ending = {};  // may stand behind a table's name and means nothing there
    // Its engine reads rows while others are appended to the same table.
    bool reads_beside_appends = false;
    // Its booleans are ones or zeros: an Access target binds them as booleans, and takes those of
    // other kinds as they come.
    bool binary_booleans = false;
    MapRules map_rules = MapRules::None;

    // ---- Pages
    // FOXPRO, ORACLE, ACCESS, MySQL, MSSQL, TEXT: where the text target's Back leads. The others
    // came to that page by another way and have none to go back to.
    bool back_from_text_target = false;
    // MSSQL: its page has no way to a target of its own kind.
    bool leads_to_own_kind = true;
    // What a failure of the first probe adds to the source's words, and whether its page shows.
    bool asks_for_password_file = false;
    bool explains_unsupported_types = false;
    bool page_after_failed_probe = true;
};

// A target type that CREATE writes as another word.
struct TypeWord {
    std::string_view type;  // in capitals
    std::string_view made;
    std::string_view rebuilt;
};

// What follows a type name in CREATE. Type names are in capitals; in no list: nothing follows.
struct SizeRules {
    std::span<const std::string_view> width = {};
    std::span<const std::string_view> width_if_made = {};  // but not in a rebuilt table
    i32 widest = std::numeric_limits<i32>::max();          // above it no width is written
    std::span<const std::string_view> width_and_scale = {};
    // Source types whose numbers take no width and scale here.
    std::span<const std::string_view> unsized_sources = {};
    // The width of the target side, in a rebuilt table, too; none when negative.
    std::span<const std::string_view> target_width = {};
    std::string_view unsized_of_own_kind =
        {};  // a neutral type that has no size between two of a kind
};

// The fraction of a second that a target's dates keep; the rest is cut off or, at SQL Server,
// rounded.
enum class DateUnit : std::uint8_t { Exact, Milliseconds, ThreeHundredths, Seconds };

struct TargetKind {
    std::string_view page = {};  // empty: the kind is no target
    Loader loader = Loader::Rows;

    // ---- Names in statements
    Quotes table = kBrackets;  // DROP, DELETE, INSERT, probe
    // CREATE, columns, and the SELECT through which rows are added. FoxPro brackets its tables
    // where they are emptied and leaves them bare where they are made: names with blanks fail the
    // same way as in the logs that users compare.
    Quotes name = kBare;
    std::string_view column_lead = {};       // before a column in a list
    std::string_view made_column_lead = {};  // before a column in CREATE
    // In folder mode the table is the file "prefix + name + .dbf".
    bool file_in_folder_mode = false;
    // FoxPro: a bare name with a blank is bracketed where a mode of FoxDestMode is set.
    bool brackets_blanks = false;
    // The query that lists the target's tables; empty: the catalogue lists them.
    std::string_view table_list = {};
    // ORACLE: when one table is renamed, all tables are looked up again. Load options chosen on the
    // mapping page are lost by it; saved sessions were made that way.
    bool rename_looks_up_all = false;

    // ---- CREATE
    SizeRules sizes = {};
    std::span<const TypeWord> words = {};
    bool words_by_source_type = false;  // of a rebuilt table, by the neutral source type, too
    std::string_view long_text =
        {};  // in a rebuilt table: a type with a width that is this or more
    i32 long_text_width = 0;

    // ---- Rows
    int source_cursor = adOpenKeyset;   // by which a row load reads the source
    int boolean_parameter = adBoolean;  // ParamTypeFor
    int currency_parameter = adCurrency;
    bool letters_for_booleans = false;  // "T" and "F": the kind has no boolean
    bool binds_booleans = false;        // those of sources with binary_booleans
    int most_digits = 0;                // of a number; the point is one of them; 0: no limit
    bool wide_text_by_recordset = false;
    DateUnit date_unit = DateUnit::Seconds;
    bool one_file = false;  // has all tables: what happens to it happens to each of them
    std::string_view default_port = {};

    // ---- Column map and pages
    NameRules name_rules = NameRules::None;
    // Outer blanks of a FoxPro source type count in the rules of all targets but Access.
    // Straightened out, maps that are let through with a hand-typed blank would be stopped.
    bool trims_foxpro_types = false;
    std::span<const std::string_view> type_choices = {};  // as the mapping page offers them
    bool page_before_mapping = true;                      // where Back of the mapping page leads
    bool page_after_failed_probe = true;                  // SQL Server has no way back here
};

struct Kind {
    std::string_view name = {};  // as SourceType, TargetType and the repository have it
    TypeNames types = TypeNames::Neutral;
    SourceKind source = {};
    TargetKind target = {};
};

// In the order of the options on the wizard's first page.
std::span<const Kind> AllKinds();

// Letter case counts. A name of no kind, the empty one among them, gives a row without name and
// pages that has all defaults: a stored session may hold any name, and its statements then fail at
// the data source rather than here.
const Kind& KindOf(std::string_view name);
// The rows of SourceType and TargetType. A search: loops over rows look once, before.
const SourceKind& ThisSource();
const TargetKind& ThisTarget();

}  // namespace vantry
