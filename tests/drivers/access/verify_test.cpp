// The verifier finds each kind of damage: without this a sound report would say nothing.

#include "drivers/access/verify.h"

#include "drivers/access/file_bytes.h"
#include "drivers/access/index_reader.h"
#include "drivers/access/stored_rows.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace vantry::access {
namespace {

namespace fs = std::filesystem;

const fs::path kFolder = fs::path(VANTRY_SHARED_DATA) / "access";
constexpr std::size_t kPage = 4096;

class Damage : public testing::Test {
protected:
    void SetUp() override {
        if (!fs::exists(kFolder)) {
            GTEST_SKIP() << kFolder << " isn't there";
        }
    }

    void Open(const std::string& file, const std::string& table) {
        file_ = std::make_unique<test::FileBytes>(kFolder / file);
        source_ = file_->Open();
        ASSERT_TRUE(Verify(*source_).IsSound()) << Verify(*source_).Text();
        ObjectCatalog catalog(*source_);
        def_ = catalog.ReadTable(*catalog.Find(table));
    }

    // Whether a finding (or a note) holds `words`.
    bool Found(const std::string& words) {
        report_ = Verify(*source_).Text();
        return report_.find(words) != std::string::npos;
    }

    const RealIndex& IndexNamed(const std::string& name) const {
        for (const auto& index : def_.logical_indexes) {
            if (index.name == name) {
                return def_.real_indexes[index.real];
            }
        }
        throw std::runtime_error("no such index");
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
    std::string report_;
};

TEST_F(Damage, OfIndexes) {
    Open("compIndexTestV2007.accdb", "Table1");
    const auto& index = def_.real_indexes[0];
    const PageNumber root = index.root;
    ASSERT_EQ(file_->At(root, 0), std::byte{static_cast<std::uint8_t>(PageType::IndexNode)});
    IndexReader entries(*source_, def_, index);
    entries.SeekFirst();
    ASSERT_TRUE(entries.Next());
    const auto pristine = file_->bytes;
    IndexPage node;
    node.Parse(kJet4Layout, ByteSpan(pristine).subspan(OffsetOf(root), kPage));
    const PageNumber leaf = node.Child(0);
    const std::size_t area = kJet4Layout.index.entries_offset;

    file_->At(leaf, area + 2) ^= std::byte{0x01};
    EXPECT_TRUE(Found("isn't the row's key")) << report_;
    file_->bytes = pristine;

    const std::size_t second = entries.Key().size() + kLeafEntryTail;
    file_->At(leaf, area + second) = std::byte{0};
    EXPECT_TRUE(Found("out of order")) << report_;
    file_->bytes = pristine;

    file_->At(root, area + 2) ^= std::byte{0x01};
    EXPECT_TRUE(Found("isn't the last entry of its child")) << report_;
    file_->bytes = pristine;

    file_->Put<std::uint32_t>(OffsetOf(leaf) + kJet4Layout.index.next_offset, 0);
    EXPECT_TRUE(Found("wrongly linked")) << report_;
    file_->bytes = pristine;

    file_->bytes[MapByte(index.owned_map, leaf)] = std::byte{0};
    EXPECT_TRUE(Found("isn't in its page map")) << report_;
    file_->bytes = pristine;

    EXPECT_TRUE(Verify(*source_).IsSound());
}

TEST_F(Damage, OfRowsUnderAnIndex) {
    Open("compIndexTestV2007.accdb", "Table1");
    const auto pristine = file_->bytes;
    const auto row = FirstRow();
    const std::size_t slot = OffsetOf(row.page) + kJet4Layout.data.slots_offset + 2U * row.row;

    file_->Put(slot, static_cast<std::uint16_t>(file_->Get<std::uint16_t>(slot) | kSlotDeleted));
    EXPECT_TRUE(Found("which is no row")) << report_;
    EXPECT_TRUE(Found("has 511")) << report_;
    file_->bytes = pristine;

    file_->Put<std::uint16_t>(slot, 20);
    EXPECT_TRUE(Found("overlaps another")) << report_;
    file_->bytes = pristine;

    file_->bytes[MapByte(def_.owned_map, row.page)] = std::byte{0};
    EXPECT_TRUE(Found("rows that the table doesn't list")) << report_;
    EXPECT_TRUE(Found("belongs to nobody")) << report_;
}

TEST_F(Damage, OfPageOwnership) {
    Open("indexTestV2000.mdb", "Table1");
    const auto pristine = file_->bytes;
    const auto row = FirstRow();

    file_->bytes[MapByte({kGlobalMapPage, 0}, row.page)] = std::byte{0xFF};
    EXPECT_TRUE(Found("is marked free")) << report_;
    file_->bytes = pristine;

    // A second table's map claims the page, too.
    ObjectCatalog catalog(*source_);
    const auto other = catalog.ReadTable(*catalog.Find("Table2"));
    file_->bytes[MapByte(other.owned_map, row.page)] = std::byte{0xFF};
    EXPECT_TRUE(Found("belongs to")) << report_;
    file_->bytes = pristine;

    file_->bytes.resize(file_->bytes.size() - kPage * 8);
    source_ = file_->Open();
    EXPECT_TRUE(Found("behind the file's end")) << report_;
}

TEST_F(Damage, OfLongValuesMovedRowsAndPermissions) {
    Open("test2V2010.accdb", "MSP_PROJECTS");
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
    EXPECT_TRUE(Found("it isn't a page of long values")) << report_;

    Open("overflowTestV2000.mdb", "Table1");
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
    EXPECT_TRUE(Found("a moved row would be read twice")) << report_;

    Open("adox_jet4.mdb", "MSysACEs");
    const auto row = FirstRow();
    const std::size_t slot = OffsetOf(row.page) + kJet4Layout.data.slots_offset;
    for (std::size_t i = 0; i < 16; ++i) {
        const auto value = file_->Get<std::uint16_t>(slot + 2 * i);
        file_->Put(slot + 2 * i, static_cast<std::uint16_t>(value | kSlotDeleted));
    }
    EXPECT_TRUE(Found("has no entry in MSysACEs")) << report_;
}

}  // namespace
}  // namespace vantry::access
