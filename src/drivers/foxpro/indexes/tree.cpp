// All changes go through one walk down the tree, with as many edits as there are, in their order:
// each node that has some is read once and written once, as one, several or no nodes, and the node
// above takes over what it is told. So one row and a million go by the same way. What doesn't fit
// into a page is split there: a leaf's entries by LeafPacker (node.cpp), an inner node's in
// WriteInner; nodes that have become small are joined (JoinSparse). Two things are easy to get
// wrong: an entry of an inner node is the last one below its child, so that a change at the end of
// a child changes all above; and nodes are linked on every level, also to neighbours below another
// parent.

#include "drivers/foxpro/indexes/tree.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr unsigned kMostLevels = 40;
constexpr std::size_t kSparseBytes = kLeafRoom / 3;
constexpr std::size_t kMergedBytes = 64U << 10;  // of entries at a time

}  // namespace

Tree::Tree(IndexPages& pages, const TreeShape& shape, PageAddress root, std::string name)
    : pages_(&pages), shape_(shape), root_(root), name_(std::move(name)) {}

DataError Tree::Damaged(const std::string& what) const {
    return DamagedIndex(pages_->Path(), "in tag " + name_ + " " + what);
}

void Tree::Load(PageAddress page, Node& node) {
    try {
        DecodeNode(pages_->Page(page), shape_, node);
    } catch (const file::BoundsError&) {
        throw Damaged("the page at " + std::to_string(page) + " is no node");
    }
}

// ---- Reading ----------------------------------------------------------------------------------

// `wanted`: a whole entry or its key alone.
PageAddress Tree::LeafFor(ByteSpan wanted) {
    PageAddress page = root_;
    for (unsigned level = 0; level < kMostLevels; ++level) {
        const auto bytes = pages_->Page(page);
        if (IsLeaf(bytes)) {
            return page;
        }
        try {
            page = ChildFor(bytes, shape_, wanted.data(), wanted.size());
        } catch (const file::BoundsError&) {
            throw Damaged("the page at " + std::to_string(page) + " is no node");
        }
    }
    throw Damaged("a branch has no end");
}

void Tree::Walk(const std::function<void(ByteSpan, RecordNumber)>& found) {
    // Nothing sorts before zeros, so this leads to the first leaf.
    const std::vector<std::byte> lowest(shape_.EntrySize());
    Node node;
    // A chain that runs into itself ends here.
    std::uint64_t pages_left = pages_->Size() / kIndexPage;
    for (PageAddress page = LeafFor(lowest); page != kNoPage; page = node.right) {
        Load(page, node);
        if (!node.leaf || pages_left-- == 0) {
            throw Damaged("the chain of leaves is wrong at " + std::to_string(page));
        }
        for (std::size_t k = 0; k < node.count; ++k) {
            const auto* const entry = node.entries.data() + k * shape_.EntrySize();
            found({entry, shape_.key_length}, RecordOf(entry, shape_));
        }
    }
}

