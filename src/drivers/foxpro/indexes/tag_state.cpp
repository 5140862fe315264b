// Keys of changed rows are gathered by tag, to be merged into the trees before a commit, or when
// there are many (tag_flush.cpp). A new row is asked for those keys alone for which it may be
// refused; the others are made by a second thread when it has been written.

#include "drivers/foxpro/indexes/tag_state.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <cstring>

namespace vantry::foxpro {
namespace {

// A length that can't be right must not become room; such a tag makes no keys.
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

}  // namespace

Tag::Tag(TagHeader read, const TableLayout& layout, const LetterTable& letters)
    : header(std::move(read)),
      maker(header, layout, letters),
      batch({UsableLength(header), maker.Pad()}, IsCandidate()),
      former_key(UsableLength(header)),
      key(UsableLength(header)) {}

bool Tag::MakeKey(const std::string& table,
                  const RecordView& record,
                  std::vector<std::byte>& out) const {
    try {
        return maker.Make(record, out);
    } catch (const KeyTrouble& trouble) {
        throw KeyNotMade(table, header.name, header.expression, record.number, trouble.what());
    }
}

TagSet::State::State(file::FileGroup& owner,
                     file::FileGroup::Member member,
                     const TableLayout& table,
                     std::size_t memory)
    : group(owner),
      layout(table),
      letters(table.code_page),
      pages(owner, member),
      background(table, TablePath(), tags, memory),
      memory_(memory),
      room_(TablePath()) {
    Take(ReadTagHeaders(pages));
}

void TagSet::State::Enter() {
    if (!pages.Refresh()) {
        return;
    }
    // The second thread uses the tags that are about to be replaced.
    background.Forget();
    keys_are_made = false;
    flushed_ = false;
    Take(ReadTagHeaders(pages));
    for (const auto& tag : tags) {
        tag->batch.Clear();
        tag->last_entry.reset();
    }
    room_.packed.Clear();
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
    info.fields = tag.maker.Fields();
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

void TagSet::State::MakeKeys(const RecordView& row, const RecordView* former) {
    keys_are_made = false;
    if (former != nullptr) {
        // The record's key as a new one may still be made, and the batch is changed below.
        background.Wait();
    }
    for (const auto& tag : tags) {
        if (former != nullptr || !tag->IsMadeInBackground()) {
            tag->has_key = tag->MakeKey(TablePath(), row, tag->key);
            tag->has_former_key =
                former != nullptr && tag->MakeKey(TablePath(), *former, tag->former_key);
        }
    }
    keys_are_made = true;
    keys_have_former = former != nullptr;
    keys_record = row.number;
}

// What was gathered knows better than the tree. Most tables get their keys in order: what is behind
// the last one can't be there.
void TagSet::State::RefuseDuplicate(Tag& tag, RecordNumber record) {
    // Its own entry is the only one that may have the key, and stays.
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

void TagSet::State::GatherNew(const RecordView& row) {
    keys_are_made = false;
    for (const auto& tag : tags) {
        if (!tag->IsMadeInBackground() && tag->has_key) {
            tag->batch.Add(tag->key, row.number, false);
            FlushIfBehind(*tag);
        }
    }
    background.Add(row);
    KeepWithinMemory(background.KeptBytes(), false);
}

void TagSet::State::GatherChange(RecordNumber record) {
    keys_are_made = false;
    for (const auto& tag : tags) {
        auto& batch = tag->batch;
        const bool same =
            tag->has_key == tag->has_former_key && (!tag->has_key || tag->key == tag->former_key);
        if (!same && tag->has_former_key) {
            // It may stand among what is packed.
            if (batch.HasPacked()) {
                FlushBatches(nullptr);
            }
            batch.Add(tag->former_key, record, true);
        }
        if (!same && tag->has_key) {
            batch.Add(tag->key, record, false);
        }
    }
    KeepWithinMemory(0, true);
}

// Merging with a tree reads and writes all of it as a rule; what is packed can wait for that.
void TagSet::State::KeepWithinMemory(std::size_t background_bytes, bool background_too) {
    std::size_t gathered = 0;  // that can be packed
    std::size_t kept = background_bytes;
    for (const auto& tag : tags) {
        const auto& batch = tag->batch;
        // What a flush without the table would leave must not count, or each row would flush.
        if ((background_too || !tag->IsMadeInBackground()) && !tag->NeedsTable()) {
            (batch.CanPack() ? gathered : kept) += batch.Bytes();
            kept += batch.PackedBytes();
        }
    }
    if (kept >= 2 * memory_) {
        FlushBatches(nullptr);
    } else if (gathered >= memory_) {
        for (const auto& tag : tags) {
            if ((background_too || !tag->IsMadeInBackground()) && tag->batch.CanPack()) {
                tag->batch.Pack(room_);
            }
        }
    }
}

}  // namespace vantry::foxpro
