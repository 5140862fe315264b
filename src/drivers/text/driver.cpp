#include "drivers/text/driver.h"

#include "drivers/sql/storage.h"
#include "drivers/text/table_format.h"
#include "drivers/text/text_database.h"

namespace vantry::text {
namespace {

class TextDriver : public Driver {
public:
    std::unique_ptr<DriverConnection> Connect(const ConnectionString& connection) override {
        auto database = std::make_shared<TextDatabase>(
            connection.GetAny({"Data Source", "DBQ"}), FormatOfConnection(connection), layouts_);
        // Statements are those of Access's engine, and messages name the one that the provider asks
        // for.
        sql::Dialect dialect;
        dialect.kind = sql::Dialect::Kind::Jet;
        dialect.text_ignores_case = true;
        dialect.engine_name = ContainsNoCase(connection.Get("Provider"), "ACE")
                                  ? "Microsoft Access database engine"
                                  : "Microsoft Jet database engine";
        return sql::ConnectSql(std::move(database), std::move(dialect));
    }

private:
    // A guess reads the file, so it is made once for all connections of the driver.
    std::shared_ptr<LayoutCache> layouts_ = std::make_shared<LayoutCache>();
};

}  // namespace

std::unique_ptr<Driver> MakeTextDriver() {
    return std::make_unique<TextDriver>();
}

}  // namespace vantry::text
