// One walk over a picture for all who have one: names of renamed files, "Schema.ini", the functions
// of SQL. They differ in which letters mean something, since a "T" in the picture of a file is a T,
// and in how characters are made to stand for themselves; so a picture is anything that tells the
// symbol and the text of its k-th piece. A letter's meaning depends on the run that it stands in
// and on the element before it: "m" behind hours is minutes.

#include "data/date_format.h"

#include "data/calendar.h"
#include "data/text_scan.h"
#include "data/value_text.h"

#include <initializer_list>

namespace vantry {
namespace {

// A picture without quotes and escapes.
struct PlainPicture {
    std::string_view picture;
    std::size_t size() const { return picture.size(); }
    char Symbol(std::size_t k) const { return picture[k]; }
    std::string_view Text(std::size_t k) const { return picture.substr(k, 1); }
};

struct PiecedPicture {
    std::span<const PicturePiece> pieces;
    std::size_t size() const { return pieces.size(); }
    char Symbol(std::size_t k) const { return pieces[k].symbol; }
    std::string_view Text(std::size_t k) const { return pieces[k].text; }
};

template <typename Picture>
class DateFormatter {
public:
    DateFormatter(const DateTime& value, const Picture& picture, PictureElements elements)
        : value_(value),
          date_(CalendarOf(value.day)),
          time_(ClockOf(value.nanos)),
          picture_(picture),
          extended_(elements == PictureElements::Extended) {
        for (std::size_t k = 0; k < picture_.size(); ++k) {
            twelve_hours_ = twelve_hours_ || HalfOfDayAt(k) > 0;
        }
    }

    std::string Run() {
        const std::string_view letters = extended_ ? "dmyhnsqwct" : "dmyhns";
        for (std::size_t k = 0; k < picture_.size();) {
            if (const std::size_t length = HalfOfDayAt(k); length > 0) {
                AppendHalfOfDay(picture_.Symbol(k), length);
                k += length;
                continue;
            }
            const char letter = LowerCase(picture_.Symbol(k));
            if (letter == 0 || letters.find(letter) == std::string_view::npos) {
                out_ += picture_.Text(k++);
                continue;
            }
            std::size_t end = k;
            while (end < picture_.size() && LowerCase(picture_.Symbol(end)) == letter) {
                ++end;
            }
            AppendElement(letter, end - k);
            before_ = letter;
            k = end;
        }
        return std::move(out_);
    }

private:
    bool WordAt(std::size_t k, std::string_view word) const {
        std::size_t same = 0;
        while (same < word.size() && k + same < picture_.size() &&
               LowerCase(picture_.Symbol(k + same)) == word[same]) {
            ++same;
        }
        return same == word.size();
    }
    // The length of the word for the half of the day that begins at `k`; 0 if none does.
    std::size_t HalfOfDayAt(std::size_t k) const {
        return WordAt(k, "am/pm")              ? 5
               : WordAt(k, "ampm")             ? 4
               : extended_ && WordAt(k, "a/p") ? 3
                                               : 0;
    }

    // The common pictures name files and fill columns: there it is in capitals, as it ever was.
    void AppendHalfOfDay(char symbol, std::size_t length) {
        const bool small = extended_ && symbol == 'a';
        const std::string_view word = time_.hour < 12 ? (small ? "am" : "AM") : small ? "pm" : "PM";
        out_ += word.substr(0, length == 3 ? 1 : 2);
    }

    void AppendNumber(std::int64_t number, std::size_t digits) {
        AppendPadded(out_, static_cast<std::uint64_t>(number), static_cast<std::ptrdiff_t>(digits));
    }
    // The short form of a name is its beginning.
    void AppendName(std::string_view name, std::size_t run) {
        out_ += run == kShortName ? name.substr(0, kShortName) : name;
    }

    void AppendElement(char letter, std::size_t run) {
        const std::size_t digits = std::min<std::size_t>(run, 2);
        switch (letter) {
            case 'd':
                return AppendDay(run);
            case 'm':
                return before_ == 'h' && run <= 2 ? AppendNumber(time_.minute, digits)
                       : run <= 2                 ? AppendNumber(date_.month, digits)
                                                  : AppendName(MonthName(date_.month), run);
            case 'y':
                return extended_ && run == 1 ? AppendNumber(DayOfYear(), 1)
                       : run <= 2            ? AppendNumber(date_.year % 100, 2)
                                             : AppendNumber(date_.year, 4);
            case 'h':
                return AppendNumber(twelve_hours_ ? (time_.hour + 11) % 12 + 1 : time_.hour,
                                    digits);
            case 'n':
                return AppendNumber(time_.minute, digits);
            case 's':
                return AppendNumber(time_.second, digits);
            case 'q':
                return AppendNumber((date_.month - 1) / 3 + 1, 1);
            case 'w':
                return AppendNumber(run == 1 ? WeekdayOf(value_.day) : WeekOfYear(), 1);
            case 'c':
                return AppendDateTime(value_, out_);
            default:  // ttttt
                AppendNumber(time_.hour, 2);
                out_ += ':';
                AppendNumber(time_.minute, 2);
                out_ += ':';
                AppendNumber(time_.second, 2);
        }
    }

    void AppendDay(std::size_t run) {
        const std::string_view name = DayName(WeekdayOf(value_.day));
        if (run <= 2) {
            AppendNumber(date_.day, run);
        } else if (run <= 4 || !extended_) {
            AppendName(name, run);
        } else if (run == 5) {
            out_ += ShortDate(value_);
        } else {
            out_.append(name).append(", ").append(MonthName(date_.month)) += ' ';
            AppendNumber(date_.day, 2);
            out_ += ", ";
            AppendNumber(date_.year, 4);
        }
    }

    std::int32_t DayOfYear() const { return value_.day - FirstOfYear() + 1; }
    // The week that holds January 1st is the first; weeks begin on Sunday.
    std::int32_t WeekOfYear() const {
        return (DayOfYear() - 1 + WeekdayOf(FirstOfYear()) - 1) / 7 + 1;
    }
    std::int32_t FirstOfYear() const { return DayOf(date_.year, 1, 1).value_or(0); }

    DateTime value_;
    CalendarDate date_;
    ClockTime time_;
    Picture picture_;
    bool extended_;
    bool twelve_hours_ = false;
    char before_ = 0;  // the letter of the last element
    std::string out_;
};

}  // namespace

std::string FormatDateTime(const DateTime& value, std::string_view picture) {
    return DateFormatter(value, PlainPicture{picture}, PictureElements::Common).Run();
}

std::string FormatDateTime(const DateTime& value,
                           std::span<const PicturePiece> pieces,
                           PictureElements elements) {
    return DateFormatter(value, PiecedPicture{pieces}, elements).Run();
}

}  // namespace vantry
