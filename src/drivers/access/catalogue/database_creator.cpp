// A new file is made in two steps. The pages that must be there before a row can be written
// (header, map of free pages, definitions of the four system tables with empty indexes) are put
// together in memory; then the system tables are filled through the ordinary writer, so that their
// indexes and counts are right by the same code as everywhere. Easy to get wrong: account ids are
// masked by a value of the file that nothing in it names, so whole sets seen in the engine's files
// are used.

#include "drivers/access/catalogue/database_creator.h"

#include "data/letter_case.h"
#include "drivers/access/catalogue/definition_writer.h"
#include "drivers/access/catalogue/system_tables.h"
#include "drivers/access/catalogue/table_def_writer.h"
#include "drivers/access/indexes/index_writer.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/header_mask.h"
#include "drivers/access/write_errors.h"
#include "files/file.h"
#include "files/file_errors.h"
#include "files/journal.h"

#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace vantry::access {
namespace {

constexpr std::size_t kPageSize = kJet4Layout.page_size;
constexpr std::size_t kMapRowLength = kJet4Layout.map.row_length;
constexpr PageNumber kSystemMapsPage = kRelationshipsTablePage + 1;
constexpr PageNumber kFirstIndexPage = kSystemMapsPage + 1;

// What differs between the kinds. Account ids are masked by a value that goes with the fields of
// the header from the password cells to the creation date; how isn't known, so each kind always has
// the set that was seen in a file of the engine's own making.
struct FileKind {
    std::string_view engine;
    std::array<std::uint8_t, 4> version;
    std::uint64_t creation_date;   // bits of a double; the password cells repeat its whole days
    std::uint32_t per_file_value;  // kUnknownPerFileOffset
    SortOrder sort_order;
    std::array<std::uint8_t, 2> account_mask;
    bool has_complex_types;
};
constexpr FileKind kJet4Kind = {
    .engine = kJetEngineName,
    .version = {kVersionJet4, 0, 0, 0},
    .creation_date = 0x40E4AB3E3BD3853E,
    .per_file_value = 0x0000261C,
    .sort_order = {kEnglishLcid, kGeneralLegacyVersion},
    .account_mask = {0x67, 0x8A},
    .has_complex_types = false,
};
constexpr FileKind kAce14Kind = {
    .engine = kAceEngineName,
    .version = {kVersionAce14, 1, 0, 0},
    .creation_date = 0x40E3D7B7E2208806,
    .per_file_value = 0x000011A6,
    .sort_order = {kEnglishLcid, kGeneralVersion},
    .account_mask = {0x40, 0x5A},
    .has_complex_types = true,
};

using Account = std::array<std::uint8_t, 2>;
constexpr Account kAdmin = {0x03, 0x01};
constexpr Account kUsers = {0x02, 0x01};
constexpr Account kCreator = {0x02, 0x04};
constexpr Account kEngine = {0x02, 0x03};

std::vector<std::byte> Masked(const FileKind& kind, Account account) {
    return {std::byte{static_cast<std::uint8_t>(account[0] ^ kind.account_mask[0])},
            std::byte{static_cast<std::uint8_t>(account[1] ^ kind.account_mask[1])}};
}

// ---- The pages that must be there before rows can be written ----------------------------------

// Header, map of free pages, definitions, maps and empty index roots, in this order of pages.
class SystemPages {
public:
    explicit SystemPages(const FileKind& kind) : kind_(kind) {
        auto tables = SystemTables(kind.sort_order);
        std::size_t indexes = 0;
        for (const SystemTable& table : tables) {
            indexes += table.def.real_indexes.size();
        }
        bytes_.resize((kFirstIndexPage + indexes) * kPageSize);
        MakeHeader();
        MakeTables(tables);
        MakeGlobalMap();
    }

    std::span<const std::byte> Bytes() const { return bytes_; }

private:
    std::span<std::byte> Page(PageNumber page) {
        return std::span(bytes_).subspan(page * kPageSize, kPageSize);
    }

