// Long random sequences of changes against a model, with the verifier as the judge along the way.

#include "data/value_text.h"
#include "drivers/access/mdbtools.h"
#include "drivers/access/writing_fixture.h"

#include <cstdlib>
#include <random>

namespace vantry::access {
namespace {

struct ModelRow {
    std::optional<std::string> name;
    int group = 0;
    double amount = 0;
    std::optional<std::string> memo;
};
using Model = std::map<int, ModelRow>;

class Workload {
public:
    Workload(std::string path, unsigned seed) : path_(std::move(path)), random_(seed) {
        opened_ = std::make_unique<Opened>(path_);
        opened_->Create(
            "work",
            {Column("id", "LONG"),
             Column("name", "TEXT", 120),
             Column("grp", "SHORT"),
             Column("amount", "DOUBLE"),
             Column("memo", "MEMO")},
            {PrimaryKey(), Index("names", {"-name"}), Index("groups", {"grp", "-amount"})});
        table_ = opened_->Table("work");
    }

    void Step() {
        const auto dice = random_() % 100;
        if (dice < 45 || model_.size() < 10) {
            Insert();
        } else if (dice < 70) {
            Update();
        } else if (dice < 96) {
            Delete();
        } else if (dice < 98) {
            Refused();
        } else {
            OtherTable();
        }
    }

    void Check() {
        opened_->file->store->Settle();
        ASSERT_EQ("", Faults(path_));
        std::vector<std::string> expected;
        for (const auto& [id, row] : model_) {
            std::string line = std::to_string(id) + "|" + row.name.value_or("NULL") + "|" +
                               std::to_string(row.group) + "|";
            AppendDouble(row.amount, line);
            expected.push_back(line + "|" + row.memo.value_or("NULL") + "|");
        }
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
    std::size_t Rows() const { return model_.size(); }

private:
    std::string RandomText(std::size_t longest) {
        static const std::vector<std::string> kPieces = {
            "a", "b", "Z", "é", "ß", "-", "'", " ", "0", "Ω", "日", "x", "common prefix of many "};
        std::string text;
        const std::size_t length = random_() % (longest + 1);
        while (CountUtf16Units(text) + 22 <= length) {
            text += kPieces[random_() % kPieces.size()];
        }
        return text;
    }
    ModelRow RandomRow() {
        ModelRow row;
        if (random_() % 10 != 0) {
            row.name = RandomText(120);
        }
        row.group = static_cast<int>(random_() % 7) - 3;
        row.amount = static_cast<double>(random_() % 1000) / 8;
        const auto kind = random_() % 20;
        if (kind > 0) {
            row.memo = std::string(kind == 1  ? random_() % 20000
                                   : kind < 6 ? random_() % 2000
                                              : random_() % 40,
                                   static_cast<char>('a' + random_() % 26));
        }
        return row;
    }
    static std::vector<Cell> Cells(int id, const ModelRow& row) {
        return {Cell::Int64(id),
                row.name ? Cell::Text(*row.name) : Cell::Null(),
                Cell::Int64(row.group),
                Cell::Double(row.amount),
                row.memo ? Cell::Text(*row.memo) : Cell::Null()};
    }
    int AnyId() {
        auto row = model_.lower_bound(static_cast<int>(random_() % 1000000));
        return (row == model_.end() ? model_.begin() : row)->first;
    }
    sql::RowId Find(int id) {
        const auto scan = table_->FindEqual(0, Cell::Int64(id), {});
        EXPECT_TRUE(scan && scan->Next()) << id;
        return scan->CurrentRow();
    }

    void Insert() {
        const int id = static_cast<int>(random_() % 1000000);
        if (model_.contains(id)) {
            return;
        }
        const ModelRow row = RandomRow();
        if (random_() % 2 == 0) {
            opened_->database->InsertRow(*table_, Cells(id, row));
        } else {
            opened_->Statement([&] { table_->Insert(Cells(id, row)); });
        }
        model_[id] = row;
    }
    void Update() {
        const int id = AnyId();
        const ModelRow fresh = RandomRow();
        const auto cells = Cells(id, fresh);
        std::vector<std::size_t> columns;
        std::vector<Cell> values;
        ModelRow& row = model_[id];
        for (std::size_t column = 1; column < cells.size(); ++column) {
            if (random_() % 2 == 0) {
                columns.push_back(column);
                values.push_back(cells[column]);
                row.name = column == 1 ? fresh.name : row.name;
                row.group = column == 2 ? fresh.group : row.group;
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
        const auto row = RandomRow();
        if (random_() % 2 == 0) {
            EXPECT_NE("", ErrorOf([&] { opened_->database->InsertRow(*table_, Cells(id, row)); }));
        } else {
            auto cells = Cells(1000001, row);
            const std::string text(121, 'x');
            cells[1] = Cell::Text(text);
            EXPECT_NE("", ErrorOf([&] { opened_->Insert("work", cells); }));
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
    std::mt19937 random_;
    std::unique_ptr<Opened> opened_;
    std::shared_ptr<sql::StoredTable> table_;
    Model model_;
    bool other_ = false;
};

class AccessWorkload : public WithoutSync {};

TEST_F(AccessWorkload, RandomChangesLeaveWhatTheModelSays) {
    const std::string path = folder_ / "work.mdb";
    CreateDatabaseFile(path);
    const char* const wanted = std::getenv("VANTRY_ACCESS_WORKLOAD");
    const int steps = wanted != nullptr ? std::atoi(wanted) : 4000;
    const int between_checks = std::max(500, steps / 50);
    Workload workload(path, 20250101);
    for (int step = 1; step <= steps; ++step) {
        workload.Step();
        if (step % between_checks == 0) {
            workload.Check();
            if (testing::Test::HasFatalFailure()) {
                FAIL() << "after step " << step;
            }
            workload.Reopen();
        }
    }
    workload.Check();
    if (test::HasMdbtools()) {
        EXPECT_EQ(workload.Rows(), test::MdbRows(path, "work").size() - 1);
    }
}

}  // namespace
}  // namespace vantry::access
