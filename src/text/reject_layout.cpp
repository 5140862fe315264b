#include "text/reject_layout.h"

#include "text_format/schema_ini.h"
#include "text_format/schema_ini_writer.h"

#include <filesystem>

namespace vantry {

void DescribeRejectFile(const std::string& path) {
    const std::filesystem::path file(path);
    const std::string folder = file.parent_path().string();
    const text::NewSection section{file.filename().string(), ",", true};
    // One that is there was written by an earlier run, or by hand: both stay.
    if (text::SchemaIni::Load(folder).Find(section.name) == nullptr) {
        constexpr int kAllRows = 0;
        text::PrependSections(folder, std::span(&section, 1), QualifierChoice(), kAllRows);
    }
}

}  // namespace vantry
