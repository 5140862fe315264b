// Tables long enough to be read ahead: whatever stands in them or happens to them meanwhile, each
// row comes once, in its place, and as one thread alone reads it.

#include "drivers/foxpro/reading.h"
#include "drivers/foxpro/table/record_scan.h"
#include "support/fault_plans.h"
#include "support/no_threads.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <new>
#include <numeric>
#include <thread>

namespace vantry::foxpro {
namespace {

constexpr int kRows = 16'384;

class ReadAheadTest : public TableTest {
protected:
    // Every type, nulls, short and long texts, memos; each row has a number of its own.
    void SetUp() override {
        test::NoSync no_sync;
        const test::InstalledPlan installed(no_sync);
        const auto connection = Connect(folder_.Path(), "CodePage=1252");
        connection->Execute(
            "CREATE TABLE t (id I, c C(120), cb C(4) NOCPTRANS, v V(30), q Q(5), n N(12,3), f "
            "F(20), "
            "y Y, b B(4), l L, d D, s T, m M, w W)");
        const auto insert =
            connection->Prepare("INSERT INTO t VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)", {});
        const std::string raw("\0\x1A\xFF ", 4);
        const auto bytes = Cell::Bytes(std::as_bytes(std::span(raw)));
        const std::string words[] = {
            "", "plain", "Zoë Müller €", std::string(30, 'x') + "é", "v  "};
        for (int id = 1; id <= 64; ++id) {
            const std::string_view word = words[id % 5];
            std::vector<Cell> row{Cell::Int64(id),
                                  Cell::Text(word),
                                  bytes,
                                  Cell::Text(word.substr(0, word.size() > 30 ? 0 : 30)),
                                  bytes,
                                  Cell::FromDecimal({id * 1001 - 30'000, 3}),
                                  Cell::Int64(-id),
                                  Cell::FromDecimal({id, 4}),
                                  Cell::Double(1.0 / id),
                                  Cell::Boolean(id % 2 == 0),
                                  Cell::FromDateTime({36'000 + id, 0}),
                                  Cell::FromDateTime({36'000, id * kNanosPerSecond}),
                                  Cell::Text(word),
                                  bytes};
            row[1 + static_cast<std::size_t>(id) % 13] = Cell::Null();
            insert->Execute(row);
        }
        for (int rows = 64; rows < kRows; rows *= 2) {
            connection->Execute("INSERT INTO t SELECT id + " + std::to_string(rows) +
                                " AS id, c, cb, v, q, n, f, y, b, l, d, s, m, w FROM t");
        }
    }
    void Overwrite(RecordNumber record, const char* field, std::string_view bytes) {
        const auto table = Open();
        const auto& fields = table->Layout().fields;
        const auto found = std::find_if(
            fields.begin(), fields.end(), [&](const Field& each) { return each.name == field; });
        std::fstream file(Path(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(table->Layout().OffsetOf(record) +
                                               (found == fields.end() ? 0 : found->offset)));
        file << bytes;
    }
    std::string Path() const { return (folder_ / "t.dbf").string(); }
    std::shared_ptr<TableFile> Open(const TableOptions& options = {}) const {
        return std::make_shared<TableFile>(Path(), options, std::span<const std::string>());
    }
    static std::unique_ptr<RecordScan> ScanOf(std::shared_ptr<TableFile> table) {
        std::vector<std::size_t> fields(14);
        std::iota(fields.begin(), fields.end(), 0);
        return std::make_unique<RecordScan>(std::move(table), fields);
    }
    static std::string LineOf(const RecordScan& scan) {
        auto line = std::to_string(scan.CurrentRow());
        for (std::size_t k = 0; k < scan.Row().size(); ++k) {
            const auto& cell = scan.Row()[k];
            line += "\t" + (cell.Kind() == ValueKind::Unreadable ? scan.FieldError(k).Description()
                                                                 : Shown(cell));
        }
        return line;
    }
    static Rows Walk(RecordScan& scan) {
        Rows rows;
        while (scan.Next()) {
            rows.push_back(LineOf(scan));
        }
        return rows;
    }
    // By the scan's own thread alone, as it has been to and fro.
    static Rows WalkAlone(RecordScan& scan) {
        EXPECT_TRUE(scan.Seek(1));
        Rows rows{LineOf(scan)};
        const auto rest = Walk(scan);
        rows.insert(rows.end(), rest.begin(), rest.end());
        return rows;
    }
};

TEST_F(ReadAheadTest, GivesTheRowsThatOneThreadGives) {
    for (RecordNumber record = 7; record < kRows; record += 97) {
        Overwrite(record, "", "*");
        Overwrite(record + 1, "N", "  12,5x     ");
        Overwrite(record + 3, "D", "20241399");
        Overwrite(record + 5, "M", std::string_view("\xFF\xFF\xFF\x7F", 4));
    }
    for (RecordNumber record = 9'000; record < 10'000; ++record) {
        Overwrite(record, "", "*");  // more than a block
    }
    std::atomic<int> reads = 0;
    std::atomic<bool> runs_out = false;
    test::VerdictBy plan([&, owner = std::this_thread::get_id()](const file::Call& call) {
        if (call.operation == file::Operation::Read && std::this_thread::get_id() != owner &&
            ++reads > 9 && runs_out) {
            throw std::bad_alloc();
        }
        return file::Verdict{};
    });
    const test::InstalledPlan installed(plan);
    for (const int code_page : {1252, 936, 54936, 65001, 4711}) {
        for (const bool deleted : {false, true}) {
            SCOPED_TRACE(std::to_string(code_page) + (deleted ? " deleted" : ""));
            TableOptions options;
            options.code_page = code_page;
            options.show_deleted = deleted;
            const auto alone = WalkAlone(*ScanOf(Open(options)));
            EXPECT_EQ(reads, 0);
            EXPECT_EQ(alone.size(), deleted ? 16'384U : 15'226U);
            EXPECT_TRUE(Walk(*ScanOf(Open(options))) == alone);
            EXPECT_GT(reads, 10);
            reads = 0;
            runs_out = true;
            EXPECT_TRUE(Walk(*ScanOf(Open(options))) == alone);
            EXPECT_GT(reads, 9);
            reads = 0;
            runs_out = false;
        }
    }
    const auto expected = WalkAlone(*ScanOf(Open()));
    EXPECT_TRUE(test::HoldsWithoutThreads(folder_.Path(),
                                          [&] { return Walk(*ScanOf(Open())) == expected; }));
}

// This connection's changes are seen from the next row or block on; another's as soon as a block is
// read.
TEST_F(ReadAheadTest, GivesEachRowOnceWhileTheTableIsChanged) {
    const auto connection = Connect(folder_.Path(), "CodePage=1252");
    const auto cursor = connection->OpenCursor("SELECT id, c, m FROM t");
    int rows = 0;
    std::string now;
    while (cursor->Next()) {
        ASSERT_EQ(cursor->Row()[0].AsInt64(), ++rows);
        // The block that the scan's own thread may have read stays as it was, 256 KiB at most.
        if (rows > 5'000 && rows <= 12'000 && (rows - 1'000) % 4'000 > 1'200) {
            ASSERT_EQ(Shown(cursor->Row()[1]) + Shown(cursor->Row()[2]), now) << rows;
        }
        if (rows == 5'000 || rows == 9'000) {
            now = "now " + std::to_string(rows);
            connection->Execute("UPDATE t SET c = '" + now + "', m = '" + now + "' WHERE id > " +
                                std::to_string(rows));
            now = HexOf(now) + HexOf(now);
        }
        if (rows == 12'000) {
            Connect(folder_.Path())
                ->Execute("UPDATE t SET c = 'last', m = 'last' WHERE id > 12000");
        }
    }
    EXPECT_EQ(rows, kRows);
    EXPECT_EQ(RowOf("SELECT c FROM t WHERE id = 16384"), "last");
    ExpectSound("t");
}

TEST_F(ReadAheadTest, EndsAnywhereAndTellsWhereTheFileWasCut) {
    for (const bool exclusive : {false, true}) {
        TableOptions options;
        options.exclusive = exclusive;
        const auto half = ScanOf(Open(options));
        EXPECT_TRUE(half->Next());
        EXPECT_EQ(half->Middle() == 0, exclusive) << "who reads the other half is locked out";
    }
    for (const int rows : {0, 1, 4'000, 6'000}) {
        const auto left = ScanOf(Open());  // which keeps the file
        for (int row = 0; row < rows; ++row) {
            ASSERT_TRUE(left->Next());
        }
    }
    const auto scan = ScanOf(Open());
    RecordNumber rows = 0;
    const auto error = test::ErrorOf([&] {
        while (scan->Next()) {
            ASSERT_EQ(scan->CurrentRow(), ++rows);
            if (rows == 5'000) {
                std::filesystem::resize_file(Path(), Open()->Layout().OffsetOf(14'000) + 10);
            }
        }
    });
    EXPECT_NE(error.find("record 14000; another program has cut it"), std::string::npos) << error;
    EXPECT_GT(rows, 12'000U);
    EXPECT_LT(rows, 14'000U);
    EXPECT_NE(test::ErrorOf([&] { scan->Next(); }), "");
}

}  // namespace
}  // namespace vantry::foxpro
