#pragma once
// The errors of this driver: the words of the data source, its driver or the driver manager as they
// stand, numbered by SQLSTATE.

#include "data/data_error.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::odbc {

struct DiagnosticRecord {
    std::string state;  // five characters
    int native = 0;
    std::string text;
    std::size_t row = 0;  // of a block of parameters, from 1 on; 0 is unknown
};

// All records of a handle, in the driver's order. `wide`: the driver was connected by the UTF-16
// call.
std::vector<DiagnosticRecord> ReadDiagnostics(short handle_kind, void* handle, bool wide);
// The same of a statement that had a block of so many rows, with the row of each record.
std::vector<DiagnosticRecord> ReadBlockDiagnostics(void* statement, bool wide, std::size_t rows);

// Why a connection failed. Drivers spread the cause over several records and end with one that says
// nothing: all that say something are in the text, each once.
DataError ConnectError(const std::vector<DiagnosticRecord>& records, const std::string& source);
// Why a statement failed: the first record that is an error and no remark. Of a connection that
// broke off it isn't known whether the rows have arrived.
DataError StatementError(const std::vector<DiagnosticRecord>& records, const std::string& source);
// Whether one of them says that the connection broke off.
bool IsAnswerLost(const std::vector<DiagnosticRecord>& records);

// What a remark behind a statement that went well says of the values that it wrote.
enum class Loss { None, Digits, Value };
Loss LossIn(const DiagnosticRecord& record);
// The rows have arrived, but not as they were sent.
DataError ValuesChanged(const std::string& remark, std::int64_t rows, const std::string& source);

DataError NoAnswer(std::chrono::seconds limit, const std::string& source);
DataError LoginTooLong(std::chrono::seconds limit, const std::string& source);
DataError CancelledWait(const std::string& source);
// The same of a login, which has sent no statement: it counts as stopped, as such a statement does.
DataError CancelledLogin(const std::string& source);
DataError NoDriverManager();
// `role`: "SQL Server"; `advice`: what to install, a sentence without its full stop.
DataError NoDriverOfKind(std::string_view role, std::string_view advice);
// A string whose driver or data source has no name: nothing was there to be chosen, or it wasn't.
DataError NoDriverNamed();
DataError NoSourceNamed();
// A driver that a string names by its path, and a key that would load or write a file.
DataError UnregisteredLibrary(const std::string& library);
DataError RefusedKey(std::string_view key);
DataError BadTimeLimit(std::string_view key, const std::string& value);
DataError WrongParameterCount(std::size_t wanted, std::size_t given, const std::string& source);
DataError StatementTooLong(std::size_t bytes, double most, const std::string& source);
DataError NotARowStatement(const std::string& source);
DataError NotAPlainSelect(std::string_view sql, const std::string& source);
DataError ValueCutOff(const std::string& column, const std::string& source);
DataError ImpossibleLength(const std::string& column, long long length, const std::string& source);
DataError OutOfMemory(const std::string& what, const std::string& source);

}  // namespace vantry::odbc
