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
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ChooseFolder();
    void RefreshList();
    void TellNoFiles();
    void ReadOwnFormats();
    void TellFormat();
    void SelectFile();
    void Tick(bool all);
    void Next();
    std::string Folder() const;
    // The element of the selected file; null without one.
    TableRec* Selected();
    std::vector<TableRec> TickedFiles() const;
    std::vector<TableRec> FilesToDescribe() const;

    std::unique_ptr<Ui::Form11> ui_;
    FormatControls* format_;
    PathField* folder_;
    // One for each entry of FilesList, in its order.
    std::vector<TableRec> files_;
    struct Format {
        std::string own;      // what "Schema.ini" alone can say of the file
        bool chosen = false;  // the user has changed the file's format here
    };
    std::vector<Format> formats_;
    bool passing_ = false;  // arrows are walking through the extensions
    bool untold_ = false;   // the one that stands there has no files
};

}  // namespace vantry
