#include "drivers/foxpro/table/code_page_marks.h"

#include "data/connection_string.h"

#include <array>
#include <charconv>

namespace vantry::foxpro {
namespace {

struct Mark {
    std::uint8_t mark;
    int code_page;
};

// Those of Visual FoxPro, documented.
constexpr std::array kMarks = {
    Mark{0x01, 437},   Mark{0x02, 850},   Mark{0x03, 1252},  Mark{0x04, 10000}, Mark{0x64, 852},
    Mark{0x65, 866},   Mark{0x66, 865},   Mark{0x67, 861},   Mark{0x68, 895},   Mark{0x69, 620},
    Mark{0x6A, 737},   Mark{0x6B, 857},   Mark{0x6C, 863},   Mark{0x78, 950},   Mark{0x79, 949},
    Mark{0x7A, 936},   Mark{0x7B, 932},   Mark{0x7C, 874},   Mark{0x7D, 1255},  Mark{0x7E, 1256},
    Mark{0x96, 10007}, Mark{0x97, 10029}, Mark{0x98, 10006}, Mark{0xC8, 1250},  Mark{0xC9, 1251},
    Mark{0xCA, 1254},  Mark{0xCB, 1253},  Mark{0xCC, 1257},
};
// Language drivers of dBase, documented; read only.
constexpr std::array kDBaseMarks = {
    Mark{0x08, 865},  Mark{0x09, 437}, Mark{0x0A, 850}, Mark{0x0B, 437},  Mark{0x0D, 437},
    Mark{0x0E, 850},  Mark{0x0F, 437}, Mark{0x10, 850}, Mark{0x11, 437},  Mark{0x12, 850},
    Mark{0x13, 932},  Mark{0x14, 850}, Mark{0x15, 437}, Mark{0x16, 850},  Mark{0x17, 865},
    Mark{0x18, 437},  Mark{0x19, 437}, Mark{0x1A, 850}, Mark{0x1B, 437},  Mark{0x1C, 863},
    Mark{0x1D, 850},  Mark{0x1F, 852}, Mark{0x22, 852}, Mark{0x23, 852},  Mark{0x24, 860},
    Mark{0x25, 850},  Mark{0x26, 866}, Mark{0x37, 850}, Mark{0x40, 852},  Mark{0x4D, 936},
    Mark{0x4E, 949},  Mark{0x4F, 950}, Mark{0x50, 874}, Mark{0x57, 1252}, Mark{0x58, 1252},
    Mark{0x59, 1252}, Mark{0x86, 737}, Mark{0x87, 852}, Mark{0x88, 857},
};

}  // namespace

std::optional<int> CodePageOfMark(std::uint8_t mark) {
    for (const auto& known : kMarks) {
        if (known.mark == mark) {
            return known.code_page;
        }
    }
    for (const auto& known : kDBaseMarks) {
        if (known.mark == mark) {
            return known.code_page;
        }
    }
    return std::nullopt;
}

std::optional<std::uint8_t> MarkOfCodePage(int code_page) {
    for (const auto& known : kMarks) {
        if (known.code_page == code_page) {
            return known.mark;
        }
    }
    return std::nullopt;
}

// The first number in the text, whatever stands around it.
std::optional<int> CodePageOfName(std::string_view name) {
    if (ContainsNoCase(name, "utf-8") || ContainsNoCase(name, "utf8")) {
        return kUtf8;
    }
    const auto first = name.find_first_of("0123456789");
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    name.remove_prefix(first);
    int number = 0;
    const auto parsed = std::from_chars(name.data(), name.data() + name.size(), number);
    return parsed.ec == std::errc() && number > 0 ? std::optional(number) : std::nullopt;
}

}  // namespace vantry::foxpro
