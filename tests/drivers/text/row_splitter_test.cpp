#include "text_format/row_splitter.h"

#include "data/utf.h"
#include "drivers/text/row_counter.h"
#include "text_format/byte_masks.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::text {
namespace {

using namespace std::string_view_literals;

// The text with the padding that a window has.
class Padded {
public:
    explicit Padded(std::string_view text) : bytes_(text) { bytes_.append(kWindowPadding, ','); }
    const char* Data() const { return bytes_.data(); }

private:
    std::string bytes_;
};

struct Found {
    std::vector<std::size_t> begins;
    // Rows as "a|b", fields that were qualified in angle brackets, with "*" for doubled qualifiers,
    // "~" for characters behind the closing one; "!" for a field that isn't closed, "?" for values
    // that weren't stored; row ends as ";".
    std::string shown;
};

// With `random`, windows and batches end anywhere, and a window that holds no row is followed by a
// longer one; without, all is one window.
Found FindRows(const SplitRules& rules,
               std::string_view text,
               std::size_t max_fields,
               std::size_t batch_bytes,
               std::mt19937* random = nullptr) {
    const RowSplitter splitter(rules, max_fields);
    Found found;
    RowBatch batch;
    std::size_t done = 0;
    std::size_t window_size = random == nullptr ? text.size() : 1;
    while (done < text.size()) {
        const std::string_view rest = text.substr(done, window_size);
        const bool final = done + rest.size() == text.size();
        const Padded window(rest);
        const std::size_t taken =
            splitter.Split(window.Data(),
                           rest.size(),
                           final,
                           random == nullptr ? batch_bytes : 1 + (*random)() % batch_bytes,
                           batch);
        for (const RowSpan& row : batch.rows) {
            found.begins.push_back(done + row.begin);
            for (std::size_t k = 0; k < std::min<std::size_t>(row.field_count, max_fields); ++k) {
                const FieldSpan field = batch.fields[row.first_field + k];
                const std::string bytes(rest.substr(field.Begin(), field.End() - field.Begin()));
                found.shown += k > 0 ? "|" : "";
                found.shown += field.IsQualified() ? "<" + bytes + ">" : bytes;
                found.shown += field.HasTail() ? "~" : field.HasQualifiers() ? "*" : "";
            }
            found.shown += row.unclosed ? "!" : "";
            found.shown += row.surplus ? "?" : "";
            found.shown += row.field_count > max_fields
                               ? "+" + std::to_string(row.field_count - max_fields) + ";"
                               : ";";
        }
        done += taken;
        if (random != nullptr) {
            window_size = taken == 0 ? window_size * 2 : 1 + (*random)() % 300;
        } else if (taken == 0) {
            ADD_FAILURE() << "no row in " << rest;
            break;
        }
    }
    return found;
}

std::string SplitAll(const SplitRules& rules, std::string_view text, std::size_t batch_bytes) {
    return FindRows(rules, text, 8, batch_bytes).shown;
}

struct Case {
    std::string_view text;
    std::string_view rows;
};

constexpr Case kDelimited[] = {
    {"a,b\r\nc,d\r\n", "a|b;c|d;"},
    {"a\rb\rc", "a;b;c;"},
    {"a\r\n\r\n\n\nb\r\n\r\n", "a;b;"},
    {"a,", "a|;"},
    {" \n", " ;"},
    {"\"a,b\",c\n", "<a,b>|c;"},
    {"\"a\r\nb\",c\n", "<a\r\nb>|c;"},
    {"\"a\"\"b\",c\n", "<a\"\"b>*|c;"},
    {"\"\"\n\"\"\"\"\n", "<>;<\"\">*;"},
    {"\"a\" more,\"b\"x\"\n", "<a\" more>~|<b\"x\">~;"},
    {"\"a\"\" b\"\"\"c\r\n\"\"d\n", "<a\"\" b\"\"\"c>~;<\"d>~;"},
    {" \"a,b\"\n", " \"a|b\";"},
    {"5\" pipe,6\"\n7,8\n", "5\" pipe|6\";7|8;"},
    {"a,\"never closed\nb,c", "a|<never closed\nb,c>!;"},
    {"\"", "<>!;"},
    {"\"a\"\"\n", "<a\"\"\n>*!;"},
    {"1,2,3,4,5,6,7,8,9,10\nx\n", "1|2|3|4|5|6|7|8?+2;x;"},
    {"1,2,3,4,5,6,7,8, ,\"\",\nx\n", "1|2|3|4|5|6|7|8+3;x;"},
};

// The fast way looks at 64 bytes at a time: the same rows must come out wherever they lie.
TEST(RowSplitter, FindsFieldsQualifiersAndLineBreaksAtEveryDistanceFromTheBlocks) {
    SplitRules other;  // the byte-by-byte way
    other.delimiter = "\xC2\xA7";
    const auto replaced = [&](std::string_view text) {
        return std::regex_replace(std::string(text), std::regex(","), other.delimiter);
    };
    for (const Case& test : kDelimited) {
        for (const std::size_t batch : {1U, 3U, 1000U}) {
            EXPECT_EQ(SplitAll({}, test.text, batch), test.rows) << test.text;
            EXPECT_EQ(SplitAll(other, replaced(test.text), batch), replaced(test.rows));
        }
        for (std::size_t shift = 1; shift < 70; ++shift) {
            const std::string before(shift, 'x');
            EXPECT_EQ(SplitAll({}, before + "\n" + std::string(test.text), 1U << 20),
                      before + ";" + std::string(test.rows));
        }
    }
}

std::string RandomText(std::mt19937& random, std::size_t length) {
    constexpr std::string_view kLetters = "aaaaaaaab,,\"\"\n\r\xC3";
    std::string text;
    for (std::size_t k = 0; k < length; ++k) {
        text += kLetters[random() % kLetters.size()];
    }
    return text;
}

TEST(RowSplitter, AllWaysAgreeOnRandomText) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = RandomText(random, random() % 400);
        SplitRules careful;
        careful.bytes = ByteForm::DoubleByte;
        careful.delimiter = "b";  // looks like a second byte
        SplitRules fast_b;
        fast_b.delimiter = "b";
        std::string no_pairs = text;
        std::erase(no_pairs, '\xC3');
        const Found by_bytes = FindRows(careful, no_pairs, 500, 100, &random);
        const Found by_masks = FindRows(fast_b, no_pairs, 500, 100, &random);
        EXPECT_EQ(by_bytes.begins, by_masks.begins) << no_pairs;
        EXPECT_EQ(by_bytes.shown, by_masks.shown) << no_pairs;
        SplitRules records;
        records.layout = SplitRules::Layout::TrueFixedLength;
        records.bytes = ByteForm::Utf8;
        records.widths = {2, 3};
        EXPECT_EQ(FindRows(records, text, 500, 100, &random).shown,
                  FindRows(records, text, 500, text.size()).shown)
            << text;
    }
}

