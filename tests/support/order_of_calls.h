#pragma once
// The order of what happens to files: w written, s flushed to the disk, n given its name; the same
// thing several times in turn is one sign.

#include "files/fault_plan.h"

#include <string>

namespace vantry::test {

class OrderOfCalls : public file::FaultPlan {
public:
    file::Verdict Before(const file::Call& call) override {
        const char sign = call.operation == file::Operation::Write    ? 'w'
                          : call.operation == file::Operation::Sync   ? 's'
                          : call.operation == file::Operation::Rename ? 'n'
                                                                      : '\0';
        if (sign != '\0' && (order.empty() || order.back() != sign)) {
            order += sign;
        }
        return {};
    }
    std::string order;
};

}  // namespace vantry::test
