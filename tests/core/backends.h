#pragma once
// The data sources that the data-access suite runs over: each makes an empty database of its own
// kind and says how its dialect spells what the suite needs.

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vantry::test {

struct Backend {
    virtual ~Backend() = default;
    std::string connection_string;
    std::string quote_open = "[";
    std::string quote_close = "]";
    struct {
        std::string integer;
        std::string text;
        std::string date;
    } types;
    std::function<std::string(const std::string&)> table_name = [](const std::string& name) {
        return name;
    };
    std::function<std::string(const std::string&)> catalog_name = [](const std::string& name) {
        return name;
    };
    bool can_delete = true;
    // A name with what names may have, and a text with what texts may have.
    std::string text_column = "full name";
    std::string text_sample = "O'Brien \"äöü\" \\ 😀";
};

struct BackendFactory {
    std::string name;
    std::function<std::string()> missing;  // what has to be installed; empty when all is there
    std::function<std::unique_ptr<Backend>()> make;
};

std::vector<const BackendFactory*> AllBackends();

}  // namespace vantry::test
