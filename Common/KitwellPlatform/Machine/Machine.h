#pragma once

#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// The version of the operating system; 0.0.0 when it is unknown.
struct OperatingSystemVersion {
    long majorVersion = 0;
    long minorVersion = 0;
    long patchVersion = 0;
};

// Facts about this machine, each asked of the system anew. Nothing is raised, nothing is created; any thread.
class PLATFORM_API Machine {
public:
    Machine() = delete;

    // Identifies this installation of the system to programs that use this library and to nobody else, as an
    // upper-case UUID: derived one way from /etc/machine-id, which is never shown itself. Empty when the
    // system has none.
    static std::string platformUUID();
    // The first three numbers of VERSION_ID in os-release, "22.04" as 22.4.0. A distribution that has no
    // versions is unknown; the version of the kernel never stands in.
    static OperatingSystemVersion osVersion();
    // The product's name as its firmware tells (DMI, else the device tree), at most 1023 bytes of UTF-8
    // without control characters; empty when there is none.
    static std::string model();
    // The language of messages by LC_ALL, LC_MESSAGES and LANG, such as "de_DE", without codeset and
    // modifier; empty for the locales "C" and "POSIX", and for what is no locale's name.
    static std::string localeIdentifier();
    // Whether a battery feeds the machine itself, not only a mouse or the like.
    static bool hasInternalBattery();
};

} // namespace kitwell::platform
