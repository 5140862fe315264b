// A tree whose nodes name each child by its greatest entry, except the last child, which is only
// the tail: appending then touches no node. A full page is split by moving its *first* half to a
// new page, so that whatever says "tail" of the page stays true; the root's content moves down
// instead, because the definition names the root for good. Easy to get wrong: an entry that is the
// last of its page also stands in a node, perhaps some levels up.

#include "drivers/access/indexes/index_writer.h"

#include "drivers/access/errors.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/usage_map_writer.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr const IndexPageLayout& kLayout = kJet4Layout.index;

void MakeEntry(ByteSpan key, RowPointer row, IndexEntry& out) {
    out.assign(key.begin(), key.end());
    for (const unsigned shift : {16U, 8U, 0U}) {
        out.push_back(std::byte{static_cast<unsigned char>(row.page >> shift)});
    }
    out.push_back(std::byte{row.row});
}

// Where to divide entries that don't fit one page: in the middle, or before the last one when keys
// come in ascending order. An entry at either end that doesn't share the others' prefix may have to
// go alone. The last entry before a node's cut goes up, and its child becomes the first half's
// tail: so that half needs two, to keep one.
std::size_t ChooseCut(std::span<const IndexEntry> entries, bool leaf, bool at_end) {
    const std::size_t first = leaf ? 1 : 2;
    const std::size_t last = entries.size() - 1;
    std::size_t total = 0;
    for (const IndexEntry& entry : entries) {
        total += entry.size();
    }
    std::size_t middle = 1;
    for (std::size_t before = entries[0].size();
         middle < last && before + entries[middle].size() <= total / 2;
         ++middle) {
        before += entries[middle].size();
    }
    middle = std::max(middle, first);
    for (const std::size_t cut : {at_end ? last : middle, middle, first, last}) {
        if (cut >= first && cut <= last &&
            IndexPageEditor::Fits(entries.first(leaf ? cut : cut - 1), leaf) &&
            IndexPageEditor::Fits(entries.subspan(cut), leaf)) {
            return cut;
        }
    }
    throw BoundsError();
}

}  // namespace

IndexWriter::IndexWriter(PageStore& store,
                         PageNumber table_page,
                         const RealIndex& index,
                         std::string name)
    : store_(&store),
      table_page_(table_page),
      owned_map_(index.owned_map),
      root_(index.root),
      name_(std::move(name)) {}

void IndexWriter::InitializeLeaf(std::span<std::byte> page, PageNumber table_page) {
    StoreU32(page, kPageOwnerOffset, table_page);
    IndexPageEditor::Write(page, {}, true);
}

void IndexWriter::Load(PageNumber page) {
    WithPage(store_->Name(), page, name_ + ": its entries run outside", [&] {
        const ByteSpan bytes = store_->Look(page);
        const auto type = std::to_integer<unsigned>(bytes[kPageTypeOffset]);
        if ((type != static_cast<unsigned>(PageType::IndexLeaf) &&
             type != static_cast<unsigned>(PageType::IndexNode)) ||
            LoadU32(bytes, kPageOwnerOffset) != table_page_) {
            throw DamagedPage(store_->Name(), page, name_ + ": it isn't a page of the index");
        }
        editor_.Load(bytes);
    });
}

// Takes the last child of a node, which some writers give an entry, out of the entries.
void IndexWriter::GiveTail(PageNumber page) {
    auto entries = editor_.AllEntries();
    const PageNumber tail = ChildOf(entries.back());
    entries.pop_back();
    const auto bytes = store_->Change(page);
    IndexPageEditor::Write(bytes, entries, false);
    StoreU32(bytes, kLayout.tail_offset, tail);
    Load(page);
}

IndexWriter::Path IndexWriter::Descend(ByteSpan wanted, bool tidy) {
    Path path;
    PageNumber page = root_;
    PageNumber repairs = 0;
    for (int depth = 0; depth < kMaxIndexDepth; ++depth) {
        Load(page);
        if (editor_.IsLeaf()) {
            path.push_back({page, editor_.LowerBound(wanted)});
            return path;
        }
        const std::size_t size = editor_.Size();
        const bool no_tail =
            editor_.Tail() == 0 || (size > 0 && editor_.Tail() == editor_.Child(size - 1));
        if (no_tail && size == 0) {
            throw DamagedPage(store_->Name(), page, name_ + ": a node has no children");
        }
        if (no_tail && tidy) {
            GiveTail(page);
        }
        if (tidy && editor_.Size() == 0) {
            // Of a file made elsewhere, or left by GiveTail(): the way begins anew behind it.
            if (++repairs > store_->PageCount()) {
                break;
            }
            path.push_back({page, 0});
            FeedNode(path, path.size() - 1);
            path.clear();
            page = root_;
            depth = -1;
            continue;
        }
        std::size_t position = editor_.LowerBound(wanted);
        if (position >= editor_.Size() && no_tail && !tidy) {
            position = editor_.Size() - 1;
        }
        path.push_back({page, position});
        page = position < editor_.Size() ? editor_.Child(position) : editor_.Tail();
    }
    throw DamagedPage(store_->Name(), root_, name_ + ": it is too deep");
}

