#include "KitwellPlatform/Images/Image.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Images/PictureReader.h"
#include "KitwellPlatform/Images/TiffCodec.h"

namespace kitwell::platform {

namespace {

// Room for the largest picture with 16 bits a sample.
constexpr std::size_t kMaxFileSize = kMaxImagePixels * 8;

bool areBitmaps(const std::vector<ImageRepresentation>& pictures) {
    return !pictures.empty() && std::all_of(pictures.begin(), pictures.end(),
                                            [](const auto& picture) { return picture.isBitmap(); });
}

bool isWithinBounds(const std::vector<ImageRepresentation>& pictures) {
    std::uint64_t bytes = 0;
    for (const ImageRepresentation& picture : pictures)
        bytes += picture.pixels.size();
    return pictures.size() <= kMaxImageRepresentations && bytes <= kMaxImagePixels * 4;
}

std::vector<ImageRepresentation> readTiffPictures(const Data& data) {
    return readTiff(data).value_or(std::vector<ImageRepresentation>());
}

} // namespace

// Copies of an image on two threads may both be the first to look at the file.
struct Image::State {
    std::string path;
    std::vector<ImageRepresentation> (*reader)(const Data& data) = readPictures;
    std::once_flag read;
    std::vector<ImageRepresentation> pictures;
};

Image::Image(std::shared_ptr<State> state) : state_(std::move(state)) {}

std::optional<Image> Image::fromRepresentations(std::vector<ImageRepresentation> representations) {
    if (!areBitmaps(representations) || !isWithinBounds(representations))
        return std::nullopt;
    return having(std::move(representations));
}

std::optional<Image> Image::fromData(const Data& data) {
    auto pictures = readPictures(data);
    return pictures.empty() ? std::nullopt : std::optional(having(std::move(pictures)));
}

std::optional<Image> Image::fromTiff(const Data& data) {
    auto pictures = readTiffPictures(data);
    return pictures.empty() ? std::nullopt : std::optional(having(std::move(pictures)));
}

Image Image::having(std::vector<ImageRepresentation> representations) {
    auto state = std::make_shared<State>();
    state->pictures = std::move(representations);
    return Image(std::move(state));
}

Image Image::byReferencingFile(std::string path) {
    auto state = std::make_shared<State>();
    state->path = std::move(path);
    return Image(std::move(state));
}

Image Image::byReferencingTiffFile(std::string path) {
    Image image = byReferencingFile(std::move(path));
    image.state_->reader = readTiffPictures;
    return image;
}

const std::vector<ImageRepresentation>& Image::representations() const {
    std::call_once(state_->read, [&state = *state_] {
        if (state.path.empty())
            return;
        if (const Result<Data> content = readFile(state.path, kMaxFileSize))
            state.pictures = state.reader(*content);
    });
    return state_->pictures;
}

std::uint32_t Image::width() const {
    return representations().empty() ? 0 : representations().front().width;
}

std::uint32_t Image::height() const {
    return representations().empty() ? 0 : representations().front().height;
}

std::optional<Data> Image::tiffRepresentation() const {
    return areBitmaps(representations()) ? writeTiff(representations()) : std::nullopt;
}

} // namespace kitwell::platform
