// Single files: names, errors, writes. Locks are looked at where two use them.

#include "files/file.h"

#include "files/checksum.h"
#include "files/error_of.h"
#include "files/file_name.h"
#include "files/replace_file.h"
#include "support/fault_plans.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

namespace vantry::file {
namespace {

using test::ErrorOf;
using test::Has;

std::span<const std::byte> BytesOf(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

TEST(FileNames, AreFoundWithoutRegardToCaseInTheirFolder) {
    const test::TempDir folder;
    folder.Write("Größe.MDB", "x");
    EXPECT_EQ(folder / "Größe.MDB", ResolveFileName((folder / "gRÖßE.mdb").string()));
    folder.Write("größe.mdb", "y");
    EXPECT_EQ(folder / "größe.mdb", ResolveFileName((folder / "größe.mdb").string()));
    EXPECT_EQ(folder / "none.mdb", ResolveFileName((folder / "none.mdb").string()));
    for (const std::string_view bad : {"", ".", "..", "a/b", "/etc/passwd"}) {
        EXPECT_FALSE(IsPlainFileName(bad)) << bad;
    }
    EXPECT_FALSE(IsPlainFileName(std::string_view("a\0b", 3)));
    EXPECT_TRUE(IsPlainFileName("a b.txt"));
}

TEST(FileErrors, NameTheFileAndWhatToDo) {
    const test::TempDir folder;
    folder.Write("there", "0123456789");
    const std::string there = folder / "there";
    std::filesystem::create_symlink("there", folder / "link");
    std::string text = ErrorOf([&] { File::Open(folder / "missing", OpenMode::Read); });
    EXPECT_TRUE(Has(text, "missing'"));
    EXPECT_TRUE(Has(text, "spelling"));
    EXPECT_TRUE(Has(ErrorOf([&] { File::Open(folder.Path(), OpenMode::Read); }), "folder"));
    EXPECT_TRUE(Has(ErrorOf([&] { File::CreateNew(there, true); }), "already exists"));
    EXPECT_NE("", ErrorOf([&] { File::CreateNew(folder / "link", true); }));
    File file = File::Open(there, OpenMode::ReadWrite);
    std::array<std::byte, 8> out{};
    EXPECT_TRUE(Has(ErrorOf([&] { file.ReadExactly(5, out); }), "ends before byte 13"));
    for (const auto& [error, word] : std::vector<std::pair<int, std::string_view>>{
             {ENOSPC, "disk is full"}, {EROFS, "read-only"}, {EIO, "device failed"}}) {
        test::FailAt plan(0, error, true, test::Planted::Nothing);
        const test::InstalledPlan installed(plan);
        text = ErrorOf([&] { file.Write(0, BytesOf("x")); });
        EXPECT_TRUE(Has(text, word));
        EXPECT_TRUE(Has(text, "there'"));
    }
    EXPECT_EQ("0123456789", folder.Read("there"));
    File::CreateNew(folder / "private", true);
    EXPECT_EQ(0600U, test::ModeOf(folder / "private"));
}

// The name beside it is too long for the file system.
TEST(FileErrors, OfAFileThatIsReplacedNameNoOther) {
    const test::TempDir folder;
    const std::string path = folder / std::string(250, 'n');
    const std::string error = ErrorOf([&] { ReplaceFile(path, "x"); });
    EXPECT_TRUE(Has(error, path)) << error;
    EXPECT_FALSE(Has(error, ".new-")) << error;
}

TEST(FileWrites, GatheredPiecesArriveInOrder) {
    const test::TempDir folder;
    File file = File::CreateNew(folder / "f", false);
    std::vector<std::string> parts;
    std::string whole;
    for (int part = 0; part < 3000; ++part) {  // more than one system call takes
        parts.push_back(std::to_string(part) + ";");
        whole += parts.back();
    }
    std::vector<iovec> pieces;
    pieces.reserve(parts.size());
    for (auto& part : parts) {
        pieces.push_back({part.data(), part.size()});
    }
    file.WriteGathered(3, pieces);
    EXPECT_EQ(std::string(3, '\0') + whole, folder.Read("f"));
}

TEST(Checksums, AreCrc32c) {
    EXPECT_EQ(0xE3069283U, Crc32c(BytesOf("123456789")));  // the published check value
    EXPECT_EQ(Crc32c(BytesOf("123456789")), Crc32c(BytesOf("6789"), Crc32c(BytesOf("12345"))));
}

}  // namespace
}  // namespace vantry::file
