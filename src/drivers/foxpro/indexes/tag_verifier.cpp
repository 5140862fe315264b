// Reads nodes by itself, byte by byte as the format says, and not by the code that writes them: a
// fault in what both share would be none here. Keys are made again from the records; for those the
// writer's own maker is taken, whose answers are compared with the original products' elsewhere.

#include "drivers/foxpro/indexes/tag_verifier.h"

#include "data/data_error.h"
#include "drivers/foxpro/table/text_coder.h"

#include <algorithm>
#include <set>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kMostFindings = 50;
constexpr unsigned kMostLevels = 40;

struct Entry {
    std::string key;
    RecordNumber record = 0;
    auto operator<=>(const Entry&) const = default;
};

class FileVerifier {
public:
    explicit FileVerifier(IndexPages& pages) : pages_(pages) {}

    std::vector<std::string> Run(std::span<const std::unique_ptr<Tag>> tags,
                                 const RecordWalk& walk) {
        Use(0, "the directory's header");
        Use(kIndexPage, "the directory's header");
        CheckDirectory(tags);
        for (const auto& tag : tags) {
            tag_ = tag->header.name;
            Use(tag->header.address, "its header");
            Use(static_cast<PageAddress>(tag->header.address + kIndexPage), "its header");
            if (!tag->header.damage.empty()) {
                Find(tag->header.damage);
            } else if (tag->header.kind != kKindBitmap) {
                CheckTag(*tag, walk);
            } else {
                has_bitmaps_ = true;
            }
        }
        tag_.clear();
        CheckFreePages();
        // Where the pages of a bitmap lie isn't known.
        if (!has_bitmaps_ && findings_.empty() && used_.size() != pages_.Size() / kIndexPage) {
            Find(std::to_string(pages_.Size() / kIndexPage - used_.size()) +
                 " pages belong to nothing");
        }
        return std::move(findings_);
    }

private:
    void Find(const std::string& what) {
        if (findings_.size() < kMostFindings) {
            findings_.push_back(tag_.empty() ? "index: " + what : "tag " + tag_ + ": " + what);
        }
    }
    void FindAt(PageAddress page, const std::string& what) {
        Find("the page at " + std::to_string(page) + " " + what);
    }
    // False: the page isn't there, or belongs to something else.
    bool Use(PageAddress page, const std::string& what) {
        if (page % kIndexPage != 0 || std::uint64_t{page} + kIndexPage > pages_.Size()) {
            Find(what + " is at " + std::to_string(page) + ", where no page is");
            return false;
        }
        if (!used_.insert(page).second) {
            FindAt(page, "is used twice, as " + what);
            return false;
        }
        return true;
    }

    // ---- One tree

    void CheckTag(const Tag& tag, const RecordWalk& walk) {
        shape_ = tag.Shape();
        std::vector<Entry> entries = ReadTree(tag.header.root);
        if (tag.IsUnique() || tag.IsCandidate()) {
            for (std::size_t k = 1; k < entries.size(); ++k) {
                if (entries[k].key == entries[k - 1].key) {
                    Find("records " + std::to_string(entries[k - 1].record) + " and " +
                         std::to_string(entries[k].record) + " have one key");
                }
            }
        }
        if (tag.maker.Unsupported().empty()) {
            Compare(entries, Expected(tag, walk));
        }
    }

    std::vector<Entry> Expected(const Tag& tag, const RecordWalk& walk) {
        std::vector<Entry> entries;
        std::vector<std::byte> key(shape_.key_length);
        walk([&](const RecordView& record) {
            try {
                if (tag.maker.Make(record, key)) {
                    entries.push_back({std::string(AsText(key)), record.number});
                }
            } catch (const KeyTrouble& trouble) {
                Find("record " + std::to_string(record.number) + " has no key: " + trouble.what());
            }
        });
        std::sort(entries.begin(), entries.end(), IsBefore);
        if (tag.IsUnique()) {
            entries.erase(std::unique(entries.begin(),
                                      entries.end(),
                                      [](const Entry& left, const Entry& right) {
                                          return left.key == right.key;
                                      }),
                          entries.end());
        }
        return entries;
    }
    static bool IsBefore(const Entry& left, const Entry& right) {
        const int order = left.key.compare(right.key);  // by bytes, as unsigned numbers
        return order != 0 ? order < 0 : left.record < right.record;
    }

