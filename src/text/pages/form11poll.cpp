// The page of a polled folder: one sample file stands for all that will come, so that its format,
// the ending of its name and its folder become the session's. The last problem that can keep the
// page open is a "Schema.ini" that can't be written beside the sample.

#include "text/pages/form11poll.h"

#include "ui_Form11Poll.h"

#include "core/route.h"
#include "data/data_error.h"
#include "data/error_text.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "text/pages/path_field.h"
#include "wizard/wizard_flow.h"

#include <filesystem>
#include <system_error>

namespace vantry {
namespace {

constexpr const char* kSampleFiles =
    "Comma Seperated Values (*.csv)|*.csv|Tab Delimited Files (*.tab)|*.tab|Text Files "
    "(*.txt)|*.txt|All Files (*.*)|*.*";

struct SamplePath {
    std::string folder;  // with its closing separator
    std::string name;
};

SamplePath Split(const std::string& path) {
    const auto separator = path.rfind('/');
    if (separator == std::string::npos || separator + 1 == path.size()) {
        throw DataError(kErrUnspecified,
                        "'" + path +
                            "' doesn't say in which folder which file is. Choose the sample file "
                            "with the button beside it.");
    }
    return {path.substr(0, separator + 1), path.substr(separator + 1)};
}

// "*.csv"; "*.*" for a name without an extension.
std::string PatternOf(const std::string& path) {
    const auto name = path.substr(path.rfind('/') + 1);
    // The polled names are matched by it, and the user may narrow it down.
    return name.find('.') == std::string::npos ? "*.*" : "*." + FileExtOf(name);
}

}  // namespace

Form11Poll::Form11Poll() : Page("Form11Poll"), ui_(std::make_unique<Ui::Form11Poll>()) {
    ui_->setupUi(this);
    // The format of the one file stands in the session's variables and in ChkNames alone.
    const auto nowhere = [this](const auto&) {
        format_chosen_ = true;
        TellFormat();
    };
    format_ = new FormatControls(*this, "Col", {nowhere, nowhere, nowhere});
    connect(ui_->Command1, &PlateButton::Click, this, &Form11Poll::ChooseSample);
    TakesPath(*ui_->TxtFile, "Sample files");
    sample_ = new PathField(*ui_->TxtFile, [this] {
        TakeSample();
        std::error_code error;
        return std::filesystem::exists(FromQt(ui_->TxtFile->text()), error);
    });
    connect(ui_->NXTBUTT, &PlateButton::Click, this, &Form11Poll::Next);
    connect(ui_->BCKBUTT, &PlateButton::Click, this, [] {
        UnloadPage("Form11Poll");
        ShowPage("Form1");
    });
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCLBUTT, &PlateButton::Click, this, [] {
        AskToCancel("Cancel", "Are you sure you want to cancel this Session?");
    });
}

Form11Poll::~Form11Poll() = default;

void Form11Poll::OnLoad() {
    format_->Open();
}

bool Form11Poll::QueryUnload() {
    return AskToClose();
}

std::string Form11Poll::SideInWords() const {
    return format_->PreviewValid() ? LastPartOf(FromQt(ui_->TxtFile->text())) : std::string();
}

void Form11Poll::ChooseSample() {
    const auto file = CurrentDialogs().ChooseFileToOpen(
        {"Open CSV/Delimited File", kSampleFiles, FromQt(ui_->TxtFile->text()), ""});
    if (file && !file->empty()) {
        ui_->TxtFile->setText(ToQt(*file));
        sample_->Take();
    }
}

void Form11Poll::TakeSample() {
    const std::string path = FromQt(ui_->TxtFile->text());
    // Proposed anew with each sample; what the user has typed over it belonged to the other one.
    ui_->FPatternTbox->setText(ToQt(PatternOf(path)));
    own_format_.clear();
    if (const auto separator = path.rfind('/'); separator != std::string::npos) {
        own_format_ =
            OwnFormats(path.substr(0, separator + 1), {path.substr(separator + 1)}).front();
    }
    format_chosen_ = false;
    format_->Preview(path, own_format_.empty());
    TellFormat();
}

// As for a folder of text files: what was written by hand counts until another format is chosen.
void Form11Poll::TellFormat() {
    if (own_format_.empty()) {
        SetNotice(Notice());
    } else if (format_chosen_) {
        SetNotice("The format chosen here takes the place of what Schema.ini says of the sample (" +
                      own_format_ + ").",
                  NoticeKind::Warning);
    } else {
        SetNotice("The files are read as Schema.ini describes the sample (" + own_format_ +
                  "), unless a format is chosen here.");
    }
}

void Form11Poll::Next() {
    // A path that was typed and not yet left by Enter or Tab counts.
    sample_->TakeTyped();
    if (!format_->PreviewValid()) {
        TellStop("Invalid File", "Stop");
        return;
    }
    try {
        Prepare();
    } catch (const std::exception& error) {
        Tell(std::string("Error while preparing Text Source. Please Contact Vantry Support\n") +
             ErrorText(error));
        return;
    }
    UnloadPage("Form11Poll");
    if (const auto target = TargetPageOf(TargetType); !target.empty()) {
        ShowPage(target);
    }
}

void Form11Poll::Prepare() {
    const SamplePath sample = Split(FromQt(ui_->TxtFile->text()));
    TableRec file;
    file.Name = sample.name;
    file.SFormat = TextDelim;
    file.SFirstColLine = format_->NamesInFirstLine();
    file.TextQ = TextQual;
    file.FolderName = sample.folder;
    PollPattern = FromQt(ui_->FPatternTbox->text());
    PollRename = FromQt(ui_->FRenameTbox->text());
    PollFolder = sample.folder;
    const std::size_t sections = own_format_.empty() || format_chosen_ ? 1 : 0;
    // Also without a section to write: the folder's name is judged in any case.
    WriteSchemaIni(sample.folder, {&file, sections}, format_->Qualifier(), kPolledFileScanRows);
    SourceConnStr = TextSourceConnectionString(sample.folder);
    SrcTables = {file};
    RememberPaths();
    SourceQueryMode = 0;
}

}  // namespace vantry
