// A key has its parts one behind the other: the characters' inline bytes, their accents, kana
// marks, hidden characters. They are gathered side by side in one pass. The list of accents has a
// byte a character up to the last accented one, so that a key without accents has none. Easy to get
// wrong: a modifier (a combining accent) belongs to the character before it, so the list must reach
// up to that one before the value is added; otherwise it changes an older character's accent, and
// other programs, which make the key as written here, don't find the row.

#include "drivers/access/indexes/collation.h"

#include <algorithm>
#include <iterator>

namespace vantry::access {
namespace {

constexpr std::byte kEndOfPart{0x01};
constexpr std::byte kEndOfText{0x00};
constexpr std::byte kNoAccent{0x02};
constexpr std::byte kHiddenMiddle{0x06};
constexpr unsigned kHiddenFlags = 0x8000;
constexpr unsigned kHiddenStart = 7;
constexpr unsigned kHiddenStep = 4;
constexpr std::byte kSurrogateAccent{0x3F};
constexpr std::byte kKanaBase{0x80};
constexpr std::byte kKanaTail[] = {
    std::byte{0xFF}, std::byte{0x02}, std::byte{0x80}, std::byte{0xFF}, std::byte{0x80}};
constexpr std::byte kKanaBeforeHidden{0xFF};
constexpr int kKanaFlagsPerByte = 3;
constexpr std::uint8_t kFirstKana = 2;
constexpr std::uint8_t kSecondKana = 3;

void AppendBig(std::uint64_t value, int bytes, std::vector<std::byte>& out) {
    for (int i = bytes - 1; i >= 0; --i) {
        out.push_back(static_cast<std::byte>(value >> (8 * i)));
    }
}

// Surrogate halves have weights by formula, in steps that skip the byte values 00 and 01.
unsigned SurrogateWeight(char16_t unit) {
    if (unit < 0xDC00) {
        return unit - 10238U;
    }
    const unsigned offset = unit - 0xDC00U;
    const unsigned gap = offset < 8     ? 9992
                         : offset < 262 ? 9990
                         : offset < 516 ? 9988
                         : offset < 770 ? 9986
                                        : 9984;
    return unit - gap;
}

bool IsSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

}  // namespace

// A key in the making: its parts grow side by side.
class CollationKey {
public:
    explicit CollationKey(std::vector<std::byte>& key) : key_(key) {}

    void Add(const Weight& weight) {
        // Before its inline bytes count: an accent belongs to the character itself.
        const std::size_t position = position_;
        if (weight.inline_size > 0) {
            AddInline(weight.inline_value, weight.inline_size);
        }
        switch (weight.kind) {
            case WeightKind::Ignored:
            case WeightKind::Plain:
                return;
            case WeightKind::Hidden:
                AddHidden(weight.extra, weight.extra_size);
                return;
            case WeightKind::Modifier:
                AddModifier(weight.extra);
                return;
            case WeightKind::Kana1:
                AddKana(kFirstKana);
                break;
            case WeightKind::Kana2:
                AddKana(kSecondKana);
                break;
            case WeightKind::Accent:
                break;
        }
        if (weight.extra_size > 0) {
            AddAccent(position, weight.extra, weight.extra_size);
        }
    }
    void AddInline(std::uint64_t value, int bytes) {
        AppendBig(value, bytes, key_);
        ++position_;
    }
    // The accent of the character at `position`.
    void AddAccent(std::size_t position, std::uint64_t value, int bytes) {
        FillAccents(position);
        AppendBig(value, bytes, accents_);
        ++accent_characters_;
    }
    // Of the character before; of nothing at a text's start, where it is a byte of its own.
    void AddModifier(std::uint64_t value) {
        FillAccents(position_);
        if (accents_.empty()) {
            accents_.push_back(static_cast<std::byte>(value));
            accent_prefix_ = 1;
        } else {
            accents_.back() =
                static_cast<std::byte>(static_cast<unsigned>(accents_.back()) + value);
        }
    }
    // With its place among the bytes that the accents take, as the engine counts it.
    void AddHidden(std::uint64_t value, int bytes) {
        const std::size_t at =
            accents_.empty() ? position_
                             : accents_.size() + (position_ - accent_characters_) - accent_prefix_;
        AppendBig(kHiddenFlags | (kHiddenStart + kHiddenStep * at), 2, hidden_);
        hidden_.push_back(kHiddenMiddle);
        AppendBig(value, bytes, hidden_);
    }
    void AddKana(std::uint8_t flag) { kana_.push_back(flag); }
    std::size_t Position() const { return position_; }