    void Compare(const std::vector<Entry>& there, const std::vector<Entry>& wanted) {
        if (there.size() != wanted.size()) {
            Find("it has " + std::to_string(there.size()) + " entries, and the table " +
                 std::to_string(wanted.size()));
        }
        for (std::size_t k = 0; k < std::min(there.size(), wanted.size()); ++k) {
            if (there[k] != wanted[k]) {
                Find("its entry " + std::to_string(k + 1) + " is of record " +
                     std::to_string(there[k].record) + ", and should be of record " +
                     std::to_string(wanted[k].record) +
                     (there[k].record == wanted[k].record ? " with another key" : ""));
                return;
            }
        }
    }

    std::vector<Entry> ReadTree(PageAddress root) {
        entries_.clear();
        levels_.assign(1, {root});
        Entry last;
        ReadNode(root, 0, true, last);
        for (std::size_t k = 1; k < entries_.size(); ++k) {
            if (!IsBefore(entries_[k - 1], entries_[k])) {
                Find("its entry " + std::to_string(k + 1) + " isn't behind the one before");
            }
        }
        for (const auto& level : levels_) {
            for (std::size_t k = 0; k < level.size(); ++k) {
                const auto bytes = pages_.Page(level[k]);
                if (file::LoadU32(bytes, kNodeLeft) != (k == 0 ? kNoPage : level[k - 1]) ||
                    file::LoadU32(bytes, kNodeRight) !=
                        (k + 1 == level.size() ? kNoPage : level[k + 1])) {
                    FindAt(level[k], "isn't linked with its neighbours");
                }
            }
        }
        return std::move(entries_);
    }

    // Leaves the last entry below the node in `last`. False: it can't be read.
    bool ReadNode(PageAddress page, unsigned depth, bool is_root, Entry& last) {
        if (depth >= kMostLevels || !Use(page, "a node")) {
            return false;
        }
        const auto found = pages_.Page(page);
        // A copy: those of the page are good until the next one is asked for, which is below.
        const std::vector<std::byte> bytes(found.begin(), found.end());
        const auto attributes = file::LoadU16(bytes, kNodeAttributes);
        if (((attributes & kNodeIsRoot) != 0) != is_root) {
            FindAt(page, is_root ? "isn't marked as root" : "is marked as root");
        }
        if (levels_.size() <= depth) {
            levels_.emplace_back();
        }
        if (depth != 0) {
            levels_[depth].push_back(page);
        }
        const std::size_t count = file::LoadU16(bytes, kNodeCount);
        if (count == 0 && !(is_root && (attributes & kNodeIsLeaf) != 0)) {
            FindAt(page, "is empty");
            return false;
        }
        if ((attributes & kNodeIsLeaf) != 0) {
            leaf_depth_ = entries_.empty() ? depth : leaf_depth_;
            // The first leaf that is reached sets the level for all.
            if (depth != leaf_depth_) {
                FindAt(page, "is a leaf on another level than the others");
            }
            return ReadLeaf(page, bytes, count, last);
        }
        return ReadInner(page, bytes, count, depth, last);
    }

    bool ReadInner(
        PageAddress page, ByteSpan bytes, std::size_t count, unsigned depth, Entry& last) {
        const std::size_t size = shape_.key_length + kInnerTail;
        if (kInnerEntries + count * size > kIndexPage) {
            FindAt(page, "counts more entries than it has room for");
            return false;
        }
        for (std::size_t k = 0; k < count; ++k) {
            const auto entry = bytes.subspan(kInnerEntries + k * size, size);
            const Entry said{std::string(AsText(entry.first(shape_.key_length))),
                             file::LoadBigU32(entry, shape_.key_length)};
            const auto child = file::LoadBigU32(entry, shape_.key_length + 4);
            if (!ReadNode(child, depth + 1, false, last)) {
                return false;
            }
            if (said != last) {
                FindAt(page,
                       "has an entry " + std::to_string(k + 1) +
                           " that isn't the last one below its child");
            }
        }
        return true;
    }

