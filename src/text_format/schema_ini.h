#pragma once
// "Schema.ini" of a folder, as sections of keys. What the keys mean is table_format.h's business.
// The rules are those of Windows private profiles: the first section of a name is the only one that
// counts, the first line of a key in it likewise; a value in one pair of quotes loses them.

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vantry::text {

class SchemaSection {
public:
    // Keys in any letter case. Nothing when there is no such line.
    std::optional<std::string_view> Get(std::string_view key) const;
    // The same, with the quotes that Get takes away.
    std::optional<std::string_view> GetQuoted(std::string_view key) const;
    // Whether all its keys are among these, in any letter case.
    bool HasOnly(std::span<const std::string_view> keys) const;

private:
    friend class SchemaIni;
    std::unordered_map<std::string, std::string> lines_;  // values by upper-cased keys
};

class SchemaIni {
public:
    // The folder's file, or no sections when there is none. Throws DataError if it can't be read or
    // is larger than kMaxSchemaBytes.
    static SchemaIni Load(const std::string& folder);
    // Never fails: what isn't a section or a line of one is passed over.
    static SchemaIni Parse(std::string_view utf8);

    // The first section of that file; nullptr if there is none.
    const SchemaSection* Find(std::string_view file_name) const;

private:
    SchemaSection* Begin(const std::string& name);

    // By upper-cased names, as they stand and without the blanks at their ends.
    std::unordered_map<std::string, std::shared_ptr<SchemaSection>> sections_;
};

// The content of the folder's file as it stands, byte order mark and all; nothing if there is none.
std::optional<std::string> ReadSchemaFile(const std::string& folder);

}  // namespace vantry::text
