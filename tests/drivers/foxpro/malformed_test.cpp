// Every byte of a table's header and of its memo file's with the values that break readers, and
// files cut at every place: an error, or rows; never more, within memory and time.

#include "drivers/foxpro/reading.h"
#include "drivers/foxpro/verify/verify.h"
#include "support/fault_plans.h"

#include <chrono>

namespace vantry::foxpro {
namespace {

class MalformedTest : public testing::Test {
protected:
    MalformedTest() {
        const auto connection = Connect(folder_.Path());
        connection->Execute(
            "CREATE TABLE t (c C(10), v V(9), n N(8,2), i I, d D, t T, l L, y Y, m M, b B)");
        const auto insert = connection->Prepare("INSERT INTO t VALUES (?,?,?,?,?,?,?,?,?,?)", {});
        for (int row = 0; row < 12; ++row) {
            insert->Execute(std::vector<Cell>{Cell::Text("text"),
                                              row % 3 == 0 ? Cell::Null() : Cell::Text("var"),
                                              Cell::Int64(row),
                                              Cell::Int64(row),
                                              Cell::FromDateTime({40'000 + row, 0}),
                                              Cell::FromDateTime({40'000 + row, 0}),
                                              Cell::Boolean(true),
                                              Cell::Int64(row),
                                              Cell::Text(std::string(60, 'm')),
                                              Cell::Double(row)});
        }
        connection->Settle();
        files_ = test::ReadFolder(folder_.Path());
        whole_ = RowsOf(*connection, "SELECT * FROM t");
    }

    enum class Outcome { Whole, Other, Error };

    Outcome Read(const test::DiskRecord::Files& files) {
        test::WriteFolder(folder_.Path(), files);
        const auto start = std::chrono::steady_clock::now();
        Outcome outcome = Outcome::Error;
        try {
            const auto connection = Connect(folder_.Path());
            const auto cursor = connection->OpenCursor("SELECT * FROM t");
            Rows rows;
            while (cursor->Next() && rows.size() < 100'000) {
                std::string line;
                for (std::size_t k = 0; k < cursor->Row().size(); ++k) {
                    const auto& cell = cursor->Row()[k];
                    line += Shown(cell) + "\t";
                    if (cell.Kind() == ValueKind::Unreadable) {
                        EXPECT_FALSE(cursor->FieldError(k).Description().empty());
                    }
                }
                line.pop_back();
                rows.push_back(line);
            }
            outcome = rows == whole_ ? Outcome::Whole : Outcome::Other;
        } catch (const DataError& error) {
            EXPECT_FALSE(error.Description().empty());
        }
        Verify((folder_ / "t.dbf").string());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        return outcome;
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
    test::DiskRecord::Files files_;
    Rows whole_;
};

TEST_F(MalformedTest, EveryByteOfTheHeadersIsLookedAt) {
    test::NoSync no_sync;
    const test::InstalledPlan installed(no_sync);
    int errors = 0;
    for (const std::string name : {"t.dbf", "t.fpt"}) {
        const std::size_t header = name == "t.dbf" ? 32 + 11 * 32 + 3 : 8;
        for (std::size_t at = 0; at < header; ++at) {
            for (const int value : {0, 1, 0x0D, 0x7F, 0xFF}) {
                auto files = files_;
                files[name][at] = static_cast<char>(value);
                errors += Read(files) == Outcome::Error ? 1 : 0;
            }
        }
    }
    EXPECT_GT(errors, 100);
}

TEST_F(MalformedTest, FilesCutAnywhereAreErrorsOrRows) {
    test::NoSync no_sync;
    const test::InstalledPlan installed(no_sync);
    for (const std::string name : {"t.dbf", "t.fpt"}) {
        const std::size_t size = files_[name].size();
        for (std::size_t length = 0; length < size; length += 13) {
            auto files = files_;
            files[name].resize(length);
            const auto outcome = Read(files);
            // Not a row less without a word.
            if (name == "t.dbf") {
                EXPECT_EQ(outcome, Outcome::Error) << length;
            }
        }
    }
    auto files = files_;
    files.erase("t.fpt");
    EXPECT_EQ(Read(files), Outcome::Other) << "memos are null then";
}

TEST_F(MalformedTest, NumbersThatLieAreNotBelieved) {
    test::NoSync no_sync;
    const test::InstalledPlan installed(no_sync);
    const auto put = [this](const std::string& name, std::size_t at, const std::string& bytes) {
        auto files = files_;
        files[name].replace(at, bytes.size(), bytes);
        return Read(files);
    };
    const std::string many("\xFF\xFF\xFF\x7F", 4);
    EXPECT_EQ(put("t.dbf", 4, many), Outcome::Error) << "record count";
    EXPECT_EQ(put("t.dbf", 4, std::string("\x05\0\0\0", 4)), Outcome::Other) << "fewer records";
    EXPECT_EQ(put("t.dbf", 8, std::string("\xFF\xFF", 2)), Outcome::Error) << "header length";
    EXPECT_EQ(put("t.dbf", 8, std::string("\0\0", 2)), Outcome::Error) << "header length";
    EXPECT_EQ(put("t.dbf", 10, std::string("\x01\0", 2)), Outcome::Error) << "record length";
    EXPECT_EQ(put("t.dbf", 10, std::string("\0\0", 2)), Outcome::Error) << "record length";
    EXPECT_EQ(put("t.fpt", 512 + 4, many), Outcome::Other) << "memo length";
    EXPECT_EQ(put("t.fpt", 6, std::string("\xFF\xFF", 2)), Outcome::Other) << "block size";
    // A next free block far behind the end: the gap is neither filled nor left.
    EXPECT_EQ(put("t.fpt", 0, std::string("\x01\0\0\0", 4)), Outcome::Whole);
    EXPECT_THROW(Connect(folder_.Path())->Execute("UPDATE t SET m = 'new' WHERE i = 3"), DataError);
    EXPECT_EQ(std::filesystem::file_size(folder_ / "t.fpt"), files_["t.fpt"].size());
    // A near one is kept: the next memo goes there.
    const auto near = static_cast<char>(files_["t.fpt"].size() / 64 + 3);
    EXPECT_EQ(put("t.fpt", 0, std::string(3, '\0') + near), Outcome::Whole);
    Connect(folder_.Path())->Execute("UPDATE t SET m = 'new' WHERE i = 3");
    EXPECT_EQ(folder_.Read("t.fpt").substr(0, 4), std::string(3, '\0') + char(near + 1));
}

}  // namespace
}  // namespace vantry::foxpro
