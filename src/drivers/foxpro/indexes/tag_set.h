#pragma once
// The structural index of a table (.cdx), or of a container (.dcx): its tags, each a tree of keys
// over all records for which its FOR condition holds, deleted records too. All changes go through
// the file group's open transaction, so that rows and tags are there together or not at all: a tag
// is never stale on disk.
//
// The order of a change: CheckRow for each row, before anything of it is written; then the record;
// then Insert or Update; and Flush before each commit, as entries are gathered and merged in one
// go. What belongs to a transaction that is over, whether committed or rolled back, is forgotten
// with the next one.

#include "drivers/foxpro/table/table_layout.h"
#include "files/file_group.h"

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vantry::foxpro {

struct TagInfo {
    std::string name;
    std::string expression;  // as in the file
    std::string filter;      // FOR, empty if there is none
    std::string collation;   // empty: MACHINE
    std::size_t key_length = 0;
    bool unique = false;     // only the first record of each key has an entry
    bool candidate = false;  // or primary: a second record with a key is an error
    bool nullable = false;   // keys have a prefix for NULL
    bool descending = false;
    bool bitmap = false;               // a BINARY tag
    std::string unsupported;           // why it can't be kept right; empty: it can
    std::vector<const Field*> fields;  // of the layout, that the key and FOR depend on
};

// What makes a new tag.
struct TagDefinition {
    std::string name;  // at most 10 letters
    std::string expression;
    std::string filter = {};  // FOR
    bool unique = false;
    bool candidate = false;
    bool descending = false;
    std::string collation = {};  // empty or "MACHINE", or "GENERAL"
};

// Gives all records of the table one by one, in the order of their numbers, deleted ones too.
using RecordWalk = std::function<void(const std::function<void(const RecordView&)>&)>;

inline constexpr std::size_t kTagMemory = 4U << 20;

class TagSet {
public:
    // Reads the directory and the tags' headers; `layout` and `group` must outlive it, and `layout`
    // may be changed by nothing but growth. Throws DataError naming the file if it isn't an index.
    // A tag whose header is damaged is listed, with the reason in `unsupported`. `memory`: bytes of
    // entries that are gathered as they come, and twice as many packed.
    TagSet(file::FileGroup& group,
           file::FileGroup::Member member,
           const TableLayout& layout,
           std::size_t memory = kTagMemory);
    ~TagSet();
    TagSet(const TagSet&) = delete;
    TagSet& operator=(const TagSet&) = delete;

    std::vector<TagInfo> Tags();

    // Throws DataError naming tag, expression and collation if there is a tag that can't be kept
    // right: the table then takes no changes.
    void RequireMaintainable();

    // ---- Inside a transaction of the group
    // Throws DataError naming the tag and its key if the row's key is that of another record in a
    // candidate tag, or can't be made. `former` is the record as it is; without one it is new.
    // Knows the entries that are gathered, too. The keys are kept for the Insert or Update of this
    // record, if that comes next; key fields are not to change in between.
    void CheckRow(const RecordView& row, const RecordView* former);
    void Insert(const RecordView& row);
    // The record's bytes change, be it its deletion mark alone.
    void Update(const RecordView& former, const RecordView& row);
    // Writes what was gathered, before each commit. `walk` is asked where the first record of a key
    // in a UNIQUE tag went away, and gives the records as they are now.
    void Flush(const RecordWalk& walk);
    // Makes all tags anew, from the records that `walk` gives; none: the table was emptied. Throws
    // DataError naming tag and record when two records have the key of a candidate tag.
    void Rebuild(const RecordWalk& walk);
    // The same with further tags.
    void AddTags(std::span<const TagDefinition> tags, const RecordWalk& walk);

    // ---- Reading
    // Calls `found` with each entry of the tag from its first to its last key, in the order of the
    // tree (ascending, also for a descending tag). Throws DataError if the tree isn't whole.
    void Walk(std::size_t tag, const std::function<void(ByteSpan key, RecordNumber record)>& found);

    // The key that the row would have; false: FOR doesn't hold. Throws DataError.
    bool MakeKey(std::size_t tag, const RecordView& row, std::vector<std::byte>& key);

    // What contradicts the format or the table, in words with tag and page; empty: nothing. Every
    // key of every tag that can be kept right is made again from the records and compared.
    std::vector<std::string> Verify(const RecordWalk& walk);

private:
    class State;
    std::unique_ptr<State> state_;
};

// Makes the content of an index file that is empty so far (0 bytes), inside a transaction. Throws
// DataError naming the tag if an expression can't be evaluated or keys collide.
void CreateIndex(file::FileGroup& group,
                 file::FileGroup::Member member,
                 const TableLayout& layout,
                 std::span<const TagDefinition> tags,
                 const RecordWalk& walk);

}  // namespace vantry::foxpro