    bool ReadLeaf(PageAddress page, ByteSpan bytes, std::size_t count, Entry& last) {
        const unsigned record_bits = file::LoadU8(bytes, kLeafRecordBits);
        const unsigned dup_bits = file::LoadU8(bytes, kLeafDupBits);
        const unsigned trail_bits = file::LoadU8(bytes, kLeafTrailBits);
        const std::size_t size = file::LoadU8(bytes, kLeafEntrySize);
        const auto mask = [](unsigned bits) { return bits >= 32 ? UINT32_MAX : (1U << bits) - 1; };
        if (size > 8 || record_bits + dup_bits + trail_bits != 8 * size ||
            file::LoadU32(bytes, kLeafRecordMask) != mask(record_bits) ||
            file::LoadU8(bytes, kLeafDupMask) != (mask(dup_bits) & 0xFF) ||
            file::LoadU8(bytes, kLeafTrailMask) != (mask(trail_bits) & 0xFF)) {
            FindAt(page, "has masks that don't go with its bits");
            return false;
        }
        std::size_t keys = kIndexPage;
        Entry entry;
        std::size_t without_pad = 0;  // of the key before
        for (std::size_t k = 0; k < count; ++k) {
            std::uint64_t word = 0;
            for (std::size_t byte = 0; byte < size; ++byte) {
                word |= std::uint64_t{file::LoadU8(bytes, kLeafEntries + k * size + byte)}
                        << (8 * byte);
            }
            entry.record = static_cast<RecordNumber>(word & mask(record_bits));
            const std::size_t dup = word >> record_bits & mask(dup_bits);
            const std::size_t trail = word >> (record_bits + dup_bits) & mask(trail_bits);
            if (dup + trail > shape_.key_length || dup > without_pad ||
                shape_.key_length - dup - trail > keys - kLeafEntries) {
                FindAt(page, "has an entry " + std::to_string(k + 1) + " that can't be unpacked");
                return false;
            }
            keys -= shape_.key_length - dup - trail;
            entry.key.resize(dup);
            entry.key += AsText(bytes.subspan(keys, shape_.key_length - dup - trail));
            without_pad = entry.key.size();
            entry.key.append(trail, std::to_integer<char>(shape_.pad));
            if (without_pad != 0 &&
                entry.key[without_pad - 1] == std::to_integer<char>(shape_.pad)) {
                FindAt(page, "stores padding of its entry " + std::to_string(k + 1));
            }
            entries_.push_back(entry);
        }
        if (kLeafEntries + count * size > keys ||
            file::LoadU16(bytes, kLeafFree) != keys - kLeafEntries - count * size) {
            FindAt(page, "has another number of free bytes than it says");
            return false;
        }
        last = entry;
        return true;
    }

    // ---- The file

    void CheckDirectory(std::span<const std::unique_ptr<Tag>> tags) {
        tag_ = "(directory)";
        shape_ = {kTagNameLength, std::byte{' '}};
        const auto entries = ReadTree(file::LoadU32(pages_.Page(0), kTagRootOffset));
        bool same = entries.size() == tags.size();
        for (std::size_t k = 0; same && k < tags.size(); ++k) {
            std::string name = tags[k]->header.name;
            name.resize(kTagNameLength, ' ');
            same = entries[k] == Entry{name, tags[k]->header.address};
        }
        if (!same) {
            Find("it doesn't lead to the tags");
        }
    }

    void CheckFreePages() {
        auto page = file::LoadU32(pages_.Page(0), kFreePageOffset);
        while (page != 0 && page != kNoPage && Use(page, "a free page")) {
            page = file::LoadU32(pages_.Page(page), kNextFreePage);
        }
    }

    IndexPages& pages_;
    std::vector<std::string> findings_;
    std::set<PageAddress> used_;
    std::string tag_;
    TreeShape shape_;
    std::vector<Entry> entries_;
    std::vector<std::vector<PageAddress>> levels_;
    unsigned leaf_depth_ = 0;
    bool has_bitmaps_ = false;
};

}  // namespace

std::vector<std::string> VerifyTags(IndexPages& pages,
                                    std::span<const std::unique_ptr<Tag>> tags,
                                    const RecordWalk& walk) {
    return FileVerifier(pages).Run(tags, walk);
}

}  // namespace vantry::foxpro
