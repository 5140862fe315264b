// A folder as a database: opening, listing, creating and dropping its tables, which are files with
// their sections of Schema.ini. A new table is a file and a section in front of the older ones (the
// first section of a name is the one that counts); if the section can't be written, the file goes
// again, or it would be read with guessed types. Easy to get wrong: names come from SQL and must
// not lead out of the folder, and the older sections have a character set of their own, which is
// kept.

#include "drivers/text/text_database.h"

#include "data/utf.h"
#include "drivers/text/text_table.h"
#include "files/file.h"
#include "files/file_name.h"
#include "files/replace_file.h"
#include "text_format/errors.h"
#include "text_format/file_names.h"
#include "text_format/schema_ini.h"

#include <algorithm>
#include <span>
#include <utility>

namespace vantry::text {
namespace {

constexpr std::string_view kLineBreak = "\r\n";

struct TypeName {
    std::string_view word;  // of CREATE TABLE
    ColumnType type;
};

constexpr TypeName kTypeNames[] = {
    // All words that the dialect has for a type, not only those that this program writes.
    {"BIT", ColumnType::Bit},
    {"YESNO", ColumnType::Bit},
    {"LOGICAL", ColumnType::Bit},
    {"LOGICAL1", ColumnType::Bit},
    {"BOOLEAN", ColumnType::Bit},
    {"BYTE", ColumnType::Byte},
    {"TINYINT", ColumnType::Byte},
    {"INTEGER1", ColumnType::Byte},
    {"SMALLINT", ColumnType::Short},
    {"SHORT", ColumnType::Short},
    {"INTEGER2", ColumnType::Short},
    {"INTEGER", ColumnType::Long},
    {"INT", ColumnType::Long},
    {"LONG", ColumnType::Long},
    {"INTEGER4", ColumnType::Long},
    {"CURRENCY", ColumnType::Currency},
    {"MONEY", ColumnType::Currency},
    {"SINGLE", ColumnType::Single},
    {"REAL", ColumnType::Single},
    {"FLOAT4", ColumnType::Single},
    {"IEEESINGLE", ColumnType::Single},
    {"DOUBLE", ColumnType::Double},
    {"FLOAT", ColumnType::Double},
    {"FLOAT8", ColumnType::Double},
    {"IEEEDOUBLE", ColumnType::Double},
    {"NUMBER", ColumnType::Double},
    {"DOUBLE PRECISION", ColumnType::Double},
    {"DECIMAL", ColumnType::Decimal},
    {"NUMERIC", ColumnType::Decimal},
    {"DEC", ColumnType::Decimal},
    {"DATETIME", ColumnType::DateTime},
    {"DATE", ColumnType::DateTime},
    {"TIME", ColumnType::DateTime},
    {"TEXT", ColumnType::Text},
    {"VARCHAR", ColumnType::Text},
    {"STRING", ColumnType::Text},
    {"ALPHANUMERIC", ColumnType::Text},
    {"CHARACTER VARYING", ColumnType::Text},
    {"NVARCHAR", ColumnType::Text},
    {"NATIONAL CHAR VARYING", ColumnType::Text},
    {"CHAR", ColumnType::Text},
    {"CHARACTER", ColumnType::Text},
    {"NCHAR", ColumnType::Text},
    {"NATIONAL CHAR", ColumnType::Text},
    {"MEMO", ColumnType::Memo},
    {"LONGTEXT", ColumnType::Memo},
    {"LONGCHAR", ColumnType::Memo},
    {"NOTE", ColumnType::Memo},
    {"NTEXT", ColumnType::Memo},
};

// name type [Width n], as it stands behind Col1= of a section.
std::string ColumnLine(const sql::ColumnDefinition& column) {
    const auto* const found =
        std::find_if(std::begin(kTypeNames), std::end(kTypeNames), [&](const auto& name) {
            return name.word == column.type;
        });
    if (found == std::end(kTypeNames)) {
        throw BadColumnType(column.name, column.type);
    }
    // A name in Schema.ini stands in quotes on one line, with no way to write these.
    if (column.name.find_first_of("\"\r\n") != std::string::npos) {
        throw BadColumnName(column.name);
    }
    ColumnType type = found->type;
    // Without a width TEXT is the long one, as in Access's engine.
    if (column.type == "TEXT" && !column.size) {
        type = ColumnType::Memo;
    }
    std::string line = "\"" + column.name + "\" " + std::string(TypeWord(type));
    if (type == ColumnType::Text && column.size) {
        line += " Width " + std::to_string(*column.size);
    }
    if (type == ColumnType::Decimal && column.size) {
        line += " Precision " + std::to_string(*column.size) + " Scale " +
                std::to_string(column.scale.value_or(0));
    }
    return line;
}

// New tables are always delimited: a width isn't known for every type.
std::string FormatLine(const TableFormat& format) {
    if (format.delimiter == ",") {
        return "CSVDelimited";
    }
    return format.delimiter == "\t" ? "TabDelimited" : "Delimited(" + format.delimiter + ")";
}

std::string SectionOf(const std::string& file_name,
                      const TableFormat& format,
                      const sql::TableDefinition& definition) {
    std::string section = "[" + file_name + "]";
    const auto add = [&](const std::string& line) {
        section += kLineBreak;
        section += line;
    };
    add("Format=" + FormatLine(format));
    add(std::string("ColNameHeader=") + (format.has_header ? "True" : "False"));
    add("CharacterSet=" + (format.character_set.empty() ? "ANSI" : format.character_set));
    for (std::size_t k = 0; k < definition.columns.size(); ++k) {
        add("Col" + std::to_string(k + 1) + "=" + ColumnLine(definition.columns[k]));
    }
    section += kLineBreak;
    return section;
}

// The new section in front of the older ones, in the older ones' character set.
void PrependSection(const std::string& folder, const std::string& section) {
    const std::string older = ReadSchemaFile(folder).value_or("");
    // The file may be there in another letter case.
    const std::string path =
        PathIn(folder, FindFile(folder, kSchemaFile).value_or(std::string(kSchemaFile)));
    // The mark, if there is one, must stay the first bytes of the file.
    const auto encoding = TextEncoding::Choose("", older, path);
    std::string content = older.substr(0, encoding.MarkBytes());
    encoding.AppendFileBytes(section, content);
    if (!older.empty()) {
        encoding.AppendFileBytes(kLineBreak, content);
        content += older.substr(encoding.MarkBytes());
    }
    file::ReplaceFile(path, content);
}

}  // namespace

TextDatabase::TextDatabase(const std::string& folder,
                           TableFormat defaults,
                           std::shared_ptr<LayoutCache> layouts,
                           ReaderSizes sizes)
    : folder_(FindFolder(folder)),
      defaults_(std::move(defaults)),
      layouts_(std::move(layouts)),
      sizes_(sizes) {}

std::vector<TableEntry> TextDatabase::Tables() {
    const SchemaIni schema = SchemaIni::Load(folder_);
    std::vector<TableEntry> entries;
    for (const std::string& name : FilesOf(folder_)) {
        if (HasTableExtension(name) || schema.Find(name) != nullptr) {
            entries.push_back({CatalogName(name), "TABLE"});
        }
    }
    return entries;
}

std::shared_ptr<sql::StoredTable> TextDatabase::OpenTable(std::string_view name) {
    const auto file_name = FindFile(folder_, name);
    if (!file_name) {
        return nullptr;
    }
    // A polled file is read by the section of its sample.
    TableFormat format = defaults_;
    const std::string& section = format.layout_file.empty() ? *file_name : format.layout_file;
    ApplySection(SchemaIni::Load(folder_).Find(section), format);
    TableSource source = OpenSource(PathIn(folder_, *file_name), std::move(format));
    auto layout = layouts_->Find(source);
    return std::make_shared<TextTable>(
        *file_name, std::move(source), std::move(layout), journal_, sizes_);
}

std::optional<std::string> TextDatabase::ViewText(std::string_view name) {
    throw FileMissing(PathIn(folder_, name));
}

void TextDatabase::CreateTable(const sql::TableDefinition& definition) {
    const std::string file_name = NewFileName(definition.name);
    // A bracket would end the name at the head of its section.
    if (!file::IsPlainFileName(file_name) ||
        file_name.find_first_of("\r\n]") != std::string::npos) {
        throw BadTableName(definition.name);
    }
    if (definition.columns.size() > kMaxColumns) {
        throw TooManyFields(PathIn(folder_, file_name), definition.columns.size());
    }
    if (FindFile(folder_, file_name)) {
        throw TableExists(definition.name);
    }
    TableFormat format = defaults_;
    format.layout = SplitRules::Layout::Delimited;
    const std::string section = SectionOf(file_name, format, definition);
    const std::string path = PathIn(folder_, file_name);
    const auto encoding = TextEncoding::Choose(format.character_set, {}, path);
    std::string content;
    if (encoding.IsUtf16()) {
        encoding.AppendFileBytes("\xEF\xBB\xBF", content);  // the byte order mark
    }
    std::vector<std::string> names;
    for (const auto& column : definition.columns) {
        names.push_back(column.name);
    }
    if (format.has_header && !encoding.AppendFileBytes(HeaderLine(format, names), content)) {
        throw BadHeader(path);
    }
    file::File created = file::File::CreateNew(path, false);
    try {
        created.Write(0, std::as_bytes(std::span(content)));
        PrependSection(folder_, section);
    } catch (const DataError&) {
        file::RemoveFile(path);
        throw;
    }
}

void TextDatabase::DropTable(std::string_view name) {
    const auto file_name = FindFile(folder_, name);
    if (!file_name) {
        throw TableNotThere(name);
    }
    const std::string path = PathIn(folder_, *file_name);
    // The section stays: it is harmless, and serves a file of that name that comes back.
    TextFile::Open(path);  // a folder isn't a table
    file::RemoveFile(path);
}

}  // namespace vantry::text
