#pragma once
// MSSQLDest: a SQL Server as target, and one of its databases.

#include "connectors/pages/sql_server_page.h"

#include <memory>

namespace Ui {
class MSSQLDest;
}

namespace vantry {

class MSSQLDest : public SqlServerPage {
    Q_OBJECT
public:
    MSSQLDest();
    ~MSSQLDest() override;

protected:
    NameQuery DatabaseQuery() const override;
    void ReleaseConnection() override;
    bool HasLists() const override;
    void ClearLists() override {}

private:
    void Next();

    std::unique_ptr<Ui::MSSQLDest> ui_;
};

}  // namespace vantry
