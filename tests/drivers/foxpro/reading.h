#pragma once
// Tables read through the driver, in the form in which the independent readers' rows are printed.

#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/foxpro/driver.h"
#include "drivers/foxpro/verify/verify.h"
#include "files/error_of.h"
#include "support/child_program.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace vantry::foxpro {

inline const std::filesystem::path kRealFiles =
    std::filesystem::path(VANTRY_SHARED_DATA) / "foxpro";

using Rows = std::vector<std::string>;

inline std::unique_ptr<DriverConnection> Connect(const std::filesystem::path& source,
                                                 const std::string& more = {}) {
    return MakeFoxProDriver()->Connect(
        ConnectionString::Parse("Provider=vfpoledb.1;Data Source=" + source.string() + ";" + more));
}

inline std::string HexOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(c) & 0xFFU);
        text += digits;
    }
    return text;
}

// One value as read_with_dbfread.py prints it.
inline std::string Shown(const Cell& value) {
    char room[64];
    switch (value.Kind()) {
        case ValueKind::Null:
            return "null";
        case ValueKind::Unreadable:
            return "unreadable";
        case ValueKind::Boolean:
            return value.AsBoolean() ? "yes" : "no";
        case ValueKind::DateTime:
            return IsoText(value.AsDateTime());
        case ValueKind::Text:
            return HexOf(value.AsText());
        case ValueKind::Bytes: {
            const auto bytes = value.AsBytes();
            return HexOf({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        }
        default:
            std::snprintf(room, sizeof room, "%.14g", ToDouble(value).value_or(0));
            return room;
    }
}

inline Rows RowsOf(DriverConnection& connection, const std::string& sql) {
    Rows rows;
    const auto cursor = connection.OpenCursor(sql);
    while (cursor->Next()) {
        std::string line;
        for (const auto& cell : cursor->Row()) {
            line += Shown(cell) + "\t";
        }
        line.pop_back();
        rows.push_back(line);
    }
    return rows;
}

// The values of one row as they are, by the text forms of the program, apart by "|".
inline std::string RowText(DriverConnection& connection, const std::string& sql, int row = 0) {
    const auto cursor = connection.OpenCursor(sql);
    std::string text;
    for (; row >= 0 && cursor->Next(); --row) {
        text.clear();
        for (std::size_t k = 0; k < cursor->Row().size(); ++k) {
            const auto& cell = cursor->Row()[k];
            text += (k > 0 ? "|" : "") + (cell.IsNull() ? "NULL"
                                          : cell.Kind() == ValueKind::Unreadable
                                              ? cursor->FieldError(k).what()
                                              : ToText(cell));
        }
    }
    return text;
}

// The error of a statement, empty if there is none.
inline std::string ErrorOf(DriverConnection& connection, const std::string& sql) {
    return test::ErrorOf([&] { connection.Execute(sql); });
}

// What a verifier finds in a file that FoxPro made, but for the pages of a tag that was dropped,
// which it leaves behind.
inline Rows WithoutDropped(Rows findings) {
    std::erase_if(findings, [](const std::string& finding) {
        return finding.ends_with("pages belong to nothing");
    });
    return findings;
}

inline Rows RowsByDbfread(const std::filesystem::path& path, const std::string& encoding = {}) {
    std::vector<std::string> words = {
        "/usr/bin/python3",
        (std::filesystem::path(__FILE__).parent_path() / "read_with_dbfread.py").string(),
        path.string()};
    if (!encoding.empty()) {
        words.push_back(encoding);
    }
    std::istringstream lines(test::OutputOf(words));
    Rows rows;
    for (std::string line; std::getline(lines, line);) {
        rows.push_back(line);
    }
    return rows;
}

inline bool HasDbfread() {
    return !test::OutputOf({"/usr/bin/python3", "-c", "import dbfread; print(1)"}).empty();
}

// Tables in a folder of the test's own, each statement by a connection of its own unless the test
// keeps one.
class TableTest : public testing::Test {
protected:
    void Run(const std::string& sql, const std::string& more = {}) {
        if (!keeps_connection_) {
            Connect(folder_.Path(), more)->Execute(sql);
            return;
        }
        if (!connection_) {
            connection_ = Connect(folder_.Path(), "CodePage=1252");
        }
        connection_->Execute(sql);
    }
    // The statement fails, and says so with these words.
    void Refused(const std::string& sql,
                 const std::string& words = {},
                 const std::string& more = {}) {
        const auto error = test::ErrorOf([&] { Run(sql, more); });
        EXPECT_TRUE(!error.empty() && error.find(words) != std::string::npos)
            << sql << ": " << error;
    }
    std::string RowOf(const std::string& sql, int row = 0) const {
        return RowText(*Connect(folder_.Path()), sql, row);
    }
    void ExpectSound(const std::string& table) const {
        EXPECT_EQ(Verify((folder_ / (table + ".dbf")).string()), Rows()) << table;
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
    bool keeps_connection_ = false;
    std::unique_ptr<DriverConnection> connection_;
};

// A copy of the real files, writable.
class RealFilesTest : public testing::Test {
protected:
    void SetUp() override {
        namespace fs = std::filesystem;
        if (!fs::exists(kRealFiles)) {
            GTEST_SKIP() << kRealFiles << " isn't there";
        }
        fs::copy(kRealFiles, folder_ / "real", fs::copy_options::recursive);
        for (const auto& entry : fs::recursive_directory_iterator(folder_ / "real")) {
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add);
        }
        fs::permissions(folder_ / "real", fs::perms::owner_all, fs::perm_options::add);
    }
    std::filesystem::path Real(const std::string& name) const { return folder_ / "real" / name; }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

}  // namespace vantry::foxpro
