#pragma once
// An owned file descriptor.

#include <unistd.h>

#include <utility>

namespace vantry::file {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor) : descriptor_(descriptor) {}
    UniqueFd(UniqueFd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            Reset(std::exchange(other.descriptor_, -1));
        }
        return *this;
    }
    ~UniqueFd() { Reset(); }

    int Get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int Release() { return std::exchange(descriptor_, -1); }
    void Reset(int descriptor = -1) {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = descriptor;
    }

private:
    int descriptor_ = -1;
};

}  // namespace vantry::file
