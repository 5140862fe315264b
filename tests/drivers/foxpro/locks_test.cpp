// Locks between us and a program of another kind: a process that follows the byte ranges by which
// such programs lock records, header, file and index, and knows nothing of ours.

#include "drivers/foxpro/reading.h"
#include "files/file_lock.h"
#include "support/child_process.h"
#include "support/fault_plans.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <mutex>
#include <thread>

namespace vantry::foxpro {
namespace {

struct Range {
    const char* what;
    const char* file;
    std::int64_t start;
    std::int64_t length;
};

// Record 1 of a table whose header has 328 bytes, by both ways of counting, and so on.
constexpr Range kRanges[] = {
    {"record without an index", "t.dbf", 0x40000000 + 328, 1},
    {"header without an index", "t.dbf", 0x40000000, 1},
    {"file without an index", "t.dbf", 0x40000001, 0x3FFFFFFD},
    {"record with an index", "t.dbf", 0x7FFFFFFE - 1, 1},
    {"header with an index", "t.dbf", 0x7FFFFFFE, 1},
    {"file with an index", "t.dbf", 0x77FFFFFF, 0x07FFFFFF},
    {"file, the larger range", "t.dbf", 0x40000000, 0x3FFFFFFF},
    {"index", "t.cdx", 0x7FFFFFFE, 1},
};

bool TryLock(const std::string& path, const Range& range) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = range.start;
    lock.l_len = range.length;
    return ::fcntl(descriptor, F_SETLK, &lock) == 0;  // held until the process ends
}

class LocksTest : public testing::Test {
protected:
    LocksTest() {
        const auto connection = Connect(folder_.Path());
        connection->Execute("CREATE TABLE t (id I)");
        connection->Execute("CREATE INDEX by_id ON t (id)");
        connection->Execute("INSERT INTO t VALUES (1)");
        file::SetLockTimeout(std::chrono::milliseconds(60));
    }
    ~LocksTest() override { file::SetLockTimeout(former_); }

    // In another process, until that ends.
    void TakeRange(const Range& range) const {
        if (!TryLock((folder_ / range.file).string(), range)) {
            throw std::runtime_error(range.what);
        }
    }
    // Whether another process gets the range now.
    bool OtherGets(const Range& range) {
        return test::RunChild([&](const test::Report&) { TakeRange(range); }).whole;
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
    std::chrono::milliseconds former_ = file::LockTimeout();
};

TEST_F(LocksTest, WhatAnotherProgramHasLockedIsReadAndNotWritten) {
    for (const auto& range : kRanges) {
        const auto hold = [&] { TakeRange(range); };
        test::WhileChildWaits(hold, [&](pid_t) {
            const auto connection = Connect(folder_.Path());
            EXPECT_EQ(RowsOf(*connection, "SELECT id FROM t"), Rows{"1"}) << range.what;
            for (const std::string sql :
                 {"INSERT INTO t VALUES (2)", "UPDATE t SET id = 3", "DELETE FROM t"}) {
                EXPECT_NE(ErrorOf(*connection, sql).find(range.file), std::string::npos)
                    << range.what << ": " << sql;
            }
            EXPECT_THROW(Connect(folder_.Path(), "Exclusive=Yes")->OpenCursor("SELECT * FROM t"),
                         DataError)
                << range.what;
        });
        EXPECT_EQ(RowsOf(*Connect(folder_.Path()), "SELECT id FROM t"), Rows{"1"}) << range.what;
    }
    Connect(folder_.Path())->Execute("INSERT INTO t VALUES (2)");
}

TEST_F(LocksTest, WhatWeWriteNobodyElseLocks) {
    const auto expect = [&](bool free, const char* when) {
        for (const auto& range : kRanges) {
            EXPECT_EQ(OtherGets(range), free) << range.what << " " << when;
        }
    };
    expect(true, "at first");
    {
        const auto connection = Connect(folder_.Path());
        connection->ExpectManyRows();
        const auto insert = connection->Prepare("INSERT INTO t VALUES (?)", {});
        // The timer, on a thread of its own, doesn't get on with a commit while we look.
        const auto own = std::this_thread::get_id();
        std::mutex looking;
        test::VerdictBy hold([&](const file::Call&) {
            if (std::this_thread::get_id() != own) {
                const std::lock_guard wait(looking);
            }
            return file::Verdict{};
        });
        const test::InstalledPlan installed(hold);
        std::unique_lock look(looking);
        insert->Execute(std::vector<Cell>{Cell::Int64(2)});
        expect(false, "within a batch of rows");
        look.unlock();
        connection->Settle();
        expect(true, "behind it");
    }
    {
        const auto connection = Connect(folder_.Path(), "Exclusive=Yes");
        EXPECT_EQ(RowsOf(*connection, "SELECT count(*) FROM t"), Rows{"2"});
        expect(false, "while it is opened exclusively");
        connection->Execute("INSERT INTO t VALUES (3)");
        expect(false, "behind a statement of an exclusive connection");
    }
    expect(true, "when the connection is closed");
}

// Null= and Deleted= decide what new columns take and which rows there are; the rest is taken and
// changes nothing.
TEST_F(LocksTest, WordsOfTheConnectionStringAreFollowed) {
    const auto with = [&](const std::string& words) { return Connect(folder_.Path(), words); };
    with("NULL=NO")->Execute("CREATE TABLE strict (a I, b C(3))");
    EXPECT_THROW(with("")->Execute("INSERT INTO strict VALUES (NULL, 'x')"), DataError);
    with("NULL=NO")->Execute("INSERT INTO strict (b) VALUES ('x')");
    EXPECT_EQ(RowsOf(*with(""), "SELECT a FROM strict"), Rows{"0"});
    with("")->Execute("CREATE TABLE easy (a I, b C(3))");
    with("")->Execute("INSERT INTO easy (b) VALUES ('x')");
    with("Null=No")->Execute("INSERT INTO easy (b) VALUES ('y')");
    EXPECT_EQ(RowsOf(*with(""), "SELECT a FROM easy"), (Rows{"null", "0"}));
    with("")->Execute("DELETE FROM easy WHERE b = 'x'");
    EXPECT_EQ(RowsOf(*with("Deleted=No;Collate=Machine;BackgroundFetch=Yes"),
                     "SELECT count(*) FROM easy"),
              Rows{"2"});
    EXPECT_EQ(RowsOf(*with("Deleted=Yes;Collating Sequence=general"), "SELECT count(*) FROM easy"),
              Rows{"1"});
    EXPECT_THROW(with("CodePage=none"), DataError);
    // Tables are made under any order, indexes under that of bytes alone.
    with("Collate=General")->Execute("CREATE TABLE ordered (a C(3))");
    EXPECT_THROW(with("Collate=General")->Execute("CREATE INDEX by_a ON ordered (a)"), DataError);
    EXPECT_THROW(with("Collate=General")->Execute("CREATE TABLE k (a C(3) PRIMARY KEY)"),
                 DataError);
    with("Collate=Machine")->Execute("CREATE INDEX by_a ON ordered (a)");
}

}  // namespace
}  // namespace vantry::foxpro
