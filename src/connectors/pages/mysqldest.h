#pragma once
// MySQLDest: a MySQL server as target, and one of its databases.

#include "connectors/pages/mysql_page.h"

#include <memory>

namespace Ui {
class MySQLDest;
}

namespace vantry {

class MySQLDest : public MySqlPage {
    Q_OBJECT
public:
    MySQLDest();
    ~MySQLDest() override;

protected:
    void Connect() override;

private:
    void UseDsn();
    void Next();

    std::unique_ptr<Ui::MySQLDest> ui_;
};

}  // namespace vantry
