// The calls that change, build and check a table's tags. Each first sees whether the files are
// still those of the last one (State::Enter), and then leaves the work to the state. Tags that are
// added are built together with those that are there, into a file that is made anew: the directory
// stays small and in order, and there is one way to write it.

#include "drivers/foxpro/indexes/tag_set.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/indexes/tag_state.h"
#include "drivers/foxpro/indexes/tag_verifier.h"

#include <algorithm>

namespace vantry::foxpro {
namespace {

constexpr std::string_view kMachine = "MACHINE";

bool IsTagName(std::string_view name) {
    const auto letter = [](char c) {
        return (c >= 'A' && c <= 'Z') || c == '_' || (static_cast<unsigned char>(c) & 0x80U) != 0;
    };
    return !name.empty() && name.size() <= kTagNameLength && letter(name.front()) &&
           std::all_of(name.begin(), name.end(), [&](char c) {
               return letter(c) || (c >= '0' && c <= '9');
           });
}

}  // namespace

TagSet::TagSet(file::FileGroup& group,
               file::FileGroup::Member member,
               const TableLayout& layout,
               std::size_t memory)
    : state_(std::make_unique<State>(group, member, layout, memory)) {}

TagSet::~TagSet() = default;

std::vector<TagInfo> TagSet::Tags() {
    state_->Enter();
    std::vector<TagInfo> tags;
    for (const auto& tag : state_->tags) {
        tags.push_back(state_->Describe(*tag));
    }
    return tags;
}

void TagSet::RequireMaintainable() {
    state_->Enter();
    state_->RequireMaintainable();
}

void TagSet::CheckRow(const RecordView& row, const RecordView* former) {
    state_->Enter();
    state_->RequireMaintainable();
    state_->MakeKeys(row, former);
    for (const auto& tag : state_->tags) {
        if (tag->IsCandidate() && tag->has_key) {
            state_->RefuseDuplicate(*tag, row.number);
        }
    }
}

void TagSet::Insert(const RecordView& row) {
    state_->Enter();
    if (!state_->keys_are_made || state_->keys_have_former || state_->keys_record != row.number) {
        state_->MakeKeys(row, nullptr);
    }
    state_->GatherNew(row);
}

void TagSet::Update(const RecordView& former, const RecordView& row) {
    state_->Enter();
    if (!state_->keys_are_made || !state_->keys_have_former || state_->keys_record != row.number) {
        state_->MakeKeys(row, &former);
    }
    state_->GatherChange(row.number);
}

void TagSet::Flush(const RecordWalk& walk) {
    state_->Enter();
    state_->FlushBatches(&walk);
}

void TagSet::Rebuild(const RecordWalk& walk) {
    AddTags({}, walk);
}

void TagSet::AddTags(std::span<const TagDefinition> tags, const RecordWalk& walk) {
    state_->Enter();
    state_->RequireMaintainable();
    std::vector<TagHeader> headers;
    for (const auto& tag : state_->tags) {
        headers.push_back(tag->header);
    }
    for (const auto& definition : tags) {
        TagHeader header;
        header.name = UpperCased(Trimmed(definition.name));
        header.expression = definition.expression;
        header.filter = definition.filter;
        header.descending = definition.descending;
        header.options = static_cast<std::uint8_t>((definition.unique ? kTagUnique : 0U) |
                                                   (definition.candidate ? kTagCandidate : 0U));
        header.collation = UpperCased(definition.collation);
        if (header.collation == kMachine) {
            header.collation.clear();
        }
        try {
            if (!IsTagName(header.name)) {
                throw KeyTrouble(
                    "a tag's name has at most 10 letters, digits and _, and begins with a letter");
            }
            // The pool has 512 bytes for both texts and their ends.
            if (header.expression.size() > kMaxKeyLength || header.filter.size() > kMaxKeyLength) {
                throw KeyTrouble("an expression has at most 240 letters");
            }
            if (std::any_of(headers.begin(), headers.end(), [&](const TagHeader& other) {
                    return other.name == header.name;
                })) {
                throw KeyTrouble("there is a tag of that name already");
            }
            SettleNewHeader(header, state_->layout, state_->letters);
        } catch (const KeyTrouble& trouble) {
            throw BadTagDefinition(state_->group.PathOf(file::FileGroup::kLeader),
                                   definition.name,
                                   definition.expression,
                                   trouble.what());
        }
        headers.push_back(std::move(header));
    }
    // The order of the directory's keys.
    std::sort(headers.begin(), headers.end(), [](const TagHeader& left, const TagHeader& right) {
        return left.name < right.name;
    });
    state_->Build(std::move(headers), walk);
}

void TagSet::Walk(std::size_t tag, const std::function<void(ByteSpan, RecordNumber)>& found) {
    state_->Enter();
    const auto& walked = *state_->tags.at(tag);
    if (!walked.header.damage.empty() || walked.header.kind == kKindBitmap) {
        return;
    }
    state_->TreeOf(walked).Walk(found);
}

bool TagSet::MakeKey(std::size_t tag, const RecordView& row, std::vector<std::byte>& key) {
    const auto& made = *state_->tags.at(tag);
    key.resize(made.header.key_length);
    return made.MakeKey(state_->group.PathOf(file::FileGroup::kLeader), row, key);
}

std::vector<std::string> TagSet::Verify(const RecordWalk& walk) {
    state_->Enter();
    return VerifyTags(state_->pages, state_->tags, walk);
}

void CreateIndex(file::FileGroup& group,
                 file::FileGroup::Member member,
                 const TableLayout& layout,
                 std::span<const TagDefinition> tags,
                 const RecordWalk& walk) {
    {
        IndexPages pages(group, member);
        WriteSkeleton(pages, {}, {});
        pages.Write();
    }
    TagSet(group, member, layout).AddTags(tags, walk);
}

}  // namespace vantry::foxpro