std::optional<RowPointer> IndexWriter::Find(ByteSpan key) {
    // Before all entries of the key: no row lies on page 0.
    MakeEntry(key, {0, 0}, entry_);
    const Path path = Descend(entry_, false);
    std::size_t position = path.back().position;
    // The first entry that isn't below may be on a later leaf.
    for (PageNumber steps = store_->PageCount(); position >= editor_.Size() && steps > 0; --steps) {
        const PageNumber next = editor_.Next();
        if (next == 0) {
            return std::nullopt;
        }
        Load(next);
        position = 0;
    }
    if (position >= editor_.Size() || !editor_.HasKey(position, key)) {
        return std::nullopt;
    }
    IndexEntry found;
    editor_.CopyEntry(position, found);
    const std::size_t at = found.size() - kLeafEntryTail;
    return RowPointer{LoadBigU24(found, at), LoadU8(found, at + 3)};
}

// Whether the entry before or behind the position of the loaded leaf has the key. Neighbours on
// other leaves aren't looked at: the count is a statistic.
bool IndexWriter::HasEqualNeighbour(const Path& path, ByteSpan key, bool skip_own) {
    const std::size_t position = path.back().position;
    const std::size_t behind = position + (skip_own ? 1 : 0);
    return (position > 0 && editor_.HasKey(position - 1, key)) ||
           (behind < editor_.Size() && editor_.HasKey(behind, key));
}

bool IndexWriter::Insert(ByteSpan key, RowPointer row) {
    MakeEntry(key, row, entry_);
    Path path = Descend(entry_, true);
    const bool distinct = !HasEqualNeighbour(path, key, false);
    InsertAt(path, path.size() - 1, entry_);
    return distinct;
}

// Puts an entry before the position of the path on that level; that page is loaded.
void IndexWriter::InsertAt(Path& path, std::size_t level, const IndexEntry& entry) {
    const Step step = path[level];
    const auto bytes = store_->Change(step.page);
    Load(step.page);
    if (editor_.InsertInPlace(bytes, step.position, entry)) {
        return;
    }
    auto entries = editor_.AllEntries();
    entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(step.position), entry);
    WriteOrSplit(path, level, std::move(entries));
}

void IndexWriter::WriteOrSplit(Path& path, std::size_t level, std::vector<IndexEntry> entries) {
    Load(path[level].page);
    const bool leaf = editor_.IsLeaf();
    if (IndexPageEditor::Fits(entries, leaf)) {
        IndexPageEditor::Write(store_->Change(path[level].page), entries, leaf);
        return;
    }
    if (level == 0) {
        level = LiftRoot(path);
    }
    Split(path, level, std::move(entries));
}

// Moves the root's content to a page of its own, the only child of the root then; the level of
// that page.
std::size_t IndexWriter::LiftRoot(Path& path) {
    const PageNumber page = NewPage();
    const auto root = store_->Change(root_);
    const auto copy = store_->Change(page);
    std::memcpy(copy.data(), root.data(), root.size());
    IndexPageEditor::Write(root, {}, false);
    StoreU32(root, kLayout.previous_offset, 0);
    StoreU32(root, kLayout.next_offset, 0);
    StoreU32(root, kLayout.tail_offset, page);
    path.insert(path.begin(), Step{root_, 0});
    path[1].page = page;
    return 1;
}

