#pragma once
// Source and target of the session in a few words, as the status bar shows them: "orders.mdb, 4
// tables", "the folder csv", "shop on db1". Made of what a run would use, never of what stands in a
// field, and without passwords.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

enum class Side : std::uint8_t { None, Source, Target };

// Which side of a session a page sets up.
Side SideOfPage(std::string_view page);

// As users know the kind: "MS Access". Empty for a name of no kind.
std::string_view KindInWords(std::string_view kind);

// Where a connection string leads; empty when it names nothing.
std::string PlaceInWords(const std::string& connection_string);

// "1 table", "4 tables".
std::string CountInWords(std::size_t count, std::string_view one, std::string_view many);

// The last part of a path, or the text itself.
std::string LastPartOf(const std::string& path);

// By SourceConnStr and SrcTables, by TargetConnStr or the variables of a text target; empty when
// nothing is set yet.
std::string SourceInWords();
std::string TargetInWords();

// "orders.mdb, 4 tables → shop.accdb". A side without words is named by its kind.
std::string RouteInWords(const std::string& source, const std::string& target);

// What a page says when its fields don't say what is connected any more: the texts of the field
// that names the file or server, then and now. They are the same where another field was changed.
std::string StaleFieldInWords(const std::string& connected,
                              const std::string& field_then,
                              const std::string& field_now);

// Why nothing could be written into a file or folder; empty when something could, or when that
// can't be told beforehand. The second: of what TargetConnStr or the text target names.
std::string ReadOnlyInWords(const std::string& path);
std::string ReadOnlyTargetInWords();

}  // namespace vantry
