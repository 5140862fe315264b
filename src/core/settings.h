#pragma once
// "Vantry.ini" in the folder of what the programs keep (core/folders): what a user may turn on for
// all sessions. Without the file, and for each key that it doesn't have, everything is as ever.
//
//     [Vantry]                 a heading is passed over
//     VerifyRuns=1             each run reads its targets back and compares
//     OnFailure=/usr/bin/notify "by mail"
//     LogGenerations=5         former logs of a session that are kept
//     SpreadsheetSafe=1        no text of a delimited file begins as a formula
//     ShowOdbcSource=1         ODBC stands among the sources of the first page
//
// UTF-8, with or without a byte order mark; letter case of keys doesn't count; lines that begin
// with ";" or "#" are remarks.

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct Settings {
    bool VerifyRuns = false;
    std::vector<std::string> OnFailure;  // a program and its arguments; empty: none
    int LogGenerations = 0;
    bool SpreadsheetSafe = false;
    bool ShowOdbcSource = false;
};
inline constexpr int kMostLogGenerations = 99;

// Those of this process, in force from InitSharedState on. VerifyRuns may be changed for the next
// run: by the run page's menu, by an argument of the runner.
extern Settings CurrentSettings;

std::string SettingsFile(const std::string& application_folder);

// Adds a sentence to `faults` for each line that it doesn't understand, which then counts as not
// there. `name` is the file's, for these.
Settings ParseSettings(std::string_view text,
                       const std::string& name,
                       std::vector<std::string>& faults);

// The words of a command: blanks part them, double quotes hold together what has blanks, and a
// doubled quote inside of quotes is one. Nothing else has a meaning: no shell sees it, and neither
// variables nor "~" or "*" are replaced. Empty when a quote isn't closed.
std::vector<std::string> CommandWords(std::string_view command);

// Sets CurrentSettings by the folder's file. Faults are kept for TakeSettingsFaults. A command is
// taken only from a file that nobody but this user, or root, can write.
void LoadSettings(const std::string& application_folder);

// What is wrong with the file, each sentence once in a process.
std::vector<std::string> TakeSettingsFaults();

}  // namespace vantry
