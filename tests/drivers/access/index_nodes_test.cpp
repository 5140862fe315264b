// Deep indexes of few entries a page, through everything that makes nodes small: splits near a
// node's start, and deletes from either end and in the middle. The verifier says after each step
// that no node is left with a last child alone, and that no page is lost.

#include "drivers/access/indexes/index_page_editor.h"
#include "drivers/access/indexes/index_reader.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/usage_map_writer.h"
#include "drivers/access/writing_fixture.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <random>

namespace vantry::access {
namespace {

class IndexNodes : public WithoutSync {
protected:
    void SetUp() override {
        CreateDatabaseFile(path_);
        opened_ = std::make_unique<Opened>(path_);
        opened_->Create("deep",
                        {Column("id", "LONG"), Column("t", "TEXT", 255)},
                        {Index("texts", {"t"}), Index("down", {"-t", "id"})});
        table_ = opened_->Table("deep");
    }

    // Long keys, half of them with a long prefix in common: pages hold three to a hundred of them.
    static std::string TextOf(int number) {
        const std::string digits = std::to_string(100'000 + number);
        const bool alike = number % 20 != 0;
        return (alike ? std::string(200, 'm') : std::string()) + digits +
               std::string(static_cast<std::size_t>(number * 7 % 50), alike ? 'x' : 'q') +
               (alike ? "" : std::string(190, 'b'));
    }
    static std::vector<int> Shuffled(int count, unsigned seed) {
        std::vector<int> numbers(static_cast<std::size_t>(count));
        std::iota(numbers.begin(), numbers.end(), 0);
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
        return numbers;
    }
    void Insert(const std::vector<int>& numbers) {
        opened_->Statement([&] {
            for (const int number : numbers) {
                table_->Insert(std::vector{Cell::Int64(number), Cell::Text(TextOf(number))});
            }
        });
    }
    // Takes rows away by their place in storage order, with a look at the file every so often.
    template <typename Pick>
    void DeleteAll(std::size_t step, Pick&& pick) {
        auto rows = RowsOf(*table_);
        while (!rows.empty()) {
            opened_->Statement([&] {
                for (std::size_t i = 0; i < step && !rows.empty(); ++i) {
                    const auto at = rows.begin() + static_cast<std::ptrdiff_t>(pick(rows.size()));
                    table_->Delete(*at);
                    rows.erase(at);
                }
            });
            ASSERT_EQ("", Faults(path_)) << rows.size() << " rows left";
        }
    }

    std::string path_ = (folder_.Path() / "deep.accdb").string();
    std::unique_ptr<Opened> opened_;
    std::shared_ptr<sql::StoredTable> table_;
};

TEST_F(IndexNodes, KeepAnEntryThroughInsertsInAnyOrder) {
    auto numbers = Shuffled(900, 1);
    Insert({numbers.begin(), numbers.begin() + 300});
    EXPECT_EQ("", Faults(path_));
    std::sort(numbers.begin() + 300, numbers.begin() + 600, std::greater<>());
    Insert({numbers.begin() + 300, numbers.begin() + 600});
    EXPECT_EQ("", Faults(path_));
    std::sort(numbers.begin() + 600, numbers.end());
    Insert({numbers.begin() + 600, numbers.end()});
    EXPECT_EQ("", Faults(path_));
    // Each key changes: one goes and one comes, all over the tree.
    const auto rows = RowsOf(*table_);
    for (int round = 0; round < 3; ++round) {
        opened_->Statement([&] {
            for (std::size_t i = 0; i < rows.size(); ++i) {
                const std::string text = TextOf(static_cast<int>(i) * 37 % 1'000 + 1'000 * round);
                SetField(*table_, rows[i], 1, Cell::Text(text));
            }
        });
        EXPECT_EQ("", Faults(path_));
    }
}

TEST_F(IndexNodes, KeepAnEntryThroughDeletes) {
    auto ascending = Shuffled(600, 2);
    std::sort(ascending.begin(), ascending.end());
    std::mt19937 random(7);
    const std::function<std::size_t(std::size_t)> picks[] = {
        [](std::size_t) { return std::size_t{0}; },
        [](std::size_t left) { return left - 1; },
        [&](std::size_t left) { return random() % left; },
        [](std::size_t left) { return left / 2; }};
    for (const auto& pick : picks) {
        Insert(ascending);
        DeleteAll(20, pick);
    }
}

// Leaves are linked from end to end, which the verifier looks at; nodes below one parent only, as
// in files of Access. That lasts while nodes lose their children to siblings.
TEST_F(IndexNodes, AreLinkedBelowTheSameParent) {
    Insert(Shuffled(6'000, 12));
    auto& catalog = opened_->file->catalog;
    int families = 0;
    const std::function<void(PageReader&, PageNumber)> look_below = [&](PageReader& reader,
                                                                        PageNumber number) {
        IndexPage node;
        node.Parse(kJet4Layout, reader.Page(number));
        if (node.IsLeaf()) {
            return;
        }
        std::vector<PageNumber> children;
        for (std::size_t entry = 0; entry < node.Size(); ++entry) {
            children.push_back(node.Child(entry));
        }
        children.push_back(node.Tail());
        for (std::size_t at = 0; at < children.size(); ++at) {
            IndexPage child;
            child.Parse(kJet4Layout, reader.Page(children[at]));
            if (child.IsLeaf()) {
                return;
            }
            EXPECT_EQ(child.Previous(), at == 0 ? 0 : children[at - 1]) << number;
            EXPECT_EQ(child.Next(), at + 1 == children.size() ? 0 : children[at + 1]) << number;
            look_below(reader, children[at]);
        }
        ++families;
    };
    const auto families_now = [&] {
        families = 0;
        PageReader reader(*opened_->file->store);
        for (const auto& index : catalog.ReadTable(*catalog.Find("deep")).real_indexes) {
            look_below(reader, index.root);
        }
        return families;
    };
    EXPECT_GT(families_now(), 3);
    auto rows = RowsOf(*table_);
    std::shuffle(rows.begin(), rows.end(), std::mt19937(13));
    while (!rows.empty() && !HasFailure()) {
        opened_->Statement([&] {
            for (int count = 0; count < 200 && !rows.empty(); ++count) {
                table_->Delete(rows.back());
                rows.pop_back();
            }
        });
        families_now();
    }
    // Keys with nothing in common, deleted by their order: nodes are emptied beside full ones.
    std::mt19937 random(3);
    const auto letter = [&] { return static_cast<char>('a' + random() % 26); };
    opened_->Statement([&] {
        for (int id = 0; id < 1'000; ++id) {
            std::string text(245, ' ');
            std::generate(text.begin(), text.end(), letter);
            table_->Insert(std::vector{Cell::Int64(id), Cell::Text(text)});
        }
    });
    static constexpr std::size_t kAll[] = {0, 1};
    std::map<std::string, sql::RowId> by_key;
    for (const auto scan = table_->Scan(kAll); scan->Next();) {
        by_key.emplace(scan->Row()[1].AsText(), scan->CurrentRow());
    }
    while (!by_key.empty() && !HasFailure()) {
        opened_->Statement([&] {
            for (int count = 0; count < 5; ++count) {
                table_->Delete(by_key.extract(std::prev(by_key.end())).mapped());
            }
        });
        families_now();
    }
}

// A file made elsewhere may have one; it goes when a change comes by.
TEST_F(IndexNodes, WithoutAnEntryAreMended) {
    Insert(Shuffled(100, 4));
    PageStore& store = *opened_->file->store;
    auto& catalog = opened_->file->catalog;
    const TableDef def = catalog.ReadTable(*catalog.Find("deep"));
    constexpr const IndexPageLayout& kIndex = kJet4Layout.index;
    opened_->Statement([&] {
        for (const RealIndex& index : def.real_indexes) {
            const PageNumber page = store.Allocate();
            UsageMapWriter(store, index.owned_map).Add(page);
            const auto node = store.Change(page);
            const auto root = store.Change(index.root);
            IndexPageEditor::Write(node, {}, false);
            StoreU32(node, kPageOwnerOffset, def.page);
            StoreU32(node, kIndex.tail_offset, LoadU32(root, kIndex.tail_offset));
            StoreU32(root, kIndex.tail_offset, page);
        }
    });
    EXPECT_TRUE(Has(Faults(path_), "has no entry, only a last child"));
    opened_->Statement([&] {
        for (const char* const text : {"zz", "  "}) {  // the last key of either index
            table_->Insert(std::vector{Cell::Int64(1'000), Cell::Text(text)});
        }
    });
    EXPECT_EQ("", Faults(path_));
}

// Deletes of other engines leave a node's entry above its child's last one: searches go right all
// the same. Below it, they would miss rows.
TEST_F(IndexNodes, MayHaveEntriesAboveTheirChildren) {
    auto numbers = Shuffled(100, 5);
    Insert(numbers);
    PageStore& store = *opened_->file->store;
    auto& catalog = opened_->file->catalog;
    const PageNumber root = catalog.ReadTable(*catalog.Find("deep")).real_indexes[0].root;
    const auto change_first_entry = [&](bool above) {
        opened_->Statement([&] {
            IndexPageEditor editor;
            editor.Load(store.Look(root));
            auto entries = editor.AllEntries();
            // Its row pointer: page, slot.
            const auto row = std::span(entries[0]).last(kNodeEntryTail).first(kLeafEntryTail);
            if (above) {
                row.back() = std::byte{0xFF};
            } else {
                std::fill(row.begin(), row.end(), std::byte{});
            }
            IndexPageEditor::Write(store.Change(root), entries, false);
        });
    };
    change_first_entry(true);
    EXPECT_EQ(Verify(path_).findings, std::vector<std::string>());
    EXPECT_TRUE(Has(Faults(path_), "isn't the last entry of its child"));
    Insert(Shuffled(100, 6));
    EXPECT_EQ(Verify(path_).findings, std::vector<std::string>());
    DeleteAll(250, [](std::size_t) { return std::size_t{0}; });

    Insert(numbers);
    change_first_entry(false);
    EXPECT_FALSE(Verify(path_).IsSound());
}

// Another engine's delete has left the entry of the first leaf as it was, the key of the second
// one's first row: the search for that key begins on the wrong leaf.
TEST_F(IndexNodes, FindADoubleBehindTheBorderOfALeaf) {
    auto unique = Index("ids", {"id"});
    unique.unique = true;
    opened_->Create("once", {Column("id", "LONG")}, {unique});
    const auto once = opened_->Table("once");
    opened_->Statement([&] {
        for (int id = 0; id < 3'000; ++id) {
            once->Insert(std::vector{Cell::Int64(id)});
        }
    });
    PageStore& store = *opened_->file->store;
    auto& catalog = opened_->file->catalog;
    const PageNumber root = catalog.ReadTable(*catalog.Find("once")).real_indexes[0].root;
    IndexPageEditor editor;
    editor.Load(store.Look(root));
    auto nodes = editor.AllEntries();
    ASSERT_GE(nodes.size(), 2U);
    editor.Load(store.Look(ChildOf(nodes[1])));
    const auto second = editor.AllEntries();
    editor.Load(store.Look(ChildOf(nodes[0])));
    const auto border = Cell::Int64(static_cast<std::int64_t>(editor.Size()));
    nodes[0] = NodeEntry(second[0], ChildOf(nodes[0]));
    std::fill_n(nodes[0].rbegin() + 4, kLeafEntryTail, std::byte{});  // of a row before that one
    opened_->Statement([&] { IndexPageEditor::Write(store.Change(root), nodes, false); });
    EXPECT_THROW(opened_->Insert("once", {border}), DataError);
    EXPECT_EQ(Verify(path_).findings, std::vector<std::string>());
}

// A map of free pages on pages of its own that says that they are free: they aren't given away.
TEST_F(IndexNodes, AreNotPutOnThePagesOfTheFreeMap) {
    Insert(Shuffled(6'000, 8));  // more pages than a map in a row of its own covers
    PageStore& store = *opened_->file->store;
    UsageMapWriter map(store, {kGlobalMapPage, 0}, UsageMapWriter::Kind::FreePages);
    const auto bitmaps = map.BitmapPages();
    ASSERT_FALSE(bitmaps.empty());
    opened_->Statement([&] { map.Add(bitmaps[0]); });
    EXPECT_EQ(Verify(path_).findings, std::vector<std::string>());
    Insert(Shuffled(200, 9));
    EXPECT_EQ(Verify(path_).findings, std::vector<std::string>());
    EXPECT_TRUE(Has(Faults(path_), "the global page map and is marked free"));
}

}  // namespace
}  // namespace vantry::access
