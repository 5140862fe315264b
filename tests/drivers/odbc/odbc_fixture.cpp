#include "drivers/odbc/odbc_fixture.h"

namespace vantry::test {
namespace {

std::unique_ptr<PrivateOdbc> registry;

// Before any test, and so before the driver manager is asked for anything.
class RegistryEnvironment : public testing::Environment {
public:
    void SetUp() override { registry = std::make_unique<PrivateOdbc>(); }
    void TearDown() override { registry.reset(); }
};

const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new RegistryEnvironment);

}  // namespace

PrivateOdbc& Registry() {
    return *registry;
}

}  // namespace vantry::test
