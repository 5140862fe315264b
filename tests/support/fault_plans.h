#pragma once
// Fault plans for tests of what writes files: fail the n-th operation, kill the process at the n-th
// write, record everything and make up what a power failure would have left.

#include "files/fault_plan.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace vantry::test {

inline bool IsJournal(std::string_view path) {
    return path.ends_with("-journal");
}

inline bool IsSync(file::Operation operation) {
    return operation == file::Operation::Sync || operation == file::Operation::SyncFolder;
}
inline bool ChangesFiles(file::Operation operation) {
    return operation != file::Operation::Open && operation != file::Operation::Read;
}

// A fault in the product itself that a plan can play: tests that stay green with it are worthless.
enum class Planted {
    Nothing,
    JournalNotWritten,
    JournalNotSynced,
    FailureIgnored,
    PlaybackNotDone
};

class InstalledPlan {
public:
    explicit InstalledPlan(file::FaultPlan& plan) { file::InstallFaultPlan(&plan); }
    ~InstalledPlan() { file::InstallFaultPlan(nullptr); }
    InstalledPlan(const InstalledPlan&) = delete;
    InstalledPlan& operator=(const InstalledPlan&) = delete;
};

// Nothing is forced to disk: for tests of something else, which would wait for it most of the time.
class NoSync : public file::FaultPlan {
public:
    file::Verdict Before(const file::Call& call) override {
        return {.skip = IsSync(call.operation)};
    }
};

// Decides by a function of the test's own.
class VerdictBy : public file::FaultPlan {
public:
    explicit VerdictBy(std::function<file::Verdict(const file::Call&)> before)
        : before_(std::move(before)) {}
    file::Verdict Before(const file::Call& call) override { return before_(call); }

private:
    std::function<file::Verdict(const file::Call&)> before_;
};

// Kills the process at its n-th changing operation, or in the middle of it.
class KillAt : public file::FaultPlan {
public:
    KillAt(int nth, std::size_t torn_at, Planted planted)
        : left_(nth), torn_at_(torn_at), planted_(planted) {}

    file::Verdict Before(const file::Call& call) override {
        if (!ChangesFiles(call.operation)) {
            return {};
        }
        const auto unwritten =
            IsJournal(call.path) ? Planted::JournalNotWritten : Planted::PlaybackNotDone;
        file::Verdict verdict;
        verdict.skip = (planted_ == unwritten && call.operation == file::Operation::Write) ||
                       IsSync(call.operation);  // a kill leaves what the kernel has
        if (left_-- == 0) {
            if (call.operation != file::Operation::Write || torn_at_ == 0) {
                Kill();
            }
            verdict.limit = torn_at_;
            dying_ = true;
        }
        return verdict;
    }
    void After(const file::Call&) override {
        if (dying_) {
            Kill();
        }
    }

private:
    [[noreturn]] static void Kill() {
        ::kill(::getpid(), SIGKILL);
        ::pause();
        std::abort();
    }
    int left_;
    std::size_t torn_at_;
    Planted planted_;
    bool dying_ = false;
};

// Lets the n-th operation fail, once or from then on.
class FailAt : public file::FaultPlan {
public:
    FailAt(int nth, int error, bool for_good, Planted planted)
        : left_(nth), error_(error), for_good_(for_good), planted_(planted) {}

    file::Verdict Before(const file::Call& call) override {
        if (call.operation == file::Operation::Open) {
            return {};
        }
        const int now = left_--;
        if (now > 0 || (now < 0 && !for_good_)) {
            return {.skip = IsSync(call.operation)};
        }
        failed_ = call.operation;
        const bool ignored =
            planted_ == Planted::FailureIgnored && call.operation == file::Operation::Write;
        return {.error = ignored ? 0 : error_, .skip = ignored};
    }
    bool Triggered() const { return failed_ != file::Operation::Open; }
    file::Operation Failed() const { return failed_; }  // the last one that did; Open: none

private:
    int left_;
    int error_;
    bool for_good_;
    Planted planted_;
    file::Operation failed_ = file::Operation::Open;
};

// A full disk: writes to files whose path has `name` in it fail, from the `first` to the `last`.
class FullDisk : public file::FaultPlan {
public:
    FullDisk(std::string name, int first, int last)
        : name_(std::move(name)), first_(first), last_(last) {}
    file::Verdict Before(const file::Call& call) override {
        file::Verdict verdict;
        verdict.skip = IsSync(call.operation);
        if (call.operation == file::Operation::Write &&
            call.path.find(name_) != std::string_view::npos) {
            const bool full = writes + 1 >= first_ && writes < last_;
            if (full && call.data.size() > 1 && !std::exchange(torn_, true)) {
                verdict.limit = call.data.size() / 2;  // it takes a part before it says so
                return verdict;
            }
            torn_ = false;
            ++writes;
            verdict.error = full ? ENOSPC : 0;
        }
        return verdict;
    }
    int writes = 0;

private:
    std::string name_;
    int first_;
    int last_;
    bool torn_ = false;
};

// The order of what happens to files: w written, s flushed to the disk, n given its name, f which
// its folder keeps; the same thing several times in turn is one sign.
class OrderOfCalls : public file::FaultPlan {
public:
    file::Verdict Before(const file::Call& call) override {
        const char sign = call.operation == file::Operation::Write        ? 'w'
                          : call.operation == file::Operation::Sync       ? 's'
                          : call.operation == file::Operation::Rename     ? 'n'
                          : call.operation == file::Operation::SyncFolder ? 'f'
                                                                          : '\0';
        if (sign != '\0' && (order.empty() || order.back() != sign)) {
            order += sign;
        }
        return {};
    }
    std::string order;
};

