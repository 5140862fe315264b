#pragma once
// Form11: delimited text files of a folder as source, made readable as tables by "Schema.ini".

#include "core/session_state.h"
#include "shell/page.h"
#include "text/pages/format_controls.h"

#include <memory>
#include <vector>

namespace Ui {
class Form11;
}

namespace vantry {

class PathField;

class Form11 : public Page {
    Q_OBJECT
public:
    Form11();
    ~Form11() override;

    void OnLoad() override;
    bool QueryUnload() override;
    std::string SideInWords() const override;

private:
    void ChooseFolder();
    void RefreshList();
    void SelectFile();
    void Tick(bool all);
    void Next();
    std::string Folder() const;
    // The element of the selected file; null without one.
    TableRec* Selected();
    std::vector<TableRec> TickedFiles() const;

    std::unique_ptr<Ui::Form11> ui_;
    FormatControls* format_;
    PathField* folder_;
    // One for each entry of FilesList, in its order.
    std::vector<TableRec> files_;
};

}  // namespace vantry
