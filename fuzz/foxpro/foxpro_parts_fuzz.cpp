// One structure at a time: what opening a file costs is more than what parsing it does.

#include "data/data_error.h"
#include "drivers/foxpro/container/properties.h"
#include "drivers/foxpro/table/code_page_marks.h"
#include "drivers/foxpro/table/header.h"
#include "drivers/foxpro/table/number_text.h"
#include "drivers/foxpro/table/text_coder.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vantry;
    using namespace vantry::foxpro;
    if (size == 0) {
        return 0;
    }
    const auto bytes = std::as_bytes(std::span(data + 1, size - 1));
    try {
        switch (data[0] % 4) {
            case 0: {
                const auto header = ParseHeader(bytes, 10 * bytes.size(), "t.dbf");
                for (const auto& field : header.layout.fields) {
                    if (field.offset + field.length > header.layout.record_length) {
                        std::abort();
                    }
                }
                break;
            }
            case 1:
                // What was read is written as it was.
                if (const auto properties = ParseProperties(bytes);
                    PropertyBytes(properties).size() != bytes.size()) {
                    std::abort();
                }
                break;
            case 2: {
                // A number that was read fits where it came from.
                const auto number = ReadNumber(AsText(bytes));
                if (number && number->Kind() == ValueKind::NumberText) {
                    std::vector<std::byte> field(bytes.size());
                    const auto text = number->AsText();
                    const auto point = text.find('.');
                    const std::size_t decimals =
                        point == std::string_view::npos ? 0 : text.size() - point - 1;
                    if (decimals < 30 && text.size() < 30 &&
                        WriteNumber(*number, decimals, field) != NumberFit::Fits) {
                        std::abort();
                    }
                }
                break;
            }
            default:
                static_cast<void>(CodePageOfName(AsText(bytes)));
        }
    } catch (const DataError&) {
    } catch (const file::BoundsError&) {
    }
    return 0;
}
