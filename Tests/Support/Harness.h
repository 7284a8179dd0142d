#pragma once

// What nearly every test needs.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "Support/ChildProcess.h"
#include "Support/LogLines.h"
#include "Support/ScriptedDialogs.h"
#include "Support/TestBundle.h"
#include "Support/TestHome.h"
#include "Support/Traffic.h"
