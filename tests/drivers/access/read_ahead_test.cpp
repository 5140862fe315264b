// Tables long enough to be read ahead: rows out of the ordinary stand between ordinary ones, and
// every row comes once, whole and in its place.

#include "drivers/access/writing_fixture.h"
#include "support/no_threads.h"

#include <atomic>
#include <fstream>
#include <thread>

namespace vantry::access {
namespace {

constexpr int kRows = 12'000;  // some 500 pages
const std::string kFiller(120, 'f');

class ReadAhead : public WithoutSync {
protected:
    ReadAhead() : path_(folder_ / "long.accdb") {
        CreateDatabaseFile(path_);
        opened_ = std::make_unique<Opened>(path_);
        opened_->Create("t",
                        ColumnsOf("id LONG, day DATETIME, name TEXT 200, amount CURRENCY, "
                                  "done YESNO, key GUID"));
        const auto stored = opened_->Table("t");
        opened_->Statement([&] {
            for (int i = 0; i < kRows; ++i) {
                stored->Insert(RowOf(i, NameOf(i)));
            }
        });
    }

    static std::string NameOf(int i) {
        switch (i % 5) {
            case 0:
                return kFiller + std::to_string(i);
            case 1:
                return "Łódź " + kFiller + std::to_string(i);
            case 2:
                return "Göteborg " + kFiller;
            case 3:
                // Surrogates and both forms are rare and far from the beginning.
                return i > kRows / 2 && i % 500 == 3 ? "\U0001F600" + kFiller : "plain";
            default:
                return "";
        }
    }
    std::span<const Cell> RowOf(int i, const std::string& name) {
        name_ = name;
        row_ = {Cell::Int64(i),
                i % 7 == 0 ? Cell::Null() : Cell::FromDateTime({36'000 + i, i * kNanosPerSecond}),
                Cell::Text(name_),
                Cell::FromDecimal({i * 100 - 5'000, 4}),
                Cell::Boolean(i % 3 == 0),
                Cell::Text("{00112233-4455-6677-8899-AABBCCDDEEFF}")};
        return row_;
    }
    // id and name of each row of a scan, in its order.
    static std::vector<std::string> Walk(sql::TableScan& scan, bool slowly = false) {
        std::vector<std::string> lines;
        while (scan.Next()) {
            if (slowly && lines.size() % 100 == 0) {  // for the second thread to be ahead
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            std::string line;
            for (const Cell& cell : scan.Row()) {
                line += test::Shown(cell) + '|';
            }
            lines.push_back(std::move(line));
        }
        return lines;
    }
    // The same rows by a reader that never reads ahead.
    std::vector<std::string> WalkPlainly() { return test::Lines(test::ReadRows(path_, "t")); }
    struct Place {
        PageNumber page = 0;
        std::streamoff date = 0;  // of the row's, in the file
    };
    Place PlaceOf(int row) const {
        const auto def = test::ReadRows(path_, "t").def;
        const auto source = OpenReadOnly(path_);
        RowScanner scanner(*source, def);
        for (; row >= 0; --row) {
            EXPECT_TRUE(scanner.Next());
        }
        const auto found = scanner.Pointer();
        PageReader pages(*source);
        const auto page = pages.Page(found.page);
        const auto* const bytes = FindRow(source->GetLayout(), page, found.row).bytes.data();
        return {found.page,
                std::streamoff{found.page} * 4096 + (bytes - page.data()) + 2 +
                    def.columns[1].fixed_offset};
    }
    void Overwrite(std::streamoff at, std::string_view bytes) {
        opened_.reset();
        std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(at);
        file << bytes << std::flush;
        opened_ = std::make_unique<Opened>(path_);
    }
    std::unique_ptr<sql::TableScan> Scan() {
        static constexpr std::size_t kAll[] = {0, 1, 2, 3, 4, 5};
        return opened_->Table("t")->Scan(kAll);
    }

    std::string path_;
    std::unique_ptr<Opened> opened_;
    std::string name_;
    std::vector<Cell> row_;
};

TEST_F(ReadAhead, GivesMovedAndUncommonRowsInTheirPlaces) {
    // Rows that outgrow their pages, and gaps.
    const auto table = opened_->Table("t");
    static constexpr std::size_t kName[] = {2};
    const std::string longer(200, 'L');
    const Cell name[] = {Cell::Text(longer)};
    const auto ids = RowsOf(*table);
    ASSERT_EQ(ids.size(), static_cast<std::size_t>(kRows));
    opened_->Statement([&] {
        for (std::size_t i = 3'000; i < ids.size(); i += 97) {
            table->Update(ids[i], kName, name);
            table->Delete(ids[i + 1 < ids.size() ? i + 1 : i - 1]);
        }
    });
    const auto ahead = Walk(*Scan());
    EXPECT_EQ(ahead, WalkPlainly());
    EXPECT_EQ(ahead.size(), static_cast<std::size_t>(table->CountRows()));
    EXPECT_EQ(
        std::count_if(ahead.begin(),
                      ahead.end(),
                      [&](const auto& line) { return line.find(longer) != std::string::npos; }),
        (kRows - 3'000 + 96) / 97);
}

TEST_F(ReadAhead, StandsOnAnyRowAndGoesOnBehindIt) {
    const auto scan = Scan();
    std::vector<sql::RowId> ids;
    for (int i = 0; i < kRows * 3 / 4; ++i) {
        ASSERT_TRUE(scan->Next());
        EXPECT_EQ(scan->Row()[0].AsInt64(), i);
        ids.push_back(scan->CurrentRow());
    }
    for (const std::size_t row : {ids.size() - 1, ids.size() / 2, std::size_t{0}}) {
        ASSERT_TRUE(scan->Seek(ids[row]));
        EXPECT_EQ(scan->Row()[0].AsInt64(), static_cast<std::int64_t>(row));
        EXPECT_EQ(scan->CurrentRow(), ids[row]);
        ASSERT_TRUE(scan->Next());
        EXPECT_EQ(scan->Row()[0].AsInt64(), static_cast<std::int64_t>(row) + 1);
    }
    EXPECT_EQ(Walk(*scan).size(), static_cast<std::size_t>(kRows) - 2);
}

TEST_F(ReadAhead, TellsADamagedPageAfterTheRowsBeforeIt) {
    // The last row of all has its page's list of rows run outside.
    const auto last = PlaceOf(kRows - 1).page;
    Overwrite(std::streamoff{last} * 4096 + 12, std::string_view("\xFF\x7F"));
    const auto scan = Scan();
    int rows = 0;
    const auto error = ErrorOf([&] {
        while (scan->Next()) {
            EXPECT_EQ(scan->Row()[0].AsInt64(), rows++);
        }
    });
    EXPECT_TRUE(Has(error, "page " + std::to_string(last)));
    EXPECT_GT(rows, kRows - 300);
    EXPECT_LT(rows, kRows);
}

TEST_F(ReadAhead, LetsARowGoWhoseDateIsNone) {
    // One field in the middle of the file can't be read: the others of its row and all rows after
    // it are good.
    const double never = 1e300;
    Overwrite(PlaceOf(8'002).date, {reinterpret_cast<const char*>(&never), sizeof never});
    const auto scan = Scan();
    for (int i = 0; i < kRows; ++i) {
        ASSERT_TRUE(scan->Next());
        EXPECT_EQ(scan->Row()[0].AsInt64(), i);
        EXPECT_EQ(scan->Row()[1].Kind() == ValueKind::Unreadable, i == 8'002) << i;
        if (i == 8'002) {
            EXPECT_TRUE(Has(scan->FieldError(1).Description(), "1E+300"));
        }
    }
    EXPECT_FALSE(scan->Next());
}

TEST_F(ReadAhead, GivesEachRowOnceWhenTheSecondThreadRunsOutOfMemory) {
    // From its tenth read on, when it fills runs that it has filled before.
    std::atomic<int> reads = 0;
    test::VerdictBy plan([&, owner = std::this_thread::get_id()](const file::Call& call) {
        if (call.operation == file::Operation::Read && std::this_thread::get_id() != owner &&
            ++reads > 9 && reads % 2 == 0) {
            throw std::bad_alloc();
        }
        return file::Verdict{};
    });
    const auto expected = WalkPlainly();
    const auto scan = Scan();
    file::InstallFaultPlan(&plan);
    const auto ahead = Walk(*scan, true);
    file::InstallFaultPlan(&no_sync_);
    EXPECT_GT(reads, 10);
    EXPECT_EQ(ahead.size(), expected.size());
    EXPECT_TRUE(ahead == expected);
}

TEST_F(ReadAhead, GoesOnOnceAFileIsFreeAgainThatWasInUse) {
    // A change has the table's map of pages read anew; nothing can be read a while.
    std::atomic<bool> broken = false;
    test::VerdictBy plan([&](const file::Call& call) {
        const bool fails = call.operation == file::Operation::Read && broken;
        return file::Verdict{.error = fails ? EIO : 0};
    });
    static constexpr std::size_t kAmount[] = {3};
    const Cell amount[] = {Cell::FromDecimal({70'000, 4})};
    const auto scan = Scan();
    file::InstallFaultPlan(&plan);
    int rows = 0;
    int errors = 0;
    while (errors < 10) {
        try {
            broken = rows >= 6'000 && errors < 3;
            if (!scan->Next()) {
                break;
            }
            broken = false;
            if (rows == 5'999) {
                const auto table = opened_->Table("t");
                opened_->Statement([&] { table->Update(scan->CurrentRow(), kAmount, amount); });
            }
            EXPECT_EQ(scan->Row()[0].AsInt64(), rows);
            ++rows;
        } catch (const DataError&) {
            ++errors;
        }
    }
    file::InstallFaultPlan(&no_sync_);
    EXPECT_EQ(rows, kRows);
}

TEST_F(ReadAhead, GivesEachRowOnceWhileThisAndAnotherConnectionWrite) {
    // This one's rows are committed by its timer, in the pause.
    opened_->Create("u", {Column("id", "LONG"), Column("name", "TEXT", 200)});
    const auto target = opened_->Table("u");
    const Opened stranger(path_);
    const auto strange = stranger.database->OpenTable("t");
    static constexpr std::size_t kAmount[] = {3};
    const Cell amount[] = {Cell::FromDecimal({70'000, 4})};
    const auto scan = Scan();
    int rows = 0;
    int added = 0;
    for (; scan->Next(); ++rows) {
        ASSERT_EQ(scan->Row()[0].AsInt64(), rows);
        if (rows >= 2'000 && rows % 20 == 0) {
            const Cell row[] = {Cell::Int64(rows), Cell::Text(kFiller)};
            opened_->database->InsertRow(*target, row);
            ++added;
        }
        if (rows == 4'000) {
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
        }
        if (rows % 1'000 == 999) {
            stranger.database->BeginStatement();
            strange->Update(scan->CurrentRow(), kAmount, amount);
            stranger.database->CommitStatement();
        }
    }
    EXPECT_EQ(rows, kRows);
    opened_->database->Settle();
    EXPECT_EQ(target->CountRows(), added);
    EXPECT_EQ(Faults(path_), "");
}

TEST_F(ReadAhead, GivesAllRowsWithoutASecondThreadAndEndsAnywhereWithoutWaitingForOne) {
    const auto expected = WalkPlainly();
    const auto scan = Scan();
    EXPECT_TRUE(test::HoldsWithoutThreads(folder_.Path(), [&] { return Walk(*scan) == expected; }));
    for (const int rows : {0, 1, 5'000, 6'000}) {
        const auto left = Scan();
        for (int i = 0; i < rows; ++i) {
            ASSERT_TRUE(left->Next());
        }
    }
}

}  // namespace
}  // namespace vantry::access
