#pragma once
// Form10: FoxPro tables as source, of a folder or of a database container.

#include "connectors/pages/foxpro_page.h"

#include <QString>

#include <memory>
#include <string>

namespace Ui {
class Form10;
}

namespace vantry {

class Form10 : public FoxProPage {
    Q_OBJECT
public:
    Form10();
    ~Form10() override;

    void OnLoad() override;

protected:
    void FormChanged() override;
    void Browsed(FoxProForm form) override { Load(form); }

private:
    void ConnectMethods();
    FoxProMethod Method() const;
    // The list belongs to another method now. Where a source was loaded, or tried, it is loaded
    // again.
    void MethodChanged();
    // Sets the session's string, mode and prefix, and lists the tables.
    void Load(FoxProForm form);
    void LoadFoxTables();
    void ShowFolderOf(const std::string& dsn);
    void Next();

    std::unique_ptr<Ui::Form10> ui_;
    QString folder_of_dsn_;  // as this page has put it into FoxDir
};

}  // namespace vantry
