// The run into text files: one file a table, a line a row. Each step stands in the run's error
// scope, which logs a failure, counts it and goes on behind the step, as the loaders do; so the
// steps of a row are small, and a row is written only if all of its fields were. Easy to get wrong:
// a text file replaces a former one only when it is whole (LineFile keeps it beside until then), it
// must not be the file that is read or one that this run has written, and rows count as loaded only
// once their lines are in a file of the right name.

#include "text/text_writer.h"

#include "core/kinds.h"
#include "core/settings.h"
#include "data/connection_string.h"
#include "engine/left_targets.h"
#include "engine/run_log.h"
#include "engine/run_report.h"
#include "engine/table_load.h"
#include "engine/verification.h"
#include "files/left_files.h"
#include "text/field_text.h"
#include "text/line_file.h"
#include "text/text_read_back.h"
#include "text_format/file_names.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <utility>

namespace vantry {
namespace {

// Over the whole run, not for each table: with the 51st error it is given up.
constexpr int kErrorLimit = 51;
constexpr std::int64_t kRowsPerHandOver = 100;

DataError NoPlainName(const std::string& path) {
    return {kErrUnspecified,
            "\"" + path + "\" is no file of the folder \"" + TextDestDir +
                "\": the table's name holds a \"/\". Give the target file another name."};
}

// Otherwise the fields behind the missing one would be read as those of its column.
DataError IncompleteLine(std::size_t missing, std::size_t columns) {
    return {kErrMissingParameter,
            "The line isn't written: " + std::to_string(missing) + " of its " +
                std::to_string(columns) + " fields have no value."};
}

// Names come from data: inside the folder of the session a file name leads nowhere else.
void RequirePlainName(const std::string& path) {
    const std::string folder = JoinPath(TextDestDir, "");
    if (path.starts_with(folder) && path.find('/', folder.size()) != std::string::npos) {
        throw NoPlainName(path);
    }
}

DataError OwnSource(const std::string& path) {
    return {kErrUnspecified,
            "\"" + path +
                "\" is the file that is read. It stays as it is; choose another folder or another "
                "extension for the target files."};
}

DataError WrittenBefore(const std::string& path) {
    return {kErrUnspecified,
            "\"" + path +
                "\" holds another table of this run, which would be lost. Give one of the two "
                "target files another name."};
}

// A text file written over itself would lose what the session leaves out: columns, rows, its
// heading.
bool IsTheFileThatIsRead(const TableRec& source, const TableRec& target) {
    if (!ThisSource().text_files) {
        return false;
    }
    // By file and not by name: the two names may differ in letter case, by a link, or by a "#" for
    // the dot.
    const auto connection = ConnectionString::Parse(SourceConnStr);
    try {
        const auto folder = text::FindFolder(connection.Get("Data Source"));
        const auto name = text::FindFile(folder, source.Name);
        std::error_code missing;
        return name &&
               std::filesystem::equivalent(text::PathIn(folder, *name), target.Name, missing);
    } catch (const DataError&) {
        return false;  // nothing is read from a folder that isn't there
    }
}

// A heading or a row: a line that lacks a field is refused rather than read as another row.
void EndLine(text::LineFile& file,
             const text::LineStyle& style,
             std::size_t fields,
             std::size_t columns) {
    if (fields < columns || columns == 0) {
        throw IncompleteLine(columns - fields, columns);
    }
    // Each field has brought its delimiter along; the last one goes.
    if (style.delimited) {
        file.CutBack(style.delimiter.size());
    }
    file.EndLine();
}

// The rows of one table as lines of its file, which stands open with its heading.
class LineRows final : public RowStrategy {
public:
    LineRows(LoadState& load,
             text::LineFile& file,
             const text::LineStyle& style,
             std::span<const text::LineColumn> columns)
        : RowStrategy(load), file_(file), style_(style), columns_(columns) {}

