#include "engine/row_loader.h"

#include "core/table_names.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "engine/own_source.h"
#include "engine/row_walk.h"
#include "engine/run_log.h"
#include "engine/run_report.h"

namespace vantry {
namespace {

constexpr int kErrorLimit = 50;
constexpr std::int64_t kRowsPerHandOver = 10;

// One field's way from the source to the target. The function is chosen once a table.
struct RowColumn {
    Field* source = nullptr;
    Field* target = nullptr;         // Recordset path
    Parameter* parameter = nullptr;  // Statement path
    std::int32_t position = 0;
    std::string* scratch = nullptr;
    void (*carry)(RowColumn&) = nullptr;
};

Cell AsLetter(const Cell& value) {
    return Cell::Text(ToBoolean(value).value_or(false) ? "T" : "F");
}

// ---- Recordset path

void Put(RowColumn& column, const Cell& value) {
    if (column.target == nullptr) {
        DstRS->Fields()[column.position].SetValue(value);  // says why there is no such field
        return;
    }
    column.target->SetValue(value);
}

void CopyField(RowColumn& column) {
    Put(column, column.source->Value());
}

void CopyLetterBoolean(RowColumn& column) {
    Put(column, AsLetter(column.source->Value()));
}

// Long values travel as bytes, a text as those of its UTF-8 form: what they mean is the target
// column's to say.
void CopyAsBytes(RowColumn& column) {
    const Cell& value = column.source->Value();
    if (value.IsNull() || value.Kind() == ValueKind::Bytes) {
        Put(column, value);
        return;
    }
    std::string_view text;
    if (value.IsView()) {
        text = value.AsText();
    } else {
        column.scratch->clear();
        AppendText(value, *column.scratch);
        text = *column.scratch;
    }
    Put(column, Cell::Bytes(std::as_bytes(std::span(text.data(), text.size()))));
}

auto RecordsetCarrier(int type) {
    if (type == adLongVarBinary || type == adLongVarChar || type == adLongVarWChar ||
        type == adBinary) {
        return CopyAsBytes;
    }
    return type == adBoolean && ThisTarget().letters_for_booleans ? CopyLetterBoolean : CopyField;
}

// ---- Statement path

void BindField(RowColumn& column) {
    column.parameter->SetValue(column.source->Value());
}

void BindLetterBoolean(RowColumn& column) {
    column.parameter->SetValue(AsLetter(column.source->Value()));
}

void BindBinaryBoolean(RowColumn& column) {
    column.parameter->Type = adBoolean;
    const bool set = ToBoolean(column.source->Value()).value_or(false);
    column.parameter->SetValue(Cell::Int64(set ? kTrue : kFalse));
}

auto StatementCarrier(int type) {
    const auto& target = ThisTarget();
    if (type == adBoolean && target.letters_for_booleans) {
        return BindLetterBoolean;
    }
    if (type == adBoolean && target.binds_booleans && ThisSource().binary_booleans) {
        return BindBinaryBoolean;
    }
    return BindField;
}

Parameter ParameterFor(const Field& field) {
    Parameter parameter;
    parameter.Direction = adParamInput;
    parameter.Type = ParamTypeFor(static_cast<std::uint16_t>(field.Type()));
    parameter.Size = field.DefinedSize();
    parameter.NumericScale = field.NumericScale();
    parameter.Precision = field.Precision();
    const int most = ThisTarget().most_digits;
    if (most > 0 && field.Type() == adNumeric && field.Precision() > most) {
        parameter.Size = most;
        parameter.Precision = most;
        parameter.NumericScale = most - 1;
    }
    return parameter;
}

class GenericLoad {
public:
    GenericLoad(const TableRec& source, const TableRec& target, TableReport& report)
        : source_(source),
          target_(target),
          report_(report),
          scope_(kErrorLimit, [this](auto description) {
              AppendLog(log_line::RowError(rows_read_, description));
          }) {}

