// Damaged and hostile files: a clear error or sane rows, never a crash, a hang or more memory than
// the file calls for.

#include "drivers/access/made_file.h"
#include "drivers/access/read_everything.h"
#include "drivers/access/real_files.h"
#include "drivers/access/stored_rows.h"
#include "drivers/access/writing_fixture.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <random>

namespace vantry::access {
namespace {

constexpr int kMutations = 2'000;

struct Mutator {
    std::string name;
    std::function<void(test::FileBytes&, std::mt19937&)> apply;
};

std::uint32_t InterestingNumber(const test::FileBytes& file,
                                std::size_t offset,
                                std::mt19937& random) {
    const auto pages = static_cast<std::uint32_t>(file.bytes.size() / 4096);
    const std::uint32_t self = static_cast<std::uint32_t>(offset / 4096);
    const std::uint32_t of_this_file[] = {self, self << 8, pages - 1, pages, pages << 8};
    constexpr std::uint32_t kEdges[] = {
        0, 1, 2, 255, 256, 0x1FFF, 0xFFFF, 0x3FFFFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const auto pick = random() % (std::size(of_this_file) + std::size(kEdges));
    return pick < std::size(kEdges) ? kEdges[pick] : of_this_file[pick - std::size(kEdges)];
}

std::vector<Mutator> Mutators() {
    return {
        {"a number anywhere",
         [](test::FileBytes& file, std::mt19937& random) {
             const std::size_t at = random() % (file.bytes.size() - 4);
             const auto number = InterestingNumber(file, at, random);
             if (random() % 2 == 0) {
                 file.Put(at, number);
             } else {
                 file.Put(at, static_cast<std::uint16_t>(number));
             }
         }},
        {"numbers at the head of pages, where types, owners, links and counts are",
         [](test::FileBytes& file, std::mt19937& random) {
             for (int i = 0; i < 3; ++i) {
                 const std::size_t page = random() % (file.bytes.size() / 2048);
                 const std::size_t at = page * 2048 + random() % 96;
                 file.Put(at, InterestingNumber(file, at, random));
             }
         }},
        {"numbers in table definitions",
         [](test::FileBytes& file, std::mt19937& random) {
             const std::size_t size = file.bytes[kVersionOffset] == std::byte{0} ? 2048 : 4096;
             for (std::size_t tries = 0; tries < 50; ++tries) {
                 const std::size_t page = random() % (file.bytes.size() / size);
                 if (file.bytes[page * size] == std::byte{2}) {
                     const std::size_t at = page * size + random() % 1200;
                     file.Put(at, static_cast<std::uint16_t>(InterestingNumber(file, at, random)));
                     return;
                 }
             }
         }},
        {"a cut file",
         [](test::FileBytes& file, std::mt19937& random) {
             file.bytes.resize(random() % (file.bytes.size() / 512) * 512);
         }},
        {"swapped pages",
         [](test::FileBytes& file, std::mt19937& random) {
             const std::size_t left = random() % (file.bytes.size() / 4096) * 4096;
             const std::size_t right = random() % (file.bytes.size() / 4096) * 4096;
             for (std::size_t i = 0; i < 4096; ++i) {
                 std::swap(file.bytes[left + i], file.bytes[right + i]);
             }
         }},
    };
}

long PeakMemoryKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

constexpr std::string_view kMadeHere = "MadeHere";

class Malformed : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (GetParam() != kMadeHere && !std::filesystem::exists(test::kRealFiles)) {
            GTEST_SKIP() << test::kRealFiles << " isn't there";
        }
    }
};

TEST_P(Malformed, IsAnErrorOrSaneRowsWithinASecond) {
    const test::FileBytes original =
        GetParam() == kMadeHere ? MadeFile() : test::FileBytes(test::kRealFiles / GetParam());
    const auto mutators = Mutators();
    std::mt19937 random(20'000);
    [[maybe_unused]] const long memory = PeakMemoryKiB();
    for (int i = 0; i < kMutations / 5; ++i) {
        const auto& mutator = mutators[static_cast<std::size_t>(i) % mutators.size()];
        SCOPED_TRACE("mutation " + std::to_string(i) + ": " + mutator.name);
        auto file = original;
        mutator.apply(file, random);
        const auto start = std::chrono::steady_clock::now();
        test::ReadEverything(file.bytes);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    }
#ifndef __SANITIZE_ADDRESS__  // which keeps what is freed
    EXPECT_LT(PeakMemoryKiB() - memory, 64 * 1024);
#endif
}

INSTANTIATE_TEST_SUITE_P(Access,
                         Malformed,
                         testing::Values(kMadeHere.data(),
                                         "indexTestV2000.mdb",
                                         "overflowTestV1997.mdb",
                                         "overflowTestV2000.mdb",
                                         "queryTestV2003.mdb",
                                         "complexDataTestV2010.accdb"),
                         [](const auto& tested) {
                             const std::string name = tested.param;
                             return name.substr(0, name.find('.'));
                         });

// Loops that a reader without step counts would follow for ever.
TEST(Loops, HaveAnEnd) {
    const test::TempDir folder;
    const std::string path = folder / "loops.accdb";
    CreateDatabaseFile(path);
    {
        Opened opened(path);
        Columns columns = {Column("memo", "MEMO")};
        for (int number = 0; number < 150; ++number) {
            columns.push_back(Column("a column " + std::to_string(number), "LONG"));
        }
        opened.Create("t", columns);
        const std::string memo(20'000, 'm');
        std::vector<Cell> row(columns.size());
        row[0] = Cell::Text(memo);
        opened.Insert("t", row);
    }
    test::FileBytes file(path);
    const auto source = file.Open();
    ObjectCatalog catalog(*source);
    const auto def = catalog.ReadTable(*catalog.Find("t"));
    // The definition's second page leads back to its first.
    ASSERT_GT(def.pages.size(), 1U);
    const auto pristine = file.bytes;
    file.Put<std::uint32_t>(def.pages.back() * 4096 + kTdefNextPageOffset, def.page);
    EXPECT_THROW((void)catalog.ReadTable(*catalog.Find("t")), DataError);
    file.bytes = pristine;
    // Each piece of the long values leads to itself.
    int spoiled = 0;
    for (PageNumber page = 1; page < file.bytes.size() / 4096; ++page) {
        const auto bytes = ByteSpan(file.bytes).subspan(page * 4096, 4096);
        if (LoadU32(bytes, kPageOwnerOffset) == kLongValueOwner) {
            const auto piece = FindRow(kJet4Layout, bytes, 0).bytes;
            file.Put(static_cast<std::size_t>(piece.data() - file.bytes.data()),
                     PackRowPointer({page, 0}));
            ++spoiled;
        }
    }
    EXPECT_GT(spoiled, 3);
    (void)test::ReadRows(*source, *catalog.Find("t"));
}

}  // namespace
}  // namespace vantry::access
