#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

/// Calls a system function again as long as a signal interrupts it.
template <typename Call>
auto retrying(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// An open file, closed with the object.
class Descriptor {
public:
    explicit Descriptor(int opened = -1) : number(opened) {}
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

    /// Closes the file now; false when the system reports that written data may be lost. The descriptor is
    /// gone in either case, also after EINTR.
    bool close() {
        const int open = std::exchange(number, -1);
        return open < 0 || ::close(open) == 0 || errno == EINTR;
    }

    /// Gives the open file to another owner.
    int release() { return std::exchange(number, -1); }

private:
    int number;
};

} // namespace platform
