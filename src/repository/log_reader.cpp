// A log may have 500 MB, no line ends, or any bytes at all; only the piece that is looked at is
// read. Lines end at a line feed; a file without any is cut into lines at fixed places, so that a
// piece reads the same whether it is come to from above or from below: at each multiple of kBlock
// before which a whole block has no line feed.
// Easy to get wrong: the encoding. The runner writes UTF-8, but the words of servers and the names
// in a log that another program made may be anything. A byte order mark decides for UTF-16;
// elsewhere what is well-formed UTF-8 is taken as such, and each other byte by itself as Western.
#include "repository/log_reader.h"

#include "data/code_page.h"
#include "data/data_error.h"
#include "data/utf.h"

#include <sys/stat.h>

#include <algorithm>

namespace vantry {
namespace {

constexpr std::uint64_t kHead = 256;

// What bytes that are no UTF-8 are taken for; filled once.
const std::string& WesternLetter(unsigned char byte) {
    static const auto letters = [] {
        std::vector<std::string> all(256);
        const CodePage western(1252);
        for (int i = 0; i < 256; ++i) {
            const char one = static_cast<char>(i);
            western.AppendUtf8({&one, 1}, all[static_cast<std::size_t>(i)]);
        }
        return all;
    }();
    return letters[byte];
}

// A length of a well-formed sequence at `at`, or 0.
std::size_t SequenceAt(std::string_view bytes, std::size_t at) {
    std::size_t next = at;
    const char32_t point = NextCodePoint(bytes, next);
    return point == U'\uFFFD' && next - at != 3 ? 0 : next - at;
}

// A control character can't be seen and may steer the text control; its picture can be seen.
void AppendShown(char32_t point, std::string& out) {
    constexpr char32_t kPictures = 0x2400;
    AppendUtf8(point < 0x20 && point != '\t' ? kPictures + point : point, out);
}

}  // namespace

LogReader::LogReader(std::string path) : path_(std::move(path)) {
    struct stat state {};
    // A pipe would be waited for.
    if (::stat(path_.c_str(), &state) == 0 && !S_ISREG(state.st_mode)) {
        throw DataError(kErrUnspecified, "\"" + path_ + "\" is no file.");
    }
    Open();
}

void LogReader::Open() {
    file_ = file::File::Open(path_, file::OpenMode::Read);
    stamp_ = file_.Stamp();
    coding_ = Coding::Bytes;
    first_ = 0;
    head_ = BytesAt(0, kHead);
    const std::string mark = BytesAt(0, 3);
    if (mark.starts_with("\xFF\xFE")) {
        coding_ = Coding::Utf16Little;
        first_ = 2;
    } else if (mark.starts_with("\xFE\xFF")) {
        coding_ = Coding::Utf16Big;
        first_ = 2;
    } else if (mark.starts_with("\xEF\xBB\xBF")) {
        first_ = 3;
    }
}

std::string LogReader::BytesAt(std::uint64_t begin, std::uint64_t end) const {
    end = std::min(end, stamp_.size);
    std::string bytes(begin < end ? end - begin : 0, '\0');
    // Fewer where the file has been cut since the last look.
    bytes.resize(file_.Read(begin, std::as_writable_bytes(std::span(bytes))));
    return bytes;
}

std::size_t LogReader::LastBreak(const std::string& bytes, std::size_t from, std::size_t to) const {
    for (std::size_t at = to; at-- > from;) {
        if (bytes[at] != '\n') {
            continue;
        }
        if (coding_ == Coding::Bytes) {
            return at;
        }
        // The other half of the unit; units begin at even places.
        const bool little = coding_ == Coding::Utf16Little;
        if (little && at % 2 == 0 && at + 1 < bytes.size() && bytes[at + 1] == '\0') {
            return at;
        }
        if (!little && at % 2 == 1 && bytes[at - 1] == '\0') {
            return at - 1;
        }
    }
    return bytes.npos;
}

std::uint64_t LogReader::LineStart(std::uint64_t offset) const {
    offset = std::clamp(offset, first_, std::max(first_, stamp_.size));
    const std::uint64_t block = offset / kBlock * kBlock;
    const std::uint64_t from = block - std::min(block, kBlock);
    const std::string bytes = BytesAt(from, offset);
    const std::size_t own = std::min<std::size_t>(block - from, bytes.size());
    auto found = LastBreak(bytes, own, bytes.size());
    if (found == bytes.npos && block > 0) {
        found = LastBreak(bytes, 0, own);
        if (found == bytes.npos) {
            return std::max(block, first_);
        }
    }
    return found == bytes.npos ? first_ : from + found + Unit();
}

LogReader::Piece LogReader::Read(std::uint64_t begin, std::size_t bytes_wanted) const {
    begin = std::max(begin, first_);
    Piece piece{begin, begin, {}};
    // One more block: the line that the last byte falls into comes whole.
    const std::string bytes = BytesAt(begin, begin + bytes_wanted + 2 * kBlock);
    std::uint64_t last_break = begin;  // one behind it
    std::size_t line = 0;
    const auto add = [&](std::size_t end, std::size_t next, bool ended) {
        std::string_view text(bytes.data() + line, end - line);
        const std::string_view carriage_return = coding_ == Coding::Bytes ? std::string_view("\r")
                                                 : coding_ == Coding::Utf16Little
                                                     ? std::string_view("\r\0", 2)
                                                     : std::string_view("\0\r", 2);
        if (ended && text.ends_with(carriage_return)) {
            text.remove_suffix(carriage_return.size());
        }
        piece.lines.push_back({begin + line, Decoded(text), ended});
        line = next;
        piece.end = begin + next;
    };
    const std::size_t unit = Unit();
    for (std::size_t at = 0; at + unit <= bytes.size(); at += unit) {
        const std::uint64_t place = begin + at;
        if (place % kBlock == 0 && at > line && last_break + kBlock <= place) {
            add(at, at, true);
        }
        const bool is_break = unit == 1 ? bytes[at] == '\n'
                              : coding_ == Coding::Utf16Little
                                  ? bytes[at] == '\n' && bytes[at + 1] == '\0'
                                  : bytes[at] == '\0' && bytes[at + 1] == '\n';
        if (is_break) {
            add(at, at + unit, true);
            last_break = begin + at + unit;
        }
        if (line >= bytes_wanted || piece.lines.size() >= kMostLines) {
            return piece;
        }
    }
    if (line < bytes.size() && begin + bytes.size() >= stamp_.size) {
        add(bytes.size(), bytes.size(), false);
    }
    return piece;
}

std::string LogReader::Decoded(std::string_view bytes) const {
    std::string text;
    text.reserve(bytes.size());
    if (coding_ != Coding::Bytes) {
        std::u16string units;
        const std::size_t low = coding_ == Coding::Utf16Little ? 0 : 1;
        for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
            const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
            units += static_cast<char16_t>(byte(at + low) | byte(at + 1 - low) << 8U);
        }
        const std::string decoded = Utf8FromUtf16(units);
        for (std::size_t at = 0; at < decoded.size();) {
            AppendShown(NextCodePoint(decoded, at), text);
        }
        return text;
    }
    for (std::size_t at = 0; at < bytes.size();) {
        if (SequenceAt(bytes, at) > 0) {
            AppendShown(NextCodePoint(bytes, at), text);
        } else {
            text += WesternLetter(static_cast<unsigned char>(bytes[at]));
            ++at;
        }
    }
    return text;
}

LogReader::News LogReader::Look() {
    const auto there = file::StampOf(path_);
    if (!there || !there->SameFile(stamp_)) {
        if (!there) {
            return News::None;  // what was read can still be read
        }
        Open();
        return News::Anew;
    }
    if (*there == stamp_) {
        return News::None;
    }
    const auto former = std::exchange(stamp_, *there);
    // A run empties its log first. By the next look it may be longer than it was; its first line,
    // which holds the time, tells.
    if (there->size < former.size || BytesAt(0, head_.size()) != head_) {
        Open();
        return News::Anew;
    }
    head_ = BytesAt(0, kHead);
    return there->size > former.size ? News::Grown : News::None;
}

}  // namespace vantry
