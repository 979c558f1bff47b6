// Ctrl-C: the signal only sets a flag, and work asks for it at the points
// where stopping is safe (the package's progress and abort callbacks,
// before a file is written). A stopped run exits with status 130.
#pragma once

namespace rxtool {

// Makes Ctrl-C ask running work to stop; a run starts uninterrupted.
void catch_interrupts();
bool interrupted();
// Throws the tool's "interrupted" error (status 130) when Ctrl-C came.
void stop_if_interrupted();
// The error of a run stopped by Ctrl-C or by the package's interruption.
[[noreturn]] void throw_interrupted();

}  // namespace rxtool
