// Keys of changed rows are gathered by tag and merged into the trees before a commit, or when there
// are many. A tag that keeps the first record of a key alone is the odd one: when that record goes,
// only the table knows which one is the first now.

#include "drivers/foxpro/indexes/tag_state.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kKeysAtOnce = 4096;  // of a tag with one entry a key

std::size_t UsableLength(const TagHeader& header) {
    return header.damage.empty() ? header.key_length : 1;
}

// Whether two headers are of the same tag: all but what changes with its tree.
bool SameTag(const TagHeader& left, const TagHeader& right) {
    return left.name == right.name && left.address == right.address &&
           left.damage == right.damage &&
           std::equal(left.bytes.begin() + kKeyLengthOffset,
                      left.bytes.begin() + kTagStatisticsOffset,
                      right.bytes.begin() + kKeyLengthOffset) &&
           std::equal(left.bytes.begin() + kCollationOffset,
                      left.bytes.end(),
                      right.bytes.begin() + kCollationOffset);
}

// Whether the table may have to be asked for the first record of a key.
bool NeedsTable(const Tag& tag) {
    return tag.IsUnique() && tag.batch.HasRemovals();
}

}  // namespace

Tag::Tag(TagHeader read, const TableLayout& layout, const LetterTable& letters)
    : header(std::move(read)),
      maker(header, layout, letters),
      batch({UsableLength(header), maker.Pad()}, IsCandidate()),
      former_key(UsableLength(header)),
      key(UsableLength(header)) {}

TagSet::State::State(file::FileGroup& owner,
                     file::FileGroup::Member member,
                     const TableLayout& table,
                     std::size_t memory)
    : group(owner), layout(table), letters(table.code_page), pages(owner, member), memory_(memory) {
    Take(ReadTagHeaders(pages));
}

void TagSet::State::Enter() {
    if (!pages.Refresh()) {
        return;
    }
    keys_are_made = false;
    flushed_ = false;
    Take(ReadTagHeaders(pages));
    for (const auto& tag : tags) {
        tag->batch.Clear();
        tag->last_entry.reset();
    }
}

// What was parsed stays where the tags are the same.
void TagSet::State::Take(std::vector<TagHeader> headers) {
    const bool same = std::equal(headers.begin(),
                                 headers.end(),
                                 tags.begin(),
                                 tags.end(),
                                 [](const TagHeader& header, const std::unique_ptr<Tag>& tag) {
                                     return SameTag(header, tag->header);
                                 });
    if (!same) {
        tags.clear();
    }
    for (std::size_t k = 0; k < headers.size(); ++k) {
        if (same) {
            tags[k]->header = std::move(headers[k]);
        } else {
            tags.push_back(std::make_unique<Tag>(std::move(headers[k]), layout, letters));
        }
    }
}

TagInfo TagSet::State::Describe(const Tag& tag) const {
    TagInfo info;
    info.name = tag.header.name;
    info.expression = tag.header.expression;
    info.filter = tag.header.filter;
    info.collation = tag.header.collation;
    info.key_length = tag.header.key_length;
    info.unique = tag.IsUnique();
    info.candidate = tag.IsCandidate();
    info.nullable = (tag.header.options & kTagNullable) != 0;
    info.descending = tag.header.descending;
    info.bitmap = tag.header.kind == kKindBitmap;
    info.unsupported = tag.maker.Unsupported();
    return info;
}

void TagSet::State::RequireMaintainable() const {
    for (const auto& tag : tags) {
        if (const auto& why = tag->maker.Unsupported(); !why.empty()) {
            auto expression = tag->header.expression;
            expression += tag->header.filter.empty() ? "" : " FOR " + tag->header.filter;
            throw UnsupportedTag(TablePath(), tag->header.name, expression, why);
        }
    }
}

Tree TagSet::State::TreeOf(const Tag& tag) {
    return {pages, tag.Shape(), tag.header.root, tag.header.name};
}

// ---- Keys -------------------------------------------------------------------------------------

bool TagSet::State::MakeKey(Tag& tag, const RecordView& record, std::vector<std::byte>& key) const {
    try {
        return tag.maker.Make(record, key);
    } catch (const KeyTrouble& trouble) {
        throw KeyNotMade(
            TablePath(), tag.header.name, tag.header.expression, record.number, trouble.what());
    }
}

void TagSet::State::MakeKeys(const RecordView& row, const RecordView* former) {
    keys_are_made = false;
    for (const auto& tag : tags) {
        tag->has_key = MakeKey(*tag, row, tag->key);
        tag->has_former_key = former != nullptr && MakeKey(*tag, *former, tag->former_key);
    }
    keys_are_made = true;
    keys_have_former = former != nullptr;
    keys_record = row.number;
}

// What was gathered knows better than the tree. Most tables get their keys in order: what is behind
// the last one can't be there.
void TagSet::State::RefuseDuplicate(Tag& tag, RecordNumber record) {
    if (tag.has_former_key && tag.former_key == tag.key) {
        return;
    }
    std::optional<RecordNumber> other;
    if (const auto last = tag.batch.FindLast(tag.key)) {
        other = last->removal ? std::nullopt : std::optional(last->record);
    } else {
        if (!tag.last_entry) {
            tag.last_entry = TreeOf(tag).LastEntry();
        }
        if (!tag.last_entry->empty() &&
            std::memcmp(tag.key.data(), tag.last_entry->data(), tag.key.size()) <= 0) {
            other = TreeOf(tag).Find(tag.key);
        }
    }
    if (other && *other != record) {
        throw DuplicateKey(TablePath(), tag.header.name, tag.header.expression, *other);
    }
}

