#pragma once

// What nearly every test needs.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "Support/ChildProcess.h"
#include "Support/LogLines.h"
#include "Support/ScriptedDialogs.h"
#include "Support/TestBundle.h"
#include "Support/TestHome.h"
#include "Support/Traffic.h"
