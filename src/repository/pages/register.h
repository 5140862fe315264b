#pragma once
// Makers for the pages of this folder.

namespace vantry {

// Form13, Form15, SesEdit, ShowLog, BackupRepo, RestoreRepo, CheckSch.
void RegisterRepositoryPages();

}  // namespace vantry
