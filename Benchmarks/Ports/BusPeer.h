#pragma once

#include <optional>

#include "Ports/Workload.h"

// The same small messages over a message bus with a daemon of its own.
namespace kitwell::benchmarks::bus {

// Why the bus cannot be measured here; nothing when it can.
std::optional<std::string> missing();

double smallOneWay(const PrivateFolder& folder);
double messagesPerSecond(const PrivateFolder& folder);

// Plays the partner's role; false when this is none of these.
bool play(const std::string& role, const std::vector<std::string>& arguments);

} // namespace kitwell::benchmarks::bus
