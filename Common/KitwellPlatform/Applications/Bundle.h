#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell::platform {

// A folder "Name.app" with Contents/Info.plist, Contents/Linux/<executable> and Contents/Resources. A folder
// without a readable Info.plist is a bundle without keys. Immutable; any thread.
class PLATFORM_API Bundle {
public:
    explicit Bundle(const FileUrl& url);

    // The bundle that the running executable stands in. An executable outside any bundle has one without
    // keys, whose URL is the executable's folder.
    static const Bundle& main();

    const FileUrl& bundleUrl() const { return url_; }
    // "CFBundleIdentifier", or empty when it is missing or no text.
    std::string identifier() const;
    const Dictionary& infoDictionary() const { return info_; }
    // The value under the key, or null.
    const Value* objectForInfoDictionaryKey(std::string_view key) const { return info_.find(key); }
    // Contents/Linux/<"CFBundleExecutable">, or the empty URL when the key is missing or no plain file name.
    FileUrl executableUrl() const;
    // Contents/Resources/<name>; whether it exists is not looked at.
    FileUrl resourceUrl(std::string_view name) const;

private:
    Bundle(FileUrl url, Dictionary info) : url_(std::move(url)), info_(std::move(info)) {}

    FileUrl url_;
    Dictionary info_;
};

} // namespace kitwell::platform
