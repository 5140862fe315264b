#pragma once
// MySQLSrc: a MySQL server as source, one of its databases, and which of its tables.

#include "connectors/pages/mysql_page.h"

#include <memory>

namespace Ui {
class MySQLSrc;
}

namespace vantry {

class MySQLSrc : public MySqlPage {
    Q_OBJECT
public:
    MySQLSrc();
    ~MySQLSrc() override;

protected:
    // By driver the server's databases are listed, by data source the tables of its database.
    void Connect() override;
    void ClearLists() override;

private:
    void ResetMySQLPage();
    bool ListDsnTables();
    // A database was picked from the list.
    void ListTables();
    void ShowTables(const std::vector<std::string>& names);
    void Next();

    std::unique_ptr<Ui::MySQLSrc> ui_;
};

}  // namespace vantry
