#include "engine/loaded_file.h"

#include "data/value_text.h"
#include "engine/run_view.h"
#include "files/file.h"
#include "files/file_name.h"

namespace vantry {

std::function<void()> BeforeLoadedRename;

namespace {

// A name of the folder itself: the session may come from somebody else's repository.
void RequirePlainName(const std::string& name) {
    if (!file::IsPlainFileName(name)) {
        throw DataError(kErrUnspecified,
                        "'" + name +
                            "' can't be the name of a file in the folder. Correct the file name "
                            "and the rename extension of the session.");
    }
}

}  // namespace

std::string LoadedEnding() {
    return "." + PollRename + "_On_" + FormatDateTime(Now(), "dd_mmm_yy_hh_m_ss");
}

i16 MoveLoadedFile(const std::string& name) {
    try {
        if (BeforeLoadedRename) {
            BeforeLoadedRename();
        }
        const std::string ending = LoadedEnding();
        // Both are checked: the extension comes from the session, too.
        RequirePlainName(name);
        RequirePlainName(name + ending);
        const std::string loaded = file::ResolveFileName(JoinPath(PollFolder, name));
        // A file that has the new name already is an earlier load's: it stays, and a box says so.
        file::RenameNoReplace(loaded, loaded + ending);
        return kTrue;
    } catch (const DataError& error) {
        if (CurrentRunView != nullptr) {
            CurrentRunView->ShowMessage("Unable to Rename File:\r\n" + error.Description());
        }
        return kFalse;
    }
}

}  // namespace vantry
