#pragma once
// Facts of Access database files (.mdb of Jet 3 and Jet 4, .accdb of ACE). All numbers are
// little-endian unless a line says big-endian; offsets count from the start of the page or of the
// structure that the line names. Sizes are bytes. Jet 4 and all ACE versions share one layout.
// Where a fact wasn't seen in a file that the engine itself made, its line says so.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vantry::access {

using PageNumber = std::uint32_t;
using RowNumber = std::uint8_t;  // the slot of a row in its page

// Where a row is. In files: u32 = page << 8 | slot; in index entries the page is 3 bytes
// big-endian.
struct RowPointer {
    PageNumber page = 0;
    RowNumber row = 0;

    friend bool operator==(const RowPointer&, const RowPointer&) = default;
    friend auto operator<=>(const RowPointer&, const RowPointer&) = default;
};
inline constexpr RowPointer UnpackRowPointer(std::uint32_t packed) {
    return {packed >> 8, static_cast<RowNumber>(packed & 0xFF)};
}
inline constexpr std::uint32_t PackRowPointer(RowPointer pointer) {
    return pointer.page << 8 | pointer.row;
}
inline constexpr PageNumber kMaxPageNumber = 0xFFFFFF;  // 24 bits of a row pointer

// ---- Versions ----------------------------------------------------------------------------------

inline constexpr std::uint8_t kVersionJet3 = 0x00;   // 97
inline constexpr std::uint8_t kVersionJet4 = 0x01;   // 2000 to 2003
inline constexpr std::uint8_t kVersionAce12 = 0x02;  // 2007
inline constexpr std::uint8_t kVersionAce14 = 0x03;  // 2010: calculated columns
inline constexpr std::uint8_t kVersionAce16 = 0x05;  // 2016: Large Number
inline constexpr std::uint8_t kVersionAce17 = 0x06;  // 2019: Date/Time Extended
inline constexpr std::uint8_t kVersionNewest = kVersionAce17;

inline constexpr std::uint64_t kMaxFileSize = std::uint64_t{2} << 30;
inline constexpr std::uint64_t kMaxFileSizeJet3 = std::uint64_t{1} << 30;

// Limits that the engine holds to.
inline constexpr std::size_t kMaxColumns = 255;
inline constexpr std::size_t kMaxIndexes = 32;
inline constexpr std::size_t kMaxIndexColumns = 10;
inline constexpr std::size_t kMaxNameUnits = 64;     // UTF-16 units of a table, column, index name
inline constexpr std::size_t kMaxRowsPerPage = 255;  // slots
inline constexpr std::size_t kMaxTextUnits = 255;    // of a Text column
inline constexpr std::size_t kMaxBinaryBytes = 510;  // through DDL; the designer makes up to 255

// ---- Page 0 ------------------------------------------------------------------------------------

inline constexpr std::uint32_t kFileMagic = 0x00000100;  // bytes 00 01 00 00 at 0
inline constexpr std::size_t kEngineNameOffset = 0x04;   // 15 characters and a 0
inline constexpr std::size_t kEngineNameLength = 15;
inline constexpr std::string_view kJetEngineName = "Standard Jet DB";
inline constexpr std::string_view kAceEngineName = "Standard ACE DB";
inline constexpr std::string_view kMoneyEngineName = "MSISAM Database";
inline constexpr std::size_t kVersionOffset = 0x14;  // u8; the three bytes behind it vary

