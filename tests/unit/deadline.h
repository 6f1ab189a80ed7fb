#pragma once

#include <gtest/gtest.h>

/// A listener under which a test that hangs ends the program within 250 s and is named: whoever
/// runs the tests need not wait for them all. GoogleTest's once appended.
testing::EmptyTestEventListener* MakeDeadline();
