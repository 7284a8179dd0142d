#pragma once

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"

namespace kitwell {

// Desktop services of the suite's applications. Keeps no state; any thread.
class KITWELL_API CommonAuxiliary {
public:
    static CommonAuxiliary& sharedInstance();
    bool findAppInLoginItems(const platform::FileUrl&) { return false; }

private:
    CommonAuxiliary() = default;
};

} // namespace kitwell
