// A table is opened with the sidecars that its header and fields call for. The header is read again
// at the start of each statement in front of which the files have changed: only the count, the date
// and the numbers to hand out may be others, else it is another table now.

#include "drivers/foxpro/table/table_file.h"

#include "data/letter_case.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/code_page_marks.h"
#include "drivers/foxpro/table/sidecars.h"
#include "drivers/foxpro/write/table_writer.h"
#include "files/file_name.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

namespace vantry::foxpro {
namespace {

namespace fs = std::filesystem;

bool HasMemoFields(const TableLayout& layout) {
    return std::any_of(layout.fields.begin(), layout.fields.end(), [](const Field& field) {
        return field.IsMemo();
    });
}

// Left by programs that draw maps; their tables have no mark in the header.
std::optional<int> PageOfCpgFile(const std::string& path) {
    const auto name = Sidecar(path, ".cpg");
    std::ifstream in(name);
    std::string line;
    if (!in || !std::getline(in, line) || line.size() > 64) {
        return std::nullopt;
    }
    return CodePageOfName(line);
}

// Two layouts of the same fields.
bool SameFields(const TableLayout& left, const TableLayout& right) {
    return left.version == right.version && left.record_length == right.record_length &&
           left.header_length == right.header_length &&
           std::equal(left.fields.begin(),
                      left.fields.end(),
                      right.fields.begin(),
                      right.fields.end(),
                      [](const Field& a, const Field& b) {
                          return a.name == b.name && a.type == b.type && a.length == b.length &&
                                 a.decimals == b.decimals && a.nullable == b.nullable &&
                                 a.binary == b.binary;
                      });
}

// The container lists the fields in their order. Where it has another number of them, their first
// letters tell.
void GiveLongNames(TableLayout& layout, std::span<const std::string> names) {
    const auto shown = static_cast<std::size_t>(
        std::count_if(layout.fields.begin(), layout.fields.end(), [](const Field& field) {
            return !field.hidden;
        }));
    std::size_t position = 0;
    for (auto& field : layout.fields) {
        if (field.hidden) {
            continue;
        }
        for (std::size_t k = 0; k < names.size(); ++k) {
            const bool by_letters =
                UpperCased(std::string_view(names[k]).substr(0, kFieldNameLength)) == field.name;
            if (names.size() == shown ? k == position : by_letters) {
                field.long_name = names[k].empty() ? field.name : names[k];
                break;
            }
        }
        ++position;
    }
}

}  // namespace

TableFile::TableFile(const std::string& path,
                     const TableOptions& options,
                     std::span<const std::string> long_names,
                     std::string_view name)
    : path_(path), options_(options) {
    if (std::error_code unknown; fs::is_directory(path, unknown)) {
        throw CannotOpen(path, "it is a folder");
    }
    BringBackSidecars(path);
    const std::array others = {Sidecar(path, ".fpt"),
                               Sidecar(path, ".dbt"),
                               Sidecar(path, ".cdx"),
                               Sidecar(path, ".dct"),
                               Sidecar(path, ".dcx")};
    file::FileGroupOptions group_options;
    group_options.max_size = kMaxFileSize;
    group_ = std::make_unique<file::FileGroup>(
        file::File::Open(path, file::OpenMode::ReadWriteIfAllowed),
        file::ByteRange{kTableLockStart, kTableLockLength},
        others,
        group_options);
    stamp_ = group_->StampOfLeader();
    auto header = ParseHeader(ReadHeaderBytes(), group_->SizeOf(kTable), path_);
    layout_ = std::move(header.layout);
    GiveLongNames(layout_, long_names);
    layout_.names.push_back(fs::path(path).stem().string());
    if (!name.empty()) {
        layout_.names.emplace_back(name);
    }
    NoteCount(header.record_count);
    version_ = group_->Version();
    bool guess_utf8 = false;
    layout_.code_page = ChooseCodePage(guess_utf8);
    coder_ = std::make_unique<TextCoder>(layout_.code_page, guess_utf8);
    OpenSidecars();
    if (options_.exclusive) {
        group_->HoldForeignLocks();
    }
}

TableFile::~TableFile() {
    try {
        // Whoever must know whether the last rows got there has settled before.
        if (group_->InTransaction() && !group_->InStatement()) {
            group_->Settle();
        }
    } catch (const std::exception&) {
        // Nobody is left to tell; the files are as before the batch.
    }
    group_->SetBeforeCommit({});
}

void TableFile::FlushRecords() {
    if (writer_) {
        writer_->FlushRecords();
    }
}

TableWriter& TableFile::Writer(bool null_by_default) {
    if (!writer_) {
        writer_ = std::make_unique<TableWriter>(*this, null_by_default);
    }
    return *writer_;
}

bool TableFile::IsStillThere() const {
    const auto named = file::StampOf(path_);
    std::byte flags{};
    return named && named->SameFile(stamp_) &&
           group_->Read(kTable, kTableFlagsOffset, {&flags, 1}) == 1 &&
           ((std::to_integer<unsigned>(flags) ^ layout_.flags) & kHasStructuralIndex) == 0;
}

std::vector<std::byte> TableFile::ReadHeaderBytes() {
    std::vector<std::byte> bytes(kFixedHeaderSize);
    bytes.resize(group_->Read(kTable, 0, bytes));
    if (bytes.size() < kFixedHeaderSize) {
        return bytes;
    }
    // Its header has no length: records begin at the same place in all such files.
    const bool fox_base = bytes[kVersionOffset] == static_cast<std::byte>(Version::FoxBase);
    const std::size_t length =
        fox_base ? kFoxBaseFirstRecord
                 : std::max<std::size_t>(file::LoadU16(bytes, kHeaderLengthOffset), 32);
    bytes.resize(length);
    bytes.resize(group_->Read(kTable, 0, bytes));
    return bytes;
}

// Only whole records that are there count; the rest is told when a walk has come to its end.
void TableFile::NoteCount(std::uint32_t counted) {
    const std::uint64_t size = group_->SizeOf(kTable);
    const std::uint64_t room =
        size > layout_.header_length ? (size - layout_.header_length) / layout_.record_length : 0;
    record_count_ = static_cast<RecordNumber>(std::min<std::uint64_t>(counted, room));
    missing_records_ = counted - record_count_;
}

void TableFile::Refresh() {
    group_->Settle();
    if (!group_->InTransaction()) {
        Reread();
    }
}

void TableFile::Reread() {
    if (version_ == group_->Version()) {
        return;
    }
    version_ = group_->Version();
    const auto header = ParseHeader(ReadHeaderBytes(), group_->SizeOf(kTable), path_);
    if (!SameFields(header.layout, layout_)) {
        throw CannotOpen(path_, "its fields have been changed meanwhile; choose the table again");
    }
    if (((header.layout.flags ^ layout_.flags) & kHasStructuralIndex) != 0) {
        throw CannotOpen(path_,
                         "its index has been added or dropped meanwhile; choose the table again");
    }
    NoteCount(header.record_count);
}

// What the user says, what the header says, what a file beside it says, and then a guess.
int TableFile::ChooseCodePage(bool& guess_utf8) const {
    if (options_.code_page) {
        return *options_.code_page;
    }
    if (const auto marked = CodePageOfMark(layout_.code_page_mark)) {
        return *marked;
    }
    if (const auto named = PageOfCpgFile(path_)) {
        return *named;
    }
    guess_utf8 = true;
    return WindowsCodePageOfLocale();
}

bool TableFile::ReadRecord(RecordNumber number, std::span<std::byte> out) {
    if (number == 0 || number > record_count_) {
        return false;
    }
    return group_->Read(kTable, layout_.OffsetOf(number), out) == out.size();
}

// ---- Sidecars ---------------------------------------------------------------------------------

void TableFile::OpenSidecars() {
    if (HasMemoFields(layout_)) {
        OpenMemos();
    }
    if ((layout_.flags & kHasStructuralIndex) != 0) {
        OpenIndex();
    }
}

// The version names the format, but not always rightly: in doubt a block's first bytes decide.
void TableFile::OpenMemos() {
    struct Candidate {
        std::string_view extension;
        MemoFormat format;
    };
    std::vector<Candidate> candidates;
    switch (layout_.version) {
        case Version::VisualFoxPro:
        case Version::VisualFoxProAutoIncrement:
        case Version::VisualFoxProVarchar:
            candidates = {{(layout_.flags & kIsContainer) != 0 ? ".dct" : ".fpt", MemoFormat::Fpt}};
            break;
        case Version::FoxPro2Memo:
            candidates = {{".fpt", MemoFormat::Fpt}};
            break;
        case Version::DBase4Memo:
        case Version::DBase4SqlMemo:
        case Version::DBase7Memo:
            candidates = {{".dbt", MemoFormat::Dbt4}};
            break;
        case Version::DBase3Memo:
            candidates = {{".dbt", MemoFormat::Dbt3}};
            break;
        case Version::ClipperSixMemo:
            return;  // a format that nobody has described
        default:
            // Dbt4 falls back to the other kind where a block isn't marked as its own.
            candidates = {{".dbt", MemoFormat::Dbt4}, {".fpt", MemoFormat::Fpt}};
    }
    for (const auto& candidate : candidates) {
        memo_path_ = Sidecar(path_, candidate.extension);
        auto opened = file::File::OpenIfThere(memo_path_, file::OpenMode::ReadWriteIfAllowed);
        if (opened) {
            const auto member = group_->Add(std::move(*opened), {});
            memos_ = std::make_unique<MemoFile>(*group_, member, candidate.format);
            return;
        }
    }
    memo_path_ = Sidecar(path_, candidates.front().extension);
    memos_missing_ = true;
}

// A flag without a file is an error of changes alone: reading needs no index.
void TableFile::OpenIndex() {
    const auto path = Sidecar(path_, (layout_.flags & kIsContainer) != 0 ? ".dcx" : ".cdx");
    auto opened = file::File::OpenIfThere(path, file::OpenMode::ReadWriteIfAllowed);
    if (opened) {
        index_ = group_->Add(std::move(*opened), {kIndexLockStart, 1});
        return;
    }
    const auto other = Sidecar(path_, ".mdx");
    index_trouble_ = file::StampOf(other)
                         ? "its index " + other +
                               " is of dBase, which isn't kept right here; load into a table "
                               "without it"
                         : "its index " + path +
                               " is missing; bring the file back, or open the table in FoxPro and "
                               "let it drop the index";
}

}  // namespace vantry::foxpro