    void Finish() {
        key_.push_back(kEndOfPart);
        while (!accents_.empty() && accents_.back() <= kNoAccent) {
            accents_.pop_back();
        }
        key_.insert(key_.end(), accents_.begin(), accents_.end());
        if (kana_.empty() && hidden_.empty()) {
            return;
        }
        key_.push_back(kEndOfPart);
        key_.push_back(kEndOfPart);
        if (!kana_.empty()) {
            FinishKana();
        }
        if (!hidden_.empty()) {
            if (!kana_.empty()) {
                key_.push_back(kKanaBeforeHidden);
            }
            key_.push_back(kEndOfPart);
            key_.insert(key_.end(), hidden_.begin(), hidden_.end());
        }
    }

private:
    // The list of accents reaches up to that character.
    void FillAccents(std::size_t position) {
        for (; accent_characters_ < position; ++accent_characters_) {
            accents_.push_back(kNoAccent);
        }
    }

    // Three marks a byte, the last ones left out as long as they are of the second kind.
    void FinishKana() {
        while (!kana_.empty() && kana_.back() == kSecondKana) {
            kana_.pop_back();
        }
        for (std::size_t i = 0; i < kana_.size(); i += kKanaFlagsPerByte) {
            unsigned packed = static_cast<unsigned>(kKanaBase);
            for (std::size_t j = i; j < std::min<std::size_t>(kana_.size(), i + kKanaFlagsPerByte);
                 ++j) {
                packed |= static_cast<unsigned>(kana_[j]) << (4 - 2 * (j - i));
            }
            key_.push_back(static_cast<std::byte>(packed));
        }
        kana_.assign(1, kSecondKana);  // still counts as there
        key_.insert(key_.end(), std::begin(kKanaTail), std::end(kKanaTail));
    }

    std::vector<std::byte>& key_;
    std::vector<std::byte> accents_;
    std::vector<std::byte> hidden_;
    std::vector<std::uint8_t> kana_;
    std::size_t position_ = 0;           // characters with inline bytes so far
    std::size_t accent_characters_ = 0;  // of them that accents_ covers
    std::size_t accent_prefix_ = 0;      // bytes of accents_ that stand for no character
};

const Collation* Collation::For(SortOrder order) {
    // No key is better than one in an order that isn't known: other programs wouldn't find the row.
    if (order.lcid != kEnglishLcid) {
        return nullptr;
    }
    if (order.version == kGeneralLegacyVersion) {
        static const Collation legacy(kGeneralLegacyWeights);
        return &legacy;
    }
    if (order.version == kGeneralVersion) {
        static const Collation general(kGeneralWeights);
        return &general;
    }
    return nullptr;
}

void Collation::AppendKey(std::u16string_view text,
                          bool ascending,
                          std::vector<std::byte>& key) const {
    text = text.substr(0, kMaxTextUnits);
    // Texts that differ in blanks at their end alone are equal to the engine.
    text = text.substr(0, text.find_last_not_of(u' ') + 1);
    const std::size_t start = key.size();
    CollationKey building(key);
    Weight scratch;
    for (const char16_t unit : text) {
        if (IsSurrogate(unit)) {
            building.AddInline(SurrogateWeight(unit), 2);
            building.AddAccent(
                building.Position() - 1, static_cast<std::uint64_t>(kSurrogateAccent), 1);
        } else {
            building.Add(weights_.Of(unit, scratch));
        }
    }
    building.Finish();
    if (!ascending) {
        // The end is inverted with the text, and another one follows that isn't.
        key.push_back(kEndOfText);
        for (std::size_t i = start; i < key.size(); ++i) {
            key[i] = ~key[i];
        }
    }
    key.push_back(kEndOfText);
}

}  // namespace vantry::access