    void Begin() override {}  // the bar was set up when the rows were counted
    bool TakeRow() override;
    void End() override {
        NoteRemarks(load_);
        load_.scope([] { SrcRS->Close(); });
    }

private:
    text::LineFile& file_;
    const text::LineStyle& style_;
    std::span<const text::LineColumn> columns_;
};

bool LineRows::TakeRow() {
    auto& scope = load_.scope;
    auto& rows = load_.rows;
    scope([] { SrcRS->Fields(); });
    file_.BeginLine();
    std::size_t fields = 0;
    for (const auto& column : columns_) {
        scope([&] {
            column.write(column, file_);
            ++fields;
        });
    }
    if (scope.RowOK) {  // else a field failed and was logged: the line would lack it
        scope([&] {
            EndLine(file_, style_, fields, columns_.size());
            load_.ledger.StoredAsCounted(1);
        });
    }
    // By rows loaded, not read: the first row lets events in, and so does each that fails while the
    // count stands on a hundred.
    if (rows.loaded % kRowsPerHandOver == 0) {
        CurrentRunView->DoEvents();
    }
    if (CancelRequested()) {
        return false;
    }
    ++rows.read;
    if (scope.RowOK) {
        ++rows.loaded;
        if (static_cast<double>(rows.loaded) <= rows.total) {
            CurrentRunView->SetBarValue(rows.loaded);
        }
        ShowCounter(load_);
    }
    scope([] { SrcRS->MoveNext(); });
    return true;
}

class TextRun {
public:
    enum class ClassBy { FieldType, TypeName };
    explicit TextRun(ClassBy class_by)
        : class_by_(class_by),
          delimited_(TextDestFormat == "DELIMITED"),
          scope_(
              kErrorLimit,
              [this](auto description) { TellError(description); },
              [this](const auto& error) {
                  if (ledger_) {
                      ledger_->Failed(error);
                  }
              }) {
        scope_.OnCancel = [this] {
            NoteCancelled();
            if (ledger_) {
                ledger_->OpenNotReached();
            }
        };
        style_.qualifier = TextDestQual;
        style_.delimiter = TextDestDelim;
        style_.closing = TextDestQual + TextDestDelim;
        style_.spreadsheet_safe = CurrentSettings.SpreadsheetSafe;
        style_.delimited = delimited_;
    }

    void Run();

private:
    void TellError(std::string_view description) const;
    void WriteTableReported(const TableRec& source, const TableRec& target);
    void WriteTable(const TableRec& source, const TableRec& target);
    void ChooseColumns(const MappedColumns& mapped);
    void OpenFile(const std::string& path);
    void WriteHeading(const MappedColumns& mapped);
    void FinishFile();
    void AbandonFile();
    void NoteRowsInPlace();

    ClassBy class_by_;
    bool delimited_;
    ErrorScope scope_;
    text::LineStyle style_;
    text::LineFile file_;

