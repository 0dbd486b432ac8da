// mime/send/scoped_value.hpp - a variable that has another value for the time of a scope
#pragma once

#include <utility>

namespace vellum {

/// Gives a variable a value, and at the end of the scope the one that it had before. The variable
/// outlives the scope.
template <typename Value>
class ScopedValue {
public:
    ScopedValue(Value & variable, Value value)
        : variable_(variable), before_(std::exchange(variable, value)) {}
    ~ScopedValue() { variable_ = before_; }
    ScopedValue(ScopedValue const &) = delete;
    ScopedValue & operator=(ScopedValue const &) = delete;

private:
    Value & variable_;
    Value const before_;
};

} // namespace vellum
