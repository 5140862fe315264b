// One structure at a time: what opening a file costs is more than what parsing it does.

#include "data/data_error.h"
#include "drivers/foxpro/container/properties.h"
#include "drivers/foxpro/indexes/key_expression.h"
#include "drivers/foxpro/indexes/node.h"
#include "drivers/foxpro/table/code_page_marks.h"
#include "drivers/foxpro/table/header.h"
#include "drivers/foxpro/table/number_text.h"
#include "drivers/foxpro/table/text_coder.h"

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::foxpro {
namespace {

// A field of each type, named after it, one behind the other.
TableLayout LayoutOfAllTypes() {
    TableLayout layout;
    layout.code_page = 1252;
    layout.record_length = 1;
    for (const char type : std::string_view("CNFDTLIBYVM")) {
        Field field;
        field.name = field.long_name = std::string(1, type);
        field.type = type;
        field.offset = layout.record_length;
        field.length = std::string_view("IM").find(type) != std::string_view::npos ? 4
                       : type == 'L'                                               ? 1
                                                                                   : 8;
        layout.record_length += field.length;
        layout.fields.push_back(field);
    }
    return layout;
}

void FuzzHeader(std::span<const std::byte> bytes) {
    const auto header = ParseHeader(bytes, 10 * bytes.size(), "t.dbf");
    for (const auto& field : header.layout.fields) {
        if (field.offset + field.length > header.layout.record_length) {
            std::abort();
        }
    }
}

// A number that was read fits where it came from.
void FuzzNumber(std::span<const std::byte> bytes) {
    const auto number = ReadNumber(AsText(bytes));
    if (!number || number->Kind() != ValueKind::NumberText) {
        return;
    }
    const auto text = number->AsText();
    const auto point = text.find('.');
    const std::size_t decimals = point == std::string_view::npos ? 0 : text.size() - point - 1;
    std::vector<std::byte> field(bytes.size());
    if (decimals < 30 && text.size() < 30 &&
        WriteNumber(*number, decimals, field) != NumberFit::Fits) {
        std::abort();
    }
}

// The text of an expression, over a record of blanks.
void FuzzExpression(std::span<const std::byte> bytes) {
    const auto layout = LayoutOfAllTypes();
    const LetterTable letters(layout.code_page);
    const std::vector<std::byte> record(layout.record_length, std::byte{' '});
    const KeyExpression expression(AsText(bytes), layout, letters);
    static_cast<void>(expression.Evaluate({&layout, record, 1}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const auto bytes = std::as_bytes(std::span(data + 1, size - 1));
    try {
        switch (data[0] % 6) {
            case 0:
                FuzzHeader(bytes);
                break;
            case 1:
                // What was read is written as it was.
                if (const auto properties = ParseProperties(bytes);
                    PropertyBytes(properties).size() != bytes.size()) {
                    std::abort();
                }
                break;
            case 2:
                FuzzNumber(bytes);
                break;
            case 3:
                FuzzExpression(bytes);
                break;
            case 4: {
                // A leaf or an inner node.
                Node node;
                std::vector<std::byte> page(bytes.begin(), bytes.end());
                page.resize(kIndexPage);
                DecodeNode(page, {1U + data[0] % 240U, std::byte{' '}}, node);
                break;
            }
            default:
                static_cast<void>(CodePageOfName(AsText(bytes)));
        }
    } catch (const DataError&) {
    } catch (const file::BoundsError&) {
    } catch (const foxpro::KeyTrouble&) {
    }
    return 0;
}

}  // namespace vantry::foxpro
