#include "KitwellPlatform/RunLoop/NotificationCenter.h"
#include "Support/Harness.h"

namespace kitwell::platform {

TEST(NotificationCenter, ObserversMayComeAndGoWhileTheyAreTold) {
    NotificationCenter center;
    std::string told;
    NotificationCenter::Subscription first, second, third;
    first = center.observe("n", nullptr, [&](const Notification&) {
        told += '1';
        first.end();
        second.end();
        third = center.observe("n", nullptr, [&](const Notification&) { told += '3'; });
    });
    second = center.observe("n", nullptr, [&](const Notification&) { told += '2'; });
    const auto ofAnother = center.observe("n", &told, [&](const Notification&) { told += 'x'; });
    center.post("n");
    EXPECT_EQ(told, "1");
    center.post("n");
    EXPECT_EQ(told, "13");
}

} // namespace kitwell::platform
