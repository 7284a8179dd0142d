#include "KitwellPlatform/Images/Image.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Images/OutOfMemory.h"
#include "KitwellPlatform/Images/PictureReader.h"
#include "KitwellPlatform/Images/TiffCodec.h"

namespace kitwell::platform {

namespace {

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

using Pictures = std::vector<ImageRepresentation>;
using Reader = Pictures(const Data& data, ImagePictures wanted);

Pictures readTiffPictures(const Data& data, ImagePictures wanted) {
    return readTiff(data, wanted).value_or(Pictures());
}

// What there is no memory for is not read.
Pictures readWith(Reader* reader, const Data& data, ImagePictures wanted) {
    return orNothingWithoutMemory([&] { return reader(data, wanted); });
}

} // namespace

// Copies of an image on two threads may both be the first to look at the file.
struct Image::State {
    std::string path;
    Reader* reader = readPictures;
    ImagePictures wanted = ImagePictures::All;
    std::once_flag read;
    std::vector<ImageRepresentation> pictures;
};

Image::Image(std::shared_ptr<State> state) : state_(std::move(state)) {}

std::optional<Image> Image::fromRepresentations(std::vector<ImageRepresentation> representations) {
    if (!areBitmaps(representations) || !isWithinBounds(representations))
        return std::nullopt;
    return having(std::move(representations));
}

std::optional<Image> Image::fromData(const Data& data, ImagePictures wanted) {
    auto pictures = readWith(readPictures, data, wanted);
    return pictures.empty() ? std::nullopt : std::optional(having(std::move(pictures)));
}

std::optional<Image> Image::fromTiff(const Data& data) {
    auto pictures = readWith(readTiffPictures, data, ImagePictures::All);
    return pictures.empty() ? std::nullopt : std::optional(having(std::move(pictures)));
}

Image Image::having(std::vector<ImageRepresentation> representations) {
    auto state = std::make_shared<State>();
    state->pictures = std::move(representations);
    return Image(std::move(state));
}

Image Image::byReferencingFile(std::string path, ImagePictures wanted) {
    auto state = std::make_shared<State>();
    state->path = std::move(path);
    state->wanted = wanted;
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
        state.pictures = orNothingWithoutMemory([&] {
            const Result<Data> content = readFile(state.path, kMaxImageFileSize);
            return content ? state.reader(*content, state.wanted) : Pictures();
        });
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
    if (!areBitmaps(representations()))
        return std::nullopt;
    return orNothingWithoutMemory([this] { return writeTiff(representations()); });
}

} // namespace kitwell::platform