    void MakeHeader() {
        const auto page = Page(0);
        StoreU32(page, 0, kFileMagic);
        std::memcpy(page.data() + kEngineNameOffset, kind_.engine.data(), kind_.engine.size());
        std::memcpy(page.data() + kVersionOffset, kind_.version.data(), kind_.version.size());
        StoreU32(page, kGlobalMapOffset, PackRowPointer({kGlobalMapPage, 0}));
        StoreU32(page, kSecondMapOffset, PackRowPointer({kGlobalMapPage, 1}));
        StoreU32(page, kObjectsTableOffset, kObjectsTablePage);
        StoreU32(page, kObjectsTableOffset + 4, kPermissionsTablePage);
        StoreU32(page, kObjectsTableOffset + 8, kQueriesTablePage);
        StoreU32(page, kObjectsTableOffset + 12, kRelationshipsTablePage);
        constexpr std::size_t kWesternCodePage = 1252;
        StoreU16(page, kCodePageOffset, kWesternCodePage);
        // No password: each cell holds just the mask, which is the creation day.
        const auto date = std::bit_cast<double>(kind_.creation_date);
        for (std::size_t at = 0; at < kPasswordLengthJet4; at += 4) {
            StoreU32(page, kPasswordOffset + at, static_cast<std::size_t>(date));
        }
        StoreU32(page, kUnknownPerFileOffset, kind_.per_file_value);
        StoreU16(page, kSortOrderOffset, kind_.sort_order.lcid);
        page[kSortOrderOffset + 3] = std::byte{kind_.sort_order.version};
        std::memcpy(page.data() + kCreationDateOffset, &date, sizeof date);
        MaskHeader(kJet4Layout, page);
        constexpr std::size_t kTailNumber = 0x0654;
        constexpr std::string_view kTailVersion = "4.0";
        StoreU32(page, kHeaderTailOffset, kTailNumber);
        std::memcpy(page.data() + kHeaderTailOffset + 4, kTailVersion.data(), kTailVersion.size());
        for (std::size_t cell = 0; cell < kCommitCellCount; ++cell) {
            StoreU16(page, kCommitCellsOffset + 2 * cell, kIdleCommitCell);
        }
    }

    RowPointer TakeMapRow(DataPage& page) {
        const RowNumber row = page.Append(kMapRowLength);
        return {kSystemMapsPage, row};
    }

    // Definitions, their page maps and their empty indexes.
    void MakeTables(std::span<SystemTable> tables) {
        DataPage maps(Page(kSystemMapsPage));
        maps.Initialize(kUsageMapOwner);
        PageNumber index_page = kFirstIndexPage;
        PageNumber table_page = kObjectsTablePage;
        for (SystemTable& table : tables) {
            TableDef& def = table.def;
            def.owned_map = TakeMapRow(maps);
            def.free_map = TakeMapRow(maps);
            // Long value maps in the order of the columns' numbers.
            for (std::uint16_t number = 0; number < def.max_columns; ++number) {
                ColumnDef& column = def.columns[def.FindColumnNumber(number)];
                if (column.IsLongValue()) {
                    column.owned_map = TakeMapRow(maps);
                    column.free_map = TakeMapRow(maps);
                    column.has_maps = true;
                }
            }
            for (RealIndex& index : def.real_indexes) {
                index.owned_map = TakeMapRow(maps);
                index.root = index_page++;
                InitializeMapRow(maps.Row(index.owned_map.row), index.root);
                IndexWriter::InitializeLeaf(Page(index.root), table_page);
            }
            const auto bytes = BuildTableDef(def, {});
            const auto page = Page(table_page++);
            std::memcpy(page.data(), bytes.data(), bytes.size());
            StoreU16(page, kPageFreeOffset, kPageSize - bytes.size() - 8);
        }
    }

    // All pages so far in use, those behind them free.
    void MakeGlobalMap() {
        DataPage page(Page(kGlobalMapPage));
        page.Initialize(kGlobalMapPage);
        page.Append(kMapRowLength);
        page.Append(kMapRowLength);
        const auto bits = page.Row(0).subspan(kInlineMapBitsOffset);
        const std::size_t used = bytes_.size() / kPageSize;
        for (std::size_t bit = used; bit < bits.size() * 8; ++bit) {
            bits[bit / 8] |= std::byte{static_cast<unsigned char>(1U << (bit % 8))};
        }
    }

