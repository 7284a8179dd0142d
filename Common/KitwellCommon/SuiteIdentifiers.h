#pragma once

namespace kitwell {

// The agent's bundle, whose preferences are the suite's own. A tool's identifier is this, a dot and its name.
inline constexpr char kAgentBundleIdentifier[] = "com.corvalen.kitwell";

} // namespace kitwell