// The masked area: XORed with kHeaderMask, from kMaskedOffset on.
inline constexpr std::size_t kMaskedOffset = 0x18;
inline constexpr std::size_t kMaskedLengthJet3 = 126;
inline constexpr std::size_t kMaskedLengthJet4 = 128;
// RC4 key stream of the key C7 DA 39 6B.
inline constexpr std::array<std::uint8_t, kMaskedLengthJet4> kHeaderMask = {
    0xB5, 0x6F, 0x03, 0x62, 0x61, 0x08, 0xC2, 0x55, 0xEB, 0xA9, 0x67, 0x72, 0x43, 0x3F, 0x00, 0x9C,
    0x7A, 0x9F, 0x90, 0xFF, 0x80, 0x9A, 0x31, 0xC5, 0x79, 0xBA, 0xED, 0x30, 0xBC, 0xDF, 0xCC, 0x9D,
    0x63, 0xD9, 0xE4, 0xC3, 0x7B, 0x42, 0xFB, 0x8A, 0xBC, 0x4E, 0x86, 0xFB, 0xEC, 0x37, 0x5D, 0x44,
    0x9C, 0xFA, 0xC6, 0x5E, 0x28, 0xE6, 0x13, 0xB6, 0x8A, 0x60, 0x54, 0x94, 0x7B, 0x36, 0xF5, 0x72,
    0xDF, 0xB1, 0x77, 0xF4, 0x13, 0x43, 0xCF, 0xAF, 0xB1, 0x33, 0x34, 0x61, 0x79, 0x5B, 0x92, 0xB5,
    0x7C, 0x2A, 0x05, 0xF1, 0x7C, 0x99, 0x01, 0x1B, 0x98, 0xFD, 0x12, 0x4F, 0x4A, 0x94, 0x6C, 0x3E,
    0x60, 0x26, 0x5F, 0x95, 0xF8, 0xD0, 0x89, 0x24, 0x85, 0x67, 0xC6, 0x1F, 0x27, 0x44, 0xD2, 0xEE,
    0xCF, 0x65, 0xED, 0xFF, 0x07, 0xC7, 0x46, 0xA1, 0x78, 0x16, 0x0C, 0xED, 0xE9, 0x2D, 0x62, 0xD4};

// Fields of the masked area, offsets in the page.
inline constexpr std::size_t kGlobalMapOffset = 0x18;      // row pointer: page 1, row 0
inline constexpr std::size_t kSecondMapOffset = 0x1C;      // row pointer: page 1, row 1
inline constexpr std::size_t kObjectsTableOffset = 0x20;   // u32 tdef page of MSysObjects
inline constexpr std::size_t kSortOrderOffsetJet3 = 0x3A;  // u16 LCID
inline constexpr std::size_t kCodePageOffset = 0x3C;       // u16
inline constexpr std::size_t kEncryptionKeyOffset = 0x3E;  // u32, 0 = pages are plain
inline constexpr std::size_t kPasswordOffset = 0x42;
inline constexpr std::size_t kPasswordLengthJet3 = 20;      // code page text, zero = none
inline constexpr std::size_t kPasswordLengthJet4 = 40;      // 20 UTF-16 units, masked by the date
inline constexpr std::size_t kUnknownPerFileOffset = 0x6A;  // u32, differs from file to file
inline constexpr std::size_t kSortOrderOffset = 0x6E;       // u16 LCID, u8 0, u8 version
inline constexpr std::size_t kCreationDateOffset = 0x72;    // double, days since 1899-12-30

// Behind the masked area.
inline constexpr std::size_t kHeaderTailOffset = 0x98;    // 54 06 00 00, then "4.0"
inline constexpr std::size_t kCommitCellsOffset = 0xE00;  // Jet 3: 0x600; 256 cells of u16
inline constexpr std::size_t kCommitCellCount = 256;
inline constexpr std::uint16_t kIdleCommitCell = 0x0100;       // bytes 00 01
inline constexpr std::size_t kOfficeEncryptionOffset = 0x299;  // u16 length, then the structure

// Pages with a given place in every file.
inline constexpr PageNumber kGlobalMapPage = 1;           // row 0 global map, row 1 an all-zero map
inline constexpr PageNumber kObjectsTablePage = 2;        // MSysObjects
inline constexpr PageNumber kPermissionsTablePage = 3;    // MSysACEs
inline constexpr PageNumber kQueriesTablePage = 4;        // MSysQueries
inline constexpr PageNumber kRelationshipsTablePage = 5;  // MSysRelationships

// ---- Page kinds --------------------------------------------------------------------------------

