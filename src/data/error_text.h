#pragma once
// What a user is shown of an error, whatever threw it. A DataError has been written for users; what
// the standard library says ("std::bad_alloc", "filesystem error: ...") hasn't.

#include <exception>
#include <string>

namespace vantry {

std::string ErrorText(const std::exception& error);

}  // namespace vantry
