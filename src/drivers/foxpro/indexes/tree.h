#pragma once
// The tree of one tag: its entries in order, finding one, and changing many at once.

#include "data/data_error.h"
#include "drivers/foxpro/indexes/index_pages.h"
#include "drivers/foxpro/indexes/node.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>
#include <string>

namespace vantry::foxpro {

// Changes in the order of the tree, none twice, one after the other.
class TreeEdits {
public:
    virtual ~TreeEdits() = default;
    // The entry that comes or goes; null behind the last one.
    const std::byte* Entry() const { return entry_; }
    bool IsRemoval() const { return removal_; }
    virtual void Next() = 0;
    // How many entries, from this one on, stand behind each other and come; 1 if that isn't known.
    virtual std::size_t Ahead() const { return 1; }
    // Passes over so many, at most those ahead.
    virtual void Skip(std::size_t /*entries*/) { Next(); }
    // Copies entries that come into `out`, which has room for whole ones, and passes over them; not
    // over one that goes. Returns bytes, 0 if there is no such way.
    virtual std::size_t CopyTo(std::span<std::byte> /*out*/) { return 0; }

protected:
    const std::byte* entry_ = nullptr;
    bool removal_ = false;
};

// Changes that stand in memory.
class EditList : public TreeEdits {
public:
    // `removals`: 1 for each entry that goes; none at all if empty.
    EditList(ByteSpan entries, std::span<const std::uint8_t> removals, const TreeShape& shape)
        : entries_(entries), removals_(removals), size_(shape.EntrySize()) {
        Stand();
    }
    void Next() override { Skip(1); }
    std::size_t Ahead() const override {
        return removals_.empty() ? entries_.size() / size_ - number_ : 1;
    }
    void Skip(std::size_t entries) override {
        number_ += entries;
        Stand();
    }
    std::size_t CopyTo(std::span<std::byte> out) override {
        const auto entries = std::min(Ahead(), out.size() / size_);
        std::memcpy(out.data(), entry_, entries * size_);
        Skip(entries);
        return entries * size_;
    }

private:
    void Stand() {
        entry_ =
            (number_ + 1) * size_ <= entries_.size() ? entries_.data() + number_ * size_ : nullptr;
        removal_ = entry_ != nullptr && !removals_.empty() && removals_[number_] != 0;
    }

    ByteSpan entries_;
    std::span<const std::uint8_t> removals_;
    std::size_t size_;
    std::size_t number_ = 0;
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
    void Apply(TreeEdits& edits);

private:
    // Nodes that stand beside each other, by their last entries.
    struct Row {
        std::vector<std::byte> entries;
        std::vector<PageAddress> pages;
        std::vector<std::uint8_t> touched;
    };
    DataError Damaged(const std::string& what) const;
    void Load(PageAddress page, Node& node);
    PageAddress LeafFor(ByteSpan wanted);
    // `limit`: the last entry that belongs below the node; null if that is the last one.
    void ApplyTo(
        PageAddress page, TreeEdits& edits, const std::byte* limit, unsigned depth, Row& out);
    void ApplyToLeaf(
        PageAddress page, const Node& leaf, TreeEdits& edits, const std::byte* limit, Row& out);
    void Merge(const Node& leaf, std::size_t& taken, TreeEdits& edits, const std::byte* limit);
    bool Belongs(const TreeEdits& edits, const std::byte* limit) const;
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
    LeafPacker packer_;
};

// A leaf without entries, as the root of a new tree.
void WriteEmptyRoot(const TreeShape& shape, std::span<std::byte> page);

}  // namespace vantry::foxpro
