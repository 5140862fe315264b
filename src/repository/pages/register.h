#pragma once
// Makes the pages of this folder known by their names (shell/page_set).

namespace vantry {

// Form13, Form15, SesEdit, ShowLog, BackupRepo, RestoreRepo, CheckSch.
void RegisterRepositoryPages();

}  // namespace vantry
