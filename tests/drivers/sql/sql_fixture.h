#pragma once
// A connection over the database in memory, with two tables that most cases use, and a compact text
// form of results: cells joined by "|", rows by a line break, Null as "-".

#include "drivers/sql/memory_database.h"

#include <gtest/gtest.h>

namespace vantry::sql::test {

// A query, or an expression, and the rows that it gives; "error: " and the words of its failure.
struct Case {
    const char* sql;
    const char* rows;
};

class SqlTest : public ::testing::Test {
protected:
    SqlTest() {
        SetLocalDateForm({DateOrder::YearMonthDay, '-', true, false});
        dialect_.kind = Dialect::Kind::Jet;
        dialect_.text_ignores_case = true;
        dialect_.engine_name = "Microsoft Jet database engine";
        connection_ = ConnectSql(database_, dialect_);
        using D = MemoryDatabase;
        database_->AddTable("Orders",
                            {D::Column("id", adInteger, 4),
                             D::Column("customer", adVarWChar, 40),
                             D::Column("price", adCurrency),
                             D::Column("qty", adSmallInt, 2),
                             D::Column("ordered", adDate),
                             D::Column("shipped", adBoolean, 2),
                             D::Column("note", adLongVarWChar, 536870910)});
        Add("1,'Ada',12.5,3,#1/2/2024 13:45:00#,True,'first'");
        Add("2,'ÉMILE',100,1,#2/29/2024#,False,Null");
        Add("3,'ada',7.25,Null,#12/31/2023 23:59:59#,True,''");
        Add("4,Null,Null,10,Null,False,'50% off'");
        Add("5,'Bob',0.3333,-2,#7/4/1776#,True,'line'");
        database_->AddTable("People",
                            {D::Column("name", adVarWChar, 40), D::Column("age", adInteger, 4)});
        connection_->Execute("insert into People values ('ADA', 36)");
        connection_->Execute("insert into People values ('émile', 51)");
        connection_->Execute("insert into People values ('Zoe', Null)");
    }

    void Add(const std::string& values) {
        connection_->Execute("insert into Orders values (" + values + ")");
    }

    std::string Rows(std::string_view sql) {
        std::string text;
        const auto cursor = connection_->OpenCursor(sql);
        while (cursor->Next()) {
            text += text.empty() ? "" : "\n";
            const auto row = cursor->Row();
            for (std::size_t k = 0; k < row.size(); ++k) {
                text += (k > 0 ? "|" : "") + Shown(row[k]);
            }
        }
        return text;
    }

    void Check(std::span<const Case> cases, const std::string& head = {}) {
        for (const auto& [sql, rows] : cases) {
            std::string found;
            try {
                found = Rows(head + sql);
            } catch (const DataError& error) {
                found = "error: " + error.Description();
            }
            EXPECT_EQ(found, rows) << sql;
        }
    }

    static std::string Shown(const Cell& cell) {
        return cell.IsNull() ? "-" : cell.Kind() == ValueKind::Unreadable ? "!" : ToText(cell);
    }

    std::string Names(std::string_view sql) {
        std::string text;
        const auto cursor = connection_->OpenCursor(sql);
        for (const auto& info : cursor->Columns()) {
            text += (text.empty() ? "" : ",") + info.name + ":" + std::to_string(info.type);
        }
        return text;
    }

    // The error of opening and walking the statement, or of executing it.
    DataError ErrorOf(std::string_view sql) {
        try {
            if (sql.substr(0, 6) == "select" || sql.substr(0, 6) == "SELECT") {
                Rows(sql);
            } else {
                connection_->Execute(sql);
            }
        } catch (const DataError& error) {
            return error;
        }
        return {0, "no error"};
    }

    std::shared_ptr<MemoryDatabase> database_ = std::make_shared<MemoryDatabase>();
    Dialect dialect_;
    std::unique_ptr<DriverConnection> connection_;
};

}  // namespace vantry::sql::test
