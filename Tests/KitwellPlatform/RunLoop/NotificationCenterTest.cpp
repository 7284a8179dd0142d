#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "KitwellPlatform/RunLoop/NotificationCenter.h"

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
    center.post("n");
    EXPECT_EQ(told, "1");
    center.post("n");
    EXPECT_EQ(told, "13");
}

TEST(NotificationCenter, AnObserverMayPostAndDropTheCentre) {
    std::optional<NotificationCenter> center(std::in_place);
    std::string told;
    const auto first = center->observe("outer", nullptr, [&](const Notification&) {
        told += '1';
        center->post("inner");
        center.reset();
    });
    const auto inner = center->observe("inner", nullptr, [&](const Notification&) { told += 'i'; });
    const auto last = center->observe("outer", nullptr, [&](const Notification&) { told += '2'; });
    const auto other = center->observe("outer", &told, [&](const Notification&) { told += 'x'; });
    center->post("outer");
    EXPECT_EQ(told, "1i2");
}

} // namespace kitwell::platform
