#pragma once
// The inside of a TagSet.

#include "drivers/foxpro/indexes/entry_batch.h"
#include "drivers/foxpro/indexes/key_maker.h"
#include "drivers/foxpro/indexes/tag_set.h"

namespace vantry::foxpro {

// One tag with what was gathered for it.
struct Tag {
    Tag(TagHeader read, const TableLayout& layout, const LetterTable& letters);

    bool IsUnique() const { return (header.options & kTagUnique) != 0; }
    bool IsCandidate() const { return (header.options & kTagCandidate) != 0; }
    TreeShape Shape() const { return {header.key_length, maker.Pad()}; }

    TagHeader header;
    KeyMaker maker;
    EntryBatch batch;
    // Keys of the row that was checked last: as it was and as it is to be. Empty: FOR doesn't hold.
    std::vector<std::byte> former_key;
    std::vector<std::byte> key;
    bool has_former_key = false;
    bool has_key = false;
    // The last entry of the tree; nothing if it isn't known.
    std::optional<std::vector<std::byte>> last_entry;
};

class TagSet::State {
public:
    State(file::FileGroup& group,
          file::FileGroup::Member member,
          const TableLayout& layout,
          std::size_t memory);

    // Before each piece of work: what another transaction left is read anew.
    void Enter();
    TagInfo Describe(const Tag& tag) const;
    void RequireMaintainable() const;
    // Makes the keys of the row, and of `former` if there is one.
    void MakeKeys(const RecordView& row, const RecordView* former);
    void RefuseDuplicate(Tag& tag, RecordNumber record);
    void Gather(RecordNumber record);
    // Puts what was gathered into the trees, but where `walk` is needed and isn't there.
    void FlushBatches(const RecordWalk* walk);
    // All tags of `headers`, over the records of `walk`.
    void Build(std::vector<TagHeader> headers, const RecordWalk& walk);
    Tree TreeOf(const Tag& tag);

    file::FileGroup& group;
    const TableLayout& layout;
    LetterTable letters;
    IndexPages pages;
    std::vector<std::unique_ptr<Tag>> tags;
    bool keys_are_made = false;  // of `keys_record`
    bool keys_have_former = false;
    RecordNumber keys_record = 0;

private:
    const std::string& TablePath() const { return group.PathOf(file::FileGroup::kLeader); }
    void Take(std::vector<TagHeader> headers);
    bool MakeKey(Tag& tag, const RecordView& record, std::vector<std::byte>& key) const;
    void Flush(Tag& tag, const RecordWalk* walk);
    void FlushUnique(Tag& tag, TreeEdits& edits, const RecordWalk* walk);
    void Apply(Tag& tag, TreeEdits& edits);

    std::size_t memory_;
    SortRoom room_;
    bool flushed_ = false;  // something in this transaction
};

}  // namespace vantry::foxpro