// Keeps every change in order, and makes states of the disk out of them: what was synced, a random
// part of the rest, single sectors of a torn page, names that were or weren't on disk.
class DiskRecord : public file::FaultPlan {
public:
    using Files = std::map<std::string, std::string>;  // name, content

    explicit DiskRecord(Files start, Planted planted = Planted::Nothing)
        : start_(std::move(start)), planted_(planted) {}

    file::Verdict Before(const file::Call& call) override {
        const bool lost =
            planted_ == Planted::JournalNotWritten
                ? call.operation == file::Operation::Write
                : planted_ == Planted::JournalNotSynced && call.operation == file::Operation::Sync;
        if (lost && IsJournal(call.path)) {
            skipped_ = true;
        }
        return {.skip = IsSync(call.operation)};  // the record alone decides what is on disk
    }
    void After(const file::Call& call) override {
        if (ChangesFiles(call.operation) && !std::exchange(skipped_, false)) {
            steps_.push_back({call.operation,
                              std::filesystem::path(call.path).filename().string(),
                              call.offset,
                              call.operation == file::Operation::Rename
                                  ? std::filesystem::path(call.former_path).filename().string()
                                  : std::string(reinterpret_cast<const char*>(call.data.data()),
                                                call.data.size())});
        }
    }
    std::size_t Steps() const { return steps_.size(); }

    // What could be on disk if the power failed after `steps` steps; without `random` what a
    // process that was killed then leaves, which is all of them.
    Files StateAfter(std::size_t steps, std::mt19937* random) const {
        const auto below = [&](std::size_t limit) { return (*random)() % limit; };
        struct Inode {
            std::string durable;
            std::vector<const Step*> pending;
        };
        std::map<std::string, Inode> inodes;
        struct Name {
            bool durable = false;  // what the folder on disk says
            bool present = false;  // what it says in memory
        };
        std::map<std::string, Name> names;
        for (const auto& [name, content] : start_) {
            inodes[name].durable = content;
            names[name] = {true, true};
        }
        for (std::size_t at = 0; at < steps; ++at) {
            const Step& step = steps_[at];
            Inode& inode = inodes[step.name];
            switch (step.operation) {
                case file::Operation::Create:
                    // A name that comes again is another file.
                    inode = {};
                    names[step.name].present = true;
                    break;
                case file::Operation::Remove:
                    names[step.name].present = false;
                    break;
                case file::Operation::Rename:
                    inode = std::exchange(inodes[step.data], {});
                    names[step.name].present = true;
                    names[step.data].present = false;
                    break;
                case file::Operation::Sync:
                    for (const Step* pending : inode.pending) {
                        Apply(*pending, inode.durable, SIZE_MAX);
                    }
                    inode.pending.clear();
                    break;
                case file::Operation::SyncFolder:
                    for (auto& [name, state] : names) {
                        state.durable = state.present;
                    }
                    break;
                default:
                    inode.pending.push_back(&step);
                    break;
            }
        }
        Files files;
        for (const auto& [name, state] : names) {
            const bool there =
                random == nullptr || state.durable == state.present ? state.present : below(2) == 0;
            if (!there) {
                continue;
            }
            Inode& inode = inodes[name];
            std::string content = inode.durable;
            const auto kept = random == nullptr ? 100 : below(101);
            for (const Step* pending : inode.pending) {
                if (random != nullptr && below(100) >= kept) {
                    continue;
                }
                const std::size_t sectors = pending->data.size() / kSector;
                const bool torn = random != nullptr && sectors > 1 && below(8) == 0;
                Apply(*pending, content, torn ? kSector * (1 + below(sectors)) : SIZE_MAX);
            }
            files[name] = std::move(content);
        }
        return files;
    }

private:
    static constexpr std::size_t kSector = 512;
    struct Step {
        file::Operation operation;
        std::string name;
        std::uint64_t offset;
        std::string data;  // of a Rename the former name
    };
    static void Apply(const Step& step, std::string& content, std::size_t limit) {
        if (step.operation == file::Operation::Truncate) {
            content.resize(step.offset);
        } else if (step.operation == file::Operation::Reserve) {
            content.resize(std::max<std::size_t>(content.size(), step.offset));
        } else if (step.operation == file::Operation::Write) {
            const std::size_t length = std::min(step.data.size(), limit);
            if (content.size() < step.offset + length) {
                content.resize(step.offset + length);
            }
            content.replace(step.offset, length, step.data, 0, length);
        }
    }

    Files start_;
    Planted planted_;
    bool skipped_ = false;
    std::vector<Step> steps_;
};

// The files of a folder, for DiskRecord, and back; folders in it are left alone.
inline DiskRecord::Files ReadFolder(const std::filesystem::path& folder) {
    DiskRecord::Files files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        std::ifstream in(entry.path(), std::ios::binary);
        files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(in), {}};
    }
    return files;
}
inline void WriteFolder(const std::filesystem::path& folder, const DiskRecord::Files& files) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            std::filesystem::remove(entry.path());
        }
    }
    for (const auto& [name, content] : files) {
        std::ofstream(folder / name, std::ios::binary) << content;
    }
}

}  // namespace vantry::test
