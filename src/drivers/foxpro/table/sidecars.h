#pragma once
// The files beside a .dbf: found in any letter case, and set aside while their table is dropped.

#include <string>
#include <string_view>

namespace vantry::foxpro {

// The path of the file with that extension beside `path`, in the letter case that is there; its
// extension follows the spelling of `path` if there is none.
std::string Sidecar(const std::string& path, std::string_view extension);

// Renames memo file and index, so that they are out of the way if the table goes and can come back
// if it doesn't.
void SetSidecarsAside(const std::string& path);
// Of a drop that was interrupted: the table is still there, so its sidecars come back.
void BringBackSidecars(const std::string& path);
// The table is gone: what was set aside goes, too.
void ForgetSetAside(const std::string& path);
// The same with the .dbf itself, of a table whose container decides whether it is there.
void SetTableAside(const std::string& path);
bool IsTableAside(const std::string& path);
void BringBackTableAside(const std::string& path);
void ForgetTableAside(const std::string& path);
// A memo file without a memo, whose table isn't there: left behind by a creation that was
// interrupted. One with memos is kept, and the creation fails over it.
void RemoveEmptyMemoFile(const std::string& path);

}  // namespace vantry::foxpro
