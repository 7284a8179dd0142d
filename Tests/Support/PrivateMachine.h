#pragma once

#include <string>

namespace kitwell::test {

// Gives this process and the children that it starts from now on a root folder of their own: all that the
// real one has, but a new and empty "/Library", so that programs meet a policy without the machine's own
// being touched. For child bodies: there is no way back. `folder` must exist and be empty; what is mounted on
// it goes with the last of the processes. False when that is not possible here: it takes the superuser's
// rights.
bool enterPrivateMachine(const std::string& folder);

// What a child body answers where it could not enter one.
inline constexpr int kNoPrivateMachine = 77;

// Runs the child body with the folder as its argument, and answers its exit code; `said` takes what it
// printed.
int runOnPrivateMachine(const std::string& body, const std::string& folder, std::string& said);

} // namespace kitwell::test
