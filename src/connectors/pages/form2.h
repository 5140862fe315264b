#pragma once
// Form2: an Access database as source, and which of its tables.

#include "core/session_state.h"
#include "shell/page.h"

#include <memory>

namespace Ui {
class Form2;
}

namespace vantry {

class Form2 : public Page {
    Q_OBJECT
public:
    Form2();
    ~Form2() override;

    void OnLoad() override;
    bool QueryUnload() override;
    std::string SideInWords() const override;

    // Whether the source understands the query; says what it thinks of it if it doesn't.
    i16 ChkSQLSyntax(const std::string& query);

private:
    // What a click on an option enables, and whether it loads anew.
    void ConnectOptions();
    void Browse();
    // One that was chosen: its ending says how to connect.
    void TakeFile(const std::string& file);
    void BrowseSystemDatabase();
    // Puts SourceConnStr together and lists the tables. Without a file it says so and empties the
    // list.
    void Load();
    void ListTables();
    // After a change of how to connect: only where a list stands that may be wrong now.
    void ReloadIfListed();
    // The selected tables become SrcTables; the target page of TargetType follows.
    void Next();

    std::unique_ptr<Ui::Form2> ui_;
};

}  // namespace vantry
