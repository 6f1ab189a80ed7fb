#pragma once

/// The whole program: its entry, compiled under this name for the tests.
int RunProgram();

/// Runs it with these two configuration files; null is a file that does not exist. For a child
/// process: it moves to a mount namespace of its own, and can print nothing afterwards.
int RunProgramWith(const char* servers, const char* host_map);
