#include "text/file_rename.h"

#include "data/value_text.h"
#include "drivers/file/file.h"
#include "drivers/file/file_name.h"
#include "engine/run_view.h"

namespace vantry {

i16 MoveLoadedFile(const std::string& name) {
    try {
        const std::string loaded = file::ResolveFileName(JoinPath(PollFolder, name));
        file::RenameNoReplace(
            loaded,
            loaded + "." + PollRename + "_On_" + FormatDateTime(Now(), "dd_mmm_yy_hh_m_ss"));
        return kTrue;
    } catch (const DataError& error) {
        CurrentRunView->ShowMessage("Unable to Rename File:\r\n" + error.Description());
        return kFalse;
    }
}

}  // namespace vantry
