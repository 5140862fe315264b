#include "arrival_check.h"

#include "orders_data.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace vantry::bench {
namespace {

// Reads the fields of one record into `fields`; false at the end of the file.
class RecordReader {
public:
    RecordReader(const std::filesystem::path& path, const ArrivedForm& form)
        : file_(path, std::ios::binary), form_(form) {
        if (!file_) {
            throw std::runtime_error("there is no file " + path.string());
        }
    }

    bool Next(std::array<std::string_view, kColumns>& fields) {
        if (!std::getline(file_, line_)) {
            return false;
        }
        if (line_.ends_with('\r')) {
            line_.pop_back();
        }
        unquoted_.clear();
        unquoted_.reserve(line_.size());
        std::string_view rest = line_;
        for (int k = 0; k < kColumns; ++k) {
            const std::size_t end = FieldEnd(rest);
            const bool last = end == rest.size();
            if (last != (k == kColumns - 1) || (!last && rest[end] != form_.delimiter)) {
                throw std::runtime_error("a record without eight fields: " + line_);
            }
            fields[static_cast<std::size_t>(k)] = Plain(rest.substr(0, end));
            rest.remove_prefix(last ? end : end + 1);
        }
        return true;
    }

private:
    bool Qualified(std::string_view text) const {
        return form_.qualifier != '\0' && !text.empty() && text.front() == form_.qualifier;
    }

    std::size_t FieldEnd(std::string_view rest) const {
        if (!form_.doubled || !Qualified(rest)) {
            return std::min(rest.find(form_.delimiter), rest.size());
        }
        std::size_t at = 1;
        for (; at < rest.size(); ++at) {
            if (rest[at] == form_.qualifier) {
                if (at + 1 >= rest.size() || rest[at + 1] != form_.qualifier) {
                    return at + 1;
                }
                ++at;
            }
        }
        return at;
    }

    std::string_view Plain(std::string_view field) {
        if (!Qualified(field)) {
            return field;
        }
        if (field.size() < 2 || field.back() != form_.qualifier) {
            throw std::runtime_error("an unclosed field: " + line_);
        }
        field = field.substr(1, field.size() - 2);
        if (!form_.doubled) {
            return field;
        }
        const std::size_t start = unquoted_.size();
        for (std::size_t i = 0; i < field.size(); ++i) {
            unquoted_ += field[i];
            i += field[i] == form_.qualifier ? 1U : 0U;
        }
        return std::string_view(unquoted_).substr(start);
    }

    std::ifstream file_;
    const ArrivedForm& form_;
    std::string line_;
    std::string unquoted_;
};

bool SameMoney(std::string_view text, std::int64_t cents) {
    double value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    // A column of binary fractions is exported with all its digits, or with one too few.
    constexpr double kLastDigit = 1e-5;
    return read.ec == std::errc() && read.ptr == text.data() + text.size() &&
           std::abs(value * 100 - static_cast<double>(cents)) < kLastDigit;
}

bool SameMoment(std::string_view text, const Order& order) {
    std::array<char, 80> expected;
    std::snprintf(expected.data(),
                  expected.size(),
                  "%04d-%02d-%02d %02d:%02d:%02d",
                  order.year,
                  order.month,
                  order.day,
                  order.hour,
                  order.minute,
                  order.second);
    const std::string_view whole(expected.data(), 19);
    // At midnight the day may stand alone.
    return text == whole || (whole.ends_with(" 00:00:00") && text == whole.substr(0, 10));
}

bool SameBoolean(std::string_view text, bool value) {
    return value ? text == "1" || text == "True" || text == "-1" : text == "0" || text == "False";
}

// The column that differs, or -1.
int Difference(const std::array<std::string_view, kColumns>& fields,
               const Order& order,
               const std::string& null_text) {
    const std::array<bool, kColumns> same = {
        fields[0] == std::to_string(order.id),
        fields[1] == order.customer,
        fields[2] == order.city,
        SameMoney(fields[3], order.cents),
        fields[4] == std::to_string(order.qty),
        SameMoment(fields[5], order),
        SameBoolean(fields[6], order.shipped),
        fields[7] == (order.note ? std::string_view(*order.note) : std::string_view(null_text))};
    for (int k = 0; k < kColumns; ++k) {
        if (!same[static_cast<std::size_t>(k)]) {
            return k;
        }
    }
    return -1;
}

// The row that the text names, if it hasn't arrived before.
std::int64_t NewIdOf(std::string_view text, std::vector<bool>& seen) {
    std::size_t id = 0;
    std::from_chars(text.data(), text.data() + text.size(), id);
    if (id == 0 || id >= seen.size() || seen[id]) {
        throw std::runtime_error("a row arrived twice or from nowhere: \"" + std::string(text) +
                                 "\"");
    }
    seen[id] = true;
    return static_cast<std::int64_t>(id);
}

}  // namespace

void CheckArrived(const std::filesystem::path& path, std::int64_t rows, const ArrivedForm& form) {
    RecordReader reader(path, form);
    std::array<std::string_view, kColumns> fields;
    if (form.heading && !reader.Next(fields)) {
        throw std::runtime_error("nothing arrived");
    }
    Order order;
    std::int64_t arrived = 0;
    std::vector<bool> seen(static_cast<std::size_t>(form.in_order ? 0 : rows + 1));
    while (reader.Next(fields)) {
        ++arrived;
        const std::int64_t id = form.in_order ? arrived : NewIdOf(fields[0], seen);
        MakeOrder(id, order);
        const int column = Difference(fields, order, form.null_text);
        if (column >= 0) {
            throw std::runtime_error("row " + std::to_string(arrived) + ", column " +
                                     std::to_string(column + 1) + " differs: \"" +
                                     std::string(fields[static_cast<std::size_t>(column)]) +
                                     "\" arrived for row " + std::to_string(id));
        }
    }
    if (arrived != rows) {
        throw std::runtime_error(std::to_string(arrived) + " rows of " + std::to_string(rows) +
                                 " arrived");
    }
}

void CheckLineCount(const std::filesystem::path& path, std::int64_t rows) {
    std::ifstream file(path, std::ios::binary);
    std::vector<char> block(1 << 20);
    std::int64_t lines = 0;
    do {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        lines += std::count(block.begin(), block.begin() + file.gcount(), '\n');
    } while (file);
    if (lines < rows) {
        throw std::runtime_error("the peer wrote " + std::to_string(lines) + " lines for " +
                                 std::to_string(rows) + " rows");
    }
}

void CheckDbfCount(const std::filesystem::path& path, std::int64_t rows) {
    std::array<unsigned char, 8> start{};
    std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(start.data()), start.size());
    const std::int64_t counted =
        start[4] + (start[5] << 8) + (start[6] << 16) + (std::int64_t{start[7]} << 24);
    if (counted != rows) {
        throw std::runtime_error("the peer wrote " + std::to_string(counted) + " records for " +
                                 std::to_string(rows) + " rows");
    }
}

}  // namespace vantry::bench