    // Of the table that is being written.
    TableReport* report_ = nullptr;
    std::optional<RowLedger> ledger_;
    std::vector<text::LineColumn> columns_;
    std::int64_t heading_lines_ = 0;
    bool in_place_ = true;                     // the file has got its name
    std::set<std::filesystem::path> written_;  // by this run
    RowCounts rows_;
};

void TextRun::Run() {
    StartLog(log_line::TextStarted());
    SessionCancelled = kFalse;
    TableCancelled = kFalse;
    StartRunReport();
    const file::LeftFilesWatch watch;
    // What isn't caught at a step ends in here: the error behind the last one allowed gives up the
    // whole run, tables that have been written stay.
    const bool whole = scope_.Run([this] {
        for (std::size_t i = 0; i < SrcTables.size(); ++i) {
            report_ = &ReportOf(static_cast<i16>(i));
            ledger_.reset();
            if (i >= DstTables.size()) {
                throw NoTargetFor(SrcTables[i]);
            }
            report_->LogLine = LastLogLine();
            WriteTableReported(SrcTables[i], DstTables[i]);
            // Files of a few rows never come to a hand-over of their own.
            CurrentRunView->DoEvents();
            if (CancelRequested()) {
                break;
            }
        }
    });
    CurrentRunReport.Walked = true;
    LookAtTargetsAgain(CurrentRunReport.Tables);
    if (!whole) {
        AbandonFile();
        AppendLog(log_line::TextAborting());
        try {
            if (SrcRS) {
                SrcRS->Close();
            }
        } catch (const DataError&) {
            // It never opened: there is nothing to close, and its errors are in the log.
        }
        return;
    }
    CurrentRunView->ClearRowCounter();
    AppendLog(log_line::EndTime());
    AppendLog(log_line::TextFinished());
    if (CancelRequested()) {
        AppendLog(log_line::TextCancelled());
    }
}

// The errors that gave the run up may have taken lines with them that had been accepted.
void TextRun::AbandonFile() {
    const std::int64_t accepted = file_.Lines();
    file_.Abandon();
    if (const std::int64_t lost = accepted - file_.Lines(); lost > 0) {
        AppendLog("The " + std::to_string(lost) +
                  " lines before these errors aren't in the file either.");
    }
    in_place_ = false;
    NoteRowsInPlace();
    if (ledger_) {
        ledger_->Finish();
    }
    std::error_code error;
    if (const std::string partial = report_->Target + ".partial";
        accepted > 0 && std::filesystem::exists(partial, error)) {
        AppendLog("What was written stays in \"" + partial + "\".");
    }
}

void TextRun::TellError(std::string_view description) const {
    if (class_by_ == ClassBy::TypeName) {
        AppendLog(description);
    } else {
        AppendLog(log_line::RowError(rows_.read, description));
    }
}

// A table counts as given up until it proves otherwise, so that every way out leaves a true report.
void TextRun::WriteTableReported(const TableRec& source, const TableRec& target) {
    const auto start = std::chrono::steady_clock::now();
    const int errors_before = scope_.ErrorCount;
    report_->Outcome = TableOutcome::GivenUp;
    in_place_ = true;
    const auto index = static_cast<i16>(&source - SrcTables.data());
    const auto open = [&] {
        return ReadTextBack(target.Name, columns_, delimited_, TextDestHeader != kFalse);
    };
    TableVerification verification(index, open, false);
    ledger_.emplace(source, *report_);
    const auto note = [&] {
        report_->Errors = scope_.ErrorCount - errors_before;
        report_->FormulaTexts = std::exchange(style_.formulas, 0);
        report_->Seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    try {
        WriteTable(source, target);
    } catch (...) {
        note();
        throw;
    }
    note();
    ledger_->Finish();
    if (report_->Outcome == TableOutcome::GivenUp && in_place_) {
        report_->Outcome = CancelRequested() ? TableOutcome::Cancelled : TableOutcome::Loaded;
    }
    if (report_->Outcome == TableOutcome::Loaded) {
        verification.Finish();
    }
}

// Lines that were left in a partial file are no rows of the target.
void TextRun::NoteRowsInPlace() {
    report_->RowsLoaded = in_place_ ? std::max<std::int64_t>(file_.Lines() - heading_lines_, 0) : 0;
    if (ledger_) {
        ledger_->LostBehind(report_->RowsLoaded,
                            "The line was written, but it isn't in a file of the target's name.");
    }
}

void TextRun::WriteTable(const TableRec& source, const TableRec& target) {
    TableCancelled = kFalse;
    AppendLog(
        log_line::AboutToWrite(JoinPath(TextDestDir, source.Name) +
                               (ThisSource().extension_is_replaced ? std::string() : TextDestExt)));
    const bool own_source = IsTheFileThatIsRead(source, target);
    if (own_source ||
        !written_.insert(std::filesystem::path(target.Name).lexically_normal()).second) {
        scope_([&] { throw own_source ? OwnSource(target.Name) : WrittenBefore(target.Name); });
        report_->Outcome = TableOutcome::NotPrepared;
        return;
    }
    const auto mapped = MappedColumnsOf(source.TabID);
    const auto statements = ReadingStatements(source, mapped, Reading::TextRun);
    SrcRS = std::make_unique<Recordset>();
    LoadState load{source, target, *report_, scope_, rows_, *ledger_};
    const bool counted = CountSourceRows(load, statements, adOpenForwardOnly);
    StartBar(load);
    // Rows and their number come by two statements: between them others may have changed the
    // source.
    rows_.read = 0;
    rows_.loaded = 0;
    OpenSourceRows(load, statements, adOpenForwardOnly);
    if (scope_.Cancelled) {
        // Without columns there would be no heading: a former file stays.
        AppendLog(log_line::RowsLoaded(rows_.loaded));
        report_->Outcome = TableOutcome::Cancelled;
        return;
    }
    const bool long_columns = TextDestFormat == "FIXED" && HasLongFields(load);
    if (long_columns) {
        AppendLog(log_line::LongColumns());
    }
    ChooseColumns(mapped);
    OpenFile(target.Name);
    if (TextDestHeader != kFalse) {
        WriteHeading(mapped);
    }
    if (long_columns) {
        AppendLog(log_line::SkippingTable());
        FinishFile();
        report_->Outcome = TableOutcome::NotPrepared;
        return;
    }
    if (rows_.total <= 0) {
        if (counted) {
            FinishFile();
        } else {
            report_->Outcome = TableOutcome::NotPrepared;
            file_.Discard();  // it isn't known whether there are rows: a former file stays
        }
        return;
    }
    LineRows lines(load, file_, style_, columns_);
    WalkRows(load, lines);
    FinishFile();
    AppendLog(log_line::RowsLoaded(rows_.loaded));
}

void TextRun::ChooseColumns(const MappedColumns& mapped) {
    columns_.clear();
    scope_([&] {
        for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
            auto& field = SrcRS->Fields()[k];
            const auto field_class =
                class_by_ == ClassBy::TypeName
                    ? text::ClassOfTypeName(mapped.at(static_cast<std::size_t>(k))->DDtype)
                    : text::ClassOfType(field.Type());
            columns_.push_back(delimited_ ? text::DelimitedColumn(field, field_class, style_)
                                          : text::FixedColumn(field, field_class, style_));
        }
    });
}

// A file that can't be opened fails here once and then with every line, up to the limit: such a run
// is given up as one whose target is gone.
void TextRun::OpenFile(const std::string& path) {
    heading_lines_ = 0;
    scope_([&] {
        RequirePlainName(path);
        file_.Open(path);
    });
}

void TextRun::WriteHeading(const MappedColumns& mapped) {
    scope_([&] {
        file_.BeginLine();
        for (const auto* row : mapped) {
            if (delimited_) {
                file_.Append({}, row->DCName, style_.delimiter);
            } else {
                file_.Append(text::FixedHeading(*row));
            }
        }
        EndLine(file_, style_, mapped.size(), mapped.size());
        heading_lines_ = 1;
    });
}

// Rows that turn out not to be in the file were counted too soon.
void TextRun::FinishFile() {
    in_place_ = false;
    scope_([this] {
        file_.Finish();
        in_place_ = true;
    });
    NoteRowsInPlace();
    rows_.loaded = std::clamp<std::int64_t>(file_.Lines() - heading_lines_, 0, rows_.loaded);
}

}  // namespace

void RunSessionToText(const std::string& ignored) {
    if (ThisSource().text_by_type_names && ThisTarget().loader == Loader::Files) {
        RunTextToText(ignored);
        return;
    }
    TextRun(TextRun::ClassBy::FieldType).Run();
}

void RunTextToText(const std::string& /*ignored*/) {
    TextRun(TextRun::ClassBy::TypeName).Run();
}

}  // namespace vantry
