#pragma once
// A folder as a database of the SQL layer: its text files are the tables.

#include "drivers/sql/storage.h"
#include "drivers/text/line_writer.h"
#include "drivers/text/table_format.h"
#include "drivers/text/table_layout.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::text {

class TextDatabase : public sql::EmbeddedDatabase {
public:
    // `defaults` hold for files of which "Schema.ini" says nothing. Throws DataError if there is no
    // such folder.
    TextDatabase(const std::string& folder,
                 TableFormat defaults,
                 std::shared_ptr<LayoutCache> layouts,
                 ReaderSizes sizes = {});

    std::vector<TableEntry> Tables() override;
    std::shared_ptr<sql::StoredTable> OpenTable(std::string_view name) override;
    // A folder has no saved queries: who asks for one has found no file of the name. Throws the
    // error for that, which names the folder.
    std::optional<std::string> ViewText(std::string_view name) override;
    // A new file with its header, and a section for it in front of the others in "Schema.ini".
    void CreateTable(const sql::TableDefinition& definition) override;
    void DropTable(std::string_view name) override;

    void BeginStatement() override { journal_->Commit(); }
    void CommitStatement() override { journal_->Commit(); }
    void RollbackStatement() override { journal_->Rollback(); }

private:
    std::string folder_;
    TableFormat defaults_;
    std::shared_ptr<LayoutCache> layouts_;
    ReaderSizes sizes_;
    std::shared_ptr<AppendJournal> journal_ = std::make_shared<AppendJournal>();
};

}  // namespace vantry::text
