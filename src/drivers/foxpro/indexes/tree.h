#pragma once
// The tree of one tag: its entries in order, finding one, and changing many at once.

#include "data/data_error.h"
#include "drivers/foxpro/indexes/index_pages.h"
#include "drivers/foxpro/indexes/node.h"

#include <functional>
#include <optional>
#include <string>

namespace vantry::foxpro {

// Changes in the order of the tree, none twice.
struct TreeEdits {
    ByteSpan entries;
    std::span<const std::uint8_t> removals;  // 1 for each that goes; none at all if empty

    bool IsRemoval(std::size_t number) const { return !removals.empty() && removals[number] != 0; }
};

class Tree {
public:
    // `name`: of the tag, for messages.
    Tree(IndexPages& pages, const TreeShape& shape, PageAddress root, std::string name);

    // The root moves when the tree grows or shrinks.
    PageAddress Root() const { return root_; }

    // Calls `found` for each entry in order. Throws DataError if the tree isn't one.
    void Walk(const std::function<void(ByteSpan key, RecordNumber record)>& found);
    // The first record with the key.
    std::optional<RecordNumber> Find(ByteSpan key);
    // The last entry; empty if there is none.
    std::vector<std::byte> LastEntry();

    // Throws DataError if an entry that should go isn't there, or one that should come is: the tag
    // was wrong before. The transaction has to be rolled back then.
    void Apply(const TreeEdits& edits);

private:
    // Nodes that stand beside each other, by their last entries.
    struct Row {
        std::vector<std::byte> entries;
        std::vector<PageAddress> pages;
        std::vector<std::uint8_t> touched;
    };
    struct Range {
        std::size_t first;
        std::size_t behind;
    };
    DataError Damaged(const std::string& what) const;
    void Load(PageAddress page, Node& node);
    PageAddress LeafFor(ByteSpan wanted);
    void ApplyTo(PageAddress page,
                 const TreeEdits& edits,
                 Range range,
                 bool rightmost,
                 unsigned depth,
                 Row& out);
    void MergeInto(const Node& leaf, const TreeEdits& edits, Range range);
    void WriteLeaves(
        PageAddress page, const Node& former, ByteSpan entries, bool rightmost, Row& out);
    void WriteInner(PageAddress page, const Node& former, const Row& row, bool rightmost, Row& out);
    void Add(Row& row, const std::byte* entry, PageAddress page, bool touched) const;
    void JoinSparse(Row& row);
    bool TryJoin(Row& row, std::size_t left);
    bool IsSparse(PageAddress page);
    void LinkChain(std::span<const PageAddress> chain, PageAddress left, PageAddress right);
    void Remove(PageAddress page, PageAddress left, PageAddress right);
    void SettleRoot(Row row);

    IndexPages* pages_;
    TreeShape shape_;
    PageAddress root_;
    std::string name_;
    std::vector<std::byte> merged_;  // entries of a leaf with its changes
};

// A leaf without entries, as the root of a new tree.
void WriteEmptyRoot(const TreeShape& shape, std::span<std::byte> page);

}  // namespace vantry::foxpro
