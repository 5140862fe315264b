// Any text as a statement, over two small tables and two saved queries: it gives rows or a
// DataError, and every cell of a row can be looked at. The first byte chooses the dialect and the
// way in.

#include "drivers/sql/memory_database.h"

#include <cstdlib>

namespace vantry {
namespace {
using vantry::sql::test::MemoryDatabase;

// Reads that one statement may make: joins without a condition end there.
constexpr std::size_t kRowLimit = 5000;

std::shared_ptr<MemoryDatabase> MakeDatabase() {
    auto database = std::make_shared<MemoryDatabase>();
    using D = MemoryDatabase;
    auto& a = database->AddTable("a",
                                 {D::Column("id", adInteger, 4),
                                  D::Column("t", adVarWChar, 40),
                                  D::Column("n", adDouble),
                                  D::Column("d", adDate),
                                  D::Column("b", adBoolean, 2),
                                  D::Column("c", adCurrency),
                                  D::Column("m", adLongVarWChar, 1000)});
    auto& o = database->AddTable("o", {D::Column("id", adInteger, 4), D::Column("k", adWChar, 4)});
    for (int k = 0; k < 4; ++k) {
        std::vector<Value> row(7);
        row[0].Assign(Cell::Int64(k));
        row[1].Assign(k == 3 ? Cell::Null() : Cell::Text("Ünï"));
        row[2].Assign(k == 2 ? Cell::Unreadable() : Cell::Double(k * 1.5 - 1));
        row[3].Assign(Cell::FromDateTime({k * 20000 - 5, k * kNanosPerSecond}));
        row[4].Assign(Cell::Boolean(k % 2 == 0));
        row[5].Assign(Cell::FromDecimal({k * 12345, 4}));
        row[6].Assign(Cell::Text("50% off"));
        a.rows.push_back(std::move(row));
        a.deleted.push_back(false);
        std::vector<Value> other(2);
        other[0].Assign(Cell::Int64(k * 2));
        other[1].Assign(Cell::Text("x  "));
        o.rows.push_back(std::move(other));
        o.deleted.push_back(false);
    }
    o.indexed.insert(0);
    a.row_limit = o.row_limit = kRowLimit;
    database->views["V"] = "select id, t, n + 1 as p from a where id > 0 order by t";
    database->views["W"] = "select v.*, o.k from V left join o on v.id = o.id union select 1,2,3,4";
    return database;
}

// Reads each byte, so that the sanitizer sees a cell that points to memory that is gone.
std::size_t Look(const Cell& cell) {
    std::size_t sum = 0;
    if (cell.IsView()) {
        for (const auto byte : cell.AsBytes()) {
            sum += static_cast<std::size_t>(byte);
        }
    }
    return sum + ToText(cell).size();
}

void Walk(DriverConnection& connection, std::string_view sql) {
    const auto cursor = connection.OpenCursor(sql);
    std::size_t sum = 0;
    while (cursor->Next()) {
        const auto row = cursor->Row();
        if (row.size() != cursor->Columns().size()) {
            std::abort();
        }
        for (std::size_t k = 0; k < row.size(); ++k) {
            sum += Look(row[k]);
            if (row[k].Kind() == ValueKind::Unreadable) {
                sum += cursor->FieldError(k).Description().size();
            }
        }
    }
    [[maybe_unused]] static volatile std::size_t looked_at;
    looked_at = sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    sql::Dialect dialect;
    if ((data[0] & 1) != 0) {
        dialect.kind = sql::Dialect::Kind::FoxPro;
        dialect.text_ignores_case = false;
    }
    dialect.engine_name = "engine";
    const std::string_view statement(reinterpret_cast<const char*>(data + 1), size - 1);
    const auto connection = sql::ConnectSql(MakeDatabase(), dialect);
    try {
        switch (data[0] >> 1 & 3) {
            case 0:
            case 1:  // half of all
                Walk(*connection, statement);
                break;
            case 2:
                connection->Execute(statement);
                break;
            default: {
                const auto prepared = connection->Prepare(statement, {});
                const Cell values[] = {Cell::Int64(2), Cell::Text("2024-01-02"), Cell::Null()};
                prepared->Execute(values);
                prepared->Execute(values);
            }
        }
    } catch (const DataError&) {
        // What most inputs end in.
    }
    return 0;
}

}  // namespace vantry