enum class PageType : std::uint8_t {
    Header = 0x00,
    Data = 0x01,  // rows of a table, usage maps, long values: the owner field tells which
    TableDefinition = 0x02,
    IndexNode = 0x03,
    IndexLeaf = 0x04,
    UsageBitmap = 0x05,
};
inline constexpr std::size_t kPageTypeOffset = 0;
inline constexpr std::size_t kPageMarkOffset = 1;  // 0x01 on every page but page 0
inline constexpr std::uint8_t kPageMark = 0x01;
inline constexpr std::size_t kPageFreeOffset = 2;   // u16 free bytes (tdef: unused bytes - 8)
inline constexpr std::size_t kPageOwnerOffset = 4;  // u32 tdef page; data pages: also these two
inline constexpr std::uint32_t kUsageMapOwner = 0;
inline constexpr std::uint32_t kLongValueOwner = 0x4C41564C;  // "LVAL"

// ---- What differs between Jet 3 and Jet 4/ACE ---------------------------------------------------

// Row slots of a data page: u16 each, rows grow from the page's end downwards.
inline constexpr std::uint16_t kSlotOffsetMask = 0x1FFF;
inline constexpr std::uint16_t kSlotDeleted = 0x8000;
inline constexpr std::uint16_t kSlotOverflow = 0x4000;  // at the offset: a row pointer
inline constexpr std::size_t kSlotSize = 2;
inline constexpr int kMaxOverflowHops = 16;  // ours: longer chains are damage

struct DataPageLayout {
    std::size_t row_count_offset;  // u16
    std::size_t slots_offset;
};

struct UsageMapLayout {
    std::size_t row_length;     // as the engine makes them; maps run to the end of their row
    std::size_t inline_pages;   // that an inline map of that length covers
    std::size_t bitmap_offset;  // in a page of type UsageBitmap
    std::size_t bitmap_pages;   // that one such page covers
};
// The row: u8 type; inline: u32 first page, bitmap; reference: u32 page numbers, 0 = all clear.
inline constexpr std::uint8_t kInlineMap = 0;
inline constexpr std::uint8_t kReferenceMap = 1;
inline constexpr std::size_t kInlineMapStartOffset = 1;
inline constexpr std::size_t kInlineMapBitsOffset = 5;
inline constexpr std::size_t kReferenceMapPagesOffset = 1;

// Offsets in the logical table definition: the first page whole, then bytes 8.. of each further
// page.
inline constexpr std::size_t kTdefNextPageOffset = 4;      // u32 in each page of it
inline constexpr std::size_t kTdefContinuationOffset = 8;  // where a further page's bytes begin
inline constexpr std::size_t kTdefLengthOffset = 8;        // u32, closing FF FF included
inline constexpr std::uint16_t kTdefEnd = 0xFFFF;
inline constexpr std::uint32_t kTdefMagic = 1625;       // u32, Jet 4: in header and descriptors
inline constexpr std::uint32_t kRealIndexMagic = 1923;  // u32, Jet 4
inline constexpr std::size_t kTdefMagicOffset = 12;     // Jet 4
inline constexpr std::size_t kTdefAutoNumberStepOffset = 24;  // u8 1, Jet 4
inline constexpr std::size_t kTdefComplexNumberOffset = 28;   // u32 last complex key, ACE
inline constexpr std::uint8_t kUserTable = 0x4E;              // 'N'
inline constexpr std::uint8_t kSystemTable = 0x53;            // 'S'

struct TdefLayout {
    std::size_t row_count_offset;            // u32; a hint, real files have wrong ones
    std::size_t auto_number_offset;          // u32 last one handed out
    std::size_t table_type_offset;           // u8
    std::size_t max_columns_offset;          // u16 highest column number + 1, never shrinks
    std::size_t variable_count_offset;       // u16 highest variable index + 1, never shrinks
    std::size_t column_count_offset;         // u16
    std::size_t logical_index_count_offset;  // u32
    std::size_t real_index_count_offset;     // u32
    std::size_t owned_map_offset;            // row pointer
    std::size_t free_map_offset;             // row pointer
    std::size_t index_counts_offset;         // = header size; one entry per real index
    std::size_t index_count_size;
    std::size_t distinct_count_offset;  // u32 in such an entry

    std::size_t column_size;
    std::size_t column_type;          // u8
    std::size_t column_number;        // u16
    std::size_t column_variable;      // u16 variable index
    std::size_t column_collation;     // 4 bytes, see kCollation...
    std::size_t column_flags;         // u8
    std::size_t column_fixed_offset;  // u16
    std::size_t column_length;        // u16

