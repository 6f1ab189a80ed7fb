#pragma once

#include <string_view>

namespace ctl {

/// Results for standard output, buffered.
void Print(std::string_view text);

/// Writes out what was printed so far. A command whose results come over time calls it after each
/// line.
void FlushOutput();

/// One sentence for standard error, with the program's name in front and a line end behind it.
void Complain(std::string_view sentence);

/// Writes out what is left. `status`, or kNotWritten after a complaint when any of the output of
/// this run was lost.
int FinishOutput(int status);

}  // namespace ctl
