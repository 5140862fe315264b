// The weights stand in collation_data.cpp as entries with a blank behind each:
//
//   [@first] [+n] [^] kind inline-bytes [.extra-bytes]       all numbers hexadecimal
//
// for the characters first to first + n; without @ the entry goes on behind the former one. Kinds:
// p plain, a accent, h hidden, m modifier, k and j kana, i ignored. With ^ the inline value grows
// by one with each character.

#include "drivers/access/indexes/collation.h"

#include <algorithm>
#include <cctype>

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

std::uint64_t TakeHex(const char*& at, std::uint8_t* bytes = nullptr) {
    std::uint64_t value = 0;
    const char* const start = at;
    for (; std::isdigit(static_cast<unsigned char>(*at)) || (*at >= 'A' && *at <= 'F'); ++at) {
        value = value << 4 | static_cast<std::uint64_t>(*at <= '9' ? *at - '0' : *at - 'A' + 10);
    }
    if (bytes != nullptr) {
        *bytes = static_cast<std::uint8_t>((at - start) / 2);
    }
    return value;
}

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

    void AddInline(std::uint64_t value, int bytes) {
        AppendBig(value, bytes, key_);
        ++position_;
    }
    // The accent of the character at `position`.
    void AddAccent(std::size_t position, std::uint64_t value, int bytes) {
        while (accent_characters_ < position) {
            accents_.push_back(kNoAccent);
            ++accent_characters_;
        }
        AppendBig(value, bytes, accents_);
        ++accent_characters_;
    }
    void AddModifier(std::uint64_t value) {
        if (accents_.empty()) {
            accents_.push_back(static_cast<std::byte>(value));
            accent_prefix_ = 1;
        } else {
            accents_.back() =
                static_cast<std::byte>(static_cast<unsigned>(accents_.back()) + value);
        }
    }
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
    void FinishKana() {
        while (!kana_.empty() && kana_.back() == 3) {
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
        kana_.assign(1, 3);  // still counts as there
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

Collation::Collation(const char* weights) {
    char32_t next = 0;
    for (const char* at = weights; *at != '\0'; ++at) {
        Weight weight;
        if (*at == '@') {
            next = static_cast<char32_t>(TakeHex(++at));
        }
        weight.first = static_cast<char16_t>(next);
        if (*at == '+') {
            next += static_cast<char32_t>(TakeHex(++at));
        }
        weight.last = static_cast<char16_t>(next++);
        weight.step = *at == '^';
        at += weight.step ? 1 : 0;
        switch (*at++) {
            case 'p':
                weight.kind = Kind::Plain;
                break;
            case 'a':
                weight.kind = Kind::Accent;
                break;
            case 'h':
                weight.kind = Kind::Hidden;
                break;
            case 'm':
                weight.kind = Kind::Modifier;
                break;
            case 'k':
                weight.kind = Kind::Kana1;
                break;
            case 'j':
                weight.kind = Kind::Kana2;
                break;
            default:
                weight.kind = Kind::Ignored;
                break;
        }
        weight.inline_value = TakeHex(at, &weight.inline_size);
        if (*at == '.') {
            weight.extra = static_cast<std::uint16_t>(TakeHex(++at, &weight.extra_size));
        }
        weights_.push_back(weight);
    }
    for (const auto& weight : weights_) {
        for (unsigned unit = weight.first; unit <= weight.last && unit < kDirect; ++unit) {
            direct_[unit] = &weight;
        }
    }
}

const Collation::Weight* Collation::Find(char16_t unit) const {
    if (unit < kDirect) {
        return direct_[unit];
    }
    const auto found = std::lower_bound(
        weights_.begin(), weights_.end(), unit, [](const Weight& weight, char16_t wanted) {
            return weight.last < wanted;
        });
    return found != weights_.end() && found->first <= unit ? &*found : nullptr;
}

bool Collation::AppendKey(std::u16string_view text,
                          bool ascending,
                          std::vector<std::byte>& key) const {
    text = text.substr(0, kMaxTextUnits);
    text = text.substr(0, text.find_last_not_of(u' ') + 1);
    const std::size_t start = key.size();
    CollationKey building(key);
    for (const char16_t unit : text) {
        if (IsSurrogate(unit)) {
            building.AddInline(SurrogateWeight(unit), 2);
            building.AddAccent(
                building.Position() - 1, static_cast<std::uint64_t>(kSurrogateAccent), 1);
            continue;
        }
        const Weight* weight = Find(unit);
        if (weight == nullptr) {
            key.resize(start);
            return false;
        }
        const std::size_t position = building.Position();
        if (weight->inline_size > 0) {
            building.AddInline(
                weight->inline_value +
                    (weight->step ? static_cast<std::uint64_t>(unit - weight->first) : 0),
                weight->inline_size);
        }
        if (weight->kind == Kind::Hidden) {
            building.AddHidden(weight->extra, weight->extra_size);
        } else if (weight->kind == Kind::Modifier) {
            building.AddModifier(weight->extra);
        } else if (weight->extra_size > 0) {
            building.AddAccent(position, weight->extra, weight->extra_size);
        }
        if (weight->kind == Kind::Kana1 || weight->kind == Kind::Kana2) {
            building.AddKana(weight->kind == Kind::Kana1 ? 2 : 3);
        }
    }
    building.Finish();
    if (!ascending) {
        key.push_back(kEndOfText);
        for (std::size_t i = start; i < key.size(); ++i) {
            key[i] = ~key[i];
        }
    }
    key.push_back(kEndOfText);
    return true;
}

}  // namespace vantry::access
