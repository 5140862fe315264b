#include "orders_data.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace vantry::bench {
namespace {

constexpr std::array<std::string_view, 16> kFirstNames = {"Anna",
                                                          "Björn",
                                                          "Chloé",
                                                          "Dagmar",
                                                          "Erik",
                                                          "Fátima",
                                                          "Giorgos",
                                                          "Hana",
                                                          "Inès",
                                                          "João",
                                                          "Karin",
                                                          "Łukasz",
                                                          "Márta",
                                                          "Nils",
                                                          "Olga",
                                                          "Zoë"};
constexpr std::array<std::string_view, 12> kLastNames = {"Andersson",
                                                         "O'Brien",
                                                         "García",
                                                         "Müller",
                                                         "Nowak",
                                                         "Smith-Jones",
                                                         "Rossi",
                                                         "Dvořák",
                                                         "Petrov",
                                                         "D'Angelo",
                                                         "van der Berg",
                                                         "Yılmaz"};
constexpr std::array<std::string_view, 16> kCities = {"München",
                                                      "Zürich",
                                                      "São Paulo",
                                                      "Kraków",
                                                      "Reykjavík",
                                                      "Århus",
                                                      "Besançon",
                                                      "Málaga",
                                                      "Łódź",
                                                      "Göteborg",
                                                      "Saint-Étienne",
                                                      "New York",
                                                      "Oslo",
                                                      "Plzeň",
                                                      "Cádiz",
                                                      "London"};
constexpr std::array<std::string_view, 10> kNotes = {
    "leave at the door",
    "call before noon, then ring twice",
    "gift: \"Happy birthday\", no invoice",
    "fragile, keep upright, don't stack",
    "second attempt; customer wasn't in",
    "paid in advance, see order",
    "deliver to \"Back entrance\", floor 3, ask for the caretaker",
    "urgent",
    "price as agreed, 3 % discount, incl. VAT, freight prepaid",
    "wrap separately, label: \"A\", \"B\" and \"C\""};

// Words with letters that aren't in the code page 1252, and what stands for them there.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kOutside1252 = {{
    {"Łukasz", "Lukás"},
    {"Dvořák", "Dvórak"},
    {"Yılmaz", "Yilmaz"},
    {"Łódź", "Lódz"},
    {"Plzeň", "Plzén"},
}};
Letters LettersInUse = Letters::All;
Notes NotesInUse = Notes::All;

std::string_view InLetters(std::string_view word) {
    if (LettersInUse == Letters::Windows1252) {
        for (const auto& [all, fewer] : kOutside1252) {
            if (word == all) {
                return fewer;
            }
        }
    }
    return word;
}

// Numbers that look random and depend on the row alone.
class RowNumbers {
public:
    explicit RowNumbers(std::int64_t id) : state_(static_cast<std::uint64_t>(id)) {}
    std::uint64_t Below(std::uint64_t limit) {
        state_ += 0x9E3779B97F4A7C15ULL;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return ((z ^ (z >> 31)) >> 11) % limit;
    }

private:
    std::uint64_t state_;
};

template <std::size_t n>
std::string_view Pick(RowNumbers& numbers, const std::array<std::string_view, n>& words) {
    return InLetters(words[numbers.Below(n)]);
}

// Gathers text and writes it in large pieces.
class OutFile {
public:
    explicit OutFile(const std::filesystem::path& path)
        : path_(path), file_(path, std::ios::binary) {}
    std::string& Text() { return text_; }
    void Pass() {
        if (text_.size() > kPiece) {
            Flush();
        }
    }
    void Close() {
        Flush();
        file_.close();
        if (!file_) {
            throw std::runtime_error("can't write " + path_.string());
        }
    }

private:
    static constexpr std::size_t kPiece = 1 << 20;
    void Flush() {
        file_.write(text_.data(), static_cast<std::streamsize>(text_.size()));
        text_.clear();
    }
    std::filesystem::path path_;
    std::ofstream file_;
    std::string text_;
};

template <typename... Values>
void AppendFormat(std::string& out, const char* format, Values... values) {
    std::array<char, 96> buffer;
    const int length = std::snprintf(buffer.data(), buffer.size(), format, values...);
    out.append(buffer.data(), static_cast<std::size_t>(length));
}

void AppendQuoted(std::string_view text, char quote, std::string& out) {
    out += quote;
    for (const char c : text) {
        out.append(c == quote ? 2 : 1, c);
    }
    out += quote;
}

