#pragma once
// The steps that every start of a child shares, for code that prepares the child's streams itself.

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "util/fd.hpp"

namespace mbproc {

// A process whose own standard streams are closed gets 0, 1 or 2 for a new descriptor. There the
// child would overwrite one with another, and dup2() of a number onto itself keeps close-on-exec.
// Moves it higher; false, with errno, when there is no descriptor left.
bool moveAboveStreams(mbutil::Fd& fd);

// For execve(), which wants pointers to non-const and does not write through them. They hold as
// long as `texts` is neither changed nor gone; a null ends them.
std::vector<char*> pointersTo(std::vector<std::string>& texts);

// What the child runs, in the parent's memory and with all signals blocked: async-signal-safe calls
// only, nothing written but variables of its own, and no return. `signalMask` is the parent's.
using ChildMain = void (*)(const void* plan, const sigset_t& signalMask);

// The id of the new process, or -1 with errno. The calling thread sleeps until the child has become
// another program or ended.
pid_t launch(ChildMain childMain, const void* plan);

}  // namespace mbproc
