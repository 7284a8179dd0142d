#include "Support/TestHome.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace kitwell::test {

TestHome::TestHome() {
    std::string pattern = (std::filesystem::temp_directory_path() / "test-home-XXXXXX").string();
    if (!::mkdtemp(pattern.data()))
        throw std::runtime_error("no private folder for the test");
    path_ = pattern;
    ::setenv("HOME", path_.c_str(), 1);
    for (const auto& [name, folder] :
         {std::pair{"XDG_DATA_HOME", "data"}, std::pair{"XDG_RUNTIME_DIR", "run"},
          std::pair{"XDG_CACHE_HOME", "cache"}, std::pair{"XDG_CONFIG_HOME", "config"}}) {
        std::filesystem::create_directory(path(folder));
        std::filesystem::permissions(path(folder), std::filesystem::perms::owner_all);
        ::setenv(name, path(folder).c_str(), 1);
    }
}

TestHome::~TestHome() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace kitwell::test
