#pragma once
// A folder in which the programs are installed, with a repository of its own, and sessions for it.

#include "core/session_state.h"
#include "mapping/column_discovery.h"
#include "repository/repository.h"
#include "support/temp_dir.h"
#include "text/text_source.h"

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace vantry::test {

struct Outcome {
    int exit_code = -1;  // 128 + the signal's number when it was ended by one
    std::string output;
    std::string errors;
};

// A program that is running; killed with the object.
class Running {
public:
    Running(const std::vector<std::string>& command, const std::filesystem::path& output_files);
    ~Running();
    Running(Running&& other) noexcept;
    Running& operator=(Running&&) = delete;

    pid_t Pid() const { return pid_; }
    bool IsRunning();
    void Signal(int signal) const;
    Outcome Wait();

private:
    pid_t pid_ = -1;
    int status_ = 0;
    std::filesystem::path output_files_;
};

class Application {
public:
    Application();

    const TempDir& Folder() const { return folder_; }
    std::string Path(std::string_view name) const { return (folder_ / name).string(); }
    // Makes this application's repository the one in use, and clears the session in memory.
    void Use() const;

    Running Start(const std::string& program, const std::vector<std::string>& arguments) const;
    Outcome Run(const std::vector<std::string>& arguments) const {
        return Start("VYRun", arguments).Wait();
    }

    // Sets the session in memory from a text file of the folder "in" to an Access file.
    void FromText(const std::string& file, const std::string& source_type = "TEXT") const;
    void ToAccess(const std::string& file) const;
    void ToText(const std::string& folder) const;
    // Maps what was set and saves it, daily at 03:00, with the log "log/<name>.log".
    i32 Save(const std::string& name) const;
    std::string Log(const std::string& name) const { return folder_.Read("log/" + name + ".log"); }
    std::string Summary(const std::string& name) const {
        return folder_.Read("log/" + name + ".log.json");
    }

    // A session from "in/orders.csv" of so many rows to "out.mdb".
    i32 SaveOrders(const std::string& name, int rows) const;
    // One from the files "in/*.csv" to "out.mdb"; the sample has three rows.
    i32 SavePoll() const;

    // Rows of a table of an Access file of the folder; -1 when there is no such table.
    std::int64_t RowsIn(const std::string& file, const std::string& table) const;

private:
    TempDir folder_{MemoryFolder(), "vantry"};
};

// "id,name" and then `count` lines "<first + k>,name <first + k>".
std::string NumberedRows(int count, int first = 1);
// Calls the function every few milliseconds until it is true; false after `seconds`.
bool Within(double seconds, const std::function<bool()>& is_so);

}  // namespace vantry::test
