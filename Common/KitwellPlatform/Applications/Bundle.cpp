#include "KitwellPlatform/Applications/Bundle.h"

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Values/PropertyList.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxInfoBytes = 1U << 20;

Dictionary readInfo(const FileUrl& bundle) {
    const auto content = readFile(bundle.path() + "/Contents/Info.plist", kMaxInfoBytes);
    if (!content)
        return {};
    auto root = parsePropertyList(content->bytes());
    Dictionary* info = root ? root->asDictionary() : nullptr;
    return info ? std::move(*info) : Dictionary();
}

std::string textOrEmpty(const std::string* text) {
    return text ? *text : std::string();
}

} // namespace

Bundle::Bundle(const FileUrl& url) : url_(url), info_(readInfo(url)) {}

const Bundle& Bundle::main() {
    static const Bundle bundle = [] {
        if (const auto folder = SearchPaths::mainBundleFolder())
            return Bundle(FileUrl(*folder));
        return Bundle(FileUrl(SearchPaths::executable()).deletingLastPathComponent(), Dictionary());
    }();
    return bundle;
}

std::string Bundle::identifier() const {
    return textOrEmpty(info_.findText("CFBundleIdentifier"));
}

FileUrl Bundle::executableUrl() const {
    const std::string name = textOrEmpty(info_.findText("CFBundleExecutable"));
    return isPlainFileName(name) ? url_.appending("Contents/Linux").appending(name) : FileUrl();
}

FileUrl Bundle::resourceUrl(std::string_view name) const {
    return url_.appending("Contents/Resources").appending(name);
}

} // namespace kitwell::platform
