#pragma once
// Changing one index of a table: entries in and out, splitting and emptying pages. The root page
// keeps its number, and each node names its last child by the tail alone, whose greatest key may
// change without the node being touched.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/indexes/index_page_editor.h"

#include <optional>
#include <vector>

namespace vantry::access {

// Inside a transaction.
class IndexWriter {
public:
    // `table_page` is the table's definition, `name` for messages: "index 'x' of table 'y'".
    IndexWriter(PageStore& store, PageNumber table_page, const RealIndex& index, std::string name);

    // A row that has exactly this key.
    std::optional<RowPointer> Find(ByteSpan key);
    // `key` has at most kMaxIndexKey bytes. True if no neighbour has the same key: one more
    // distinct key.
    bool Insert(ByteSpan key, RowPointer row);
    // True if no neighbour has the same key any more. Throws DataError when the entry is missing.
    bool Remove(ByteSpan key, RowPointer row);
    // Frees all pages but the root, which becomes an empty leaf.
    void Clear();

    // Makes `page` (of zeros) an empty leaf of the table.
    static void InitializeLeaf(std::span<std::byte> page, PageNumber table_page);

private:
    // The way from the root to a leaf. In a node the position of the child: Size() is the tail.
    struct Step {
        PageNumber page = 0;
        std::size_t position = 0;
    };
    using Path = std::vector<Step>;

    void Load(PageNumber page);
    // With every node on the way brought into the form with a tail, when `tidy`.
    Path Descend(ByteSpan wanted, bool tidy);
    void GiveTail(PageNumber page);
    bool HasEqualNeighbour(const Path& path, ByteSpan key, bool skip_own);
    void InsertAt(Path& path, std::size_t level, const IndexEntry& entry);
    void WriteOrSplit(Path& path, std::size_t level, std::vector<IndexEntry> entries);
    std::size_t LiftRoot(Path& path);
    void Split(Path& path, std::size_t level, std::vector<IndexEntry> entries);
    void CutNodeSiblings(PageNumber left, PageNumber right);
    void UpdateAncestors(Path& path, std::size_t level, IndexEntry last);

    // ---- Pages that get too small (index_balance.cpp)
    struct Node {
        PageNumber page = 0;
        std::vector<IndexEntry> entries;
        PageNumber tail = 0;
    };
    Node TakeNode(PageNumber page);
    void PutNode(const Node& node);
    void RemoveChild(Path& path, std::size_t level);
    void FeedNode(Path& path, std::size_t level);
    void FeedFromLeft(Path& path, std::size_t level, Node& node, Node& parent);
    void FeedFromRight(Path& path, std::size_t level, Node& node, Node& parent);
    void FinishMerge(Path& path, std::size_t level, const Node& parent, PageNumber merged);
    bool AreNodes(PageNumber left, PageNumber right);
    void LinkChildren(PageNumber left, PageNumber right);
    void CollapseRoot();
    void Unlink(PageNumber page);
    PageNumber NewPage();
    void FreePage(PageNumber page);
    void SetField(PageNumber page, std::size_t offset, PageNumber value);

    PageStore* store_;
    PageNumber table_page_;
    RowPointer owned_map_;
    PageNumber root_;
    std::string name_;
    IndexPageEditor editor_;
    IndexEntry entry_;
};

}  // namespace vantry::access
