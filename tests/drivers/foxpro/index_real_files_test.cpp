// Indexes that the original products made: read, checked, and made again.

#include "drivers/foxpro/indexing.h"

namespace vantry::foxpro {
namespace {

using IndexRealFilesTest = RealFilesTest;

TEST_F(IndexRealFilesTest, AreInOrderAndComplete) {
    std::size_t entries = 0;
    std::size_t tags = 0;
    Rows unsupported;
    for (const auto& [path, names] : IndexedBelow(Real(""))) {
        IndexedTable table(path, names);
        // FoxPro leaves the pages of a tag that was dropped behind.
        auto findings = table.Verify();
        std::erase_if(findings, [](const std::string& finding) {
            return finding.ends_with("pages belong to nothing");
        });
        EXPECT_EQ(findings, Rows()) << path;
        entries += table.Entries().size();
        for (const auto& tag : table.tags.Tags()) {
            ++tags;
            if (!tag.unsupported.empty()) {
                unsupported.push_back(path.filename().string() + " " + tag.name + ": " +
                                      tag.unsupported);
            }
        }
    }
    std::sort(unsupported.begin(), unsupported.end());
    EXPECT_EQ(unsupported,
              (Rows{"fb2p_dbf.dbf NOTDELETED: it is a BINARY one",
                    "fb2p_free.dbf LOGICO: it is a BINARY one"}));
    EXPECT_EQ(tags, 42U);
    EXPECT_EQ(entries, 550U);
}

// The tags as they were, and made from the records alone: the same entries in the same order.
TEST_F(IndexRealFilesTest, AreTheSameWhenTheyAreMadeAnew) {
    int made = 0;
    for (const auto& [path, names] : IndexedBelow(Real(""))) {
        Rows before;
        std::vector<TagDefinition> definitions;
        {
            IndexedTable table(path, names);
            try {
                table.tags.RequireMaintainable();
            } catch (const DataError&) {
                continue;
            }
            before = table.Entries();
            for (const auto& tag : table.tags.Tags()) {
                definitions.push_back({tag.name,
                                       tag.expression,
                                       tag.filter,
                                       tag.unique,
                                       tag.candidate,
                                       tag.descending,
                                       tag.collation});
            }
            table.table.Group().Begin();
            table.tags.Rebuild(WalkOver(table.table));
            table.table.Group().Commit();
            EXPECT_TRUE(table.Entries() == before) << path;
            EXPECT_EQ(table.Verify(), Rows()) << path;
        }
        {
            TableFile table(path.string(), {.show_deleted = true}, names);
            const auto index = table.Group().PathOf(*table.IndexMember());
            std::filesystem::resize_file(index, 0);
        }
        {
            TableFile table(path.string(), {.show_deleted = true}, names);
            table.Group().Begin();
            CreateIndex(
                table.Group(), *table.IndexMember(), table.Layout(), definitions, WalkOver(table));
            table.Group().Commit();
        }
        IndexedTable table(path, names);
        EXPECT_TRUE(table.Entries() == before) << path;
        EXPECT_EQ(table.Verify(), Rows()) << path;
        ++made;
    }
    EXPECT_EQ(made, 16);
}

}  // namespace
}  // namespace vantry::foxpro
