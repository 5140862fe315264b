// Each text names the file, says what couldn't be done and why in the system's words, and ends with
// what the user can do. The advice goes by the error number alone, so it must be true for every
// file that can meet that number: ours, the user's, a journal.
#include "files/file_errors.h"

#include "data/message_text.h"

#include <cerrno>
#include <cstring>

namespace vantry::file {
namespace {

DataError Error(std::string text) {
    return {kErrUnspecified, std::move(text), "Vantry"};
}

// What the user can do, for the failures that have an answer.
std::string_view Advice(int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return "The disk is full: free some space and try again.";
        case EROFS:
            return "The medium is read-only: copy the file to a place where it can be written.";
        case EACCES:
        case EPERM:
            return "You don't have permission: check the rights of the file and of its folder.";
        case ENOENT:
        case ENOTDIR:
            return "Check the path and the spelling of the name.";
        case EISDIR:
            return "It is a folder: name a file.";
        case ELOOP:
            return "It is a symbolic link, which isn't followed here.";
        case EFBIG:
            return "The file system allows no larger file.";
        case ENOMEM:
            return "Close other programs and try again.";
        case EMFILE:
        case ENFILE:
            return "Too many files are open: close other programs.";
        case EIO:
        case ENXIO:
        case ESTALE:
            return "The device failed: check the disk or the network drive.";
        default:
            return "";
    }
}

}  // namespace

DataError SystemError(std::string_view path, std::string_view doing, int error) {
    std::string text = "The file " + Quoted(path) + " could not be " + std::string(doing) + ": " +
                       std::strerror(error) + ".";
    const auto advice = Advice(error);
    if (!advice.empty()) {
        text += " ";
        text += advice;
    }
    return Error(std::move(text));
}

DataError UnexpectedEnd(std::string_view path, std::uint64_t offset) {
    return Error("The file " + Quoted(path) + " ends before byte " + std::to_string(offset) +
                 ": it is cut or another program made it shorter. Restore it from a copy.");
}

DataError FileInUse(std::string_view path, std::string_view holders) {
    return {
        kErrInUse,
        "The file " + Quoted(path) + " is in use" +
            (holders.empty() ? std::string(" by another program") : " by " + std::string(holders)) +
            ". Try again when it has finished.",
        "Vantry"};
}

DataError LockingRefused(std::string_view path, int error) {
    return Error("The file " + Quoted(path) + " can't be locked (" + std::strerror(error) +
                 "): its file system, probably a network drive, refuses locks. Copy the file to a "
                 "local disk.");
}

DataError AlreadyExists(std::string_view path) {
    return Error("The file " + Quoted(path) +
                 " already exists. Choose another name, or delete the file first.");
}

namespace {

// By this mark a load knows that none of its rows can be vouched for.
DataError TargetLost(std::string text) {
    auto error = Error(std::move(text));
    error.SetTargetLost();
    return error;
}

}  // namespace

DataError ReplacedWhileOpen(std::string_view path) {
    return TargetLost(
        "The file " + Quoted(path) +
        " was replaced by another one while it was open. What was written before isn't "
        "in the file that is there now, which was left as it is. Open it again.");
}

DataError TakenAwayWhileOpen(std::string_view path) {
    return TargetLost("The file " + Quoted(path) +
                      " was deleted or moved away by another program while it was open, with all "
                      "that was written into it. Put it back if it was moved, and start again.");
}

DataError ResizedWhileOpen(std::string_view path, std::uint64_t left, std::uint64_t now) {
    return TargetLost(
        "Another program made " + Quoted(path) + (now < left ? " shorter" : " longer") +
        " while it was being written: it has " + std::to_string(now) +
        " bytes where this program "
        "left " +
        std::to_string(left) +
        ". What was written into it can't be relied on. Restore the file from a copy and start "
        "again.");
}

DataError ReplacedAfterwards(std::string_view path) {
    return TargetLost(
        "The file " + Quoted(path) +
        " was replaced by another one before the run ended. What the run wrote isn't in the file "
        "that is there now, which was left as it is.");
}

