#pragma once

// Marks what the framework shows to applications; everything else stays hidden inside it.
#define KITWELL_API __attribute__((visibility("default")))
