// Random changes, after which every tag must have what a fresh build gives it. The environment
// variable VANTRY_INDEX_CHANGES sets how many of them there are. What a kill leaves of tags is seen
// in crash_test.cpp.

#include "drivers/foxpro/indexing.h"
#include "drivers/foxpro/write/table_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <random>
#include <set>

namespace vantry::foxpro {
namespace {

int FromEnvironment(const char* name, int otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr ? std::atoi(value) : otherwise;
}

// A value for the field that often is one that is there, and at times long, blank or NULL.
Cell RandomValue(const Field& field, std::mt19937& random, std::string& scratch) {
    const auto number = static_cast<std::int64_t>(random() % (random() % 3 == 0 ? 10 : 100'000));
    if (random() % 10 == 0) {
        return field.nullable ? Cell::Null() : Cell();
    }
    switch (field.type) {
        case 'C':
        case 'V': {
            scratch = std::to_string(number) + (random() % 4 == 0 ? " Straße É" : "");
            scratch.resize(
                std::min(scratch.size(), field.length - (field.length > 9 ? 0 : field.length / 2)));
            while (!IsValidUtf8(scratch)) {
                scratch.pop_back();
            }
            return Cell::Text(scratch);
        }
        case 'D':
        case 'T':
            return Cell::FromDateTime({static_cast<std::int32_t>(number), 0});
        case 'L':
            return Cell::Boolean(number % 2 == 0);
        case 'N':
        case 'F':
            return Cell::Int64(number % (field.length - field.decimals < 6 ? 500 : 100'000));
        case 'I':
        case 'B':
        case 'Y':
            return field.auto_increment ? Cell() : Cell::Int64(number - 50);
        default:
            return Cell();
    }
}

// A key or a value that isn't allowed may be refused; nothing of the row was written then.
void TryChange(const std::function<void()>& change) {
    try {
        change();
    } catch (const DataError& error) {
        ASSERT_TRUE(error.Number() == kErrConstraint || error.Number() == kErrConversion)
            << error.Description();
    }
}

// Changes of a table below the SQL layer, in transactions of some rows.
void ChangeAtRandom(TableFile& table, int changes, std::mt19937& random) {
    auto& writer = table.Writer(true);
    std::vector<std::size_t> shown;
    for (std::size_t k = 0; k < table.Layout().fields.size(); ++k) {
        if (!table.Layout().fields[k].hidden) {
            shown.push_back(k);
        }
    }
    std::vector<std::string> scratch(shown.size());
    std::vector<Cell> row(shown.size());
    while (changes > 0) {
        table.Group().Begin();
        for (auto rows = random() % 40; rows > 0 && changes > 0; --rows, --changes) {
            for (std::size_t k = 0; k < shown.size(); ++k) {
                row[k] = RandomValue(table.Layout().fields[shown[k]], random, scratch[k]);
            }
            const auto record = static_cast<RecordNumber>(random() % (table.RecordCount() + 1) + 1);
            const auto field = random() % shown.size();
            TryChange([&] {
                switch (random() % 4) {
                    case 0:
                        writer.Delete(record);
                        break;
                    case 1:
                        writer.Update(record, {&shown[field], 1}, {&row[field], 1});
                        break;
                    default:
                        writer.Prepare(row);
                        writer.Add();
                }
            });
        }
        if (random() % 8 == 0) {
            table.Group().Rollback();
        } else {
            table.Group().Commit();
        }
    }
}

using IndexOfRealFilesTest = RealFilesTest;

// Indexes that the original products made: in order and complete, the same when they are made anew
// from the records alone, and right after changes.
TEST_F(IndexOfRealFilesTest, AreRightAndStayRightWhenRowsChange) {
    const auto expect_same_made_anew = [](IndexedTable& table) {
        const auto kept = table.Entries();
        table.table.Group().Begin();
        table.tags.Rebuild(WalkOver(table.table));
        table.table.Group().Commit();
        EXPECT_TRUE(table.Entries() == kept);
        EXPECT_EQ(table.Verify(), Rows());
        return kept.size();
    };
    std::size_t tags = 0;
    std::size_t entries = 0;
    std::size_t records = 0;
    int tables = 0;
    Rows unsupported;
    Rows refusals;
    for (const auto& [path, names] : IndexedBelow(Real(""))) {
        SCOPED_TRACE(path);
        const auto others = unsupported.size();
        {
            IndexedTable table(path, names);
            EXPECT_EQ(WithoutDropped(table.Verify()), Rows());
            for (const auto& tag : table.tags.Tags()) {
                ++tags;
                if (!tag.unsupported.empty()) {
                    unsupported.push_back(path.filename().string() + " " + tag.name + ": " +
                                          tag.unsupported);
                }
            }
            entries +=
                unsupported.size() > others ? table.Entries().size() : expect_same_made_anew(table);
        }
        // Little memory, so that entries are packed and merged within a transaction, too.
        const TableOptions options{.show_deleted = true, .tag_memory = 200};
        if (unsupported.size() > others) {
            try {
                TableFile(path.string(), options, names).Writer(true);
            } catch (const DataError& error) {
                const auto& text = error.Description();
                const auto start = text.find("its tag");
                refusals.push_back(text.substr(start, text.find(", as") - start));
            }
        } else if (UpperCased(path.extension().string()) != ".DBC") {
            std::mt19937 random(11);
            {
                TableFile table(path.string(), options, names);
                ChangeAtRandom(table, 1000, random);
            }
            IndexedTable table(path, names);
            EXPECT_EQ(WithoutDropped(table.Verify()), Rows());
            expect_same_made_anew(table);
            records += table.table.RecordCount();
            ++tables;
        }
    }
    std::sort(unsupported.begin(), unsupported.end());
    EXPECT_EQ(unsupported,
              (Rows{"fb2p_dbf.dbf NOTDELETED: it is a BINARY one",
                    "fb2p_free.dbf LOGICO: it is a BINARY one"}));
    std::sort(refusals.begin(), refusals.end());
    EXPECT_EQ(refusals,
              (Rows{"its tag 'LOGICO' on 'logico' can't be kept right",
                    "its tag 'NOTDELETED' on '.NOT.DELETED()' can't be kept right"}));
    EXPECT_EQ(tags, 42U);
    EXPECT_EQ(entries, 550U);
    EXPECT_EQ(tables, 12);
    EXPECT_GT(records, 2900U);
}

class IndexWorkloadTest : public testing::Test {
protected:
    // A table with tags of all kinds.
    void MakeTable() {
        const auto connection = Connect(folder_.Path(), "CodePage=1252");
        connection->Execute(
            "CREATE TABLE t (id I NOT NULL PRIMARY KEY, name C(60) NOT NULL, "
            "n N(8,2) NULL, d D NULL, note M)");
        const std::vector<TagDefinition> tags = {
            {.name = "upper", .expression = "UPPER(name)"},
            {.name = "general", .expression = "name", .collation = "GENERAL"},
            {.name = "n", .expression = "n", .descending = true},
            {.name = "live", .expression = "name", .filter = ".NOT.DELETED()"},
            {.name = "first", .expression = "n", .unique = true},
            {.name = "long", .expression = "name+STR(n,9,2)+PADR(name,100)+DTOS(d)"},
            {.name = "large", .expression = "d", .filter = "n > 50 .AND. !EMPTY(d)"},
        };
        IndexedTable table(folder_ / "t.dbf");
        table.table.Group().Begin();
        table.tags.AddTags(tags, WalkOver(table.table));
        table.table.Group().Commit();
    }

    struct Model {
        std::map<int, std::string> names;
        std::set<int> used;  // ids that records have, deleted ones too
        int next_id = 1;
    };

    // One statement, and what it does to the model.
    static void Change(DriverConnection& connection, std::mt19937& random, Model& model) {
        const auto text = [&] {
            static const std::vector<std::string> words = {
                "Zoë", "apple", "Apfel", "ÉTÉ", "", "straße"};
            return words[random() % words.size()] + " " + std::to_string(random() % 500) +
                   (random() % 9 == 0 ? std::string(random() % 40, 'x') : "");
        };
        const auto values = [&](int id, const std::string& name) {
            return std::vector<Cell>{
                Cell::Int64(id),
                Cell::Text(name),
                random() % 8 == 0 ? Cell::Null() : Cell::Int64(static_cast<int>(random() % 120)),
                random() % 8 == 0
                    ? Cell::Null()
                    : Cell::FromDateTime({static_cast<std::int32_t>(random() % 40'000), 0}),
                Cell::Text(name)};
        };
        const int known =
            model.next_id == 1
                ? 1
                : 1 + static_cast<int>(random() % static_cast<unsigned>(model.next_id));
        const auto kind = random() % 1000;
        if (kind < 550) {
            // Now and then a key that is there, or was.
            const int id = random() % 10 == 0 ? known : model.next_id;
            const auto name = text();
            try {
                connection.Prepare("INSERT INTO t VALUES (?,?,?,?,?)", {})
                    ->Execute(values(id, name));
                connection.Settle();
                EXPECT_TRUE(model.used.insert(id).second) << id;
                model.names[id] = name;
                model.next_id = std::max(model.next_id, id + 1);
            } catch (const DataError& error) {
                EXPECT_TRUE(model.used.contains(id)) << error.Description();
            }
        } else if (kind < 560) {
            const auto insert = connection.Prepare("INSERT INTO t VALUES (?,?,?,?,?)", {});
            for (auto rows = random() % 300; rows > 0; --rows) {
                const auto name = text();
                insert->Execute(values(model.next_id, name));
                model.used.insert(model.next_id);
                model.names[model.next_id++] = name;
            }
            connection.Settle();
        } else if (kind < 800) {
            const auto name = text();
            const auto row = values(known, name);
            connection.Prepare("UPDATE t SET name = ?, n = ?, d = ? WHERE id = ?", {})
                ->Execute(std::vector<Cell>{row[1], row[2], row[3], row[0]});
            if (model.names.contains(known)) {
                model.names[known] = name;
            }
        } else if (kind < 810) {
            connection.Execute("UPDATE t SET n = n + 1 WHERE n < " +
                               std::to_string(random() % 100));
        } else if (kind < 990) {
            connection.Execute("DELETE FROM t WHERE id = " + std::to_string(known));
            model.names.erase(known);
        } else if (kind < 999) {
            const int end = known + static_cast<int>(random() % 200);
            connection.Execute("DELETE FROM t WHERE id BETWEEN " + std::to_string(known) + " AND " +
                               std::to_string(end));
            model.names.erase(model.names.lower_bound(known), model.names.upper_bound(end));
        } else {
            connection.Execute("DELETE FROM t");
            model.names.clear();
            model.used.clear();
        }
    }

    Rows Findings() {
        auto findings = Verify((folder_ / "t.dbf").string());
        std::erase_if(findings, [](const std::string& finding) {
            return finding.find("behind the end") != std::string::npos;
        });
        return findings;
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

TEST_F(IndexWorkloadTest, TagsAndRowsGoWithAModel) {
    MakeTable();
    const int changes = FromEnvironment("VANTRY_INDEX_CHANGES", 1000);
    std::mt19937 random(5);
    Model model;
    auto connection = Connect(folder_.Path());
    for (int k = 1; k <= changes; ++k) {
        Change(*connection, random, model);
        if (k % 250 != 0) {
            continue;
        }
        ASSERT_EQ(Findings(), Rows()) << k;
        Rows expected;
        for (const auto& [id, name] : model.names) {
            auto shown = name;
            shown.resize(shown.find_last_not_of(' ') + 1);
            expected.push_back(std::to_string(id) + "\t" + HexOf(shown));
        }
        ASSERT_TRUE(RowsOf(*connection, "SELECT id, name FROM t ORDER BY id") == expected) << k;
        if (k % 1000 == 0) {
            connection = Connect(folder_.Path());
        }
    }
}

}  // namespace
}  // namespace vantry::foxpro
