#include "text/schema_ini_writer.h"

#include "data/connection_string.h"
#include "drivers/text/encoding.h"
#include "drivers/text/file_names.h"
#include "drivers/text/format.h"
#include "drivers/text/replace_file.h"
#include "drivers/text/schema_ini.h"

#include <string_view>

namespace vantry {
namespace {

constexpr std::string_view kLineBreak = "\r\n";

// Every line with a line break before it.
std::string LinesOf(std::string_view text) {
    std::string lines;
    while (!text.empty()) {
        const auto end = text.find_first_of("\r\n");
        lines += kLineBreak;
        lines += text.substr(0, end);
        if (end == std::string_view::npos) {
            break;
        }
        text.remove_prefix(end + (text.substr(end, 2) == kLineBreak ? 2 : 1));
    }
    return lines;
}

DataError UnknownCharacter(const std::string& path) {
    return {kErrUnspecified,
            "'" + path +
                "' isn't written: the name of a file or its delimiter has a character that the "
                "character set of this file lacks. Rename the file, or save Schema.ini as UTF-8."};
}

// The name is going to stand in brackets.
DataError NameInNoBrackets(const std::string& name) {
    return {
        kErrUnspecified,
        "'" + name +
            "' can't be read as a table: its name has a line break or a \"]\". Rename the file."};
}

DataError FolderInNoConnectionString(const std::string& folder) {
    return {kErrUnspecified,
            "The folder '" + folder +
                "' can't be named in a connection string, which takes a semicolon or a blank at "
                "the end of a name for its own. Rename the folder."};
}

// Otherwise the driver would look into another folder.
bool IsReadAsWritten(const std::string& folder) {
    return ConnectionString::Parse(TextSourceConnectionString(folder)).Get("Data Source") == folder;
}

}  // namespace

std::string SchemaSectionText(const TableRec& file,
                              const QualifierChoice& qualifier,
                              int max_scan_rows) {
    std::string section;
    const auto add_line = [&](const std::string& line) {
        section += line;
        section += kLineBreak;
    };
    add_line(std::string(kLineBreak));
    add_line("[" + file.Name + "]");
    if (file.SFormat == ",") {
        add_line("Format=CSVDelimited");
    } else if (file.SFormat == "\t") {
        add_line("Format=TabDelimited");
    } else {
        add_line("Format=Delimited(" + file.SFormat + ")");
    }
    add_line(file.SFirstColLine == 1 ? "ColNameHeader=True" : "ColNameHeader=False");
    add_line("MaxScanRows=" + std::to_string(max_scan_rows));
    if (qualifier.list_index == 1) {
        add_line("TextDelimiter=\"'\"");
    } else if (qualifier.list_index == 2) {
        add_line("TextDelimiter=\"\"");
    } else if (qualifier.list_index == -1 && qualifier.typed != "\"") {
        add_line("TextDelimiter=\"" + qualifier.typed + "\"");
    }
    return section;
}

void WriteSchemaIni(const std::string& folder,
                    std::span<const TableRec> files,
                    const QualifierChoice& qualifier,
                    int max_scan_rows) {
    if (!IsReadAsWritten(folder)) {
        throw FolderInNoConnectionString(folder);
    }
    const std::string name(text::kSchemaFile);
    const std::string path = JoinPath(folder, text::FindFile(folder, name).value_or(name));
    const std::string older = text::ReadSchemaFile(folder).value_or("");
    // In the character set of the older text, which stays as it is, byte for byte.
    const auto encoding = text::TextEncoding::Choose("", older, path);
    const std::size_t mark = encoding.MarkBytes();
    std::string content = older.substr(0, mark);
    const auto append = [&](std::string_view utf8) {
        if (!encoding.AppendFileBytes(utf8, content)) {
            throw UnknownCharacter(path);
        }
    };
    for (const TableRec& file : files) {
        if (file.Name.find_first_of("\r\n]") != std::string::npos) {
            throw NameInNoBrackets(file.Name);
        }
        append(SchemaSectionText(file, qualifier, max_scan_rows));
    }
    std::string_view kept = std::string_view(older).substr(mark);
    std::string decoded;
    if (encoding.IsUtf16()) {
        encoding.AppendUtf8FromUnits(kept, decoded);
        kept = decoded;
    }
    if (const std::string lines = LinesOf(kept); !lines.empty()) {
        append(kLineBreak);
        if (encoding.IsUtf16()) {
            append(lines);
        } else {
            content += lines;
        }
        append(kLineBreak);
    }
    text::ReplaceFile(path, content);
}

std::string TextSourceConnectionString(const std::string& folder) {
    return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder +
           ";Extended Properties=\"text;FMT=Delimited\";\"";
}

}  // namespace vantry