void AppendMoney(const Order& order, std::string& out) {
    AppendFormat(out,
                 "%lld.%02d",
                 static_cast<long long>(order.cents / 100),
                 static_cast<int>(order.cents % 100));
}

void AppendCsvRow(const Order& order, std::string& out) {
    out += std::to_string(order.id) + ',';
    AppendQuoted(order.customer, '"', out);
    out += ',';
    AppendQuoted(order.city, '"', out);
    out += ',';
    AppendMoney(order, out);
    AppendFormat(out,
                 ",%d,%04d-%02d-%02d %02d:%02d:%02d,%d,",
                 order.qty,
                 order.year,
                 order.month,
                 order.day,
                 order.hour,
                 order.minute,
                 order.second,
                 order.shipped ? 1 : 0);
    if (order.note) {
        AppendQuoted(*order.note, '"', out);
    }
    out += "\r\n";
}

void AppendSqlRow(const Order& order, NullNote null_note, std::string& out) {
    out += '(' + std::to_string(order.id) + ',';
    AppendQuoted(order.customer, '\'', out);
    out += ',';
    AppendQuoted(order.city, '\'', out);
    out += ',';
    AppendMoney(order, out);
    AppendFormat(out,
                 ",%d,'%04d-%02d-%02d-%02d-%02d-%02d',%d,",
                 order.qty,
                 order.year,
                 order.month,
                 order.day,
                 order.hour,
                 order.minute,
                 order.second,
                 order.shipped ? 1 : 0);
    if (order.note) {
        AppendQuoted(*order.note, '\'', out);
    } else {
        out += null_note == NullNote::Null ? "NULL" : "''";
    }
    out += ')';
}

}  // namespace

void UseLetters(Letters letters) {
    LettersInUse = letters;
}

void UseNotes(Notes notes) {
    NotesInUse = notes;
}

void MakeOrder(std::int64_t id, Order& order) {
    RowNumbers numbers(id);
    order.id = id;
    order.customer = Pick(numbers, kFirstNames);
    order.customer.append(1, ' ').append(Pick(numbers, kLastNames));
    AppendFormat(order.customer, " %llu", static_cast<unsigned long long>(numbers.Below(100000)));
    order.city = Pick(numbers, kCities);
    order.cents = static_cast<std::int64_t>(numbers.Below(1'000'000)) + 1;
    if (numbers.Below(1000) == 0) {
        order.cents = 9'999'999'999 - order.cents;  // the column's upper end
    }
    order.qty = static_cast<int>(numbers.Below(2000)) - 100;
    order.year = 1995 + static_cast<int>(numbers.Below(30));
    order.month = 1 + static_cast<int>(numbers.Below(12));
    order.day = 1 + static_cast<int>(numbers.Below(28));
    const auto of_day = static_cast<int>(numbers.Below(20) == 0 ? 0 : numbers.Below(86400));
    order.hour = of_day / 3600;
    order.minute = of_day / 60 % 60;
    order.second = of_day % 60;
    order.shipped = numbers.Below(2) == 1;
    if (numbers.Below(10) == 0 && NotesInUse == Notes::All) {
        order.note.reset();
        return;
    }
    if (!order.note) {
        order.note.emplace();
    }
    order.note->assign(Pick(numbers, kNotes));
    if (NotesInUse == Notes::Kept) {
        std::replace(order.note->begin(), order.note->end(), '"', '*');
    }
    AppendFormat(*order.note, " #%llu", static_cast<unsigned long long>(numbers.Below(1000)));
}

void WriteCsv(const std::filesystem::path& path, std::int64_t rows) {
    OutFile file(path);
    file.Text().append(kColumnNames).append("\r\n");
    Order order;
    for (std::int64_t id = 1; id <= rows; ++id) {
        MakeOrder(id, order);
        AppendCsvRow(order, file.Text());
        file.Pass();
    }
    file.Close();
}

void WriteInserts(const std::filesystem::path& path,
                  std::int64_t rows,
                  std::int64_t rows_each,
                  NullNote null_note) {
    OutFile file(path);
    Order order;
    for (std::int64_t id = 1; id <= rows; ++id) {
        if (id % rows_each == 1 || rows_each == 1) {
            file.Text() +=
                "INSERT INTO `orders` ( `id`, `customer`, `city`, `price`, `qty`, `ordered`, "
                "`shipped`, `note`) VALUES ";
        }
        MakeOrder(id, order);
        AppendSqlRow(order, null_note, file.Text());
        file.Text() += id % rows_each == 0 || id == rows ? ";\n" : ",";
        file.Pass();
    }
    file.Close();
}

}  // namespace vantry::bench
