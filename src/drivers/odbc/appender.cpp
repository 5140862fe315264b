#include "drivers/odbc/appender.h"

#include "drivers/odbc/errors.h"
#include "drivers/odbc/select_parts.h"
#include "drivers/odbc/types.h"

namespace vantry::odbc {
namespace {

// The names of "SELECT *": quoted by what the driver says, a blank meaning that there is no quote.
std::string QuotedName(const std::string& name, const std::string& quote) {
    return quote == " " || quote.empty() ? name : quote + name + quote;
}

}  // namespace

OdbcAppender::OdbcAppender(std::shared_ptr<Link> link, std::string_view select_sql)
    : link_(std::move(link)) {
    Describe(select_sql);
    // As most callers give every column: what is wrong with the names shows before the first row.
    PrepareFor(std::vector<bool>(infos_.size(), true));
}

void OdbcAppender::Describe(std::string_view select_sql) {
    const auto parts = SplitSelect(select_sql);
    if (!parts) {
        throw NotAPlainSelect(select_sql, link_->Source());
    }
    link_->Idle();
    const auto statement = link_->NewStatement();
    // A condition that no row fulfils: not every driver can describe a statement before it is
    // executed, and no row should travel.
    link_->ExecuteDirect(statement, std::string(select_sql) + " WHERE 1=0");
    for (auto& column : DescribeColumns(*link_, statement)) {
        infos_.push_back(std::move(column.info));
    }
    table_ = parts->table;
    // Names as they were written keep their quotation marks.
    if (parts->columns.size() == infos_.size() && parts->columns.front() != "*") {
        names_.assign(parts->columns.begin(), parts->columns.end());
        return;
    }
    if (parts->columns.size() != 1 || parts->columns.front() != "*") {
        throw NotAPlainSelect(select_sql, link_->Source());
    }
    const auto quote = link_->IdentifierQuote();
    for (const auto& info : infos_) {
        names_.push_back(QuotedName(info.name, quote));
    }
}

void OdbcAppender::PrepareFor(const std::vector<bool>& given) {
    std::string columns;
    std::string marks;
    std::vector<ParameterInfo> parameters;
    for (std::size_t k = 0; k < infos_.size(); ++k) {
        if (!given[k]) {
            continue;
        }
        columns.append(columns.empty() ? "" : ",").append(names_[k]);
        marks.append(marks.empty() ? "?" : ",?");
        const auto& info = infos_[k];
        parameters.push_back({info.type, info.defined_size, info.precision, info.scale});
    }
    // SQL has no empty list of columns, so a row of defaults alone has a form of its own.
    const auto sql = columns.empty()
                         ? "INSERT INTO " + table_ +
                               (link_->GetTraits().dialect == Dialect::MySql ? " () VALUES ()"
                                                                             : " DEFAULT VALUES")
                         : "INSERT INTO " + table_ + " (" + columns + ") VALUES (" + marks + ")";
    insert_.reset();
    insert_.emplace(link_, sql, parameters);
    given_ = given;
    values_.reserve(parameters.size());
}

void OdbcAppender::Append(std::span<const Cell> row) {
    if (row.size() != infos_.size()) {
        throw WrongParameterCount(infos_.size(), row.size(), link_->Source());
    }
    now_given_.assign(infos_.size(), true);
    values_.clear();
    for (std::size_t k = 0; k < row.size(); ++k) {
        // Left out of the statement, so that the server's default counts.
        now_given_[k] = !row[k].IsUnset();
        if (now_given_[k]) {
            values_.push_back(row[k]);
        }
    }
    if (!insert_ || now_given_ != given_) {
        PrepareFor(now_given_);
    }
    insert_->Execute(values_);
}

}  // namespace vantry::odbc
