// tests/support/processes.hpp - child processes, and the memory that they share with their parent
#pragma once

#include <memory>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vellum::test {

template <typename T>
std::shared_ptr<T> shared() {
    constexpr int flags = MAP_SHARED | MAP_ANONYMOUS;
    void * const memory = ::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, flags, -1, 0);
    return {new (memory) T{}, [](T * value) { ::munmap(value, sizeof(T)); }};
}

/// A child that runs `work` and ends with what it returns.
template <typename Work>
pid_t start_child(Work const & work) {
    pid_t const child = ::fork();
    if (child == 0) ::_exit(static_cast<int>(work()));
    return child;
}

/// What a child has ended with, or the signal that ended it, below 0.
inline int result_of(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

template <typename Work>
int result_of_child(Work const & work) {
    return result_of(start_child(work));
}

} // namespace vellum::test
