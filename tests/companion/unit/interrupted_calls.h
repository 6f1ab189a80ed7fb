#pragma once

// Every call of the system that changes a file or a folder is a step. The linker leads them through
// here (--wrap).
namespace interrupted_calls {

/// What happens at a step.
enum class What {
  kNothing,
  kEnd,  ///< the process ends, with kEndStatus
  kFail  ///< the call fails with EIO, and later ones succeed
};

inline constexpr int kEndStatus = 77;

/// `what` happens at the step with this number, counted from 1 and from now on.
void At(int step, What what);

/// How many steps there have been since `At`.
int Steps();

/// From now on no file has a second name: every hard link is refused, as that of a mount is.
void RefuseHardLinks(bool refuse);

}  // namespace interrupted_calls
