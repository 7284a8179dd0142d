#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"

namespace kitwell {

CommonAuxiliary& CommonAuxiliary::sharedInstance() {
    static CommonAuxiliary instance;
    return instance;
}

} // namespace kitwell
