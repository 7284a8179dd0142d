#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// A picture larger than this in all its representations is refused before memory is taken.
inline constexpr std::uint64_t kMaxImagePixels = 64ULL << 20;
inline constexpr std::size_t kMaxImageRepresentations = 64;

// One bitmap of an image: rows from the top, 4 bytes a pixel in the order red, green, blue, alpha, alpha not
// premultiplied, no padding between rows. One that is no bitmap has a size of 0.
struct PLATFORM_API ImageRepresentation {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    Data pixels; // width * height * 4 bytes
    Data jpeg{}; // the JPEG file these pixels were read from, empty when there is none or it needs turning

    // False for what has no pixels, such as the page of a PDF, and for bytes that do not match the size.
    bool isBitmap() const {
        return !pixels.empty() && pixels.size() % 4 == 0 &&
               pixels.size() / 4 == std::uint64_t{width} * height;
    }
    // The same picture, wherever it comes from.
    friend bool operator==(const ImageRepresentation& left, const ImageRepresentation& right) {
        return left.width == right.width && left.height == right.height && left.pixels == right.pixels;
    }
};

// Which pictures of a file are read: of a document of many pages the first may be all that is wanted, and
// what follows it is not looked at.
enum class ImagePictures { All, First };

// No larger file is read: room for the largest picture with 16 bits a sample.
inline constexpr std::size_t kMaxImageFileSize = kMaxImagePixels * 8;

// A picture in one or more representations, and whether it is a template (drawn in the colour of its
// surroundings). Copies share their pixels; the template flag belongs to each copy. One thread at a time;
// copies may be on different threads.
class PLATFORM_API Image {
public:
    // Nothing when there is no representation, one of them is empty, its bytes do not match its size, or all
    // together are beyond the bounds above.
    static std::optional<Image> fromRepresentations(std::vector<ImageRepresentation> representations);
    // Reads TIFF with all its pictures, and PNG, JPEG, JPEG 2000, BMP and the first frame of a GIF; may share
    // the bytes of `data`. What is a PDF has one representation that is no bitmap. Nothing when the data is
    // no picture, is damaged, or is beyond the bounds above.
    static std::optional<Image> fromData(const Data& data, ImagePictures wanted = ImagePictures::All);
    // The same for TIFF alone, in which pictures travel between processes: what an unknown process sent
    // reaches no other decoder.
    static std::optional<Image> fromTiff(const Data& data);
    // Refers to a file: it is read when the first representation is asked for. A file that then cannot be
    // read gives an image without representations.
    static Image byReferencingFile(std::string path, ImagePictures wanted = ImagePictures::All);
    static Image byReferencingTiffFile(std::string path);

    const std::vector<ImageRepresentation>& representations() const;
    // Of the first representation; 0 when there is none.
    std::uint32_t width() const;
    std::uint32_t height() const;

    bool isTemplate() const { return isTemplate_; }
    void setTemplate(bool isTemplate) { isTemplate_ = isTemplate; }

    // Uncompressed TIFF of all representations; nothing when there is none or one of them is no bitmap. The
    // same image gives the same bytes.
    std::optional<Data> tiffRepresentation() const;

private:
    struct State;
    explicit Image(std::shared_ptr<State> state);
    static Image having(std::vector<ImageRepresentation> representations);
    std::shared_ptr<State> state_;
    bool isTemplate_ = false;
};

} // namespace kitwell::platform