// Divides the entries between a new page, which gets the first ones, and the page itself, which
// keeps its tail and its place as the last child where it is that.
void IndexWriter::Split(Path& path, std::size_t level, std::vector<IndexEntry> entries) {
    const PageNumber page = path[level].page;
    Load(page);
    const bool leaf = editor_.IsLeaf();
    const bool at_end = editor_.Next() == 0 && path[level].position + 1 >= entries.size();
    const std::size_t cut = ChooseCut(entries, leaf, at_end);
    const PageNumber fresh = NewPage();
    const PageNumber previous = editor_.Previous();
    const std::span<const IndexEntry> all(entries);
    const IndexEntry& last = entries[cut - 1];
    const auto first_half = store_->Change(fresh);
    StoreU32(first_half, kLayout.previous_offset, previous);
    StoreU32(first_half, kLayout.next_offset, page);
    StoreU32(first_half, kPageOwnerOffset, table_page_);
    if (leaf) {
        IndexPageEditor::Write(first_half, all.first(cut), true);
    } else {
        IndexPageEditor::Write(first_half, all.first(cut - 1), false);
        StoreU32(first_half, kLayout.tail_offset, ChildOf(last));
    }
    const auto second_half = store_->Change(page);
    IndexPageEditor::Write(second_half, all.subspan(cut), leaf);
    StoreU32(second_half, kLayout.previous_offset, fresh);
    if (previous != 0) {
        SetField(previous, kLayout.next_offset, fresh);
    }
    if (!leaf) {
        Load(page);
        CutNodeSiblings(ChildOf(last), editor_.Size() > 0 ? editor_.Child(0) : editor_.Tail());
    }
    const IndexEntry up = NodeEntry(leaf ? ByteSpan(last) : WithoutChild(last), fresh);
    Load(path[level - 1].page);
    InsertAt(path, level - 1, up);
}

// Nodes are linked only with siblings below the same parent.
void IndexWriter::CutNodeSiblings(PageNumber left, PageNumber right) {
    if (AreNodes(left, right)) {
        SetField(left, kLayout.next_offset, 0);
        SetField(right, kLayout.previous_offset, 0);
    }
}

bool IndexWriter::Remove(ByteSpan key, RowPointer row) {
    MakeEntry(key, row, entry_);
    Path path = Descend(entry_, true);
    Step& step = path.back();
    if (step.position >= editor_.Size() || !editor_.Equals(step.position, entry_)) {
        throw DamagedPage(store_->Name(), step.page, name_ + ": the entry of a row is missing");
    }
    const bool distinct = !HasEqualNeighbour(path, key, true);
    const bool was_last = step.position + 1 == editor_.Size();
    if (editor_.Size() == 1 && path.size() > 1) {
        Unlink(step.page);
        FreePage(step.page);
        RemoveChild(path, path.size() - 2);
        CollapseRoot();
        return distinct;
    }
    const auto bytes = store_->Change(step.page);
    if (!editor_.RemoveInPlace(bytes, step.position)) {
        auto entries = editor_.AllEntries();
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(step.position));
        IndexPageEditor::Write(bytes, entries, true);
    }
    if (was_last && path.size() > 1) {
        IndexEntry last;
        Load(step.page);
        editor_.CopyEntry(editor_.Size() - 1, last);
        UpdateAncestors(path, path.size() - 1, std::move(last));
    }
    return distinct;
}

// The greatest leaf entry below the page on `level` is `last`: says so in the nearest node above
// that doesn't hold the page as its tail.
void IndexWriter::UpdateAncestors(Path& path, std::size_t level, IndexEntry last) {
    for (; level > 0; --level) {
        const Step parent = path[level - 1];
        Load(parent.page);
        if (parent.position >= editor_.Size()) {
            continue;
        }
        auto entries = editor_.AllEntries();
        const PageNumber child = ChildOf(entries[parent.position]);
        entries[parent.position] = NodeEntry(last, child);
        // The new key may be longer, and find no room.
        WriteOrSplit(path, level - 1, std::move(entries));
        return;
    }
}

void IndexWriter::SetField(PageNumber page, std::size_t offset, PageNumber value) {
    Load(page);
    StoreU32(store_->Change(page), offset, value);
}

PageNumber IndexWriter::NewPage() {
    const PageNumber page = store_->Allocate();
    UsageMapWriter(*store_, owned_map_).Add(page);
    return page;
}

void IndexWriter::FreePage(PageNumber page) {
    UsageMapWriter(*store_, owned_map_).Remove(page);
    store_->Free(page);
}

void IndexWriter::Clear() {
    UsageMapWriter owned(*store_, owned_map_);
    const PageNumber limit = store_->PageCount();
    for (auto page = owned.Next(0, limit); page; page = owned.Next(*page + 1, limit)) {
        // The definition names the root for good.
        if (*page != root_) {
            store_->Free(*page);
        }
    }
    owned.Clear();
    owned.Add(root_);
    const auto root = store_->Change(root_);
    std::memset(root.data(), 0, root.size());
    InitializeLeaf(root, table_page_);
}

}  // namespace vantry::access
