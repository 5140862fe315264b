#include "core/backends.h"

#include "support/temp_dir.h"

#include <cstdlib>

namespace vantry::test {
namespace {

class TextBackend : public Backend {
public:
    TextBackend() {
        connection_string = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
                            ";Extended Properties=\"text;FMT=Delimited\";\"";
        types = {"Long", "Text(60)", "DateTime"};
        table_name = [](const std::string& name) { return name + ".csv"; };
        catalog_name = [](const std::string& name) { return name + "#csv"; };
        can_delete = false;
    }

private:
    TempDir folder_;
};

const BackendFactory kText{"Text", [] { return std::string(); }, [] { return std::make_unique<TextBackend>(); }};

}  // namespace

std::vector<const BackendFactory*> AllBackends() { return {&kText}; }

}  // namespace vantry::test
