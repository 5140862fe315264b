#pragma once
// Upper and lower case of the bytes of a code page, as UPPER() and LOWER() in keys go by it.

#include <array>
#include <string>
#include <string_view>

namespace vantry::foxpro {

class LetterTable {
public:
    explicit LetterTable(int code_page);

    // False: characters have more than one byte, or the code page isn't known here. Then only
    // ASCII letters are certain.
    bool IsComplete() const { return complete_; }
    void Upper(std::string& text) const { Map(upper_, text); }
    void Lower(std::string& text) const { Map(lower_, text); }

private:
    using Table = std::array<char, 256>;
    static void Map(const Table& table, std::string& text);

    Table upper_{};
    Table lower_{};
    bool complete_ = true;
};

}  // namespace vantry::foxpro
