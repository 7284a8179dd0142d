#pragma once

#include "Ports/Workload.h"

// The same work through ports. Each measure answers seconds for one unit.
namespace kitwell::benchmarks::ports {

double smallOneWay();
double blockOneWay(std::size_t size);
double lookUpAndFirstMessage();
double death();
Flood flood(std::size_t senders);

// Plays the partner's role; false when this is none of these.
bool play(const std::string& role, const std::vector<std::string>& arguments);

} // namespace kitwell::benchmarks::ports
