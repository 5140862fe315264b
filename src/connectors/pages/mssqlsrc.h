#pragma once
// MSSQLSrc: a SQL Server as source, one of its databases, and which of its tables and views.

#include "connectors/pages/sql_server_page.h"

#include <memory>

namespace Ui {
class MSSQLSrc;
}

namespace vantry {

class MSSQLSrc : public SqlServerPage {
    Q_OBJECT
public:
    MSSQLSrc();
    ~MSSQLSrc() override;

protected:
    NameQuery DatabaseQuery() const override;
    void ReleaseConnection() override;
    bool HasLists() const override;
    void ClearLists() override;
    void AfterMethod() override;

private:
    // A database was picked from the list, or other things of it are wanted.
    void ListTables();
    void ListAgain();
    void Next();

    std::unique_ptr<Ui::MSSQLSrc> ui_;
};

}  // namespace vantry
