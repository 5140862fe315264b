#include "repository/pages/create_repository.h"

#include "data/value_text.h"
#include "repository/pages/form13.h"
#include "repository/repository.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"

namespace vantry {

void CreateNewRepository(const std::string& folder) {
    std::error_code unknown;
    if (std::filesystem::exists(RepositoryFile(folder), unknown) &&
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
    // What it proposes belongs to the former repository, or to none.
    if (auto* const page = FindPageAs<Form13>("Form13")) {
        page->ProposeAnew();
    }
}

}  // namespace vantry
