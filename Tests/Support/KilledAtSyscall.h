#pragma once

#include <cstddef>
#include <functional>

namespace kitwell::test {

// Runs `work` in a child process and kills that, as SIGKILL does, at the entry of its system call of this
// number, counted from 1: the calls before it have been carried out, it and those behind it never are. False
// when the work came to its end with fewer calls.
//
// The child is a copy of this process, so call this while the test has one thread. What `work` changes in
// memory is lost; only calls of its own thread count, and its descriptors and locks are given back when this
// returns. Throws when the child cannot be watched or when `work` throws.
bool killedAtSyscall(std::size_t number, const std::function<void()>& work);

// Kills the work at its first system call, then at its second, and so on, until it once comes to its end,
// with `prepare` before and `check` after each time; the last check is of work that was not killed. Answers
// at how many calls the work was killed: a test should expect at least as many as the work is made of.
std::size_t killAtEachSyscall(const std::function<void()>& prepare, const std::function<void()>& work,
                              const std::function<void()>& check);

} // namespace kitwell::test
