#include "drivers/foxpro/write/candidate_keys.h"

#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/write/record_encoder.h"

#include <algorithm>

namespace vantry::foxpro {
namespace {

std::string_view AsText(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// A key is an expression over a record, so a record is made of the row: with the table's code page,
// the lengths of its fields, and blanks where the row leaves a field out.
class TagKeys : public StoredKeys {
public:
    TagKeys(std::shared_ptr<TableFile> file,
            std::shared_ptr<TagSet> tags,
            std::size_t tag,
            std::vector<std::size_t> shown,
            bool null_by_default)
        : file_(std::move(file)),
          tags_(std::move(tags)),
          tag_(tag),
          shown_(std::move(shown)),
          encoder_(*file_, null_by_default),
          row_(encoder_.Shown().size()),
          numbers_(file_->Layout().fields.size()),
          record_(file_->Layout().record_length) {}

    std::optional<std::string> KeyOf(std::span<const Cell> parts) override {
        for (std::size_t k = 0; k < shown_.size(); ++k) {
            const auto& field = file_->Layout().fields[encoder_.Shown()[shown_[k]]];
            if (parts[k].Kind() == ValueKind::Unreadable ||
                (parts[k].IsUnset() && field.auto_increment)) {
                return std::nullopt;
            }
            row_[shown_[k]] = parts[k];
        }
        try {
            encoder_.EncodeRow(row_, numbers_, record_);
            const RecordView record{&file_->Layout(), record_, file_->RecordCount() + 1};
            if (!tags_->MakeKey(tag_, record, key_)) {
                return std::nullopt;
            }
        } catch (const DataError&) {
            return std::nullopt;  // a row that can't be stored takes no key
        }
        return std::string(AsText(key_));
    }

    // From the index, which has the keys of deleted records, too: they are taken.
    void ForEach(const std::function<void(std::string_view)>& found) override {
        file_->Refresh();
        tags_->Walk(tag_, [&](ByteSpan key, RecordNumber) { found(AsText(key)); });
    }

private:
    std::shared_ptr<TableFile> file_;
    std::shared_ptr<TagSet> tags_;
    std::size_t tag_;
    std::vector<std::size_t> shown_;
    RecordEncoder encoder_;
    std::vector<Cell> row_;  // one a field that is shown
    std::vector<std::uint32_t> numbers_;
    std::vector<std::byte> record_;
    std::vector<std::byte> key_;
};

}  // namespace

std::vector<TableRules::Unique> CandidateKeysOf(const std::shared_ptr<TableFile>& file,
                                                bool null_by_default) {
    std::vector<TableRules::Unique> rules;
    const auto index = file->IndexMember();
    if (!index) {
        return rules;
    }
    const auto& layout = file->Layout();
    const auto set = std::make_shared<TagSet>(file->Group(), *index, layout);
    set->RequireMaintainable();
    const auto tags = set->Tags();
    const RecordEncoder encoder(*file, null_by_default);
    for (std::size_t tag = 0; tag < tags.size(); ++tag) {
        if (!tags[tag].candidate || tags[tag].fields.empty()) {
            continue;
        }
        auto& rule = rules.emplace_back();
        rule.name = tags[tag].name;
        std::vector<std::size_t> shown;
        for (const auto* field : tags[tag].fields) {
            const auto number = static_cast<std::size_t>(field - layout.fields.data());
            const auto place = std::find(encoder.Shown().begin(), encoder.Shown().end(), number);
            shown.push_back(static_cast<std::size_t>(place - encoder.Shown().begin()));
            rule.parts.push_back({field->long_name});
        }
        rule.keys = std::make_shared<TagKeys>(file, set, tag, std::move(shown), null_by_default);
    }
    return rules;
}

}  // namespace vantry::foxpro
