#include "KitwellPlatform/RunLoop/DetachedThread.h"

#include <system_error>
#include <thread>

namespace kitwell::platform {

bool runOnDetachedThread(std::function<void()> work) {
    try {
        std::thread(std::move(work)).detach();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

} // namespace kitwell::platform
