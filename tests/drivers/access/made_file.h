#pragma once
// A file to damage.

#include "drivers/access/bent_file.h"
#include "drivers/access/engine_rows.h"

#include <string>
#include <vector>

namespace vantry::access {

// A file of our own with all that has a pointer in it: indexes of several levels, long values,
// moved and deleted rows, defaults, a saved query, a column of several values.
inline test::FileBytes MadeFile() {
    const test::TempDir folder;
    test::NoSync no_sync;
    const test::InstalledPlan installed(no_sync);
    const std::string path = folder / "made.accdb";
    CreateDatabaseFile(path);
    {
        Opened opened(path);
        auto city = Column("city", "TEXT", 50);
        city.default_text = "'Köln'";
        opened.Create(
            "t",
            {Column("id", "COUNTER"), city, Column("memo", "MEMO"), Column("n", "DOUBLE")},
            {PrimaryKey(), Index("city", {"city", "-n"})});
        const auto table = opened.Table("t");
        opened.Statement([&] {
            for (int row = 0; row < 400; ++row) {
                const std::string memo(row % 20 == 0 ? 9'000 : 30, 'm');
                const std::string name = std::to_string(row * 7919 % 400) + " street of many";
                table->Insert(std::vector<Cell>{
                    Cell(), Cell::Text(name), Cell::Text(memo), Cell::Double(row)});
            }
        });
        const auto rows = RowsOf(*table);
        const std::string longer(900, 'l');
        const std::string town(50, 'c');
        const std::size_t columns[] = {1, 2};
        const Cell values[] = {Cell::Text(town), Cell::Text(longer)};
        opened.Statement([&] {
            for (std::size_t row = 0; row < rows.size(); row += 3) {
                row % 2 == 0 ? table->Update(rows[row], columns, values) : table->Delete(rows[row]);
            }
        });
        opened.Create("empty", {Column("flag", "YESNO"), Column("g", "GUID")});
        opened.Create("several", {Column("id", "LONG"), Column("all", "LONG")});
        opened.Create("values", ColumnsOf("_all LONG, Value TEXT 40"), {Index("keys", {"_all"})});
        for (int id = 0; id < 30; ++id) {
            opened.Insert("several", {Cell::Int64(id), Cell::Int64(id)});
            opened.Insert("values", {Cell::Int64(id / 2), Cell::Text("a value")});
        }
        EngineRows(path).Insert(
            "MSysComplexColumns",
            {{"ColumnName", Cell::Text("all")},
             {"ComplexTypeObjectID", Cell::Int64(1)},
             {"ConceptualTableID", Cell::Int64(1)},
             {"FlatTableID", Cell::Int64(opened.file->catalog.Find("values")->id)},
             {"ComplexID", Cell::Int64(7)}});
        EngineRows(path).AddQuery("joined",
                                  0,
                                  {{6, "t.city", "place"},
                                   {5, "", "t"},
                                   {5, "", "several"},
                                   {7, "t.id = several.id", "t", "several", 2},
                                   {8, "t.n > 3"}});
    }
    BentFile bent(path);
    bent.Turn("several", 1, ColumnType::Complex, 7);
    bent.Save();
    return test::FileBytes(path);
}

}  // namespace vantry::access
