// The verifier finds each kind of damage: without this a sound report would say nothing. That it
// finds files of Access sound is looked at in real_files_test.cpp.

#include "drivers/access/verify/verify.h"

#include "drivers/access/indexes/index_reader.h"
#include "drivers/access/made_file.h"

namespace vantry::access {
namespace {

constexpr std::size_t kPage = 4096;

class Damage : public testing::Test {
protected:
    static const std::vector<std::byte>& Sound() {
        static const std::vector<std::byte> bytes = MadeFile().bytes;
        return bytes;
    }
    void Open(const std::string& table) {
        file_ = std::make_unique<test::FileBytes>(Sound());
        source_ = file_->Open();
        ASSERT_EQ(Verify(*source_).Text(), "");
        ObjectCatalog catalog(*source_);
        def_ = catalog.ReadTable(*catalog.Find(table));
    }

    // A finding (or a note) holds `words`; the damage is undone.
    void ExpectFound(std::initializer_list<std::string> words) {
        for (const auto& one : words) {
            EXPECT_TRUE(test::Has(Verify(*source_).Text(), one));
        }
        if (file_->bytes.size() == Sound().size()) {
            file_->bytes = Sound();
        }
    }

    std::size_t OffsetOf(PageNumber page) const { return page * kPage; }
    RowPointer FirstRow() {
        RowScanner scanner(*source_, def_);
        scanner.Next();
        return scanner.Pointer();
    }
    // The byte of a usage map's bitmap that has the page's bit, for inline maps.
    std::size_t MapByte(RowPointer map, PageNumber page) {
        const std::size_t slot = kJet4Layout.data.slots_offset + 2U * map.row;
        const std::size_t row =
            OffsetOf(map.page) +
            (file_->Get<std::uint16_t>(OffsetOf(map.page) + slot) & kSlotOffsetMask);
        EXPECT_EQ(file_->bytes[row], std::byte{kInlineMap});
        return row + kInlineMapBitsOffset +
               (page - file_->Get<std::uint32_t>(row + kInlineMapStartOffset)) / 8;
    }

    std::unique_ptr<test::FileBytes> file_;
    std::unique_ptr<MemoryPageSource> source_;
    TableDef def_;
};

TEST_F(Damage, OfIndexes) {
    Open("t");
    const auto& index = def_.real_indexes[1];
    const PageNumber root = index.root;
    ASSERT_EQ(file_->At(root, 0), std::byte{static_cast<std::uint8_t>(PageType::IndexNode)});
    IndexReader entries(*source_, def_, index);
    entries.SeekFirst();
    ASSERT_TRUE(entries.Next());
    IndexPage node;
    node.Parse(kJet4Layout, ByteSpan(Sound()).subspan(OffsetOf(root), kPage));
    const PageNumber leaf = node.Child(0);
    const std::size_t area = kJet4Layout.index.entries_offset;

    file_->At(leaf, area + 2) ^= std::byte{0x01};
    ExpectFound({"isn't the row's key"});

    const std::size_t second = entries.Key().size() + kLeafEntryTail;
    file_->At(leaf, area + second) = std::byte{0};
    ExpectFound({"out of order"});

    file_->At(root, area + 2) ^= std::byte{0x01};
    ExpectFound({"isn't the last entry of its child"});

    file_->Put<std::uint32_t>(OffsetOf(leaf) + kJet4Layout.index.next_offset, 0);
    ExpectFound({"wrongly linked"});

    file_->bytes[MapByte(index.owned_map, leaf)] = std::byte{0};
    ExpectFound({"isn't in its page map"});

    EXPECT_TRUE(Verify(*source_).IsSound());
}

TEST_F(Damage, OfRowsUnderAnIndex) {
    Open("t");
    const auto row = FirstRow();
    const std::size_t slot = OffsetOf(row.page) + kJet4Layout.data.slots_offset + 2U * row.row;

    file_->Put(slot, static_cast<std::uint16_t>(file_->Get<std::uint16_t>(slot) | kSlotDeleted));
    ExpectFound({"which is no row", "has " + std::to_string(def_.row_count - 1)});

    file_->Put<std::uint16_t>(slot, 20);
    ExpectFound({"overlaps another"});

    file_->bytes[MapByte(def_.owned_map, row.page)] = std::byte{0};
    ExpectFound({"rows that the table doesn't list", "belongs to nobody"});
}

TEST_F(Damage, OfPageOwnership) {
    Open("t");
    const auto row = FirstRow();

    file_->bytes[MapByte({kGlobalMapPage, 0}, row.page)] = std::byte{0xFF};
    ExpectFound({"is marked free"});

    // A second table's map claims the page, too.
    ObjectCatalog catalog(*source_);
    const auto other = catalog.ReadTable(*catalog.Find("several"));
    file_->bytes[MapByte(other.owned_map, row.page)] = std::byte{0xFF};
    ExpectFound({"belongs to"});

    file_->bytes.resize(file_->bytes.size() - kPage * 8);
    source_ = file_->Open();
    ExpectFound({"behind the file's end"});
}

TEST_F(Damage, OfLongValuesMovedRowsAndPermissions) {
    Open("t");
    PageReader reader(*source_);
    for (const auto& column : def_.columns) {
        if (!column.has_maps) {
            continue;
        }
        UsageMap map(*source_, column.owned_map);
        if (const auto page = map.Next(0)) {
            file_->Put<std::uint32_t>(OffsetOf(*page) + kPageOwnerOffset, 77);
            break;
        }
    }
    ExpectFound({"it isn't a page of long values"});

    RowScanner scanner(*source_, def_);
    while (scanner.Next()) {
        const auto row = scanner.Pointer();
        const auto page = ByteSpan(file_->bytes).subspan(OffsetOf(row.page), kPage);
        if (const auto slot = FindRow(kJet4Layout, page, row.row); slot.overflow) {
            const auto target = UnpackRowPointer(LoadU32(slot.bytes, 0));
            const std::size_t at =
                OffsetOf(target.page) + kJet4Layout.data.slots_offset + 2U * target.row;
            file_->Put(at, static_cast<std::uint16_t>(file_->Get<std::uint16_t>(at) & 0x3FFF));
            break;
        }
    }
    ExpectFound({"a moved row would be read twice"});

    Open("MSysACEs");
    const auto row = FirstRow();
    const std::size_t slot = OffsetOf(row.page) + kJet4Layout.data.slots_offset;
    for (std::size_t i = 0; i < 16; ++i) {
        const auto value = file_->Get<std::uint16_t>(slot + 2 * i);
        file_->Put(slot + 2 * i, static_cast<std::uint16_t>(value | kSlotDeleted));
    }
    ExpectFound({"has no entry in MSysACEs"});
}

}  // namespace
}  // namespace vantry::access
