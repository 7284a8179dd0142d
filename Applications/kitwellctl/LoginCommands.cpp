#include <algorithm>
#include <filesystem>
#include <functional>

#include "Commands.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/LoginItemList.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "Shared/Words.h"

namespace kitwell::applications {

namespace {

using platform::Dictionary;
using platform::FileUrl;
using platform::LoginItem;
using platform::LoginItemList;

std::string nameOf(const FileUrl& url) {
    return url.deletingPathExtension().lastPathComponent();
}

// The installed application of this name, else the login item of one that is gone.
std::optional<FileUrl> applicationNamed(const std::string& name) {
    for (const platform::Bundle& bundle : platform::Workspace::applications()) {
        if (isSameName(nameOf(bundle.bundleUrl()), name))
            return bundle.bundleUrl();
    }
    const auto items = LoginItemList::items();
    for (const LoginItem& item : items ? *items : std::vector<LoginItem>()) {
        if (isSameName(nameOf(item.url), name))
            return item.url;
    }
    return std::nullopt;
}

// What has a slash is a path; a trailing one is kept, as the list keeps it.
Answer forApplication(const std::string& text, const std::function<Answer(const FileUrl&)>& act) {
    std::error_code failure;
    if (text.find('/') != std::string::npos)
        return act(FileUrl(std::filesystem::absolute(text, failure).lexically_normal().string()));
    const auto url = applicationNamed(text);
    return url ? act(*url) : Answer::failed("no application is named " + text);
}

Answer notAvailable(const std::string& reason) {
    return Answer::failed("the login items are not available: " + reason);
}

Answer listItems(const Call&) {
    const auto items = LoginItemList::items();
    if (!items)
        return notAvailable(items.error().description);
    platform::Array rows;
    for (const LoginItem& item : *items)
        rows.emplace_back(Dictionary{{"name", nameOf(item.url)}, {"path", item.url.text()}});
    return Answer::list(std::move(rows));
}

Answer add(const Call& call) {
    return forApplication(call[0], [](const FileUrl& url) {
        if (!CommonAuxiliary::sharedInstance().addAppToLoginItems(url))
            return Answer::failed(url.text() + " cannot be opened at login: it is no application with an "
                                               "executable, or the list cannot be changed");
        return Answer::done(url.text() + " is opened at login",
                            {{"name", nameOf(url)}, {"path", url.text()}});
    });
}

Answer remove(const Call& call) {
    return forApplication(call[0], [](const FileUrl& url) {
        if (!CommonAuxiliary::sharedInstance().removeAppFromLoginItems(url))
            return notAvailable("the folder cannot be read");
        const auto left = LoginItemList::items();
        const bool isLeft = !left || std::ranges::any_of(*left, [&](const LoginItem& item) {
            return item.url.lastPathComponent() == url.lastPathComponent();
        });
        if (isLeft)
            return Answer::failed("an entry of " + nameOf(url) + " cannot be removed");
        return Answer::done("no " + nameOf(url) + " is opened at login", {{"name", nameOf(url)}});
    });
}

Answer check(const Call& call) {
    return forApplication(call[0], [](const FileUrl& url) {
        const bool isListed = CommonAuxiliary::sharedInstance().findAppInLoginItems(url);
        Dictionary data{{"name", nameOf(url)}, {"path", url.text()}, {"listed", isListed}};
        return Answer{isListed ? ExitCode::Done : ExitCode::Failed, std::move(data),
                      url.text() + (isListed ? " is opened at login" : " is not opened at login")};
    });
}

constexpr Command kCommands[] = {
    {"login list", "", "list the applications that are opened at login", listItems},
    {"login add", "PATH-OR-NAME", "open an application at login, in place of older copies", add},
    {"login remove", "PATH-OR-NAME", "open no application of that name at login", remove},
    {"login check", "PATH-OR-NAME", "tell whether the application is opened at login", check},
};

} // namespace

std::span<const Command> loginCommands() {
    return kCommands;
}

} // namespace kitwell::applications
