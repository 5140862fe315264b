#include "plain_loop.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::bench {
namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10;

struct Descriptor {
    int number;
    ~Descriptor() { close(number); }
};

void WriteAll(int file, const char* bytes, std::size_t size) {
    while (size > 0) {
        const auto written = write(file, bytes, size);
        if (written <= 0) {
            throw std::runtime_error("the floor's target can't be written");
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

// Takes the bytes of a CSV file in pieces and puts out lines; a row's fields are known when its end
// is seen.
class PlainParser {
public:
    void Take(std::string_view bytes, std::string& lines) {
        for (const char byte : bytes) {
            if (in_quotes_) {
                if (byte == '"') {
                    in_quotes_ = false;
                    after_quote_ = true;
                } else {
                    row_.push_back(byte);
                }
            } else if (byte == '"') {
                in_quotes_ = true;
                if (after_quote_) {
                    row_.push_back('"');  // two of them stand for one
                }
                quoted_ = true;
                after_quote_ = false;
            } else if (byte == ',') {
                EndField();
            } else if (byte == '\n') {
                EndField();
                EndRow(lines);
            } else if (byte != '\r') {
                row_.push_back(byte);
            }
        }
    }

private:
    struct Field {
        std::size_t end;
        bool quoted;
    };
    void EndField() {
        fields_.push_back({row_.size(), quoted_});
        quoted_ = after_quote_ = false;
    }
    void EndRow(std::string& lines) {
        std::size_t begin = 0;
        for (std::size_t k = 0; k < fields_.size(); ++k) {
            const Field& field = fields_[k];
            if (k > 0) {
                lines.push_back('\t');
            }
            if (field.quoted) {
                lines.push_back('"');
            }
            lines.append(row_, begin, field.end - begin);
            if (field.quoted) {
                lines.push_back('"');
            }
            begin = field.end;
        }
        lines.append("\r\n");
        fields_.clear();
        row_.clear();
    }

    std::string row_;  // the fields' texts, one behind the other
    std::vector<Field> fields_;
    bool in_quotes_ = false;
    bool after_quote_ = false;
    bool quoted_ = false;
};

}  // namespace

void CopyPlainly(const std::filesystem::path& from, const std::filesystem::path& to) {
    const Descriptor source{open(from.c_str(), O_RDONLY | O_CLOEXEC)};
    const Descriptor target{open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)};
    const auto block = std::make_unique_for_overwrite<char[]>(kBlock);
    std::string lines;
    PlainParser parser;
    for (;;) {
        const auto size = read(source.number, block.get(), kBlock);
        if (size < 0) {
            throw std::runtime_error("the floor's source can't be read");
        }
        if (size == 0) {
            return;
        }
        parser.Take({block.get(), static_cast<std::size_t>(size)}, lines);
        WriteAll(target.number, lines.data(), lines.size());
        lines.clear();
    }
}

}  // namespace vantry::bench
