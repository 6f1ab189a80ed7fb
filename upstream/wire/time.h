#pragma once

#include <chrono>

namespace upstream {

/// A clock that nobody sets. Code that needs the time is given it, so that tests can make it jump.
using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Span = Clock::duration;

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

}  // namespace upstream
