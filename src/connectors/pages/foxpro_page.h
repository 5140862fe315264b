#pragma once
// What Form10 and Form3 have in common: a folder of tables or a database container.

#include "connectors/foxpro_method.h"
#include "connectors/pages/connector_page.h"

#include <QGroupBox>
#include <QLineEdit>
#include <QRadioButton>

namespace vantry {

class FoxProPage : public ConnectorPage {
    Q_OBJECT
protected:
    struct Controls {
        QRadioButton* FoxIndFilesOpt;
        QRadioButton* VFPFileOpt;
        QGroupBox* Frame2;  // of the folder
        QLineEdit* FoxDir;
        PlateButton* brow1;
        QGroupBox* Frame3;  // of the container
        QLineEdit* VFPFilename;
        PlateButton* brow2;
    };
    template <class Ui>
    static Controls ControlsOf(const Ui& ui) {
        return {ui.FoxIndFilesOpt,
                ui.VFPFileOpt,
                ui.Frame2,
                ui.FoxDir,
                ui.brow1,
                ui.Frame3,
                ui.VFPFilename,
                ui.brow2};
    }

    using ConnectorPage::ConnectorPage;
    // Once, behind setupUi. `chooser_title` is that of the chooser of containers.
    void UseControls(const Controls& controls, const char* chooser_title);

    // The user has chosen the other form, or browsed to a path of this one.
    virtual void FormChanged() {}
    virtual void Browsed(FoxProForm) {}

    FoxProForm Form() const;
    std::string Path(FoxProForm form) const;

    Controls c_{};

private:
    void SetForm(FoxProForm form);
};

}  // namespace vantry
