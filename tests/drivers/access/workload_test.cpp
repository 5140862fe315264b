// Long random sequences of changes against a model, with the verifier as the judge along the way,
// in files of either order of texts: texts over the whole plane, empty binaries, whose keys are
// prefixes of all others, and long memos, which lie on other pages, are all in indexes.

#include "data/utf.h"
#include "data/value_text.h"
#include "drivers/access/writing_fixture.h"

#include <cstdlib>
#include <map>
#include <optional>
#include <random>

namespace vantry::access {
namespace {

struct ModelRow {
    std::optional<std::string> name;
    std::string tag;
    double amount = 0;
    std::optional<std::string> memo;
};

class Workload {
public:
    explicit Workload(std::string path) : path_(std::move(path)) {
        CreateDatabaseFile(path_);
        opened_ = std::make_unique<Opened>(path_);
        opened_->Create("work",
                        ColumnsOf("id LONG, name TEXT 120, tag VARBINARY 20, amount DOUBLE, "
                                  "memo MEMO"),
                        {PrimaryKey(),
                         Index("names", {"name"}),
                         Index("tags", {"tag"}),
                         Index("down", {"-tag", "-name"}),
                         Index("memos", {"memo", "-amount"})});
        table_ = opened_->Table("work");
    }

    void Step() {
        if (Below(50) == 0) {
            BeginOrEnd();
        }
        const auto dice = Below(100);
        if (dice < 45 || model_.size() < 10) {
            Insert();
        } else if (dice < 70) {
            Update();
        } else if (dice < 96) {
            Delete();
        } else if (dice < 98) {
            Refused();
        } else if (!before_) {
            OtherTable();
        }
    }

    void Check() {
        if (before_) {
            BeginOrEnd();
        }
        opened_->file->store->Settle();
        ASSERT_EQ("", Faults(path_));
        std::vector<std::string> expected;
        for (const auto& [id, row] : model_) {
            std::string line =
                std::to_string(id) + "|" + row.name.value_or("NULL") + "|" + row.tag + "|";
            AppendDouble(row.amount, line);
            expected.push_back(line + "|" + row.memo.value_or("NULL") + "|");
            ASSERT_TRUE(!row.name || IsFound(*row.name, id)) << *row.name;
        }
        ASSERT_GT(std::exchange(found_, 0), 10);
        std::sort(expected.begin(), expected.end());
        const auto content = Content(path_, "work");
        std::vector<std::string> different;
        std::set_symmetric_difference(expected.begin(),
                                      expected.end(),
                                      content.begin(),
                                      content.end(),
                                      std::back_inserter(different));
        ASSERT_EQ(std::vector<std::string>(), different);
    }

    void Reopen() {
        table_.reset();
        opened_ = std::make_unique<Opened>(path_);
        table_ = opened_->Table("work");
    }
    void AddIndex() {
        if (before_) {
            BeginOrEnd();
        }
        opened_->database->CreateIndex("work", Index("late", {"-memo", "name"}));
    }

private:
    // Several changes as one transaction; a third of them is taken back. The table that is used in
    // one has been opened before it, or in it.
    void BeginOrEnd() {
        if (!before_) {
            opened_->database->BeginTransaction();
            before_ = model_;
            table_ = Below(2) == 0 ? opened_->Table("work") : table_;
        } else if (Below(3) == 0) {
            opened_->database->RollbackTransaction();
            model_ = *std::exchange(before_, std::nullopt);
        } else {
            opened_->database->CommitTransaction();
            before_.reset();
        }
    }

    unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    static char32_t Character(char32_t character) {
        return character == 0 || (character >= 0xD800 && character <= 0xDFFF) ? U'-' : character;
    }
    // Of any script and plane; with long beginnings in common.
    std::string RandomText() {
        static const std::vector<std::string> kPieces = {
            "a", "b", "Z", "é", "ß", "-", "'", " ", "0", "Ω", "日", "x", "common prefix of many "};
        std::string text;
        const auto kind = Below(3);
        if (kind == 0) {
            for (unsigned left = Below(40), block = Below(0x1F0) * 0x80; left > 0; --left) {
                AppendUtf8(Character(block + Below(0x80)), text);
                if (Below(50) == 0) {
                    AppendUtf8(0x10000 + Below(0x100000), text);
                }
            }
            return text;
        }
        for (const std::size_t length = Below(99); CountUtf16Units(text) < length;) {
            text += kPieces[Below(kind == 1 ? 13 : 3)];
        }
        return text;
    }
    ModelRow RandomRow() {
        ModelRow row;
        if (Below(10) != 0) {
            row.name = RandomText();
        }
        row.tag = std::string(Below(4), static_cast<char>('a' + Below(2)));
        row.amount = static_cast<double>(Below(1000)) / 8;
        const auto kind = Below(20);
        if (kind > 0) {
            row.memo = std::string(Below(kind == 1  ? 20000
                                         : kind < 6 ? 2000
                                                    : 40),
                                   static_cast<char>('a' + Below(26)));
        }
        return row;
    }
    static std::vector<Cell> Cells(int id, const ModelRow& row) {
        return {Cell::Int64(id),
                row.name ? Cell::Text(*row.name) : Cell::Null(),
                Cell::Bytes(std::as_bytes(std::span(row.tag))),
                Cell::Double(row.amount),
                row.memo ? Cell::Text(*row.memo) : Cell::Null()};
    }
    int AnyId() {
        auto row = model_.lower_bound(static_cast<int>(Below(1000000)));
        return (row == model_.end() ? model_.begin() : row)->first;
    }
    sql::RowId Find(int id) {
        const auto scan = table_->FindEqual(0, Cell::Int64(id), {});
        EXPECT_TRUE(scan && scan->Next()) << id;
        return scan->CurrentRow();
    }
    // By an index, which is asked for plain names only.
    bool IsFound(const std::string& name, int id) {
        const std::size_t wanted[] = {0};
        const auto scan = table_->FindEqual(1, Cell::Text(name), wanted);
        found_ += scan ? 1 : 0;
        bool is_there = scan == nullptr;
        while (!is_there && scan->Next()) {
            is_there = scan->Row()[0].AsInt64() == id;
        }
        return is_there;
    }

