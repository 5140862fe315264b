#include "files/fault_plan.h"

#include <atomic>

namespace vantry::file {
namespace {

std::atomic<FaultPlan*> installed{nullptr};

}  // namespace

void InstallFaultPlan(FaultPlan* plan) {
    installed.store(plan, std::memory_order_release);
}
FaultPlan* InstalledFaultPlan() {
    return installed.load(std::memory_order_acquire);
}

}  // namespace vantry::file
