#include "data/error_text.h"

#include "data/message_text.h"

#include <filesystem>
#include <new>
#include <system_error>

namespace vantry {

std::string ErrorText(const std::exception& error) {
    if (const auto* of_file = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
        const auto& path = of_file->path2().empty() ? of_file->path1() : of_file->path2();
        return "The file or folder " + Quoted(path.string()) +
               " could not be used: " + of_file->code().message() +
               ". Check that it is there, that you have the rights to it, and that its disk has "
               "room.";
    }
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        return "There isn't enough memory. Close other programs and try again.";
    }
    if (const auto* of_system = dynamic_cast<const std::system_error*>(&error)) {
        return "The system refused a call: " + of_system->code().message() + ".";
    }
    return error.what();
}

}  // namespace vantry
