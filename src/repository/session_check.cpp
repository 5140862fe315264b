#include "repository/session_check.h"

#include "check/check_text.h"
#include "check/data_check.h"
#include "core/kinds.h"
#include "core/route.h"
#include "data/error_text.h"
#include "repository/repository.h"
#include "repository/run_readiness.h"
#include "repository/saved_session.h"
#include "repository/session_runner.h"

#include <algorithm>
#include <filesystem>

namespace vantry {
namespace {

int CheckTables(const CheckSurroundings& surroundings) {
    Grade worst = Grade::Kept;
    bool failed = false;
    const CheckView view{surroundings.cancel_requested};
    for (std::size_t table = 0; table < SrcTables.size(); ++table) {
        const auto check = CheckTable(table, view);
        surroundings.print(TableText(check));
        failed = failed || !check.trouble.empty();
        worst = std::max(worst, check.Worst());
        if (surroundings.cancel_requested()) {
            surroundings.tell("Cancelled.");
            return kRunCancelled;
        }
    }
    return failed ? kRunNotStarted : worst == Grade::Kept ? kRunWhole : kCheckFound;
}

}  // namespace

int CheckSavedSession(i32 session_id, const CheckSurroundings& surroundings) {
    try {
        const auto repository = RepositoryFile(surroundings.application_folder);
        if (std::error_code error; !std::filesystem::exists(repository, error)) {
            surroundings.tell("There is no repository \"" + repository.string() +
                              "\". Create one in Vantry, or restore a backup.");
            return kRunNotStarted;
        }
        if (!LoadSession(session_id)) {
            surroundings.tell("There is no session " + std::to_string(session_id) +
                              " in the repository.");
            return kRunRefused;
        }
        for (const auto& fault : {SessionFault(), ConnectionFault()}) {
            if (!fault.empty()) {
                surroundings.tell(fault);
                return kRunNotStarted;
            }
        }
        if (ThisSource().polled) {
            surroundings.print("The file that the session was made with is checked.\n");
        }
        return CheckTables(surroundings);
    } catch (const std::exception& error) {
        surroundings.tell(ErrorText(error));
        return kRunNotStarted;
    }
}

}  // namespace vantry
