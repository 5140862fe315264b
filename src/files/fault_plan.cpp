#include "files/fault_plan.h"

#include <atomic>

namespace vantry::file {
namespace {

// Asked at each call, also by the threads that write behind.
std::atomic<FaultPlan*> Installed{nullptr};

}  // namespace

void InstallFaultPlan(FaultPlan* plan) {
    Installed.store(plan, std::memory_order_release);
}
FaultPlan* InstalledFaultPlan() {
    return Installed.load(std::memory_order_acquire);
}

}  // namespace vantry::file