    std::size_t name_length_size;  // 1 or 2: of the length before column and index names

    std::size_t real_index_size;
    std::size_t real_index_columns;  // kMaxIndexColumns x { u16 column number, u8 flags }
    std::size_t real_index_map;      // row pointer of its owned pages
    std::size_t real_index_root;     // u32 page
    std::size_t real_index_flags;    // u8

    std::size_t logical_index_size;
    std::size_t logical_index_fields;  // where the fields below begin
};
inline constexpr std::size_t kColumnMagicOffset = 1;        // u32 kTdefMagic, Jet 4
inline constexpr std::size_t kColumnNumberAgainOffset = 9;  // u16, Jet 4
inline constexpr std::size_t kColumnNumberAgainOffsetJet3 = 5;
inline constexpr std::size_t kColumnExtendedFlagsOffset = 16;  // u8, Jet 4
// Each long value column (Memo, OLE), behind the index names: u16 column number, row pointer of the
// owned pages, row pointer of those with room.
inline constexpr std::size_t kLongValueMapsSize = 2 + 4 + 4;

// The collation field: text: u16 LCID, u8 0, u8 version (Jet 3: u16 LCID, u16 code page); numeric:
// u8 precision, u8 scale; complex: u32 id.
inline constexpr std::size_t kCollationVersionByte = 3;
inline constexpr std::uint16_t kEnglishLcid = 0x0409;
inline constexpr std::uint8_t kGeneralLegacyVersion = 0;
inline constexpr std::uint8_t kGeneralVersion = 1;

// Flags of a column.
inline constexpr std::uint8_t kColumnFixed = 0x01;  // this, not the type, decides the storage
inline constexpr std::uint8_t kColumnMayBeNull = 0x02;
inline constexpr std::uint8_t kColumnAutoNumber = 0x04;
inline constexpr std::uint8_t kColumnSystem = 0x10;
inline constexpr std::uint8_t kColumnAutoGuid = 0x40;
inline constexpr std::uint8_t kColumnHyperlink = 0x80;
// Extended flags.
inline constexpr std::uint8_t kColumnCompressed = 0x01;  // text may be stored compressed
inline constexpr std::uint8_t kColumnCalculated = 0xC0;

// Flags of a column in an index; of a real index.
inline constexpr std::uint8_t kIndexAscending = 0x01;
inline constexpr std::uint16_t kNoIndexColumn = 0xFFFF;
inline constexpr std::uint8_t kIndexUnique = 0x01;
inline constexpr std::uint8_t kIndexIgnoreNulls = 0x02;
inline constexpr std::uint8_t kIndexRequired = 0x08;
inline constexpr std::uint8_t kIndexAlwaysSet = 0x80;  // by Access 2000 and later

// Fields of a logical index, relative to TdefLayout::logical_index_fields.
inline constexpr std::size_t kLogicalNumber = 0;          // u32
inline constexpr std::size_t kLogicalReal = 4;            // u32 position of the real index
inline constexpr std::size_t kLogicalRelationSide = 8;    // u8 0 none, 1 referenced, 2 referencing
inline constexpr std::size_t kLogicalOtherIndex = 9;      // u32, FFFFFFFF none
inline constexpr std::size_t kLogicalOtherTable = 13;     // u32 tdef page
inline constexpr std::size_t kLogicalCascadeUpdate = 17;  // u8
inline constexpr std::size_t kLogicalCascadeDelete = 18;  // u8
inline constexpr std::size_t kLogicalKind = 19;           // u8
inline constexpr std::uint8_t kOrdinaryIndex = 0;
inline constexpr std::uint8_t kPrimaryKeyIndex = 1;
inline constexpr std::uint8_t kForeignKeyIndex = 2;

