#pragma once

#include <functional>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"

namespace kitwell {

// Names the container folder that all processes of the suite share, and the suite of their shared
// preferences.
inline constexpr char kAppGroupIdentifier[] = "7QW2LM9B5R.com.corvalen.kitwell";

// Runs `callback` once with the shared preferences, while no other process and no other thread is inside this
// function: an exclusive lock on the container folder is held from before the preferences are read until the
// callback has returned. An empty callback takes the lock and gives it back.
//
// The preferences object is valid only during the callback. A reader uses the typed getters and copies out
// what it needs. A writer changes a copy of a top-level value, sets the whole value and calls `synchronize`
// before it returns, so that the change is on disk before the lock is released.
//
// Waits for as long as others hold the lock. Not re-entrant: a callback that comes back here, directly or
// through any operation that uses the shared preferences, waits forever (a debug build asserts). When there
// is no container the callback runs without the lock. Any thread.
KITWELL_API void
accessAppGroupPlist(const std::function<void(platform::UserDefaults& preferences)>& callback);

// Has no effect. Kept for the applications that call it.
KITWELL_API void assertAppInAppGroup();

} // namespace kitwell
