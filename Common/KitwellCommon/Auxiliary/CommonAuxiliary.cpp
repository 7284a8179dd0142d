#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"

#include <algorithm>

#include "KitwellPlatform/Applications/LoginItemList.h"

namespace kitwell {

namespace {

using platform::FileUrl;
using platform::LoginItem;
using platform::LoginItemList;

// Not the equality of FileUrl, which passes over trailing slashes.
bool isSameLocation(const LoginItem& item, const FileUrl& url) {
    return item.url.text() == url.text();
}

bool hasSameName(const LoginItem& item, const FileUrl& url) {
    return item.url.lastPathComponent() == url.lastPathComponent();
}

} // namespace

CommonAuxiliary& CommonAuxiliary::sharedInstance() {
    static CommonAuxiliary instance;
    return instance;
}

bool CommonAuxiliary::addAppToLoginItems(const FileUrl& url) {
    const auto items = LoginItemList::items();
    if (!items)
        return false;
    bool isListed = false;
    for (const LoginItem& item : *items) {
        if (isSameLocation(item, url))
            isListed = true;
        else if (hasSameName(item, url))
            static_cast<void>(LoginItemList::remove(item)); // one that stays is not told
    }
    return isListed || LoginItemList::append(url);
}

bool CommonAuxiliary::removeAppFromLoginItems(const FileUrl& url) {
    const auto items = LoginItemList::items();
    if (!items)
        return false;
    for (const LoginItem& item : *items) {
        if (hasSameName(item, url))
            static_cast<void>(LoginItemList::remove(item));
    }
    return true;
}

bool CommonAuxiliary::findAppInLoginItems(const FileUrl& url) {
    const auto items = LoginItemList::items();
    return items &&
           std::ranges::any_of(*items, [&](const LoginItem& item) { return isSameLocation(item, url); });
}

} // namespace kitwell