// Index pages. The mask: bit k set = an entry ends at byte k of the entry area. Leaf entry: key,
// 3 bytes big-endian page, 1 byte row; node entry: the same of the last leaf entry below, then 4
// bytes big-endian child page. All entries but the first omit the shared prefix.
struct IndexPageLayout {
    std::size_t previous_offset;  // u32 page on the same level, 0 none
    std::size_t next_offset;      // u32
    std::size_t tail_offset;      // u32 last child of a node, without an entry; 0 none
    std::size_t prefix_offset;    // u16
    std::size_t mask_offset;
    std::size_t mask_size;
    std::size_t entries_offset;  // to the page's end
};
inline constexpr std::size_t kLeafEntryTail = 3 + 1;
inline constexpr std::size_t kNodeEntryTail = kLeafEntryTail + 4;
inline constexpr int kMaxIndexDepth = 16;  // ours: deeper trees are damage

// Long values: 12 bytes in the row, data behind them when inline.
inline constexpr std::size_t kLongValueHeaderSize = 12;
inline constexpr std::size_t kLongValuePointerOffset = 4;
inline constexpr std::uint32_t kLongValueLengthMask = 0x3FFFFFFF;
inline constexpr std::uint32_t kLongValueKindMask = 0xC0000000;
inline constexpr std::uint32_t kLongValueInline = 0x80000000;
inline constexpr std::uint32_t kLongValueSingle = 0x40000000;  // one LVAL row
inline constexpr std::uint32_t kLongValueChain = 0x00000000;
inline constexpr std::size_t kLongValueLinkSize = 4;  // before each piece of a chain

struct Layout {
    bool jet3;
    std::size_t page_size;
    std::uint64_t max_file_size;
    std::size_t max_row_size;  // long values elsewhere not counted
    std::size_t masked_length;
    std::size_t max_single_long_value;  // bytes of a one-row long value
    std::size_t max_long_value_piece;   // bytes of a chain's piece
    DataPageLayout data;
    UsageMapLayout map;
    TdefLayout tdef;
    IndexPageLayout index;
};

inline constexpr Layout kJet3Layout = {
    .jet3 = true,
    .page_size = 2048,
    .max_file_size = kMaxFileSizeJet3,
    .max_row_size = 2012,
    .masked_length = kMaskedLengthJet3,
    .max_single_long_value = 2032,
    .max_long_value_piece = 2028,
    .data = {.row_count_offset = 8, .slots_offset = 10},
    .map = {.row_length = 5 + 128,
            .inline_pages = 1024,
            .bitmap_offset = 4,
            .bitmap_pages = (2048 - 4) * 8},
    .tdef = {.row_count_offset = 12,
             .auto_number_offset = 16,
             .table_type_offset = 20,
             .max_columns_offset = 21,
             .variable_count_offset = 23,
             .column_count_offset = 25,
             .logical_index_count_offset = 27,
             .real_index_count_offset = 31,
             .owned_map_offset = 35,
             .free_map_offset = 39,
             .index_counts_offset = 43,
             .index_count_size = 8,
             .distinct_count_offset = 4,
             .column_size = 18,
             .column_type = 0,
             .column_number = 1,
             .column_variable = 3,
             .column_collation = 9,
             .column_flags = 13,
             .column_fixed_offset = 14,
             .column_length = 16,
             .name_length_size = 1,
             .real_index_size = 39,
             .real_index_columns = 0,
             .real_index_map = 30,
             .real_index_root = 34,
             .real_index_flags = 38,
             .logical_index_size = 20,
             .logical_index_fields = 0},
    .index = {.previous_offset = 8,
              .next_offset = 12,
              .tail_offset = 16,
              .prefix_offset = 20,
              .mask_offset = 22,
              .mask_size = 226,
              .entries_offset = 248},
};

