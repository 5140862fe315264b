#pragma once
// The three small windows around the repository: BackupRepo, RestoreRepo, and CheckSch, which tells
// whether the scheduler runs.

#include "shell/page.h"

#include <memory>

namespace Ui {
class BackupRepo;
class RestoreRepo;
class CheckSch;
}  // namespace Ui

namespace vantry {

class BackupRepo : public Page {
    Q_OBJECT
public:
    BackupRepo();
    ~BackupRepo() override;
    void OnLoad() override;  // proposes a folder

private:
    void Browse();
    void BackUp();

    std::unique_ptr<Ui::BackupRepo> ui_;
    QString proposed_;  // the folder's name without its place
};

class RestoreRepo : public Page {
    Q_OBJECT
public:
    RestoreRepo();
    ~RestoreRepo() override;

private:
    void Browse();
    void Restore();

    std::unique_ptr<Ui::RestoreRepo> ui_;
};

class CheckSch : public Page {
    Q_OBJECT
public:
    CheckSch();
    ~CheckSch() override;
    void OnLoad() override;  // looks for the scheduler

private:
    void Start();
    // Says which process it is.
    void TellProcess();

    std::unique_ptr<Ui::CheckSch> ui_;
};

}  // namespace vantry
