// What was gathered goes into the trees: in order, by a second thread if there is much, while this
// one changes the pages. A tag that keeps the first record of a key alone is the odd one: when that
// record goes, only the table knows which one is the first now.

#include "drivers/foxpro/indexes/tag_state.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kKeysAtOnce = 4096;  // of a tag with one entry a key
constexpr std::size_t kBehindBytes = 256U << 10;
constexpr std::size_t kWorthAThread = 512U << 10;  // bytes of entries

}  // namespace

void TagSet::State::FlushBatches(const RecordWalk* walk) {
    // Until it returns the batches are the second thread's.
    background.Wait();
    std::vector<Tag*> flushed;
    for (const auto& tag : tags) {
        if (!tag->batch.IsEmpty() && (!tag->NeedsTable() || walk != nullptr)) {
            flushed.push_back(tag.get());
        }
    }
    auto pipes = SortBeside(flushed);
    for (std::size_t k = 0; k < flushed.size(); ++k) {
        Tag& tag = *flushed[k];
        if (!pipes.empty()) {
            pipes[k]->Start();
            Flush(tag, *pipes[k], walk);
            pipes[k].reset();
        } else {
            Flush(tag, *tag.batch.Sorted(room_), walk);
        }
        tag.batch.Clear();
    }
    // A batch that was left out has removals, and so nothing packed in either room.
    background.Forget();
    room_.packed.Clear();
    pages.Write();
}

// Keys that come in their order go behind the last one, which changes the end of the tree alone.
void TagSet::State::FlushIfBehind(Tag& tag) {
    // A key may have its entry in the tree already where each has only one.
    if (tag.batch.Bytes() < kBehindBytes || !tag.batch.IsInOrder() || tag.IsUnique()) {
        return;
    }
    if (!tag.last_entry) {
        tag.last_entry = TreeOf(tag).LastEntry();
    }
    const auto edits = tag.batch.Sorted(room_);
    if (tag.last_entry->empty() ||
        CompareEntries(tag.last_entry->data(), edits->Entry(), tag.last_entry->size()) < 0) {
        Flush(tag, *edits, nullptr);
        tag.batch.Clear();
    }
}

// None if it isn't worth it.
std::vector<std::unique_ptr<EditPipe>> TagSet::State::SortBeside(std::span<Tag* const> sorted) {
    std::size_t bytes = 0;
    for (const auto* const tag : sorted) {
        // What is packed is large enough for a thread in any case.
        bytes += tag->batch.HasPacked() ? memory_ : tag->batch.Bytes();
    }
    std::vector<std::unique_ptr<EditPipe>> pipes;
    if (bytes < std::min(kWorthAThread, memory_)) {
        return pipes;
    }
    for (const auto* const tag : sorted) {
        pipes.push_back(background.Sorted(*tag));
        if (!pipes.back()) {
            return {};
        }
    }
    return pipes;
}

void TagSet::State::Flush(Tag& tag, TreeEdits& edits, const RecordWalk* walk) {
    if (tag.IsUnique()) {
        while (edits.Entry() != nullptr) {
            FlushUnique(tag, edits, walk);
        }
    } else {
        Apply(tag, edits);
    }
    tag.last_entry.reset();
    // The counter is for engines that keep pages: one step is enough, as they see whole commits
    // alone.
    if (!flushed_) {
        CountChange(pages);
        flushed_ = true;
    }
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
    // With removals all at once, as each round could cost a walk over the table.
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
            // Those that came, too: the walk meets them as they are now.
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
            if (!tag.MakeKey(TablePath(), record, key)) {
                return;
            }
            const auto found =
                orphans.find(std::string(reinterpret_cast<const char*>(key.data()), key.size()));
            if (found != orphans.end() && !changes[found->second].now) {
                // Records come by number, so the first that is met is the first of its key.
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
        // Edits have to be in the tree's order, which for one key is that of the records.
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
    pads.reserve(headers.size());
    for (const auto& header : headers) {
        pads.push_back(KeyMaker(header, layout, letters).Pad());
    }
    // The walk gives every record, also those whose keys wait here.
    background.Forget();
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
        GatherNew(record);
    });
    FlushBatches(&walk);
}

}  // namespace vantry::foxpro
