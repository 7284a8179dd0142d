#pragma once

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"

namespace kitwell {

// Desktop services of the suite's applications. Keeps no state; any thread.
//
// The session's login items are the applications that the system opens when the user logs in. An application
// is told by the URL of its bundle. Two items are at the same location when their URLs are equal as they were
// given ("/a/B.app" and "/a/B.app/" differ), and have the same name when their last path components are
// equal, upper and lower case being different. Each operation acts on the list as it finds it; changes that
// another process makes meanwhile are not guarded against.
class KITWELL_API CommonAuxiliary {
public:
    static CommonAuxiliary& sharedInstance();

    // Lists the application at the end, unless it is listed at this location already, and takes out every
    // older copy: items of the same name at other locations. True when it is listed on return; false, and
    // nothing is changed, when the list is not available, and false when it could not be listed (the older
    // copies stay taken out).
    bool addAppToLoginItems(const platform::FileUrl& url);
    // Takes out every item of the same name, wherever it lies. False, and nothing is changed, only when the
    // list is not available.
    bool removeAppFromLoginItems(const platform::FileUrl& url);
    // Whether an item is at the same location; false when the list is not available.
    bool findAppInLoginItems(const platform::FileUrl& url);

private:
    CommonAuxiliary() = default;
};

} // namespace kitwell