    void Insert() {
        const int id = static_cast<int>(Below(1000000));
        const ModelRow row = RandomRow();
        if (!model_.emplace(id, row).second) {
            return;
        }
        if (Below(2) == 0) {
            opened_->database->InsertRow(*table_, Cells(id, row));
        } else {
            opened_->Statement([&] { table_->Insert(Cells(id, row)); });
        }
    }
    void Update() {
        const int id = AnyId();
        const ModelRow fresh = RandomRow();
        const auto cells = Cells(id, fresh);
        std::vector<std::size_t> columns;
        std::vector<Cell> values;
        ModelRow& row = model_[id];
        for (std::size_t column = 1; column < cells.size(); ++column) {
            if (Below(2) == 0) {
                columns.push_back(column);
                values.push_back(cells[column]);
                row.name = column == 1 ? fresh.name : row.name;
                row.tag = column == 2 ? fresh.tag : row.tag;
                row.amount = column == 3 ? fresh.amount : row.amount;
                row.memo = column == 4 ? fresh.memo : row.memo;
            }
        }
        const auto found = Find(id);
        opened_->Statement([&] { table_->Update(found, columns, values); });
    }
    void Delete() {
        const int id = AnyId();
        const auto found = Find(id);
        opened_->Statement([&] { table_->Delete(found); });
        model_.erase(id);
    }
    // A second row with a key that is there, a text that is too long: the row's error, and no
    // trace.
    void Refused() {
        const int id = AnyId();
        auto row = RandomRow();
        EXPECT_NE("", ErrorOf([&] { opened_->database->InsertRow(*table_, Cells(id, row)); }));
        if (!before_) {  // else it would take the transaction back
            row.name = std::string(121, 'x');
            EXPECT_NE("", ErrorOf([&] { opened_->Insert("work", Cells(1000001, row)); }));
        }
    }
    void OtherTable() {
        if (std::exchange(other_, !other_)) {
            opened_->database->DropTable("other table");
            return;
        }
        opened_->Create(
            "other table", {Column("a", "MEMO"), Column("b", "LONG")}, {Index("b", {"b"})});
        const std::string memo(30000, 'm');
        for (int row = 0; row < 20; ++row) {
            opened_->Insert("other table", {Cell::Text(memo), Cell::Int64(row)});
        }
    }

    std::string path_;
    std::mt19937 random_{20250101};
    std::unique_ptr<Opened> opened_;
    std::shared_ptr<sql::StoredTable> table_;
    std::map<int, ModelRow> model_;
    std::optional<std::map<int, ModelRow>> before_;  // the open transaction
    bool other_ = false;
    int found_ = 0;
};

class AccessWorkload : public WithoutSync, public testing::WithParamInterface<const char*> {};

TEST_P(AccessWorkload, RandomChangesLeaveWhatTheModelSays) {
    const std::string path = folder_ / GetParam();
    const char* const wanted = std::getenv("VANTRY_ACCESS_WORKLOAD");
    const int steps = wanted != nullptr ? std::atoi(wanted) : 4000;
    const int between_checks = std::max(500, steps / 50);
    Workload workload(path);
    for (int step = 1; step <= steps; ++step) {
        workload.Step();
        if (step % between_checks == 0) {
            workload.Check();
            ASSERT_FALSE(HasFailure()) << "after step " << step;
            workload.Reopen();
        }
        if (step == steps / 2) {
            workload.AddIndex();
        }
    }
    workload.Check();
}

INSTANTIATE_TEST_SUITE_P(Orders, AccessWorkload, testing::Values("legacy.mdb", "general.accdb"));

}  // namespace
}  // namespace vantry::access