void TagSet::State::Gather(RecordNumber record) {
    keys_are_made = false;
    std::size_t gathered = 0;  // that can be packed
    std::size_t kept = 0;
    for (const auto& tag : tags) {
        auto& batch = tag->batch;
        const bool same =
            tag->has_key == tag->has_former_key && (!tag->has_key || tag->key == tag->former_key);
        if (!same && tag->has_former_key) {
            // It may stand among what is packed.
            if (batch.PackedBytes() != 0) {
                Flush(*tag, nullptr);
            }
            batch.Add(tag->former_key, record, true);
        }
        if (!same && tag->has_key) {
            batch.Add(tag->key, record, false);
        }
        if (!NeedsTable(*tag)) {
            (batch.CanPack() ? gathered : kept) += batch.Bytes();
            kept += batch.PackedBytes();
        }
    }
    // Merging with a tree reads and writes all of it as a rule; what is packed first can wait until
    // there is much of it.
    if (kept >= 2 * memory_) {
        FlushBatches(nullptr);
    } else if (gathered >= memory_) {
        for (const auto& tag : tags) {
            if (tag->batch.CanPack()) {
                tag->batch.Pack(room_);
            }
        }
    }
}

// ---- Into the trees ---------------------------------------------------------------------------

void TagSet::State::FlushBatches(const RecordWalk* walk) {
    bool any = false;
    for (const auto& tag : tags) {
        if (!tag->batch.IsEmpty()) {
            Flush(*tag, walk);
            any = true;
        }
    }
    if (any && !flushed_) {
        CountChange(pages);
        flushed_ = true;
    }
    pages.Write();
}

void TagSet::State::Flush(Tag& tag, const RecordWalk* walk) {
    if (NeedsTable(tag) && walk == nullptr) {
        return;
    }
    const auto edits = tag.batch.Sorted(room_);
    if (tag.IsUnique()) {
        while (edits->Entry() != nullptr) {
            FlushUnique(tag, *edits, walk);
        }
    } else {
        Apply(tag, *edits);
    }
    tag.batch.Clear();
    tag.last_entry.reset();
}

void TagSet::State::Apply(Tag& tag, TreeEdits& edits) {
    auto tree = TreeOf(tag);
    tree.Apply(edits);
    if (tree.Root() != tag.header.root) {
        tag.header.root = tree.Root();
        StoreRoot(pages, tag.header, tree.Root());
    }
}

// The edits say which records came to a key and went from it. The first of those that came has the
// entry, unless the tree has an earlier one that stays; if that went, the table is asked.
void TagSet::State::FlushUnique(Tag& tag, TreeEdits& edits, const RecordWalk* walk) {
    const auto shape = tag.Shape();
    struct Change {
        std::vector<std::byte> key;
        std::optional<RecordNumber> former;
        std::optional<RecordNumber> now;
    };
    std::vector<Change> changes;
    std::unordered_map<std::string, std::size_t> orphans;  // keys whose first record went
    auto tree = TreeOf(tag);
    while (edits.Entry() != nullptr && (tag.batch.HasRemovals() || changes.size() < kKeysAtOnce)) {
        Change change;
        change.key.assign(edits.Entry(), edits.Entry() + shape.key_length);
        change.former = tree.Find(change.key);
        change.now = change.former;
        bool orphan = false;
        for (; edits.Entry() != nullptr &&
               std::memcmp(edits.Entry(), change.key.data(), shape.key_length) == 0;
             edits.Next()) {
            const auto record = RecordOf(edits.Entry(), shape);
            if (edits.IsRemoval()) {
                orphan = orphan || record == change.former;
            } else if (!change.now || record < *change.now) {
                change.now = record;
            }
        }
        if (orphan) {
            change.now.reset();
            orphans.emplace(
                std::string(reinterpret_cast<const char*>(change.key.data()), change.key.size()),
                changes.size());
        }
        changes.push_back(std::move(change));
    }
    if (!orphans.empty()) {
        std::vector<std::byte> key(shape.key_length);
        (*walk)([&](const RecordView& record) {
            if (!MakeKey(tag, record, key)) {
                return;
            }
            const auto found =
                orphans.find(std::string(reinterpret_cast<const char*>(key.data()), key.size()));
            if (found != orphans.end() && !changes[found->second].now) {
                changes[found->second].now = record.number;
            }
        });
    }
    std::vector<std::byte> entries;
    std::vector<std::uint8_t> removals;
    const auto add = [&](const Change& change, RecordNumber record, bool removal) {
        entries.insert(entries.end(), change.key.begin(), change.key.end());
        entries.resize(entries.size() + sizeof record);
        file::StoreBigU32(entries, entries.size() - sizeof record, record);
        removals.push_back(removal ? 1 : 0);
    };
    for (const auto& change : changes) {
        if (change.former == change.now) {
            continue;
        }
        const bool now_first = change.now && change.former && *change.now < *change.former;
        if (now_first) {
            add(change, *change.now, false);
        }
        if (change.former) {
            add(change, *change.former, true);
        }
        if (change.now && !now_first) {
            add(change, *change.now, false);
        }
    }
    EditList changed(entries, removals, shape);
    Apply(tag, changed);
}

void TagSet::State::Build(std::vector<TagHeader> headers, const RecordWalk& walk) {
    std::vector<std::byte> pads;
    for (const auto& header : headers) {
        pads.push_back(KeyMaker(header, layout, letters).Pad());
    }
    WriteSkeleton(pages, headers, pads);
    tags.clear();
    Take(std::move(headers));
    walk([&](const RecordView& record) {
        MakeKeys(record, nullptr);
        for (const auto& tag : tags) {
            if (tag->IsCandidate() && tag->has_key) {
                RefuseDuplicate(*tag, record.number);
            }
        }
        Gather(record.number);
    });
    FlushBatches(&walk);
}

}  // namespace vantry::foxpro
