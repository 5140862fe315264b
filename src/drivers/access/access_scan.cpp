// Rows of the SQL layer's scans, by the quickest way that a table allows: small tables and rows
// with uncommon columns on this thread, long ones decoded by a second thread and handed over as
// they are. A row that the quick decoder can't do is done again with care, field by field, so that
// one damaged field doesn't take the others along. Easy to get wrong: other connections change the
// file while we read, so a row whose fields go on to other pages must be of one state of the file.

#include "drivers/access/access_scan.h"

#include "drivers/access/errors.h"

#include <exception>

namespace vantry::access {
namespace {

// How often a row is read again when other connections keep changing the file meanwhile.
constexpr int kMaxRetries = 8;
// Runs of pages before a second thread is worth its start.
constexpr std::size_t kRunsAlone = 2;

}  // namespace

RowDecoder::RowDecoder(DatabaseFile& file,
                       const TableDef& def,
                       std::span<const std::size_t> projection)
    : file_(&file),
      def_(&def),
      quick_(file.store->GetLayout(), def, projection),
      room_(QuickRow::RoomFor(kJet4Layout.page_size)),
      cells_(projection.size(), Cell::Null()) {
    for (const auto position : projection) {
        const auto& column = def.columns.at(position);
        leaves_page_ |= column.IsLongValue() || column.type == ColumnType::Complex;
        fields_.push_back({&column, FieldDecoder(*file.store, column), nullptr, {}});
    }
}

void RowDecoder::Decode(ByteSpan bytes, RowPointer pointer) {
    pointer_ = pointer;
    if (quick_.IsPossible()) {
        room_.Clear();
        if (quick_.Decode(bytes, cells_.data(), room_)) {
            return;
        }
    }
    DecodeCarefully(bytes);
}

// Field by field, with a check of each place.
void RowDecoder::DecodeCarefully(ByteSpan bytes) {
    std::optional<RowView> row;
    std::size_t i = 0;
    try {
        row.emplace(*def_, file_->store->GetLayout(), bytes);
        for (; i < fields_.size(); ++i) {
            auto& field = fields_[i];
            const auto stored = row->Field(*field.column);
            cells_[i] = stored ? field.decoder.Decode(*stored) : Cell::Null();
            if (field.column->type == ColumnType::Complex) {
                DecodeComplex(field, cells_[i]);
            }
        }
    } catch (const BoundsError&) {
        if (!row) {
            throw DamagedPage(file_->store->Name(),
                              pointer_.page,
                              "row " + std::to_string(pointer_.row) + " of table '" + def_->name +
                                  "' is too short");
        }
        DecodeDamaged(*row, i);
    }
}

// The fields from `first` on of a row in which one lies outside: the others are still good.
void RowDecoder::DecodeDamaged(const RowView& row, std::size_t first) {
    for (std::size_t i = first; i < fields_.size(); ++i) {
        auto& field = fields_[i];
        field.fault.clear();
        try {
            const auto stored = row.Field(*field.column);
            cells_[i] = stored ? field.decoder.Decode(*stored) : Cell::Null();
            if (field.column->type == ColumnType::Complex) {
                DecodeComplex(field, cells_[i]);
            }
        } catch (const BoundsError&) {
            cells_[i] = Cell::Unreadable();
            field.fault = "its place in the row lies outside";
        }
    }
}

// The key in the cell becomes the text of the values that another table has for it.
void RowDecoder::DecodeComplex(Field& field, Cell& cell) {
    if (cell.Kind() != ValueKind::Int64) {
        return;
    }
    try {
        if (!field.complex) {
            field.complex =
                std::make_unique<ComplexValueReader>(*file_->store, file_->catalog, *field.column);
        }
        const auto& text = field.complex->Read(static_cast<std::int32_t>(cell.AsInt64()));
        cell = text.empty() ? Cell::Null() : Cell::Text(text);
    } catch (const DataError& error) {
        field.fault = error.Description();
        cell = Cell::Unreadable();
    }
}

DataError RowDecoder::FieldError(std::size_t position) const {
    const auto& field = fields_.at(position);
    return UnreadableField(def_->name,
                           field.column->name,
                           pointer_.page,
                           pointer_.row,
                           field.fault.empty() ? field.decoder.Fault() : field.fault);
}

AccessScan::AccessScan(std::shared_ptr<DatabaseFile> file,
                       std::shared_ptr<const TableDef> def,
                       std::span<const std::size_t> projection)
    : file_(std::move(file)),
      def_(std::move(def)),
      scanner_(*file_->store, *def_),
      decoder_(*file_, *def_, projection),
      width_(projection.size()),
      may_read_ahead_(decoder_.Quick().IsPossible()) {}

void AccessScan::StartAhead() {
    may_read_ahead_ = false;
    try {
        ahead_ = std::make_unique<RowsAhead>(*file_->store, scanner_, *def_, decoder_.Quick());
    } catch (const std::exception&) {
        // No thread to be had, or no memory for it: the rows come without one.
    }
}

// Rows of the second thread; where it had to stop within a run, the scanner goes on by itself.
bool AccessScan::NextAhead() {
    for (;;) {
        if (in_cut_run_) {
            if (scanner_.NextInRun()) {
                decoder_.Decode(scanner_.Row(), scanner_.Pointer());
                return true;
            }
            in_cut_run_ = false;
            run_ = nullptr;
        }
        if (run_ != nullptr && run_->taken < run_->rows.size()) {
            ahead_row_ = run_->cells.data() + run_->taken * width_;
            ++run_->taken;
            return true;
        }
        ahead_row_ = nullptr;
        if (run_ != nullptr && run_->is_cut) {
            if (run_->is_read) {
                run_->pages.version = file_->store->VersionOf(run_->stamp);
            } else {
                scanner_.ReadRun(run_->pages);
            }
            scanner_.StandIn(run_->pages, run_->cut_position, run_->cut_slot);
            in_cut_run_ = true;
            continue;
        }
        run_ = ahead_->Next();
        if (run_ == nullptr) {
            return false;
        }
    }
}

bool AccessScan::Next() {
    if (ahead_) {
        return NextAhead();
    }
    if (may_read_ahead_ && scanner_.RunCount() >= kRunsAlone) {
        if (scanner_.NextInRun()) {
            decoder_.Decode(scanner_.Row(), scanner_.Pointer());
            return true;
        }
        StartAhead();
        return Next();
    }
    while (scanner_.Next()) {
        if (!decoder_.LeavesThePage()) {
            decoder_.Decode(scanner_.Row(), scanner_.Pointer());
            return true;
        }
        if (DecodeSettled()) {
            return true;
        }
    }
    return false;
}

// A row whose fields go on to other pages: all of them must be of one state of the file.
bool AccessScan::DecodeSettled() {
    if (scanner_.IsStale() && !scanner_.Refresh()) {
        return false;
    }
    for (int tries = 0;; ++tries) {
        const auto version = file_->store->Version();
        decoder_.Decode(scanner_.Row(), scanner_.Pointer());
        if (file_->store->Version() == version || tries == kMaxRetries) {
            return true;
        }
        if (!scanner_.Refresh()) {
            return false;
        }
    }
}

// An update or delete goes back to a row that the scan has passed.
bool AccessScan::Seek(sql::RowId row) {
    if (ahead_) {
        ahead_.reset();
        run_ = nullptr;
        ahead_row_ = nullptr;
        in_cut_run_ = false;
        scanner_.LeaveRun();
    }
    may_read_ahead_ = false;
    if (row < 0 || row > UINT32_MAX ||
        !scanner_.Seek(UnpackRowPointer(static_cast<std::uint32_t>(row)))) {
        return false;
    }
    decoder_.Decode(scanner_.Row(), scanner_.Pointer());
    return true;
}

AccessKeyScan::AccessKeyScan(std::shared_ptr<DatabaseFile> file,
                             std::shared_ptr<const TableDef> def,
                             const RealIndex& index,
                             std::vector<std::byte> key,
                             std::span<const std::size_t> projection)
    : file_(std::move(file)),
      def_(std::move(def)),
      key_(std::move(key)),
      entries_(*file_->store, *def_, index),
      finder_(*file_->store, *def_),
      decoder_(*file_, *def_, projection) {}

bool AccessKeyScan::Next() {
    if (!started_) {
        started_ = true;
        entries_.Seek(key_);
    }
    while (entries_.Next()) {
        const auto key = entries_.Key();
        // Keys with more columns than were asked for begin with the same bytes.
        if (key.size() < key_.size() || !std::equal(key_.begin(), key_.end(), key.begin())) {
            return false;
        }
        pointer_ = entries_.Row();
        if (const auto row = finder_.Find(pointer_)) {
            decoder_.Decode(*row, pointer_);
            return true;
        }
    }
    return false;
}

bool AccessKeyScan::Seek(sql::RowId row) {
    if (row < 0 || row > UINT32_MAX) {
        return false;
    }
    pointer_ = UnpackRowPointer(static_cast<std::uint32_t>(row));
    if (pointer_.page >= file_->store->PageCount()) {
        return false;
    }
    const auto bytes = finder_.Find(pointer_);
    if (bytes) {
        decoder_.Decode(*bytes, pointer_);
    }
    return bytes.has_value();
}

}  // namespace vantry::access
