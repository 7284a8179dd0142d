#pragma once

#include <gtest/gtest.h>
#include <string>

namespace kitwell::test {

// A private home folder for one test: HOME and the XDG folders point into it while the object lives; then it
// is removed with all it holds. Child processes inherit it.
class TestHome {
public:
    TestHome();
    ~TestHome();
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;

    const std::string& path() const { return path_; }
    std::string path(const std::string& below) const { return path_ + "/" + below; }

private:
    std::string path_;
};

// A test that does all it does in one private home.
class InTestHome : public testing::Test {
protected:
    const TestHome home;
};

} // namespace kitwell::test
