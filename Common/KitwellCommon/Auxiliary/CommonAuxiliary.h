#pragma once

#include "KitwellCommon/Export.h"

namespace kitwell {

// Desktop services of the suite's applications. Keeps no state; any thread.
class KITWELL_API CommonAuxiliary {
public:
    static CommonAuxiliary& sharedInstance();

private:
    CommonAuxiliary() = default;
};

} // namespace kitwell
