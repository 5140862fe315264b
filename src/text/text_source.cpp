#include "text/text_source.h"

#include "data/ascii.h"
#include "data/connection_string.h"
#include "text_format/schema_ini.h"

#include <vector>

namespace vantry {
namespace {

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

// The keys that the pages write themselves.
constexpr std::string_view kWrittenKeys[] = {
    "Format", "ColNameHeader", "MaxScanRows", "TextDelimiter"};

std::string OwnFormatOf(const text::SchemaSection& section) {
    if (EqualsNoCase(section.Get("Format").value_or(""), "FixedLength")) {
        return "fixed width";
    }
    if (section.Get("Col1")) {
        return "columns of its own";
    }
    return section.HasOnly(kWrittenKeys) ? "" : "settings of its own";
}

text::NewSection SectionOf(const TableRec& file) {
    return {file.Name, file.SFormat, file.SFirstColLine == 1};
}

}  // namespace

std::string SchemaSectionText(const TableRec& file,
                              const QualifierChoice& qualifier,
                              int max_scan_rows) {
    return text::SectionText(SectionOf(file), qualifier, max_scan_rows);
}

std::vector<std::string> OwnFormats(const std::string& folder,
                                    const std::vector<std::string>& names) {
    std::vector<std::string> formats(names.size());
    try {
        const auto schema = text::SchemaIni::Load(folder);
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (const auto* const section = schema.Find(names[i])) {
                formats[i] = OwnFormatOf(*section);
            }
        }
    } catch (const DataError&) {
        // A file that can't be read is reported when it is to be written.
    }
    return formats;
}

void WriteSchemaIni(const std::string& folder,
                    std::span<const TableRec> files,
                    const QualifierChoice& qualifier,
                    int max_scan_rows) {
    if (!IsReadAsWritten(folder)) {
        throw FolderInNoConnectionString(folder);
    }
    std::vector<text::NewSection> sections;
    for (const TableRec& file : files) {
        sections.push_back(SectionOf(file));
    }
    if (sections.empty()) {
        return;
    }
    text::PrependSections(folder, sections, qualifier, max_scan_rows);
}

std::string TextSourceConnectionString(const std::string& folder) {
    return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder +
           ";Extended Properties=\"text;FMT=Delimited\";\"";
}

}  // namespace vantry
