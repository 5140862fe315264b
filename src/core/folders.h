#pragma once
// Where the programs stand, and which folder is the user's: the one with the repository, the log
// folder and the state of the scheduler. Unpacked or built, Vantry keeps everything beside its
// programs. Installed for all users it can't: then the user has a folder of his own.

#include <string>
#include <string_view>

namespace vantry {

// The folder of the running executable; its siblings and the help stand there.
std::string ProgramFolder();

// The folder for what the programs keep, chosen by WhichApplicationFolder and made at its first use
// (0700). One that can't be made shows where a file in it is opened.
std::string ApplicationFolder();

// What the choice depends on; an empty text is a variable that isn't set.
struct FolderFacts {
    std::string program_folder;
    bool can_write = false;   // this user in program_folder
    std::string vantry_home;  // $VANTRY_HOME, beats all
    std::string data_home;    // $XDG_DATA_HOME
    std::string home;         // $HOME
};
// A relative path in a variable counts as not set: it would mean another folder at each start.
// Below /usr nothing is kept even by one who may write there: root's sessions would lie among the
// files of the package.
std::string WhichApplicationFolder(const FolderFacts& facts);

// A program of ours: beside the application's files or, where those are in the user's own folder,
// beside the running program.
std::string ProgramPath(const std::string& application_folder, std::string_view name);

}  // namespace vantry
