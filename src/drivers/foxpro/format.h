#pragma once
// Facts of DBF tables, their memo files and containers: offsets, sizes, codes, limits. Numbers in
// tables are little-endian, in FPT memo headers and container properties big-endian. Offsets count
// from the start of the file or structure, in bytes. Unless a line says otherwise a fact was
// measured on files that the original products wrote. The facts of .cdx files stand in
// indexes/cdx_format.h.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vantry::foxpro {

// ---- Header of a table, 32 bytes (all versions but FoxBase)
inline constexpr std::size_t kVersionOffset = 0;        // u8, see Version
inline constexpr std::size_t kUpdateDateOffset = 1;     // three u8: year % 100, month, day
inline constexpr std::size_t kRecordCountOffset = 4;    // u32; deleted records are counted
inline constexpr std::size_t kHeaderLengthOffset = 8;   // u16, offset of the first record
inline constexpr std::size_t kRecordLengthOffset = 10;  // u16, deletion mark included
inline constexpr std::size_t kEncryptedOffset = 15;     // u8, dBase IV: 1 = encrypted
inline constexpr std::size_t kTableFlagsOffset = 28;    // u8, see below
inline constexpr std::size_t kCodePageMarkOffset = 29;  // u8, see table/code_page_marks.h
inline constexpr std::size_t kFixedHeaderSize = 32;
inline constexpr std::size_t kSmallestHeader = kFixedHeaderSize + 1;  // with the terminator

inline constexpr std::uint8_t kHasStructuralIndex = 0x01;  // .cdx, or .mdx of dBase
inline constexpr std::uint8_t kHasMemo = 0x02;             // Visual FoxPro only
inline constexpr std::uint8_t kIsContainer = 0x04;

enum class Version : std::uint8_t {
    FoxBase = 0x02,  // also dBase II: a header of its own
    DBase3 = 0x03,   // also FoxPro 2.x and dBase IV without memo
    DBase7 = 0x04,
    VisualFoxPro = 0x30,
    VisualFoxProAutoIncrement = 0x31,
    VisualFoxProVarchar = 0x32,  // with a V, Q or W field
    DBase4SqlTable = 0x43,
    DBase4SqlSystem = 0x63,
    DBase3Memo = 0x83,
    DBase4Memo = 0x8B,
    DBase7Memo = 0x8C,
    DBase4SqlMemo = 0xCB,
    ClipperSixMemo = 0xE5,
    FoxPro2Memo = 0xF5,
    FoxBaseMemo = 0xFB,
};

// ---- Field descriptors, 32 bytes each behind the header, until the terminator
inline constexpr std::byte kHeaderTerminator{0x0D};
inline constexpr std::size_t kDescriptorSize = 32;
inline constexpr std::size_t kFieldNameOffset = 0;  // upper case, padded with zeros
inline constexpr std::size_t kFieldNameSize = 11;
inline constexpr std::size_t kFieldNameLength = kFieldNameSize - 1;
inline constexpr std::size_t kFieldTypeOffset = 11;       // a letter
inline constexpr std::size_t kFieldPositionOffset = 12;   // u32, Visual FoxPro alone: in the record
inline constexpr std::size_t kFieldLengthOffset = 16;     // u8
inline constexpr std::size_t kFieldDecimalsOffset = 17;   // u8; C of Clipper: high byte of length
inline constexpr std::size_t kFieldFlagsOffset = 18;      // u8, see below
inline constexpr std::size_t kFieldNextValueOffset = 19;  // u32, auto-increment
inline constexpr std::size_t kFieldStepOffset = 23;       // u8, auto-increment

inline constexpr std::uint8_t kFieldSystem = 0x01;  // hidden
inline constexpr std::uint8_t kFieldNullable = 0x02;
inline constexpr std::uint8_t kFieldBinary = 0x04;  // not in the table's code page
inline constexpr std::uint8_t kFieldAutoIncrement = 0x08;

// Visual FoxPro: the path of the container behind the terminator, padded with zeros; a free table
// has zeros alone.
inline constexpr std::size_t kBackLinkSize = 263;
inline constexpr std::string_view kNullFlagsName = "_NullFlags";  // the last field, hidden

// Version FoxBase: an own header of 8 bytes, up to 32 descriptors of 16 bytes. (From independent
// libraries; one file agrees.)
inline constexpr std::size_t kFoxBaseRecordCountOffset = 1;   // u16
inline constexpr std::size_t kFoxBaseRecordLengthOffset = 6;  // u16
inline constexpr std::size_t kFoxBaseHeaderSize = 8;
inline constexpr std::size_t kFoxBaseDescriptorSize = 16;
inline constexpr std::size_t kFoxBaseFieldLengthOffset = 12;    // u8
inline constexpr std::size_t kFoxBaseFieldDecimalsOffset = 15;  // u8
inline constexpr std::size_t kFoxBaseMaxFields = 32;
inline constexpr std::size_t kFoxBaseFirstRecord = 521;

// Version dBase 7: descriptors of 48 bytes from 68 on. (Documented.)
inline constexpr std::size_t kDBase7FirstDescriptor = 68;
inline constexpr std::size_t kDBase7DescriptorSize = 48;
inline constexpr std::size_t kDBase7NameSize = 32;
inline constexpr std::size_t kDBase7TypeOffset = 32;
inline constexpr std::size_t kDBase7LengthOffset = 33;
inline constexpr std::size_t kDBase7DecimalsOffset = 34;

// ---- Records
inline constexpr std::byte kLiveRecord{0x20};
inline constexpr std::byte kDeletedRecord{0x2A};
inline constexpr std::byte kEndOfTable{0x1A};  // behind the last record; may be missing

