// "Schema.ini" as the system's own profile reader takes it, for users have such files from there:
// the first section of a name counts, and in it the first line of a key; quotes around a whole
// value are no part of it. Easy to get wrong: the file has a character set of its own, and its
// sections may be written with blanks beside the brackets.

#include "text_format/schema_ini.h"

#include "data/letter_case.h"
#include "text_format/encoding.h"
#include "text_format/errors.h"
#include "text_format/file_names.h"
#include "text_format/format.h"
#include "text_format/text_file.h"

#include <algorithm>

namespace vantry::text {
namespace {

std::string_view Unquoted(std::string_view value) {
    // Of one kind on both ends; a single one is the value itself, as in TextDelimiter=".
    const bool quoted = value.size() >= 2 && value.front() == value.back() &&
                        (value.front() == '"' || value.front() == '\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

std::string_view TakeLine(std::string_view& rest) {
    const auto end = rest.find_first_of("\r\n");
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return line;
}

}  // namespace

std::optional<std::string_view> SchemaSection::GetQuoted(std::string_view key) const {
    const auto line = lines_.find(UpperCased(key));
    return line == lines_.end() ? std::nullopt : std::optional<std::string_view>(line->second);
}

std::optional<std::string_view> SchemaSection::Get(std::string_view key) const {
    const auto value = GetQuoted(key);
    return value ? std::optional(Unquoted(*value)) : std::nullopt;
}

bool SchemaSection::HasOnly(std::span<const std::string_view> keys) const {
    return std::all_of(lines_.begin(), lines_.end(), [&](const auto& line) {
        return std::any_of(keys.begin(), keys.end(), [&](std::string_view key) {
            return UpperCased(key) == line.first;
        });
    });
}

std::optional<std::string> ReadSchemaFile(const std::string& folder) {
    const auto name = FindFile(folder, kSchemaFile);
    if (!name) {
        return std::nullopt;
    }
    const auto file = TextFile::Open(PathIn(folder, *name));
    if (static_cast<std::uint64_t>(file->Size()) > kMaxSchemaBytes) {
        throw SchemaTooLarge(file->Path());
    }
    std::string content(static_cast<std::size_t>(file->Size()), '\0');
    content.resize(file->Read(0, content.data(), content.size()));
    return content;
}

SchemaIni SchemaIni::Load(const std::string& folder) {
    const auto content = ReadSchemaFile(folder);
    if (!content) {
        return {};
    }
    const auto encoding = TextEncoding::Choose("", *content, PathIn(folder, kSchemaFile));
    std::string utf8;
    const auto bytes = std::string_view(*content).substr(encoding.MarkBytes());
    if (encoding.IsUtf16()) {
        encoding.AppendUtf8FromUnits(bytes, utf8);
    } else {
        encoding.AppendUtf8(bytes, utf8);
    }
    return Parse(utf8);
}

SchemaIni SchemaIni::Parse(std::string_view utf8) {
    SchemaIni schema;
    SchemaSection passed_over;  // what stands before the first section, or in a later one of a name
    SchemaSection* section = &passed_over;
    while (!utf8.empty()) {
        const std::string_view line = TrimBlanks(TakeLine(utf8));
        // Only a line that begins with the sign is a comment: it is a delimiter as often.
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (line.front() == '[') {
            // The last one, as names of files may have the sign in them.
            const auto close = line.rfind(']');
            if (close != std::string_view::npos) {
                section = schema.Begin(UpperCased(line.substr(1, close - 1)));
                section = section != nullptr ? section : &passed_over;
            }
            continue;
        }
        if (const auto equals = line.find('='); equals != std::string_view::npos) {
            // Keeps the first line of a key.
            section->lines_.try_emplace(UpperCased(TrimBlanks(line.substr(0, equals))),
                                        TrimBlanks(line.substr(equals + 1)));
        }
    }
    return schema;
}

// Null unless it is the first section of the name. Blanks beside the brackets are somebody's taste,
// or the file's name has them.
SchemaSection* SchemaIni::Begin(const std::string& name) {
    auto section = std::make_shared<SchemaSection>();
    const bool first = sections_.try_emplace(name, section).second;
    const bool first_without = sections_.try_emplace(std::string(TrimBlanks(name)), section).second;
    return first || first_without ? section.get() : nullptr;
}

const SchemaSection* SchemaIni::Find(std::string_view file_name) const {
    const auto section = sections_.find(UpperCased(file_name));
    return section == sections_.end() ? nullptr : section->second.get();
}

}  // namespace vantry::text
