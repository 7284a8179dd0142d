#pragma once

// Marks what the platform library shows to others; everything else stays hidden inside it.
#define PLATFORM_API __attribute__((visibility("default")))
