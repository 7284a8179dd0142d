#pragma once

#include "Ports/Workload.h"

// The least that the system allows: bare sockets, epoll and memory files, with no check and no bookkeeping.
// Any packet may bring a memory file along, so what takes many peers' packets takes them with recvmsg.
// Each measure answers seconds for one unit.
namespace kitwell::benchmarks::raw {

double smallOneWay(const PrivateFolder& folder);
double blockOneWay(const PrivateFolder& folder, std::size_t size);
double connectAndFirstMessage(const PrivateFolder& folder);
double death(const PrivateFolder& folder);
Flood flood(const PrivateFolder& folder, std::size_t senders);

// Plays the partner's role; false when this is none of these.
bool play(const std::string& role, const std::vector<std::string>& arguments);

} // namespace kitwell::benchmarks::raw
