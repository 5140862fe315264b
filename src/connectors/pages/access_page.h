#pragma once
// What Form2 and Form8 have in common: the controls of file, method and login.

#include "connectors/access_method.h"
#include "connectors/pages/connector_page.h"
#include "shell/plate_button.h"
#include "wizard/wizard_flow.h"

#include <QComboBox>
#include <QLineEdit>
#include <QRadioButton>

#include <optional>

namespace vantry {

// The file choosers' list of kinds; the first one is chosen.
inline constexpr const char* kAccessFiles =
    "MS Access (*.mdb,*.accdb)|*.mdb;*.accdb|MS Access 2007 (*.accdb)|*.accdb|MS Access "
    "(*.mdb)|*.mdb|All Files (*.*)|*.*";

// Fields of source and target share their list of files used lately.
inline constexpr const char* kAccessPaths = "Access";

// Fills both lists with what the machine has for Access; the first driver is selected, no data
// source is.
template <class Ui>
void FillAccessLists(Ui& ui);

// The first of the four options that is chosen.
template <class Ui>
std::optional<AccessMethod> ChosenAccessMethod(const Ui& ui);

template <class Ui>
AccessLogin AccessLoginOf(const Ui& ui);

// Calls `watch` with each field by which a page connects, the file's first.
template <class Ui, class Watch>
void WatchAccessFields(const Ui& ui, Watch watch);

// An .accdb isn't for the provider of .mdb files: `choose` is called where its name was typed, as
// for one that was browsed for.
template <class Ui, class Choose>
void ChooseAceWhenTyped(const Ui& ui, Choose choose);

// The entries of OdbcDrivers and OdbcDsns that are for Access.
void FillAccessDrivers(QComboBox& drivers);
void FillAccessDsns(QComboBox& dsns);

// Str of an error's number: a blank stands where a minus sign would.
std::string NumberText(long number);

}  // namespace vantry

// Both pages have the same control names but different classes of form: hence templates, and their
// bodies in the header.
#include "shell/qt_text.h"

namespace vantry {

template <class Ui>
void FillAccessLists(Ui& ui) {
    FillAccessDrivers(*ui.ACCOdbcDrv);
    FillAccessDsns(*ui.AccDSNList);
    ui.ACCOdbcDrv->setEnabled(false);
    ui.AccDSNList->setEnabled(false);
}

template <class Ui>
std::optional<AccessMethod> ChosenAccessMethod(const Ui& ui) {
    if (ui.Option1->isChecked()) {
        return AccessMethod::Jet;
    }
    if (ui.Option2->isChecked()) {
        return AccessMethod::OdbcDriver;
    }
    if (ui.Option3->isChecked()) {
        return AccessMethod::Dsn;
    }
    if (ui.Option4->isChecked()) {
        return AccessMethod::Ace;
    }
    return std::nullopt;
}

template <class Ui, class Watch>
void WatchAccessFields(const Ui& ui, Watch watch) {
    for (auto* const field : {ui.Mdbfilename, ui.SysDBFileName, ui.MdbUsr, ui.MdbPwd}) {
        watch(*field);
    }
    for (auto* const field : {ui.MdbUsr, ui.MdbPwd}) {
        field->setToolTip(kSemicolonByMethod);
    }
    for (auto* const option : {ui.Option1, ui.Option2, ui.Option3, ui.Option4}) {
        watch(*option);
    }
}

template <class Ui, class Choose>
void ChooseAceWhenTyped(const Ui& ui, Choose choose) {
    QObject::connect(ui.Mdbfilename, &QLineEdit::editingFinished, ui.Mdbfilename, [&ui, choose] {
        if (ui.Option1->isChecked() && FileExtOf(FromQt(ui.Mdbfilename->text())) == "accdb") {
            choose();
        }
    });
}

template <class Ui>
AccessLogin AccessLoginOf(const Ui& ui) {
    return {FromQt(ui.Mdbfilename->text()),
            FromQt(ui.MdbUsr->text()),
            FromQt(ui.MdbPwd->text()),
            FromQt(ui.SysDBFileName->text()),
            FromQt(ui.ACCOdbcDrv->currentText()),
            FromQt(ui.AccDSNList->currentText())};
}

}  // namespace vantry
