#pragma once
// The table "orders" that all routes copy: made row by row from the row's number alone, so that the
// same rows can be made again to compare what arrived.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vantry::bench {

struct Order {
    std::int64_t id = 0;
    std::string customer;  // up to 40 characters
    std::string city;      // up to 30 characters, with accents
    std::int64_t cents = 0;
    int qty = 0;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;  // ordered
    bool shipped = false;
    std::optional<std::string> note;  // commas and quotes; a tenth is null
};

inline constexpr std::string_view kTableName = "orders";
inline constexpr int kColumns = 8;
inline constexpr std::string_view kColumnNames = "id,customer,city,price,qty,ordered,shipped,note";

// Names and cities keep to the letters of one code page where a side's tables have one.
enum class Letters { All, Windows1252 };
void UseLetters(Letters letters);

// Kept: notes without quotes, none of them null, so that every route keeps them as they are.
enum class Notes { All, Kept };
void UseNotes(Notes notes);

// Replaces `order` by row `id`, from 1 on; its texts keep their memory.
void MakeOrder(std::int64_t id, Order& order);

// What a null note is in a statement: a text source's null goes to MySQL as an empty text.
enum class NullNote { Null, EmptyText };

// A comma-separated file with a heading line, texts in double quotes.
void WriteCsv(const std::filesystem::path& path, std::int64_t rows);
// INSERT statements of `rows_each` rows for a MySQL server.
void WriteInserts(const std::filesystem::path& path,
                  std::int64_t rows,
                  std::int64_t rows_each,
                  NullNote null_note);
inline constexpr std::string_view kMySqlTable =
    "create table orders (id int, customer varchar(40), city varchar(30), price decimal(10,2), "
    "qty smallint, ordered datetime, shipped tinyint(1), note varchar(100))";

}  // namespace vantry::bench