TEST(ByteMasks, PlainUtf8IsWellFormedAndOfShortCharacters) {
    std::mt19937 random(5);
    constexpr std::string_view kPieces[] = {
        "abcdefgh", "i", "é", "Ω", "\xC3", "\xA9", "\x08", "\xC1\x80", "東", "\xE0"};
    int plain = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (auto pieces = random() % 12; pieces > 0; --pieces) {
            // Mostly what is well-formed, or nothing long ever were.
            text += kPieces[random() % (random() % 8 == 0 ? std::size(kPieces) : 4)];
        }
        bool expected = IsValidUtf8(text);
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            expected = expected && byte >= 9 && byte < 0xE0;
        }
        plain += expected ? 1 : 0;
        EXPECT_EQ(IsPlainUtf8({Padded(text).Data(), text.size()}), expected) << text;
    }
    EXPECT_GT(plain, 5000);
    EXPECT_LT(plain, 15'000);
}

// Fields whose qualifiers stand as they should, now and then one that doesn't.
std::string OrderlyText(std::mt19937& random, std::size_t fields) {
    constexpr std::string_view kEnds = ",,,\n\r";
    constexpr std::string_view kInside = "aaaaaaaaaaaab,\n\r";
    std::string text;
    for (std::size_t k = 0; k < fields; ++k) {
        const bool qualified = random() % 3 == 0;
        text += qualified ? "\"" : "";
        for (auto length = random() % 40; length > 0; --length) {
            text += qualified ? kInside[random() % kInside.size()] : 'a';
            text += qualified && random() % 20 == 0 ? "\"\"" : "";
        }
        text += qualified ? "\"" : "";
        text += random() % 60 == 0 ? "\"x" : "";
        text += kEnds[random() % kEnds.size()];
        text += random() % 8 == 0 ? "\r\n" : "";
    }
    return text;
}

std::int64_t CountRows(const SplitRules& rules, std::string_view text, std::mt19937& random) {
    RowCounter counter(rules);
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, 1 + random() % 300);
        const Padded window(piece);
        counter.Add({window.Data(), piece.size()});
        text.remove_prefix(piece.size());
    }
    return counter.Rows();
}

TEST(RowCounter, CountsTheRowsThatTheSplitterFinds) {
    std::mt19937 random(11);
    SplitRules bare;
    bare.qualifier.clear();
    SplitRules lines;
    lines.layout = SplitRules::Layout::RaggedEdge;
    lines.widths = {3};
    for (int round = 0; round < 6000; ++round) {
        std::string text = round % 2 == 0 ? OrderlyText(random, random() % 40)
                                          : RandomText(random, random() % 400);
        text.resize(text.size() - std::min<std::size_t>(text.size(), random() % 3));
        for (const SplitRules& rules : {SplitRules(), bare, lines}) {
            ASSERT_TRUE(RowCounter::CanCount(rules));
            EXPECT_EQ(
                CountRows(rules, text, random),
                static_cast<std::int64_t>(FindRows(rules, text, 500, 100, &random).begins.size()))
                << text;
        }
    }
    SplitRules pairs;
    pairs.bytes = ByteForm::ShiftJis;
    pairs.delimiter = "|";
    EXPECT_FALSE(RowCounter::CanCount(pairs));
}

}  // namespace
}  // namespace vantry::text
