// New sections go before the older text, where they win over sections of the same name, and the
// older text stays as it is, line for line: other programs read it, too. Easy to get wrong: the
// older text's character set decides how the new sections are written, and a name that the set
// lacks must not be written as another one.

#include "text_format/schema_ini_writer.h"

#include "data/data_error.h"
#include "data/paths.h"
#include "files/replace_file.h"
#include "text_format/encoding.h"
#include "text_format/file_names.h"
#include "text_format/format.h"
#include "text_format/schema_ini.h"

#include <string_view>

namespace vantry::text {
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

}  // namespace

std::string SectionText(const NewSection& file,
                        const QualifierChoice& qualifier,
                        int max_scan_rows) {
    std::string section;
    const auto add_line = [&](const std::string& line) {
        section += line;
        section += kLineBreak;
    };
    add_line(std::string(kLineBreak));
    add_line("[" + file.name + "]");
    if (file.delimiter == ",") {
        add_line("Format=CSVDelimited");
    } else if (file.delimiter == "\t") {
        add_line("Format=TabDelimited");
    } else {
        add_line("Format=Delimited(" + file.delimiter + ")");
    }
    add_line(file.has_heading ? "ColNameHeader=True" : "ColNameHeader=False");
    add_line("MaxScanRows=" + std::to_string(max_scan_rows));
    // The page's list: double quotes (which need no line, they are what is taken without one),
    // single quotes, none; or what was typed.
    if (qualifier.list_index == 1) {
        add_line("TextDelimiter=\"'\"");
    } else if (qualifier.list_index == 2) {
        add_line("TextDelimiter=\"\"");
    } else if (qualifier.list_index == -1 && qualifier.typed != "\"") {
        add_line("TextDelimiter=\"" + qualifier.typed + "\"");
    }
    return section;
}

void PrependSections(const std::string& folder,
                     std::span<const NewSection> files,
                     const QualifierChoice& qualifier,
                     int max_scan_rows) {
    const std::string name(kSchemaFile);
    const std::string path = JoinPath(folder, FindFile(folder, name).value_or(name));
    const std::string older = ReadSchemaFile(folder).value_or("");
    // In the character set of the older text, which stays as it is but for its line breaks.
    const auto encoding = TextEncoding::Choose("", older, path);
    const std::size_t mark = encoding.MarkBytes();
    std::string content = older.substr(0, mark);
    const auto append = [&](std::string_view utf8) {
        if (!encoding.AppendFileBytes(utf8, content)) {
            throw UnknownCharacter(path);
        }
    };
    for (const NewSection& file : files) {
        if (file.name.find_first_of("\r\n]") != std::string::npos) {
            throw NameInNoBrackets(file.name);
        }
        append(SectionText(file, qualifier, max_scan_rows));
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
    // As a whole: a reader never finds half of it, and a failure leaves the older file.
    file::ReplaceFile(path, content);
}

}  // namespace vantry::text
