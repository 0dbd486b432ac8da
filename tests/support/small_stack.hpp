// tests/support/small_stack.hpp - runs hostile input on a stack that recursion would exhaust
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <functional>

namespace vellum::test {

/// The sanitizers make frames of several times the size.
constexpr std::size_t small_stack =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    std::size_t{2} << 20;
#else
    std::size_t{128} << 10;
#endif

inline void on_small_stack(std::function<void()> work, std::size_t size = small_stack) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
    pthread_t thread;
    auto const start = [](void * argument) -> void * {
        (*static_cast<std::function<void()> *>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, start, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

} // namespace vellum::test
