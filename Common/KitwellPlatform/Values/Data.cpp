#include "KitwellPlatform/Values/Data.h"

#include <utility>

namespace kitwell::platform {

Data::Data(std::string_view text) : Data(copying(std::as_bytes(std::span(text)))) {}

Data Data::copying(std::span<const std::byte> bytes) {
    return adopting(std::vector<std::byte>(bytes.begin(), bytes.end()));
}

Data Data::adopting(std::vector<std::byte> bytes) {
    auto owner = std::make_shared<const std::vector<std::byte>>(std::move(bytes));
    const std::span<const std::byte> view = *owner;
    return sharing(std::move(owner), view);
}

Data Data::sharing(std::shared_ptr<const void> owner, std::span<const std::byte> bytes) {
    Data data;
    data.owner_ = std::move(owner);
    data.bytes_ = bytes;
    return data;
}

} // namespace kitwell::platform
