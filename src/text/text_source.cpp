#include "text/text_source.h"

#include "data/connection_string.h"

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

text::NewSection SectionOf(const TableRec& file) {
    return {file.Name, file.SFormat, file.SFirstColLine == 1};
}

}  // namespace

std::string SchemaSectionText(const TableRec& file,
                              const QualifierChoice& qualifier,
                              int max_scan_rows) {
    return text::SectionText(SectionOf(file), qualifier, max_scan_rows);
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
    text::PrependSections(folder, sections, qualifier, max_scan_rows);
}

std::string TextSourceConnectionString(const std::string& folder) {
    return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder +
           ";Extended Properties=\"text;FMT=Delimited\";\"";
}

}  // namespace vantry
