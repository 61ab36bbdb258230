#pragma once
// A command-line job is asked to stop by an interrupt (Ctrl+C) or a
// termination signal, as it would be by the window's Cancel. The handlers
// only note the signal's number; the job looks at it between its steps,
// removes what it was making and ends, and the program exits with 128 plus
// the signal's number (130 for an interrupt, 143 for a termination).
#include <csignal>

namespace morvane {

// Installs the handlers for SIGINT and SIGTERM. The flag they set: 0 until a
// signal came, then its number. A second signal changes nothing more.
const volatile std::sig_atomic_t* catchCancelSignals();

}  // namespace morvane
