#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Values/GrowingBuffer.h"

namespace kitwell::platform {

// The objects of a PDF file one behind the other, and the table of their places. The first object is the
// root. Inside the library only; one thread at a time.
class PdfFile {
public:
    PdfFile();

    std::size_t newNumber();
    // Writes "N 0 obj" and, at the end, "endobj"; what is written between them is the object.
    void begin(std::size_t number);
    void end();
    void write(std::string_view text);
    void write(std::span<const std::byte> bytes);
    void writeObject(std::size_t number, std::string_view content);

    // No memory was left for all of it, or the table cannot name its last places.
    bool isBroken() const { return isBroken_; }
    // Completes the file and gives it away.
    Data finish();

private:
    GrowingBuffer content_;
    std::vector<std::uint64_t> places_; // of object 1 and those that follow
    bool isBroken_ = false;
};

} // namespace kitwell::platform
