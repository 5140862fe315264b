#include "connectors/pages/foxpro_page.h"

#include "shell/dialogs.h"
#include "shell/qt_text.h"

namespace vantry {

void FoxProPage::UseControls(const Controls& controls, const char* chooser_title) {
    c_ = controls;
    connect(&TakesPath(*c_.FoxDir, "FoxPro folders"), &PathEntry::Picked, this, [this] {
        Browsed(FoxProForm::Folder);
    });
    connect(&TakesPath(*c_.VFPFilename, "FoxPro databases"), &PathEntry::Picked, this, [this] {
        Browsed(FoxProForm::Container);
    });
    WatchField(*c_.FoxDir);
    WatchField(*c_.VFPFilename);
    c_.VFPFilename->setToolTip(kSemicolonInBraces);
    // The folder stands before each table's name, too, where nothing can be wrapped.
    c_.FoxDir->setToolTip(
        "A folder with a semicolon in its name can't be used: give a link to it another name");
    // The option for a folder is the designed one; the other form's fields must be grey from the
    // start.
    SetForm(FoxProForm::Folder);
    const auto choose = [this](FoxProForm form) {
        SetForm(form);
        FormChanged();
    };
    connect(c_.FoxIndFilesOpt, &QRadioButton::clicked, this, [=] { choose(FoxProForm::Folder); });
    connect(c_.VFPFileOpt, &QRadioButton::clicked, this, [=] { choose(FoxProForm::Container); });
    const auto take = [this](FoxProForm form, const std::optional<std::string>& path) {
        if (path) {
            // A chooser that was cancelled changes nothing, and loads nothing.
            (form == FoxProForm::Folder ? c_.FoxDir : c_.VFPFilename)->setText(ToQt(*path));
            Browsed(form);
        }
    };
    connect(c_.brow1, &PlateButton::Click, this, [=, this] {
        take(FoxProForm::Folder,
             CurrentDialogs().ChooseFolder("Select Folder Where Foxpro DBF Files are located",
                                           Path(FoxProForm::Folder)));
    });
    connect(c_.brow2, &PlateButton::Click, this, [=, this] {
        take(FoxProForm::Container,
             CurrentDialogs().ChooseFileToOpen({chooser_title,
                                                "VFP Databases (*.dbc)|*.dbc|All Files (*.*)|*.*",
                                                Path(FoxProForm::Container),
                                                ""}));
    });
}

void FoxProPage::SetForm(FoxProForm form) {
    const bool container = form == FoxProForm::Container;
    c_.Frame3->setEnabled(container);
    c_.VFPFilename->setEnabled(container);
    c_.brow2->setEnabled(container);
    c_.Frame2->setEnabled(!container);
    c_.FoxDir->setEnabled(!container);
    c_.brow1->setEnabled(!container);
}

FoxProForm FoxProPage::Form() const {
    return c_.VFPFileOpt->isChecked() ? FoxProForm::Container : FoxProForm::Folder;
}

std::string FoxProPage::Path(FoxProForm form) const {
    return FromQt((form == FoxProForm::Container ? c_.VFPFilename : c_.FoxDir)->text());
}

}  // namespace vantry
