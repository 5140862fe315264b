#include "check/repeated_keys.h"

#include <algorithm>
#include <stdexcept>

namespace vantry {
namespace {

// Four megabytes of entries; most tables' keys never leave them.
constexpr std::size_t kInMemory = 1 << 18;
constexpr std::size_t kParts = 64;

// By the highest bits, so that sorted entries of one part lie together and go out in one write.
// Equal keys are always in one part: each can be counted alone.
std::size_t PartOf(std::uint64_t key) {
    return static_cast<std::size_t>(key >> 58);
}

[[noreturn]] void ThrowNoRoom() {
    throw std::runtime_error(
        "The temporary file that finds repeated keys couldn't be written or read. Make room in the "
        "folder of temporary files.");
}

}  // namespace

void RepeatedKeys::Add(std::uint64_t key, std::int64_t row) {
    entries_.push_back({key, row});
    if (entries_.size() >= kInMemory) {
        Spill();
    }
}

void RepeatedKeys::Spill() {
    if (parts_.empty()) {
        for (std::size_t k = 0; k < kParts; ++k) {
            // Without a name: nothing is left behind, however the program ends.
            parts_.emplace_back(std::tmpfile());
            if (!parts_.back()) {
                ThrowNoRoom();
            }
        }
    }
    std::sort(entries_.begin(), entries_.end(), [](const Entry& left, const Entry& right) {
        return left.key < right.key;
    });
    for (std::size_t at = 0; at < entries_.size();) {
        const std::size_t part = PartOf(entries_[at].key);
        std::size_t end = at;
        while (end < entries_.size() && PartOf(entries_[end].key) == part) {
            ++end;
        }
        if (std::fwrite(&entries_[at], sizeof(Entry), end - at, parts_[part].get()) != end - at) {
            ThrowNoRoom();
        }
        at = end;
    }
    entries_.clear();
}

void RepeatedKeys::Count(std::vector<Entry>& entries,
                         Answer& answer,
                         const std::function<void(std::int64_t)>& repeated) {
    std::sort(entries.begin(), entries.end(), [](const Entry& left, const Entry& right) {
        // By row within a key: a row of the target (0) comes first, and makes all those behind it
        // repeat.
        return left.key != right.key ? left.key < right.key : left.row < right.row;
    });
    for (std::size_t k = 1; k < entries.size(); ++k) {
        if (entries[k].key == entries[k - 1].key && entries[k].row > 0) {
            ++answer.repeats;
            if (repeated) {
                repeated(entries[k].row);
            }
            answer.first =
                answer.first == 0 ? entries[k].row : std::min(answer.first, entries[k].row);
        }
    }
}

RepeatedKeys::Answer RepeatedKeys::Find(const std::function<void(std::int64_t)>& repeated) {
    Answer answer;
    if (parts_.empty()) {
        Count(entries_, answer, repeated);
        return answer;
    }
    Spill();
    for (auto& part : parts_) {
        // Nothing was read yet: the place is the length.
        const long bytes = std::ftell(part.get());
        if (bytes < 0) {
            ThrowNoRoom();
        }
        std::vector<Entry> entries(static_cast<std::size_t>(bytes) / sizeof(Entry));
        std::rewind(part.get());
        if (std::fread(entries.data(), sizeof(Entry), entries.size(), part.get()) !=
            entries.size()) {
            ThrowNoRoom();
        }
        Count(entries, answer, repeated);
        part.reset();
    }
    parts_.clear();
    return answer;
}

}  // namespace vantry