std::optional<RecordNumber> Tree::Find(ByteSpan key) {
    Node node;
    Load(LeafFor(key), node);
    std::size_t low = 0;
    std::size_t high = node.count;
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        const auto* const entry = node.entries.data() + middle * shape_.EntrySize();
        if (std::memcmp(entry, key.data(), shape_.key_length) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    const auto* const entry = node.entries.data() + low * shape_.EntrySize();
    if (low == node.count || std::memcmp(entry, key.data(), shape_.key_length) != 0) {
        return std::nullopt;
    }
    return RecordOf(entry, shape_);
}

std::vector<std::byte> Tree::LastEntry() {
    // Nothing sorts behind it: ChildFor takes the last child then.
    const std::vector<std::byte> highest(shape_.EntrySize(), std::byte{0xFF});
    Node node;
    Load(LeafFor(highest), node);
    if (node.count == 0) {
        return {};
    }
    return {node.entries.end() - static_cast<std::ptrdiff_t>(shape_.EntrySize()),
            node.entries.end()};
}

// ---- Changing ---------------------------------------------------------------------------------

void Tree::Add(Row& row, const std::byte* entry, PageAddress page, bool touched) const {
    row.entries.insert(row.entries.end(), entry, entry + shape_.EntrySize());
    row.pages.push_back(page);
    row.touched.push_back(touched ? 1 : 0);
}

void Tree::Apply(TreeEdits& edits) {
    if (edits.Entry() == nullptr) {
        return;
    }
    Row row;
    ApplyTo(root_, edits, nullptr, 0, row);
    SettleRoot(std::move(row));
}

bool Tree::Belongs(const TreeEdits& edits, const std::byte* limit) const {
    return edits.Entry() != nullptr &&
           (limit == nullptr || CompareEntries(edits.Entry(), limit, shape_.EntrySize()) <= 0);
}

void Tree::ApplyTo(
    PageAddress page, TreeEdits& edits, const std::byte* limit, unsigned depth, Row& out) {
    if (depth >= kMostLevels) {
        throw Damaged("a branch has no end");
    }
    Node node;
    Load(page, node);
    if (node.leaf) {
        ApplyToLeaf(page, node, edits, limit, out);
        return;
    }
    if (node.count == 0) {
        throw Damaged("the page at " + std::to_string(page) + " has no children");
    }
    Row row;
    bool touched = false;
    for (std::size_t k = 0; k < node.count; ++k) {
        const auto* const last = node.entries.data() + k * shape_.EntrySize();
        // What is behind all of its children belongs to the last one.
        const auto* const below = k + 1 == node.count ? limit : last;
        if (Belongs(edits, below)) {
            ApplyTo(node.children[k], edits, below, depth + 1, row);
            touched = true;
        } else {
            Add(row, last, node.children[k], false);
        }
    }
    if (touched) {
        JoinSparse(row);
    }
    WriteInner(page, node, row, limit == nullptr, out);
}

// Appends the leaf's entries with its changes to `merged_`, until there are many or no more.
void Tree::Merge(const Node& leaf, std::size_t& taken, TreeEdits& edits, const std::byte* limit) {
    const std::size_t size = shape_.EntrySize();
    const std::byte* const end = leaf.entries.data() + leaf.count * size;
    const std::byte* old = leaf.entries.data() + taken * size;
    while (merged_.size() < kMergedBytes && Belongs(edits, limit)) {
        // Behind the last entry of all nothing has to be compared, which is where a bulk load is.
        if (old == end && limit == nullptr && !edits.IsRemoval()) {
            const auto entries =
                std::min(edits.Ahead(), (kMergedBytes - merged_.size()) / size + 1);
            merged_.insert(merged_.end(), edits.Entry(), edits.Entry() + entries * size);
            edits.Skip(entries);
            continue;
        }
        const std::byte* next = old;
        int order = -1;
        while (next != end && (order = CompareEntries(next, edits.Entry(), size)) < 0) {
            next += size;
        }
        merged_.insert(merged_.end(), old, next);
        old = next;
        const bool there = next != end && order == 0;
        if (there != edits.IsRemoval()) {
            throw Damaged("the entry of record " + std::to_string(RecordOf(edits.Entry(), shape_)) +
                          (there ? " is there before the record" : " is missing"));
        }
        if (there) {
            old += size;
        } else {
            merged_.insert(merged_.end(), edits.Entry(), edits.Entry() + size);
        }
        edits.Next();
    }
    if (!Belongs(edits, limit)) {
        merged_.insert(merged_.end(), old, end);
        old = end;
    }
    taken = static_cast<std::size_t>(old - leaf.entries.data()) / size;
}

// A leaf into which many entries come is written in parts: all leaves of a part but its last one,
// whose entries begin the next part.
void Tree::ApplyToLeaf(
    PageAddress page, const Node& leaf, TreeEdits& edits, const std::byte* limit, Row& out) {
    const std::size_t size = shape_.EntrySize();
    const std::size_t first_out = out.pages.size();
    std::size_t taken = 0;
    bool more = true;
    merged_.clear();
    while (more) {
        Merge(leaf, taken, edits, limit);
        more = Belongs(edits, limit);
        if (merged_.empty()) {
            continue;
        }
        packer_.Pack(merged_, shape_, more || limit == nullptr);
        const std::size_t leaves = packer_.Leaves() - (more ? 1 : 0);
        for (std::size_t k = 0; k < leaves; ++k) {
            const auto target = out.pages.size() == first_out ? page : pages_->Allocate();
            packer_.Encode(k, pages_->Change(target));
            Add(out, merged_.data() + (packer_.Bounds()[k + 1] - 1) * size, target, true);
        }
        merged_.erase(
            merged_.begin(),
            merged_.begin() + static_cast<std::ptrdiff_t>(packer_.Bounds()[leaves] * size));
    }
    if (out.pages.size() != first_out) {
        LinkChain(std::span(out.pages).subspan(first_out), leaf.left, leaf.right);
    } else if (page != root_) {
        Remove(page, leaf.left, leaf.right);
    }
}

// Links the nodes, which are in their pages already, among each other and with their neighbours.
void Tree::LinkChain(std::span<const PageAddress> chain, PageAddress left, PageAddress right) {
    for (std::size_t k = 0; k < chain.size(); ++k) {
        const auto page = pages_->Change(chain[k]);
        file::Store(page, kNodeLeft, k == 0 ? left : chain[k - 1]);
        file::Store(page, kNodeRight, k + 1 == chain.size() ? right : chain[k + 1]);
    }
    // The chain begins in the page to which the left neighbour is linked already.
    if (chain.size() > 1 && right != kNoPage) {
        file::Store(pages_->Change(right), kNodeLeft, chain.back());
    }
}

void Tree::Remove(PageAddress page, PageAddress left, PageAddress right) {
    if (left != kNoPage) {
        file::Store(pages_->Change(left), kNodeRight, right);
    }
    if (right != kNoPage) {
        file::Store(pages_->Change(right), kNodeLeft, left);
    }
    pages_->Free(page);
}

void Tree::WriteInner(
    PageAddress page, const Node& former, const Row& row, bool rightmost, Row& out) {
    const std::size_t size = shape_.EntrySize();
    const std::size_t count = row.pages.size();
    if (count == 0) {
        if (page != root_) {
            Remove(page, former.left, former.right);
        }
        return;
    }
    // What changed below left this node as it is: it isn't written.
    if (row.entries == former.entries && row.pages == former.children) {
        Add(out, row.entries.data() + (count - 1) * size, page, false);
        return;
    }
    const std::size_t capacity = InnerCapacity(shape_);
    const std::size_t nodes = (count + capacity - 1) / capacity;
    const std::size_t first_out = out.pages.size();
    for (std::size_t k = 0, first = 0; k < nodes; ++k) {
        // Evenly but at the end of the tree, where only the last two share.
        std::size_t part = (count - first) / (nodes - k);
        if (rightmost && nodes - k > 2) {
            part = capacity;
        }
        const auto target = k == 0 ? page : pages_->Allocate();
        EncodeInner(ByteSpan(row.entries).subspan(first * size, part * size),
                    std::span(row.pages).subspan(first, part),
                    shape_,
                    pages_->Change(target));
        Add(out, row.entries.data() + (first + part - 1) * size, target, true);
        first += part;
    }
    LinkChain(std::span(out.pages).subspan(first_out), former.left, former.right);
}

// ---- Nodes that have become small ---------------------------------------------------------------

bool Tree::IsSparse(PageAddress page) {
    const auto bytes = pages_->Page(page);
    return IsLeaf(bytes)
               ? kLeafRoom - std::min<std::size_t>(file::LoadU16(bytes, kLeafFree), kLeafRoom) <
                     kSparseBytes
               : file::LoadU16(bytes, kNodeCount) <=
                     std::max<std::size_t>(InnerCapacity(shape_) / 3, 1);
}

void Tree::JoinSparse(Row& row) {
    for (std::size_t k = 0; k < row.pages.size() && row.pages.size() > 1; ++k) {
        if (row.touched[k] == 0 || !IsSparse(row.pages[k])) {
            continue;
        }
        const bool joined =
            (k > 0 && TryJoin(row, k - 1)) || (k + 1 < row.pages.size() && TryJoin(row, k));
        if (joined) {
            --k;  // it may take in one more
        }
    }
}

// Puts the entries of a node and the next one into the first, if there is room.
bool Tree::TryJoin(Row& row, std::size_t left) {
    Node first;
    Node second;
    // Joined are neighbours of one parent only; these are such if the chain is right.
    Load(row.pages[left], first);
    Load(row.pages[left + 1], second);
    if (first.leaf != second.leaf || first.right != row.pages[left + 1]) {
        throw Damaged("the page at " + std::to_string(row.pages[left]) +
                      " isn't linked to the next one");
    }
    first.entries.insert(first.entries.end(), second.entries.begin(), second.entries.end());
    if (first.leaf) {
        packer_.Pack(first.entries, shape_, true);
        if (packer_.Leaves() > 1) {
            return false;
        }
        packer_.Encode(0, pages_->Change(row.pages[left]));
    } else {
        first.children.insert(first.children.end(), second.children.begin(), second.children.end());
        if (first.children.size() > InnerCapacity(shape_)) {
            return false;
        }
        EncodeInner(first.entries, first.children, shape_, pages_->Change(row.pages[left]));
    }
    Remove(row.pages[left + 1], row.pages[left], second.right);
    const auto size = static_cast<std::ptrdiff_t>(shape_.EntrySize());
    const auto at = static_cast<std::ptrdiff_t>(left);
    row.entries.erase(row.entries.begin() + at * size, row.entries.begin() + (at + 1) * size);
    row.pages.erase(row.pages.begin() + at + 1);
    row.touched.erase(row.touched.begin() + at + 1);
    row.touched[left] = 1;
    return true;
}

// ---- The root -----------------------------------------------------------------------------------

// The pages of the row are without a parent: nodes are put above them until one is left.
void Tree::SettleRoot(Row row) {
    if (row.pages.empty()) {
        WriteEmptyRoot(shape_, pages_->Change(root_));
        return;
    }
    while (row.pages.size() > 1) {
        const Node none;
        Row above;
        WriteInner(pages_->Allocate(), none, row, true, above);
        row = std::move(above);
    }
    root_ = row.pages.front();
    Node node;
    // A level of one child only lengthens the way down. The bound is for rings in damaged files.
    Load(root_, node);
    for (unsigned level = 0; level < kMostLevels && !node.leaf && node.count == 1; ++level) {
        pages_->Free(root_);
        root_ = node.children.front();
        Load(root_, node);
    }
    const auto page = pages_->Change(root_);
    file::Store(page,
                kNodeAttributes,
                static_cast<std::uint16_t>(kNodeIsRoot | (node.leaf ? kNodeIsLeaf : 0)));
}

void WriteEmptyRoot(const TreeShape& shape, std::span<std::byte> page) {
    LeafPacker packer;
    packer.Pack({}, shape, false);
    packer.Encode(0, page);
    file::Store(page, kNodeAttributes, static_cast<std::uint16_t>(kNodeIsRoot | kNodeIsLeaf));
    file::Store(page, kNodeLeft, kNoPage);
    file::Store(page, kNodeRight, kNoPage);
}

}  // namespace vantry::foxpro
