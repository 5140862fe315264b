// Memory runs out at every single allocation of a statement, once or for good: the statement is
// there whole or not at all, the file is sound, and no lock is left.

#include "drivers/access/writing_fixture.h"
#include "files/file_lock.h"

#include <cstdlib>
#include <functional>
#include <new>
#include <optional>

namespace {

// Of the thread that sets it: allocations until one fails; 0: all succeed.
thread_local long AllocationsLeft = 0;
thread_local bool FailsForGood = false;
thread_local bool HasFailed = false;

void* Allocate(std::size_t size) {
    if (AllocationsLeft > 0 && --AllocationsLeft == 0) {
        HasFailed = true;
        AllocationsLeft = FailsForGood ? 1 : 0;
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

// For the whole test program (the forms for arrays come here, too, where no sanitizer has its own);
// g++ takes the pairing of these with malloc and free for a mistake.
#pragma GCC diagnostic push
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(std::size_t size) {
    return Allocate(size);
}
// Who asks so takes a refusal well; it counts as none here.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
#pragma GCC diagnostic pop

namespace vantry::access {
namespace {

const std::string kMemo(9'000, 'm');

std::vector<Cell> RowOf(std::int64_t id) {
    return {Cell::Int64(id), Cell::Text("a name"), Cell::Text(kMemo)};
}

void CreateTable(Opened& opened, const std::string& name) {
    opened.Create(name,
                  {Column("id", "LONG"), Column("name", "TEXT", 50), Column("memo", "MEMO")},
                  {PrimaryKey(), Index("name", {"name"})});
}

struct NamedOperation {
    const char* name;
    std::function<void(Opened&)> run;
};

std::vector<NamedOperation> Operations() {
    return {{"create a table", [](Opened& opened) { CreateTable(opened, "second"); }},
            {"insert", [](Opened& opened) { opened.Insert("first", RowOf(100)); }},
            {"update",
             [](Opened& opened) {
                 opened.Change("first", [](sql::StoredTable& table) {
                     const std::size_t columns[] = {0, 1, 2};
                     const std::string longer(3'000, 'u');
                     const Cell values[] = {Cell::Int64(70), Cell::Text("b"), Cell::Text(longer)};
                     table.Update(RowsOf(table)[3], columns, values);
                 });
             }},
            {"delete",
             [](Opened& opened) {
                 opened.Change("first",
                               [](sql::StoredTable& table) { table.Delete(RowsOf(table)[2]); });
             }},
            {"drop a table", [](Opened& opened) { opened.database->DropTable("first"); }},
            {"load rows", [](Opened& opened) {
                 const auto table = opened.Table("first");
                 for (int id = 200; id < 220; ++id) {
                     opened.database->InsertRow(*table, RowOf(id));
                 }
                 opened.file->store->Settle();
             }}};
}

class Allocation : public WithoutSync, public testing::WithParamInterface<bool> {
protected:
    // What is wrong after the operation with its `point`-th allocation failing; empty: nothing.
    // `more`: whether it got so far at all.
    std::string Try(const NamedOperation& operation, long point, bool& more) {
        std::filesystem::remove(path_ + "-journal");
        std::filesystem::copy_file(
            original_, path_, std::filesystem::copy_options::overwrite_existing);
        bool failed = false;
        {
            auto opened = std::make_unique<Opened>(path_);
            HasFailed = false;
            FailsForGood = GetParam();
            AllocationsLeft = point;
            try {
                operation.run(*opened);
            } catch (const std::exception&) {
                failed = true;
            }
            AllocationsLeft = 0;
            more = HasFailed;
            // The connection goes on to be of use.
            if (failed) {
                const auto error = ErrorOf([&] {
                    opened->file->store->Settle();
                    opened->Statement([] {});
                });
                if (!error.empty()) {
                    return "afterwards: " + error;
                }
            }
        }
        if (auto faults = Faults(path_); !faults.empty()) {
            return faults;
        }
        const auto state = Look(path_);
        const bool loads = std::string_view(operation.name) == "load rows";
        if (!after_) {
            after_ = state;
        }
        if (state != before_ && state != *after_ && !loads) {
            return "half of it is there";
        }
        if (state != *after_ && !failed) {
            return "it reported success";
        }
        return ErrorOf([&] { Opened(path_).Statement([] {}); });
    }

    std::string path_ = folder_ / "t.accdb";
    std::string original_ = folder_ / "original.accdb";
    Snapshot before_;
    std::optional<Snapshot> after_;  // known from the run without a failure
};

TEST_P(Allocation, FailingOneTakesItsStatementBack) {
    file::SetLockTimeout(std::chrono::milliseconds(50));
    CreateDatabaseFile(original_);
    {
        Opened opened(original_);
        CreateTable(opened, "first");
        opened.Change("first", [](sql::StoredTable& table) {
            for (int id = 0; id < 8; ++id) {
                table.Insert(RowOf(id));
            }
        });
    }
    before_ = Look(original_);
    for (const auto& operation : Operations()) {
        bool more = false;
        after_.reset();
        ASSERT_EQ(Try(operation, 1'000'000'000, more), "") << operation.name;
        long point = 1;
        int wrong = 0;
        for (more = true; more && wrong < 5; ++point) {
            const auto what = Try(operation, point, more);
            EXPECT_EQ(what, "") << operation.name << ", allocation " << point;
            wrong += what.empty() ? 0 : 1;
        }
        EXPECT_GT(point, 20) << operation.name << " hardly allocates: does the hook work?";
    }
    file::SetLockTimeout(std::chrono::milliseconds(5000));
}

INSTANTIATE_TEST_SUITE_P(Memory, Allocation, testing::Bool(), [](const auto& kind) {
    return kind.param ? "ForGood" : "Once";
});

}  // namespace
}  // namespace vantry::access
