// What happens to nodes when children go. A node never stays with its last child alone: readers
// would pass through it, but another engine's deletes fail on it. Such a node joins a sibling below
// the same parent, or takes a child of one that is too full for that; so leaves stay on one level.
// Easy to get wrong: keys of children stand in the parent, not in the node that loses or gets them,
// so each move goes through the parent's entries; and nodes, but not leaves, are linked with
// siblings of the same parent only.

#include "drivers/access/errors.h"
#include "drivers/access/indexes/index_writer.h"
#include "drivers/access/pages/data_page.h"

#include <cstring>

namespace vantry::access {
namespace {

constexpr const IndexPageLayout& kLayout = kJet4Layout.index;

}  // namespace

IndexWriter::Node IndexWriter::TakeNode(PageNumber page) {
    Load(page);
    Node node{.page = page, .entries = editor_.AllEntries(), .tail = editor_.Tail()};
    // Other writers give the last child an entry, and perhaps the tail besides.
    if (!node.entries.empty() && (node.tail == 0 || node.tail == ChildOf(node.entries.back()))) {
        node.tail = ChildOf(node.entries.back());
        node.entries.pop_back();
    }
    return node;
}

void IndexWriter::PutNode(const Node& node) {
    const auto bytes = store_->Change(node.page);
    // Leaves links and owner as they are; the tail isn't among the entries.
    IndexPageEditor::Write(bytes, node.entries, false);
    StoreU32(bytes, kLayout.tail_offset, node.tail);
}

// Takes the child at the path's position out of the node on `level`.
void IndexWriter::RemoveChild(Path& path, std::size_t level) {
    const Step step = path[level];
    Node node = TakeNode(step.page);
    if (step.position < node.entries.size()) {
        node.entries.erase(node.entries.begin() + static_cast<std::ptrdiff_t>(step.position));
        PutNode(node);
        if (node.entries.empty() && level > 0) {
            FeedNode(path, level);
        }
        return;
    }
    if (node.entries.empty()) {
        // The last child of the root; other nodes aren't left with one.
        const auto root = store_->Change(step.page);
        IndexPageEditor::Write(root, {}, true);
        StoreU32(root, kLayout.tail_offset, 0);
        return;
    }
    const ByteSpan key = WithoutChild(node.entries.back());
    const IndexEntry last(key.begin(), key.end());
    node.tail = ChildOf(node.entries.back());
    node.entries.pop_back();
    PutNode(node);
    // The greatest entry below this node has changed, and stands in a node above it.
    UpdateAncestors(path, level, last);
    if (node.entries.empty() && level > 0) {
        // The ancestors may have been split, so the way to the node is looked for once more.
        Descend(last, true);
    }
}

// The node on `level` has its tail alone, and its parent more than that. The root takes its only
// child's place instead.
void IndexWriter::FeedNode(Path& path, std::size_t level) {
    if (level == 0) {
        CollapseRoot();
        return;
    }
    Node node = TakeNode(path[level].page);
    const std::size_t position = path[level - 1].position;
    Node parent = TakeNode(path[level - 1].page);
    if (parent.entries.empty() || position > parent.entries.size()) {
        throw BoundsError();
    }
    const std::size_t sibling = position > 0 ? position - 1 : 1;
    Load(sibling < parent.entries.size() ? ChildOf(parent.entries[sibling]) : parent.tail);
    if (editor_.IsLeaf()) {
        // A tree of another writer, with leaves on several levels: the child takes the place.
        if (position < parent.entries.size()) {
            parent.entries[position] = NodeEntry(WithoutChild(parent.entries[position]), node.tail);
        } else {
            parent.tail = node.tail;
        }
        FinishMerge(path, level, parent, node.page);
    } else if (position > 0) {
        FeedFromLeft(path, level, node, parent);
    } else {
        FeedFromRight(path, level, node, parent);
    }
}

void IndexWriter::FeedFromLeft(Path& path, std::size_t level, Node& node, Node& parent) {
    const std::size_t position = path[level - 1].position;
    IndexEntry& left_entry = parent.entries[position - 1];
    Node left = TakeNode(ChildOf(left_entry));
    const ByteSpan left_key = WithoutChild(left_entry);
    LinkChildren(left.tail, node.tail);
    // Its tail becomes an entry, whose key is the one that the parent has for it.
    left.entries.push_back(NodeEntry(left_key, left.tail));
    if (IndexPageEditor::Fits(left.entries, false)) {
        left.tail = node.tail;
        PutNode(left);
        // The place of the node is the left one's, whose own entry goes.
        if (position < parent.entries.size()) {
            parent.entries[position] = NodeEntry(WithoutChild(parent.entries[position]), left.page);
        } else {
            parent.tail = left.page;
        }
        parent.entries.erase(parent.entries.begin() + static_cast<std::ptrdiff_t>(position) - 1);
        FinishMerge(path, level, parent, node.page);
        return;
    }
    // Its last child comes over, and the one before is its last then.
    node.entries.push_back(std::move(left.entries.back()));
    left.entries.pop_back();
    const IndexEntry last = std::move(left.entries.back());
    left.entries.pop_back();
    left.tail = ChildOf(last);
    PutNode(left);
    PutNode(node);
    CutNodeSiblings(left.tail, ChildOf(node.entries.front()));
    left_entry = NodeEntry(WithoutChild(last), left.page);
    WriteOrSplit(path, level - 1, std::move(parent.entries));
}

void IndexWriter::FeedFromRight(Path& path, std::size_t level, Node& node, Node& parent) {
    IndexEntry& own_entry = parent.entries.front();
    Node right = TakeNode(parent.entries.size() > 1 ? ChildOf(parent.entries[1]) : parent.tail);
    LinkChildren(node.tail, right.entries.empty() ? right.tail : ChildOf(right.entries.front()));
    IndexEntry moved = NodeEntry(WithoutChild(own_entry), node.tail);
    right.entries.insert(right.entries.begin(), moved);
    if (IndexPageEditor::Fits(right.entries, false)) {
        PutNode(right);
        parent.entries.erase(parent.entries.begin());
        FinishMerge(path, level, parent, node.page);
        return;
    }
    // Its first child comes over.
    right.entries.erase(right.entries.begin());
    const IndexEntry first = std::move(right.entries.front());
    right.entries.erase(right.entries.begin());
    PutNode(right);
    node.entries.push_back(std::move(moved));
    node.tail = ChildOf(first);
    PutNode(node);
    CutNodeSiblings(node.tail, right.entries.empty() ? right.tail : ChildOf(right.entries.front()));
    own_entry = NodeEntry(WithoutChild(first), node.page);
    WriteOrSplit(path, level - 1, std::move(parent.entries));
}

// Writes the parent without the node whose child went to a sibling. It may be in want itself then.
void IndexWriter::FinishMerge(Path& path,
                              std::size_t level,
                              const Node& parent,
                              PageNumber merged) {
    PutNode(parent);
    Unlink(merged);
    FreePage(merged);
    if (parent.entries.empty()) {
        FeedNode(path, level - 1);
    }
}

// Two children that have become neighbours below one parent. Leaves are neighbours all along.
void IndexWriter::LinkChildren(PageNumber left, PageNumber right) {
    if (AreNodes(left, right)) {
        SetField(left, kLayout.next_offset, right);
        SetField(right, kLayout.previous_offset, left);
    }
}

bool IndexWriter::AreNodes(PageNumber left, PageNumber right) {
    Load(left);
    const bool is_node = !editor_.IsLeaf();
    Load(right);
    return is_node && !editor_.IsLeaf();
}

// A root with a single child takes its place.
void IndexWriter::CollapseRoot() {
    for (int depth = 0; depth < kMaxIndexDepth; ++depth) {
        Load(root_);
        if (editor_.IsLeaf() || editor_.Size() > 0) {
            return;
        }
        const PageNumber child = editor_.Tail();
        Load(child);
        const auto root = store_->Change(root_);
        const ByteSpan bytes = store_->Look(child);
        std::memcpy(root.data(), bytes.data(), bytes.size());
        StoreU32(root, kLayout.previous_offset, 0);
        StoreU32(root, kLayout.next_offset, 0);
        FreePage(child);
    }
}

void IndexWriter::Unlink(PageNumber page) {
    Load(page);
    const PageNumber previous = editor_.Previous();
    const PageNumber next = editor_.Next();
    if (previous != 0) {
        SetField(previous, kLayout.next_offset, next);
    }
    if (next != 0) {
        SetField(next, kLayout.previous_offset, previous);
    }
}

}  // namespace vantry::access
