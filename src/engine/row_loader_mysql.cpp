#include "engine/row_loader_mysql.h"

#include "core/table_names.h"
#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "engine/own_source.h"
#include "engine/row_walk.h"
#include "engine/run_log.h"
#include "engine/run_report.h"

#include <array>
#include <charconv>
#include <cstring>

namespace vantry {
namespace {

constexpr int kErrorLimit = 51;
constexpr std::int64_t kRowsPerBatch = 100;
constexpr std::int64_t kRowsPerSecondHandOver = 10;

// ---- Values in the statement's text

void AppendNull(std::string& batch) {
    batch += "NULL,";
}

// With each single quote doubled: the only escaping there is.
void AppendQuoted(std::string_view text, std::string& batch) {
    batch += '\'';
    while (!text.empty()) {
        const auto* const quote =
            static_cast<const char*>(std::memchr(text.data(), '\'', text.size()));
        if (quote == nullptr) {
            batch += text;
            break;
        }
        const auto length = static_cast<std::size_t>(quote - text.data()) + 1;
        batch.append(text.data(), length);
        batch += '\'';
        text.remove_prefix(length);
    }
    batch += "',";
}

char* PutDigits(char* out, int value, int digits) {
    for (int place = digits - 1; place >= 0; --place) {
        out[place] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + digits;
}

constexpr std::size_t kDateLength = 10;      // yyyy-mm-dd
constexpr std::size_t kDateTimeLength = 19;  // yyyy-mm-dd-hh-nn-ss
using DateText = std::array<char, kDateTimeLength>;

DateText FormatForServer(const Cell& value) {
    const auto moment = ToDateTime(value);
    if (!moment) {
        throw DataError(kErrConversion,
                        "The value \"" + ToText(value) + "\" of a date column is no date.");
    }
    const auto date = CalendarOf(moment->day);
    const auto seconds = static_cast<int>(moment->nanos / kNanosPerSecond);
    const std::array parts = {
        date.month, date.day, seconds / 3600, seconds / 60 % 60, seconds % 60};
    DateText text;
    char* out = PutDigits(text.data(), date.year, 4);
    for (const int part : parts) {
        *out++ = '-';
        out = PutDigits(out, part, 2);
    }
    return text;
}

// A date that no calendar has, such as 0000-00-00 out of an old server, comes as the text that its
// source wrote. It goes on as it stands: whether it is taken is the target's to say.
bool IsTextWithoutDate(const Cell& value) {
    return value.Kind() == ValueKind::Text && !ToDateTime(value);
}

void AppendDatePiece(const Cell& value, std::string& batch) {
    if (value.IsNull()) {
        AppendNull(batch);
        return;
    }
    if (IsTextWithoutDate(value)) {
        AppendQuoted(value.AsText(), batch);
        return;
    }
    const auto text = FormatForServer(value);
    batch += '\'';
    batch.append(text.data(), text.size());
    batch += "',";
}

void AppendTextPiece(const Cell& value, std::string& batch) {
    if (value.IsView()) {
        AppendQuoted(value.AsText(), batch);
    } else if (value.IsNull()) {
        batch += "'',";
    } else {
        AppendQuoted(ToText(value), batch);
    }
}

void AppendBinaryPiece(const Cell& value, std::string& batch) {
    if (value.IsNull()) {
        AppendNull(batch);
        return;
    }
    batch += '\'';
    AppendText(value, batch);
    batch += "',";
}

// A source that doesn't hold its columns to their types may have any text in a column of numbers.
// Bare in the statement, what is neither a number nor a GUID would be read as part of it.
bool CanStandBare(std::string_view text) {
    const bool is_guid =
        text.starts_with('{') &&
        text.find_first_not_of("{}-0123456789abcdefABCDEF") == std::string_view::npos;
    return is_guid || ParseDouble(text);
}

void AppendPlainPiece(const Cell& value, std::string& batch) {
    switch (value.Kind()) {
        case ValueKind::Null:
            AppendNull(batch);
            return;
        case ValueKind::NumberText:
            batch += value.AsText();
            break;
        case ValueKind::Int64: {
            std::array<char, 24> digits;
            const auto end =
                std::to_chars(digits.data(), digits.data() + digits.size(), value.AsInt64()).ptr;
            batch.append(digits.data(), end);
            break;
        }
        case ValueKind::Bytes:
            AppendQuoted(value.AsText(), batch);
            return;
        case ValueKind::Text:
            if (const auto text = Trimmed(value.AsText()); !CanStandBare(text)) {
                AppendQuoted(text, batch);
                return;
            }
            [[fallthrough]];
        default:
            AppendTrimmedText(value, batch);
            break;
    }
    batch += ',';
}

auto PieceOf(int type) {
    return IsDateType(type)     ? AppendDatePiece
           : IsTextType(type)   ? AppendTextPiece
           : IsBinaryType(type) ? AppendBinaryPiece
                                : AppendPlainPiece;
}

// ---- Values of a new row

void CopyValue(Field& target, const Cell& value) {
    target.SetValue(value);
}

// The day alone, as text; a null as the word NULL.
void CopyDay(Field& target, const Cell& value) {
    if (value.IsNull()) {
        target.SetValue(Cell::Text("NULL"));
        return;
    }
    if (IsTextWithoutDate(value)) {
        target.SetValue(value);
        return;
    }
    const auto text = FormatForServer(value);
    target.SetValue(Cell::Text({text.data(), kDateLength}));
}

struct BatchColumn {
    Field* source;
    void (*append)(const Cell&, std::string&);
};

struct RowColumn {
    Field* source;
    std::int32_t position;
    void (*copy)(Field&, const Cell&);
};

class MySQLLoad {
public:
    MySQLLoad(const TableRec& source, const TableRec& target, TableReport& report)
        : source_(source),
          target_(target),
          report_(report),
          scope_(kErrorLimit, [this](auto description) {
              AppendLog(log_line::RowError(rows_loaded_, description));
          }) {}

    i16 Run() {
        AppendLog(log_line::AboutToInsertMySQL(target_.Name));
        const bool whole = scope_.Run([this] { Load(); });
        NoteEnd(report_, scope_, whole);
        if (whole) {
            return kTrue;
        }
        AppendLog(log_line::Aborting(source_.Name));
        try {
            SrcRS->Close();
        } catch (const DataError&) {
            // It never opened: there is nothing to close, and nobody left to tell.
        }
        return kFalse;
    }

private:
    void Load();
    void BuildTargetStatements(const MappedColumns& mapped);
    void OpenSource(const MappedColumns& mapped);
    bool NeedsRecordset();
    void LoadByRecordset();
    void LoadByBatches();
    void SendBatch(Command& command, std::string_view end);
    void Close();

    const TableRec& source_;
    const TableRec& target_;
    TableReport& report_;
    std::string insert_head_;
    std::string target_select_ = "Select ";
    std::string batch_;
    double total_rows_ = 0;
    std::int64_t rows_loaded_ = 0;
    std::int64_t rows_in_batch_ = 0;
    ErrorScope scope_;
};

void MySQLLoad::Load() {
    const auto mapped = MappedColumnsOf(source_.TabID);
    BuildTargetStatements(mapped);
    OpenSource(mapped);
    if (NeedsRecordset()) {
        LoadByRecordset();
    } else {
        LoadByBatches();
    }
    Close();
}

void MySQLLoad::BuildTargetStatements(const MappedColumns& mapped) {
    insert_head_ = "INSERT INTO " + TargetTableForInsert(target_.Name) + "(";
    for (const auto* row : mapped) {
        const std::string piece = TargetColumnInList(TargetColumnName(source_, *row));
        insert_head_ += piece;
        target_select_ += piece;
    }
    CutLast(insert_head_);
    CutLast(target_select_);
    insert_head_ += ") VALUES ";
    target_select_ += " FROM " + TargetTableToAddTo(target_.Name);
}

void MySQLLoad::OpenSource(const MappedColumns& mapped) {
    SrcConn = std::make_unique<Connection>();
    SrcConn->CursorLocation = adUseClient;
    scope_([] { SrcConn->Open(SourceConnStr); });
    SrcRS = std::make_unique<Recordset>();
    const auto statements = ReadingStatements(source_, mapped, Reading::BatchLoad);
    CountSourceRows(scope_, statements, adOpenForwardOnly, total_rows_);
    OpenSourceRows(scope_, statements, CursorForRows(source_, target_, adOpenForwardOnly));
}

bool MySQLLoad::NeedsRecordset() {
    bool needed = false;
    scope_([&] {
        for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
            const int type = SrcRS->Fields()[k].Type();
            needed = needed || IsLongType(type) || IsBinaryType(type);
        }
    });
    return needed;
}

void MySQLLoad::LoadByRecordset() {
    DstConn = std::make_unique<Connection>();
    DstConn->CursorLocation = adUseClient;
    DstRS = std::make_unique<Recordset>();
    scope_([] { DstConn->Open(TargetConnStr); });
    scope_([&] { DstRS->Open(target_select_, *DstConn, adOpenDynamic, adLockOptimistic); });
    std::vector<RowColumn> columns;
    for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
        auto& field = SrcRS->Fields()[k];
        columns.push_back({&field, k, IsDateType(field.Type()) ? CopyDay : CopyValue});
    }
    StartBar(total_rows_);
    while (scope_.Enters([this] { return StandsOnRow(report_); })) {
        scope_.RowOK = true;
        scope_([] { DstRS->AddNew(); });
        for (auto& column : columns) {
            scope_([&] { column.copy(DstRS->Fields()[column.position], column.source->Value()); });
        }
        if (scope_.RowOK) {  // else a field failed and was told: the row would hold something else
                             // there
            scope_([] { DstRS->Update(); });
            report_.RowsLoaded += scope_.RowOK ? 1 : 0;
        }
        scope_([] { SrcRS->MoveNext(); });
        CurrentRunView->DoEvents();
        if (scope_.RowOK) {
            ++rows_loaded_;
            CurrentRunView->SetBarValue(rows_loaded_);
            CurrentRunView->SetRowCounter(rows_loaded_, total_rows_);
            if (rows_loaded_ % kRowsPerSecondHandOver == 0) {
                CurrentRunView->DoEvents();
            }
        }
        if (CancelRequested()) {
            break;
        }
    }
    scope_([] { DstRS->Close(); });
}

void MySQLLoad::SendBatch(Command& command, std::string_view end) {
    CutLast(batch_);
    command.CommandText.assign(insert_head_).append(batch_).append(end);
    scope_([&] {
        command.Execute();
        report_.RowsLoaded += rows_in_batch_;
    });
    batch_.clear();
    rows_in_batch_ = 0;
}

void MySQLLoad::LoadByBatches() {
    Command command;
    command.CommandType = adCmdText;
    command.ActiveConnection = TargetConnStr;
    StartBar(total_rows_);
    std::vector<BatchColumn> columns;
    scope_([&] {
        for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
            auto& field = SrcRS->Fields()[k];
            columns.push_back({&field, PieceOf(field.Type())});
        }
    });
    while (scope_.Enters([this] { return StandsOnRow(report_); })) {
        batch_ += '(';
        scope_.RowOK = true;
        for (auto& column : columns) {
            scope_([&] { column.append(column.source->Value(), batch_); });
        }
        CutLast(batch_);
        batch_ += "),";
        ++rows_loaded_;
        ++rows_in_batch_;
        scope_([] { SrcRS->MoveNext(); });
        if (rows_loaded_ % kRowsPerBatch == 0) {
            SendBatch(command, ";");
            CurrentRunView->SetBarValue(rows_loaded_);
            CurrentRunView->DoEvents();
            if (CancelRequested()) {
                break;
            }
            if (scope_.RowOK) {
                CurrentRunView->SetRowCounter(rows_loaded_, total_rows_);
            }
        }
        CurrentRunView->DoEvents();
    }
    // A batch that a cancel finds unfinished is thrown away.
    if (CancelRequested()) {
        report_.RowsRead -= rows_in_batch_;
    } else if (!batch_.empty()) {
        SendBatch(command, {});
        if (scope_.RowOK) {
            CurrentRunView->SetRowCounter(rows_loaded_, total_rows_);
        }
    }
}

void MySQLLoad::Close() {
    scope_([] { SrcRS->Close(); });
    AppendLog(log_line::RowsLoaded(rows_loaded_));
    if (CancelRequested()) {
        AppendLog(log_line::LoadCancelled());
    }
}

}  // namespace

i16 LoadRowsMySQL(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    return MySQLLoad(SrcTables.at(table), DstTables.at(table), ReportOf(i)).Run();
}

}  // namespace vantry
