#pragma once
// What a program does at its start so that a crash leaves no file of its memory.

#include <sys/resource.h>

namespace vantry {

// Passwords stand in the memory. One byte rather than none: that also keeps the image from a
// program that collects such.
inline void RefuseCoreFile() {
    const rlimit none{1, 1};
    ::setrlimit(RLIMIT_CORE, &none);
}

}  // namespace vantry