inline constexpr Layout kJet4Layout = {
    .jet3 = false,
    .page_size = 4096,
    .max_file_size = kMaxFileSize,
    .max_row_size = 4060,
    .masked_length = kMaskedLengthJet4,
    .max_single_long_value = 4076,
    .max_long_value_piece = 4072,
    .data = {.row_count_offset = 12, .slots_offset = 14},
    .map = {.row_length = 5 + 64,
            .inline_pages = 512,
            .bitmap_offset = 4,
            .bitmap_pages = (4096 - 4) * 8},
    .tdef = {.row_count_offset = 16,
             .auto_number_offset = 20,
             .table_type_offset = 40,
             .max_columns_offset = 41,
             .variable_count_offset = 43,
             .column_count_offset = 45,
             .logical_index_count_offset = 47,
             .real_index_count_offset = 51,
             .owned_map_offset = 55,
             .free_map_offset = 59,
             .index_counts_offset = 63,
             .index_count_size = 12,
             .distinct_count_offset = 4,
             .column_size = 25,
             .column_type = 0,
             .column_number = 5,
             .column_variable = 7,
             .column_collation = 11,
             .column_flags = 15,
             .column_fixed_offset = 21,
             .column_length = 23,
             .name_length_size = 2,
             .real_index_size = 52,
             .real_index_columns = 4,
             .real_index_map = 34,
             .real_index_root = 38,
             .real_index_flags = 46,
             .logical_index_size = 28,
             .logical_index_fields = 4},
    .index = {.previous_offset = 12,
              .next_offset = 16,
              .tail_offset = 20,
              .prefix_offset = 24,
              .mask_offset = 27,
              .mask_size = 453,
              .entries_offset = 480},
};

// ---- Column types ------------------------------------------------------------------------------

enum class ColumnType : std::uint8_t {
    Boolean = 0x01,  // no storage: its bit of the null mask is the value
    Byte = 0x02,
    Integer = 0x03,  // 2 bytes
    Long = 0x04,
    Currency = 0x05,  // int64 x 10000
    Single = 0x06,
    Double = 0x07,
    DateTime = 0x08,  // double, days since 1899-12-30
    Binary = 0x09,
    Text = 0x0A,
    Ole = 0x0B,   // long value
    Memo = 0x0C,  // long value
    Unknown0D = 0x0D,
    Guid = 0x0F,
    Numeric = 0x10,  // 17 bytes: sign, then 4 words, most significant first
    Unknown11 = 0x11,
    Complex = 0x12,  // int32 key into a flat table
    BigInt = 0x13,
    DateTimeExtended = 0x14,  // 42 ASCII bytes
};
inline constexpr std::size_t kNumericSize = 17;
inline constexpr std::uint8_t kNumericNegative = 0x80;
inline constexpr int kMaxNumericPrecision = 28;
inline constexpr int kCurrencyScale = 4;
inline constexpr std::size_t kGuidSize = 16;
inline constexpr std::size_t kExtendedDateSize = 42;
inline constexpr double kMinSerialDate = -657434.0;  // 0100-01-01
inline constexpr double kEndSerialDate = 2958466.0;  // 10000-01-01

// Calculated columns wrap each value: 16 zero bytes, u32 length, the data, 3 bytes that may lack.
inline constexpr std::size_t kCalculatedLengthOffset = 16;
inline constexpr std::size_t kCalculatedDataOffset = 20;
inline constexpr std::size_t kCalculatedTail = 3;

// Compressed text (Jet 4): FF FE, then one byte a character; a 0 byte switches to UTF-16 units and
// back.
inline constexpr std::uint8_t kCompressedMark0 = 0xFF;
inline constexpr std::uint8_t kCompressedMark1 = 0xFE;
inline constexpr std::size_t kMinCompressedUnits = 3;
inline constexpr std::size_t kMaxCompressedUnits = 1024;

// ---- Catalogue ---------------------------------------------------------------------------------

enum class ObjectType : std::int16_t {
    Table = 1,
    Database = 2,
    Container = 3,
    OdbcLink = 4,
    Query = 5,
    Link = 6,  // a table of another file
    Relationship = 8,
};
inline constexpr std::uint32_t kObjectSystem = 0x80000000;
inline constexpr std::uint32_t kObjectSystem2 = 0x00000002;
inline constexpr std::uint32_t kObjectHidden = 0x00000008;
inline constexpr std::uint32_t kQueryKindMask = 0xF0;
inline constexpr std::int32_t kTablesContainer = 0x0F000001;
inline constexpr std::int32_t kDatabasesContainer = 0x0F000002;
inline constexpr std::int32_t kRelationshipsContainer = 0x0F000003;
inline constexpr std::int32_t kContainersParent = 0x0F000000;
inline constexpr std::int32_t kDatabaseObject = 0x10000000;  // MSysDb

}  // namespace vantry::access
