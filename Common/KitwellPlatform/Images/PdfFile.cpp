#include "KitwellPlatform/Images/PdfFile.h"

namespace kitwell::platform {

namespace {

constexpr int kDigits = 10; // of a place in the table
constexpr std::size_t kMaxSize = 9'999'999'999;

} // namespace

PdfFile::PdfFile() {
    // Bytes beyond ASCII tell programs that move files that this is no text.
    write("%PDF-1.4\n%\xe2\xe3\xcf\xd3\n");
}

std::size_t PdfFile::newNumber() {
    places_.push_back(0);
    return places_.size();
}

void PdfFile::write(std::span<const std::byte> bytes) {
    isBroken_ = isBroken_ || bytes.size() > kMaxSize - content_.size() || !content_.append(bytes);
}

void PdfFile::write(std::string_view text) {
    write(std::as_bytes(std::span(text)));
}

void PdfFile::begin(std::size_t number) {
    places_[number - 1] = content_.size();
    write(std::to_string(number) + " 0 obj\n");
}

void PdfFile::end() {
    write("\nendobj\n");
}

void PdfFile::writeObject(std::size_t number, std::string_view content) {
    begin(number);
    write(content);
    end();
}

Data PdfFile::finish() {
    const std::size_t table = content_.size();
    const std::string size = std::to_string(places_.size() + 1);
    write("xref\n0 " + size + "\n0000000000 65535 f \n");
    for (const std::uint64_t place : places_) {
        const std::string digits = std::to_string(place);
        write(std::string(kDigits - digits.size(), '0') + digits + " 00000 n \n");
    }
    write("trailer\n<</Size " + size + "/Root 1 0 R>>\nstartxref\n" + std::to_string(table) + "\n%%EOF\n");
    return content_.take();
}

} // namespace kitwell::platform
