// Random texts over the whole plane in a unique index, found again one by one. VANTRY_TEXT_KEYS
// gives the number of texts; the fixed seed makes a failure come again.

#include "data/utf.h"
#include "drivers/access/indexes/collation.h"
#include "drivers/access/indexes/index_reader.h"
#include "drivers/access/rows/record_reader.h"
#include "drivers/access/writing_fixture.h"

#include <cstdlib>
#include <random>

namespace vantry::access {
namespace {

using Key = std::vector<std::byte>;

std::size_t NumberOfTexts() {
    const char* const wanted = std::getenv("VANTRY_TEXT_KEYS");
    return wanted != nullptr ? static_cast<std::size_t>(std::atoll(wanted)) : 3'000;
}

class RandomTexts {
public:
    std::string Next() {
        std::u32string text;
        const char32_t block = Below(0x1100) * 0x80;  // any plane, but mostly the first
        const unsigned kind = Below(4);
        for (unsigned left = 1 + Below(kind == 0 ? 4 : 40); left > 0; --left) {
            text += kind == 1                   ? Character(block % 0x10000 + Below(0x80))
                    : kind == 2 && Below(3) > 0 ? U'a' + Below(26)
                                                : Character(Below(0x10000));
            if (Below(50) == 0) {
                text += Character(0x10000 + Below(0x100000));
            }
        }
        std::string utf8;
        for (const char32_t character : text) {
            AppendUtf8(character, utf8);
        }
        return utf8;
    }
    unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

private:
    static char32_t Character(char32_t character) {
        return character == 0 || (character >= 0xD800 && character <= 0xDFFF) ? U'-' : character;
    }

    std::mt19937_64 random_{20'260'731};
};

class TextIndex : public WithoutSync, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        path_ = (folder_.Path() / GetParam()).string();
        CreateDatabaseFile(path_);
        opened_ = std::make_unique<Opened>(path_);
        auto index = Index("texts", {"t"});
        index.unique = true;
        opened_->Create("texts", {Column("id", "LONG"), Column("t", "TEXT", 255)}, {index});
        table_ = opened_->Table("texts");
        auto& catalog = opened_->file->catalog;
        def_ = catalog.ReadTable(*catalog.Find("texts"));
        collation_ = Collation::For(def_.columns[1].sort_order);
        ASSERT_NE(collation_, nullptr);
    }

    Key KeyOf(std::string_view text) const {
        Key key{std::byte{0x7F}};
        collation_->AppendKey(Utf16FromUtf8(text), true, key);
        return key;
    }
    // A text whose key isn't in the model yet; now it is.
    std::string FreshText() {
        for (;;) {
            std::string text = texts_.Next();
            if (model_.emplace(KeyOf(text), text).second) {
                return text;
            }
        }
    }
    void Insert(std::string_view text) {
        table_->Insert(std::vector{Cell::Int64(++next_id_), Cell::Text(text)});
    }
    // Where the index says that the text is.
    std::optional<RowPointer> Find(const Key& key) {
        IndexReader entries(*opened_->file->store, def_, def_.real_indexes[0]);
        entries.Seek(key);
        if (!entries.Next() ||
            !std::equal(key.begin(), key.end(), entries.Key().begin(), entries.Key().end())) {
            return std::nullopt;
        }
        return entries.Row();
    }

    // One text goes, under another row pointer or the same; a new one comes.
    void ChangeOne() {
        auto at = model_.lower_bound(KeyOf(texts_.Next()));
        at = at == model_.end() ? model_.begin() : at;
        const auto row = Find(at->first);
        ASSERT_TRUE(row) << at->second;
        const auto id = static_cast<sql::RowId>(PackRowPointer(*row));
        model_.erase(at);
        const std::string text = FreshText();
        if (texts_.Below(2) == 0) {
            const std::size_t column[] = {1};
            const Cell value[] = {Cell::Text(text)};
            table_->Update(id, column, value);
        } else {
            table_->Delete(id);
            Insert(text);
        }
    }

    // The index has the model's keys in their order, each at its row, and finds every one.
    void Check() {
        opened_->file->store->Settle();
        ASSERT_EQ("", Faults(path_));
        PageStore& store = *opened_->file->store;
        IndexReader entries(store, def_, def_.real_indexes[0]);
        RecordReader rows(store, def_, {"t"});
        entries.SeekFirst();
        for (const auto& [key, text] : model_) {
            ASSERT_TRUE(entries.Next());
            ASSERT_TRUE(
                std::equal(key.begin(), key.end(), entries.Key().begin(), entries.Key().end()));
            ASSERT_TRUE(rows.Seek(entries.Row()));
            ASSERT_EQ(rows[0].AsText(), text);
            ASSERT_EQ(Find(key), entries.Row()) << text;
        }
        EXPECT_FALSE(entries.Next());
    }

    std::string path_;
    std::unique_ptr<Opened> opened_;
    std::shared_ptr<sql::StoredTable> table_;
    TableDef def_;
    const Collation* collation_ = nullptr;
    RandomTexts texts_;
    std::map<Key, std::string> model_;
    std::int64_t next_id_ = 0;
};

TEST_P(TextIndex, FindsEveryTextAlsoAfterChanges) {
    constexpr std::size_t kInAStatement = 5'000;
    const std::size_t count = NumberOfTexts();
    for (std::size_t done = 0; done < count;) {
        opened_->Statement([&] {
            for (std::size_t i = 0; i < kInAStatement && done < count; ++i, ++done) {
                Insert(FreshText());
            }
        });
    }
    Check();
    const std::string another = model_.begin()->second;
    EXPECT_NE(ErrorOf([&] { opened_->Statement([&] { Insert(another + "   "); }); }), "");
    for (std::size_t done = 0; done < count / 10;) {
        opened_->Statement([&] {
            for (std::size_t i = 0; i < kInAStatement && done < count / 10; ++i, ++done) {
                ChangeOne();
            }
        });
    }
    Check();
}

INSTANTIATE_TEST_SUITE_P(Orders, TextIndex, testing::Values("legacy.mdb", "general.accdb"));

}  // namespace
}  // namespace vantry::access