    i16 Run() {
        AppendLog(log_line::AboutToInsert(source_.Name, target_.Name));
        const bool whole = scope_.Run([this] { Load(); });
        if (!whole) {
            SettleGivenUp();
        }
        NoteEnd(report_, scope_, whole);
        if (whole) {
            return kTrue;
        }
        AppendLogCaretKept(log_line::Aborting(source_.Name));
        return kFalse;
    }

private:
    void Load();
    void BuildTargetStatements(const MappedColumns& mapped);
    void OpenSource(const MappedColumns& mapped);
    bool NeedsRecordset();
    void LoadByRecordset();
    void LoadByStatement();
    void AppendParameters(Command& command);
    void RequireColumns() const;
    // A row in which a field failed has been told; sent, it would hold something else in that
    // field's place.
    template <typename Write>
    void Send(Write&& write) {
        if (scope_.RowOK) {
            scope_(write);
            report_.RowsLoaded += scope_.RowOK ? 1 : 0;
        }
    }
    void ShowLoaded();
    void SettleGivenUp();
    void Close();

    const TableRec& source_;
    const TableRec& target_;
    TableReport& report_;
    std::string insert_head_;
    std::string target_select_ = "Select ";
    double total_rows_ = 0;
    std::int64_t rows_read_ = 0;
    std::int64_t rows_loaded_ = 0;
    ErrorScope scope_;
    std::vector<RowColumn> columns_;
    Command command_;
    std::string scratch_;
};

void GenericLoad::Load() {
    const auto mapped = MappedColumnsOf(source_.TabID);
    BuildTargetStatements(mapped);
    OpenSource(mapped);
    if (NeedsRecordset()) {
        LoadByRecordset();
    } else {
        LoadByStatement();
    }
    Close();
}

void GenericLoad::BuildTargetStatements(const MappedColumns& mapped) {
    insert_head_ = "INSERT INTO " + TargetTableForInsert(target_.Name) + "(";
    for (const auto* row : mapped) {
        const std::string piece = TargetColumnInList(TargetColumnName(source_, *row));
        insert_head_ += piece;
        target_select_ += piece;
    }
    CutLast(insert_head_);
    CutLast(target_select_);
    insert_head_ += ") VALUES (";
    target_select_ += " FROM " + TargetTableToAddTo(target_.Name);
}

void GenericLoad::OpenSource(const MappedColumns& mapped) {
    SrcConn = std::make_unique<Connection>();
    SrcConn->CursorLocation = adUseClient;
    scope_([] { SrcConn->Open(SourceConnStr); });
    SrcRS = std::make_unique<Recordset>();
    const auto statements = ReadingStatements(source_, mapped, Reading::RowLoad);
    const int cursor_type = ThisTarget().source_cursor;
    CountSourceRows(scope_, statements, cursor_type, total_rows_);
    OpenSourceRows(scope_, statements, CursorForRows(source_, target_, cursor_type));
}

bool GenericLoad::NeedsRecordset() {
    bool needed = false;
    scope_([&] {
        for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
            const int type = SrcRS->Fields()[k].Type();
            needed = needed || IsLongType(type) || IsBinaryType(type) ||
                     (type == adWChar && ThisTarget().wide_text_by_recordset);
        }
    });
    return needed;
}

// The fields of a source that couldn't be opened can't be walked: that is an error of each row.
void GenericLoad::RequireColumns() const {
    SrcRS->Fields();
}

void GenericLoad::LoadByRecordset() {
    DstConn = std::make_unique<Connection>();
    DstRS = std::make_unique<Recordset>();
    scope_([] { DstConn->Open(TargetConnStr); });
    std::int32_t targets = 0;
    scope_([&] {
        DstRS->Open(target_select_, *DstConn, adOpenDynamic, adLockOptimistic);
        targets = DstRS->Fields().Count();
    });
    for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
        auto& column = columns_.emplace_back();
        column.source = &SrcRS->Fields()[k];
        column.position = k;
        column.scratch = &scratch_;
        column.carry = RecordsetCarrier(column.source->Type());
        if (k < targets) {
            column.target = &DstRS->Fields()[k];
        }
    }
    StartBar(total_rows_);
    while (scope_.Enters([this] { return StandsOnRow(report_); })) {
        scope_.RowOK = true;
        scope_([] { DstRS->AddNew(); });
        for (auto& column : columns_) {
            scope_([&] { column.carry(column); });
        }
        ++rows_read_;
        Send([] { DstRS->Update(); });
        scope_([] { SrcRS->MoveNext(); });
        ShowLoaded();
        if (!scope_.RowOK) {
            scope_([] { DstRS->CancelUpdate(); });
        }
        if (rows_loaded_ % kRowsPerHandOver == 0) {
            CurrentRunView->DoEvents();
        }
        if (CancelRequested()) {
            break;
        }
    }
    scope_([] { DstRS->Close(); });
}

