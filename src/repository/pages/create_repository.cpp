#include "repository/pages/create_repository.h"

#include "data/value_text.h"
#include "repository/repository.h"
#include "shell/dialogs.h"

namespace vantry {

void CreateNewRepository(const std::string& folder) {
    if (std::filesystem::exists(RepositoryFile(folder)) &&
        !AskYesNo(
            "The Repository Database Already exist.Are you Sure you want to OVERWRITE and Create a "
            "new Repository\nWARNING! All Existing Sessions will get lost",
            "Create New Repository")) {
        return;
    }
    try {
        CreateRepository(folder, Now());
    } catch (const std::exception&) {
        Tell("Error Creating New Repository");
        return;
    }
    Tell("New Repository Created");
}

}  // namespace vantry
