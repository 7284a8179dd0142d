#include "KitwellPlatform/Values/PropertyList.h"

#include "KitwellPlatform/Values/PropertyListReaders.h"

namespace kitwell::platform {

Error propertyListError(std::size_t position, std::string_view fault) {
    return {std::string(kPropertyListErrorDomain), static_cast<std::int64_t>(position),
            std::string(fault) + " at byte " + std::to_string(position)};
}

Result<Value> parsePropertyList(std::span<const std::byte> bytes) {
    if (bytes.size() > kMaxPropertyListBytes)
        return propertyListError(kMaxPropertyListBytes, "property list is too large");
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return text.starts_with(kBinaryPropertyListMagic) ? readBinaryPropertyList(bytes)
                                                      : readXmlPropertyList(bytes);
}

} // namespace kitwell::platform
