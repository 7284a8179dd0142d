#include "Support/Keyboard.h"

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace kitwell::test {

Keyboard::Keyboard() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    ::grantpt(master_.get());
    ::unlockpt(master_.get());
}

std::string Keyboard::terminal() const {
    return ::ptsname(master_.get());
}

void Keyboard::type(const std::string& text) const {
    ASSERT_EQ(::write(master_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string Keyboard::waitFor(const std::string& text) const {
    std::string shown;
    pollfd entry{master_.get(), POLLIN, 0};
    char buffer[4096];
    while (shown.find(text) == std::string::npos && ::poll(&entry, 1, 20000) > 0) {
        const ssize_t count = ::read(master_.get(), buffer, sizeof buffer);
        if (count <= 0)
            break;
        shown.append(buffer, static_cast<std::size_t>(count));
    }
    EXPECT_NE(shown.find(text), std::string::npos) << "the screen shows: " << shown;
    return shown;
}

} // namespace kitwell::test
