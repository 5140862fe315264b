#pragma once

#include <sys/resource.h>

namespace vantry {

// No image of the memory, in which passwords stand. One byte rather than none: that also keeps the
// image from a program that collects such.
inline void RefuseCoreFile() {
    const rlimit none{1, 1};
    ::setrlimit(RLIMIT_CORE, &none);
}

}  // namespace vantry
