#include "programs/application.h"

#include "data/value_convert.h"
#include "support/session_steps.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace vantry::test {
namespace fs = std::filesystem;

Running::Running(const std::vector<std::string>& command, const fs::path& output_files)
    : output_files_(output_files) {
    std::vector<std::string> words = command;
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const std::string out = output_files_.string() + ".out";
    const std::string err = output_files_.string() + ".err";
    pid_ = ::fork();
    if (pid_ == 0) {
        constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
        ::dup2(::open(out.c_str(), kFlags, 0600), STDOUT_FILENO);
        ::dup2(::open(err.c_str(), kFlags, 0600), STDERR_FILENO);
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
}

Running::Running(Running&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)),
      status_(other.status_),
      output_files_(std::move(other.output_files_)) {}

Running::~Running() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, &status_, 0);
    }
}

bool Running::IsRunning() {
    if (pid_ > 0 && ::waitpid(pid_, &status_, WNOHANG) == pid_) {
        pid_ = -1;
    }
    return pid_ > 0;
}

void Running::Signal(int signal) const {
    if (pid_ > 0) {
        ::kill(pid_, signal);
    }
}

Outcome Running::Wait() {
    if (pid_ > 0) {
        ::waitpid(pid_, &status_, 0);
        pid_ = -1;
    }
    const auto content = [this](const char* ending) {
        std::ifstream in(output_files_.string() + ending, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    return {WIFSIGNALED(status_) ? 128 + WTERMSIG(status_) : WEXITSTATUS(status_),
            content(".out"),
            content(".err")};
}

Application::Application() {
    // What a program shows goes to standard output; the test of the window sets its own.
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        ::unsetenv(name);
    }
    for (const char* program : {VANTRY_VYRUN, VANTRY_VYTIMER}) {
        const fs::path from = program;
        std::error_code error;
        fs::create_hard_link(from, folder_ / from.filename().string(), error);
        if (error) {
            fs::copy_file(from, folder_ / from.filename().string());
        }
    }
    for (const char* folder : {"in", "out", "log"}) {
        fs::create_directory(folder_ / folder);
    }
    CreateRepository(folder_.Path().string(), Now());
    Use();
}

void Application::Use() const {
    InitSharedState(folder_.Path().string());
    SourceType = TargetType = SourceConnStr = TargetConnStr = "";
    PollPattern = PollRename = PollFolder = "";
    FoxSrcMode = FoxSrcPrefix = FoxDestMode = FoxDestPrefix = "";
    SrcTables.clear();
    DstTables.clear();
    ColMaps.clear();
}

Running Application::Start(const std::string& program,
                           const std::vector<std::string>& arguments) const {
    static std::atomic<int> number = 0;
    std::vector<std::string> command{Path(program)};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return {command, folder_ / ("run" + std::to_string(++number))};
}

void Application::FromText(const std::string& file, const std::string& source_type) const {
    SourceType = source_type;
    TableRec table;
    table.Name = file;
    table.SFormat = ",";
    table.SFirstColLine = 1;
    table.TextQ = "\"";
    table.LoadOption = "APPEND";
    SrcTables = {table};
    const bool polled = source_type == "TEXTPOLL";
    WriteSchemaIni(Path("in"),
                   SrcTables,
                   QualifierChoice(),
                   polled ? kPolledFileScanRows : kTextSourceScanRows);
    SourceConnStr = TextSourceConnectionString(Path("in"));
    PollPattern = polled ? "*.csv" : "";
    PollRename = polled ? "Loaded" : "";
    PollFolder = polled ? Path("in/") : "";
}

void Application::ToAccess(const std::string& file) const {
    TargetType = "ACCESS";
    TargetConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + Path(file);
    if (!fs::exists(Path(file))) {
        Catalog().Create(TargetConnStr);
    }
}

void Application::ToText(const std::string& folder) const {
    TargetType = "TEXT";
    SetTextTarget(Path(folder));
    TextDestExt = ".tab";
    TextDestDelim = "\t";
}

i32 Application::Save(const std::string& name) const {
    MapTables();
    SessionSave save;
    save.SesName = name;
    save.LogName = Path("log/" + name + ".log");
    SetDaily(save, {0, 3 * 3600 * kNanosPerSecond});
    return SaveSession(save);
}

i32 Application::SaveOrders(const std::string& name, int rows) const {
    folder_.Write("in/orders.csv", NumberedRows(rows));
    FromText("orders.csv");
    ToAccess("out.mdb");
    return Save(name);
}

i32 Application::SavePoll() const {
    folder_.Write("in/sample.csv", NumberedRows(3));
    FromText("sample.csv", "TEXTPOLL");
    ToAccess("out.mdb");
    return Save("poll");
}

std::int64_t Application::RowsIn(const std::string& file, const std::string& table) const {
    try {
        Recordset rows;
        rows.Open("select count(*) from [" + table + "]",
                  "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + Path(file));
        return ToInt64(rows.Fields()[0].Value()).value_or(-1);
    } catch (const DataError& error) {
        if (error.Number() != kErrNoSuchTable) {
            throw;
        }
        return -1;
    }
}

std::string NumberedRows(int count, int first) {
    std::string text = "id,name\r\n";
    for (int k = first; k < first + count; ++k) {
        text += std::to_string(k) + ",name " + std::to_string(k) + "\r\n";
    }
    return text;
}

bool Within(double seconds, const std::function<bool()>& is_so) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!is_so()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace vantry::test