    const FileKind& kind_;
    std::vector<std::byte> bytes_;
};

// ---- The rows of a new file -------------------------------------------------------------------

// What MSysObjects lists of a new file, each with the account that owns it.
struct SystemObject {
    std::int32_t id;
    std::int32_t parent;
    ObjectType type;
    std::string_view name;
    Account owner;
};
constexpr std::array kSystemObjects = {
    SystemObject{kTablesContainer, kContainersParent, ObjectType::Container, "Tables", kEngine},
    SystemObject{
        kDatabasesContainer, kContainersParent, ObjectType::Container, "Databases", kEngine},
    SystemObject{kRelationshipsContainer,
                 kContainersParent,
                 ObjectType::Container,
                 "Relationships",
                 kEngine},
    SystemObject{kDatabaseObject, kDatabasesContainer, ObjectType::Database, "MSysDb", kAdmin},
    SystemObject{kObjectsTablePage, kTablesContainer, ObjectType::Table, "MSysObjects", kEngine},
    SystemObject{kPermissionsTablePage, kTablesContainer, ObjectType::Table, "MSysACEs", kEngine},
    SystemObject{kQueriesTablePage, kTablesContainer, ObjectType::Table, "MSysQueries", kEngine},
    SystemObject{
        kRelationshipsTablePage, kTablesContainer, ObjectType::Table, "MSysRelationships", kEngine},
};

// Rights as bits that only Access interprets, as its own new files have them.
struct SystemPermission {
    std::int32_t object;
    Account account;
    std::int32_t rights;
    bool inheritable;
};
constexpr std::array kSystemPermissions = {
    SystemPermission{kObjectsTablePage, kAdmin, 0x60000, false},
    SystemPermission{kPermissionsTablePage, kAdmin, 0x60000, false},
    SystemPermission{kQueriesTablePage, kAdmin, 0x60000, false},
    SystemPermission{kRelationshipsTablePage, kAdmin, 0xE0000, false},
    SystemPermission{kTablesContainer, kCreator, 0xF00FE, true},
    SystemPermission{kTablesContainer, kAdmin, 0x60001, false},
    SystemPermission{kRelationshipsContainer, kCreator, 0xF00FE, true},
    SystemPermission{kRelationshipsContainer, kAdmin, 0x60001, false},
    SystemPermission{kDatabasesContainer, kAdmin, 0x60000, false},
    SystemPermission{kDatabaseObject, kAdmin, 0x6000E, false},
    SystemPermission{kDatabaseObject, kUsers, 0xE, false},
    SystemPermission{kQueriesTablePage, kUsers, 0x14, false},
    SystemPermission{kRelationshipsTablePage, kUsers, 0x14, false},
    SystemPermission{kObjectsTablePage, kUsers, 0x14, false},
    SystemPermission{kTablesContainer, kUsers, 0xFFEFF, true},
    SystemPermission{kRelationshipsContainer, kUsers, 0xFFFFF, true},
};

// Through the ordinary writer, in one transaction.
void FillSystemTables(const std::string& path, const FileKind& kind) {
    const auto store = PageStore::Open(path);
    store->Begin();
    try {
        DefinitionWriter writer(*store);
        for (const SystemObject& object : kSystemObjects) {
            const auto owner = Masked(kind, object.owner);
            writer.AddObject({.id = object.id,
                              .parent = object.parent,
                              .name = std::string(object.name),
                              .type = object.type,
                              .flags = kObjectSystem,
                              .owner = owner,
                              .properties = {}});
        }
        for (const SystemPermission& each : kSystemPermissions) {
            const Permission permission{Masked(kind, each.account), each.rights, each.inheritable};
            writer.AddPermissions(each.object, {&permission, 1});
        }
        if (kind.has_complex_types) {
            const std::vector<Permission> permissions = {{Masked(kind, kAdmin), 0x60000, false},
                                                         {Masked(kind, kUsers), 0x14, false}};
            for (SystemTable& table : ComplexTypeTables(kind.sort_order)) {
                writer.MakeTable({.def = std::move(table.def),
                                  .object_flags = table.object_flags,
                                  .has_owner = false,
                                  .permissions = permissions,
                                  .properties = {}});
            }
        }
        store->Commit();
    } catch (...) {
        if (store->InTransaction()) {
            store->Rollback();
        }
        throw;
    }
}

}  // namespace

void CreateDatabaseFile(const std::string& path) {
    if (file::StampOf(path)) {
        throw DatabaseExists(path);
    }
    const std::string extension = UpperCased(std::filesystem::path(path).extension().string());
    const FileKind& kind = extension == ".ACCDB" ? kAce14Kind : kJet4Kind;
    const auto folder = std::filesystem::path(path).parent_path();
    if (std::error_code error; !folder.empty() && !std::filesystem::exists(folder, error)) {
        throw file::SystemError(path, "created", ENOENT);
    }
    // Made beside its place and given its name at the end, so that no other program meets half a
    // file.
    const std::string temporary = path + ".new-" + std::to_string(::getpid());
    const auto forget = [&temporary] {
        try {
            file::RemoveFile(temporary);
        } catch (const DataError&) {
            // It stays behind; what went wrong first matters more.
        }
    };
    try {
        for (const auto& left : {temporary, file::Journal::PathFor(temporary)}) {
            file::RemoveFile(left);  // of a killed program that had our number
        }
        {
            auto made = file::File::CreateNew(temporary, false);
            made.Write(0, SystemPages(kind).Bytes());
            made.Sync();
        }
        FillSystemTables(temporary, kind);
        file::RenameNoReplace(temporary, path);
        file::SyncFolderOf(path);
    } catch (const DataError& error) {
        forget();
        throw file::ToldOf(error, path, temporary);
    } catch (...) {
        forget();
        throw;
    }
}

}  // namespace vantry::access
