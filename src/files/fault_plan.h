#pragma once
// The seam through which tests see and disturb every operation on files: fail the n-th one, cut a
// write short, pretend that a sync happened, kill the process, or record what reached the disk.
// Without a plan it costs one load of a pointer.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vantry::file {

enum class Operation : std::uint8_t {
    Open,
    Create,
    Read,
    Write,
    Reserve,   // space set aside ahead of writes, the file growing by it
    SetAside,  // the same behind the end, which stays where it is
    Truncate,
    Sync,
    SyncFolder,
    Remove,
    Rename,  // `path` is the new name
};

struct Call {
    Operation operation = Operation::Read;
    std::string_view path;
    std::uint64_t offset = 0;              // Truncate: the new size
    std::span<const std::byte> data = {};  // of a Write; of a gathered one in several calls
    std::string_view former_path = {};     // of a Rename
};

struct Verdict {
    int error = 0;                 // errno to fail with; 0: go on
    bool skip = false;             // report success without doing it
    std::size_t limit = SIZE_MAX;  // a Write: only so many bytes; it then goes on with the rest
};

class FaultPlan {
public:
    virtual ~FaultPlan() = default;
    virtual Verdict Before(const Call& call) = 0;
    virtual void After(const Call&) {}
};

// For the whole process; null takes it away. The plan must outlive every operation.
void InstallFaultPlan(FaultPlan* plan);
FaultPlan* InstalledFaultPlan();

}  // namespace vantry::file