DataError TakenAwayAfterwards(std::string_view path) {
    return TargetLost("The file " + Quoted(path) +
                      " was deleted or moved away by another program before the run ended, with "
                      "all that the run wrote into it. Put it back if it was moved, or load it "
                      "again.");
}

DataError CutAfterwards(std::string_view path, std::uint64_t left, std::uint64_t now) {
    return TargetLost("Another program made " + Quoted(path) +
                      " shorter before the run ended: it has " + std::to_string(now) +
                      " bytes where the run left " + std::to_string(left) +
                      ". What was written into it can't be relied on. Restore the file from a "
                      "copy, or load it again.");
}

DataError SizeLimit(std::string_view path, std::uint64_t limit) {
    return Error("The file " + Quoted(path) + " has reached the largest size of its format, " +
                 std::to_string(limit >> 20) +
                 " MiB. Delete what isn't needed, or go on in a new file.");
}

DataError OpenedReadOnly(std::string_view path) {
    return Error("The file " + Quoted(path) +
                 " can only be read: you don't have permission to change it, or its medium is "
                 "read-only.");
}

DataError OutOfMemory(std::string_view path) {
    return SystemError(path, "changed", ENOMEM);
}

DataError RowsLost(const DataError& error, std::uint64_t rows) {
    if (rows == 0) {
        return error;
    }
    DataError lost(error.Number(),
                   error.Description() + " The " + std::to_string(rows) +
                       (rows == 1 ? " row added just before is" : " rows added just before are") +
                       " not in the file either.",
                   error.Source());
    lost.SetLostRows(static_cast<std::int64_t>(rows));
    if (error.TargetLost()) {
        lost.SetTargetLost();
    }
    return lost;
}

DataError ToldOf(const DataError& error, std::string_view path, std::string_view beside) {
    std::string text = error.Description();
    for (auto at = text.find(beside); at != std::string::npos;
         at = text.find(beside, at + path.size())) {
        text.replace(at, beside.size(), path);
    }
    DataError told(error.Number(), std::move(text), error.Source());
    // All that an error carries beside its words: the loaders count by it.
    told.SetLostRows(error.LostRows());
    told.SetArrivedRows(error.ArrivedRows());
    if (error.TargetLost()) {
        told.SetTargetLost();
    }
    return told;
}

DataError JournalInTheWay(std::string_view path, std::string_view journal) {
    return Error("The file " + Quoted(path) + " can't be changed: something named " +
                 Quoted(journal) +
                 ", where the journal of the change has to be, has appeared beside it. Nothing was "
                 "changed. If another program is working on the file, try again when it has "
                 "finished.");
}

DataError NotAJournal(std::string_view path, std::string_view journal) {
    return Error("Beside " + Quoted(path) + " lies " + Quoted(journal) +
                 ", where the journal of interrupted changes would be, but it is another kind of "
                 "file. Rename or move it.");
}

DataError DamagedJournal(std::string_view path, std::string_view journal) {
    return Error("A change of " + Quoted(path) +
                 " was interrupted and can't be taken back, because the journal " +
                 Quoted(journal) +
                 " is damaged. Nothing was touched. Restore the file from a copy, and move the "
                 "journal away.");
}

DataError ForeignJournal(std::string_view path, std::string_view journal) {
    return Error("The journal " + Quoted(journal) + " doesn't belong to " + Quoted(path) +
                 " as the file stands: the file was replaced, cut or changed by another program "
                 "after a change was interrupted. Nothing was touched. If the file was put back "
                 "from a copy, move the journal away; otherwise restore the file first.");
}

DataError OldJournal(std::string_view path, std::string_view journal) {
    return Error("A change of " + Quoted(path) +
                 " was interrupted in an earlier version of this program, whose journal " +
                 Quoted(journal) +
                 " this version doesn't take back. Nothing was touched. Open the file once with "
                 "the version that wrote it, or restore it from a copy and move the journal away.");
}

DataError UntrustedJournal(std::string_view path, std::string_view journal, std::string_view who) {
    return Error("The journal " + Quoted(journal) + " isn't played back into " + Quoted(path) +
                 " because " + std::string(who) +
                 ". Nothing was touched. Find out where it comes from; if it isn't yours, move it "
                 "away.");
}

}  // namespace vantry::file