void GenericLoad::AppendParameters(Command& command) {
    const auto count = SrcRS->Fields().Count();
    for (std::int32_t k = 0; k < count; ++k) {
        insert_head_ += "?,";
        command.Parameters.Append(ParameterFor(SrcRS->Fields()[k]));
    }
    for (std::int32_t k = 0; k < count; ++k) {
        auto& column = columns_.emplace_back();
        column.source = &SrcRS->Fields()[k];
        column.parameter = &command.Parameters[k];
        column.carry = StatementCarrier(column.source->Type());
    }
}

void GenericLoad::LoadByStatement() {
    Command& command = command_;
    command.CommandType = adCmdText;
    command.ActiveConnection = TargetConnStr;
    command.ManyRows = true;
    scope_([&] { AppendParameters(command); });
    CutLast(insert_head_);
    command.CommandText = insert_head_ + ")";
    StartBar(total_rows_);
    while (scope_.Enters([this] { return StandsOnRow(report_); })) {
        scope_.RowOK = true;
        scope_([this] { RequireColumns(); });
        for (auto& column : columns_) {
            scope_([&] { column.carry(column); });
        }
        ++rows_read_;
        Send([&] { command.Execute(); });
        scope_([] { SrcRS->MoveNext(); });
        ShowLoaded();
        if (rows_loaded_ % kRowsPerHandOver == 0) {
            CurrentRunView->DoEvents();
        }
        if (CancelRequested()) {
            break;
        }
    }
    scope_([&] { command.Settle(); });
}

void GenericLoad::ShowLoaded() {
    CurrentRunView->SetBarValue(rows_loaded_ + 1);
    if (scope_.RowOK) {
        ++rows_loaded_;
        CurrentRunView->SetRowCounter(rows_loaded_, total_rows_);
    }
}

// The rows that were sent before the last error are to stay, or to be known as lost.
void GenericLoad::SettleGivenUp() {
    try {
        command_.Settle();
        if (DstRS) {
            DstRS->Close();
        }
    } catch (const DataError& error) {
        scope_.LostRows += error.LostRows();
        if (error.LostRows() > 0) {
            AppendLog(log_line::RowError(rows_read_, error.Description()));
        }
    }
}

void GenericLoad::Close() {
    scope_([] { SrcRS->Close(); });
    AppendLog(log_line::RowsLoaded(rows_loaded_ - scope_.LostRows));
    if (CancelRequested()) {
        AppendLog(log_line::LoadCancelled());
    }
}

}  // namespace

std::uint16_t ParamTypeFor(std::uint16_t code) {
    switch (code) {
        case adBoolean:
            return static_cast<std::uint16_t>(ThisTarget().boolean_parameter);
        case adCurrency:
            return static_cast<std::uint16_t>(ThisTarget().currency_parameter);
        case adVarWChar:
            return adVarChar;
        case adVarNumeric:
            return adNumeric;
        default:
            return code;
    }
}

i16 LoadRowsGeneric(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    return GenericLoad(SrcTables.at(table), DstTables.at(table), ReportOf(i)).Run();
}

}  // namespace vantry
