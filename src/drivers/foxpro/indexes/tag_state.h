#pragma once
// What a TagSet keeps: the tags, the keys that were gathered for each, the pages of the index file,
// and the thread that makes keys beside this one. Apart from tag_set.h, so that users of the tags
// see none of it. tag_state.cpp gathers keys, tag_flush.cpp puts them into the trees.

#include "drivers/foxpro/indexes/background_keys.h"
#include "drivers/foxpro/indexes/tag.h"
#include "drivers/foxpro/indexes/tag_set.h"

#include <memory>
#include <span>
#include <vector>

namespace vantry::foxpro {

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
    // Makes the keys of the row, and of `former`. Without one the row is new, and keys that are
    // made in the background are left to that.
    void MakeKeys(const RecordView& row, const RecordView* former);
    void RefuseDuplicate(Tag& tag, RecordNumber record);
    // What MakeKeys made.
    void GatherNew(const RecordView& row);
    void GatherChange(RecordNumber record);
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
    BackgroundKeys background;  // uses tags, and the layout

private:
    const std::string& TablePath() const { return group.PathOf(file::FileGroup::kLeader); }
    void Take(std::vector<TagHeader> headers);
    void FlushIfBehind(Tag& tag);
    void KeepWithinMemory(std::size_t background_bytes, bool background_too);
    std::vector<std::unique_ptr<EditPipe>> SortBeside(std::span<Tag* const> sorted);
    void Flush(Tag& tag, TreeEdits& edits, const RecordWalk* walk);
    void FlushUnique(Tag& tag, TreeEdits& edits, const RecordWalk* walk);
    void Apply(Tag& tag, TreeEdits& edits);

    std::size_t memory_;
    SortRoom room_;
    bool flushed_ = false;  // something in this transaction
};

}  // namespace vantry::foxpro