// Day numbers of T fields, keys and dates: 1970-01-01 is 2440588.
inline constexpr std::int32_t kJulianDayZero = 2'415'019;  // of 1899-12-30, day 0 of DateTime
inline constexpr std::int32_t kMillisPerDay = 86'400'000;
inline constexpr int kCurrencyScale = 4;

// ---- Memo files
// FPT (and .dct): a header of 512 bytes, then blocks. Both numbers are big-endian.
inline constexpr std::size_t kFptNextFreeOffset = 0;   // u32, block number
inline constexpr std::size_t kFptBlockSizeOffset = 6;  // u16, bytes; 1 is legal, 0 means 512
inline constexpr std::size_t kMemoHeaderSize = 512;    // DBT: at least one block
inline constexpr std::size_t kFptBlockHeader = 8;      // u32 kind, u32 length without this header
inline constexpr std::uint32_t kFptPicture = 0;
inline constexpr std::uint32_t kFptText = 1;
inline constexpr std::uint32_t kFptObject = 2;
inline constexpr std::size_t kDefaultFptBlock = 64;
inline constexpr std::size_t kDefaultMemoBlock = 512;
// DBT: u32 little-endian next free block at 0. dBase III ends texts with 0x1A 0x1A; dBase IV has
// blocks with a header: FF FF 08 00, u32 length with this header.
inline constexpr std::size_t kDbtNextFreeOffset = 0;
inline constexpr std::size_t kDbt4BlockSizeOffset = 20;  // u16
inline constexpr std::size_t kDbtBlock = 512;
inline constexpr std::size_t kDbt4BlockHeader = 8;
inline constexpr std::array<std::uint8_t, 4> kDbt4Mark = {0xFF, 0xFF, 0x08, 0x00};
inline constexpr std::byte kDbt3End{0x1A};
inline constexpr std::size_t kMemoPointerBinary = 4;  // Visual FoxPro: u32
inline constexpr std::size_t kMemoPointerText = 10;   // others: digits, right aligned

// ---- Limits (documented)
inline constexpr std::uint64_t kMaxFileSize = 2'147'483'647;  // bytes
inline constexpr std::uint32_t kMaxRecords = 1'000'000'000;
inline constexpr std::size_t kMaxRecordLength = 65'500;
inline constexpr std::size_t kMaxFields = 255;  // with the hidden one
inline constexpr std::size_t kMaxTextWidth = 254;
inline constexpr std::size_t kMaxNumberWidth = 20;
inline constexpr std::size_t kMaxLongName = 128;  // of columns and tables in a container

// ---- Locks of other programs on a table: bytes far behind the data. (From independent libraries.)
// All of their ways to lock a record, the header or the table lie in this range of the .dbf.
inline constexpr std::uint64_t kTableLockStart = 0x40000000;
inline constexpr std::uint64_t kTableLockLength = 0x3FFFFFFF;
inline constexpr std::uint64_t kIndexLockStart = 0x7FFFFFFE;  // one byte of the .cdx

// ---- Container (.dbc): a Visual FoxPro table of these fields
inline constexpr std::size_t kContainerObjectId = 0;    // I, equals the record number
inline constexpr std::size_t kContainerParentId = 1;    // I
inline constexpr std::size_t kContainerObjectType = 2;  // C(10)
inline constexpr std::size_t kContainerObjectName = 3;  // C(128)
inline constexpr std::size_t kContainerProperty = 4;    // M, binary
inline constexpr std::size_t kContainerFields = 8;      // and CODE, RIINFO, USER
inline constexpr std::int32_t kContainerRoot = 1;       // the parent of tables and views
// Object types. The first five objects are of the type Database, in this order; containers before
// version 6 have four of them.
inline constexpr std::string_view kTableType = "Table";
inline constexpr std::string_view kViewType = "View";
inline constexpr std::string_view kFieldType = "Field";
inline constexpr std::string_view kIndexType = "Index";
inline constexpr std::string_view kRelationType = "Relation";
inline constexpr std::string_view kConnectionType = "Connection";
inline constexpr std::string_view kDatabaseType = "Database";
inline constexpr std::array<std::string_view, 5> kDatabaseObjects = {
    "Database",
    "TransactionLog",
    "StoredProceduresSource",
    "StoredProceduresObject",
    "StoredProceduresDependencies"};
inline constexpr std::int32_t kContainerVersion = 10;  // of Visual FoxPro 3 to 6; 11: 7 to 9
// Properties: u32 length with itself, u16 1, u8 id, value.
inline constexpr std::size_t kPropertyHead = 7;
inline constexpr std::uint8_t kPropertyPath = 1;  // text: the table's file, relative
inline constexpr std::uint8_t kPropertyClass = 2;
inline constexpr std::uint8_t kPropertyComment = 7;
inline constexpr std::uint8_t kPropertyRule = 9;
inline constexpr std::uint8_t kPropertyDefault = 11;
inline constexpr std::uint8_t kPropertyInsertTrigger = 14;
inline constexpr std::uint8_t kPropertyUpdateTrigger = 15;
inline constexpr std::uint8_t kPropertyDeleteTrigger = 16;
inline constexpr std::uint8_t kPropertyChildTag = 13;
inline constexpr std::uint8_t kPropertyUnique = 17;
inline constexpr std::uint8_t kPropertyParentTable = 18;
inline constexpr std::uint8_t kPropertyParentTag = 19;
inline constexpr std::uint8_t kPropertyPrimaryTag = 20;
inline constexpr std::uint8_t kPropertyVersion = 24;  // i32 big-endian
inline constexpr std::uint8_t kPropertySqlText = 42;
inline constexpr std::uint8_t kClassTable = 1;
inline constexpr std::uint8_t kClassLocalView = 6;
inline constexpr std::uint8_t kClassRemoteView = 7;

}  // namespace vantry::foxpro
