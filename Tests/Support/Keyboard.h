#pragma once

#include <string>

#include "KitwellPlatform/Files/FileDescriptor.h"

namespace kitwell::test {

// The side of a terminal where the person sits.
class Keyboard {
public:
    Keyboard();
    std::string terminal() const; // its path, for whoever asks the person
    void type(const std::string& text) const;
    // Reads until the screen has shown the text since the last call; answers all that was shown.
    std::string waitFor(const std::string& text) const;

private:
    platform::FileDescriptor master_;
};

} // namespace kitwell::test
