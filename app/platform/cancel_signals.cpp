#include "cancel_signals.h"

#ifndef _WIN32
#include <signal.h>

#include <cstring>
#endif

namespace morvane {
namespace {

// A signal handler can reach nothing else: this is the one place it writes.
volatile std::sig_atomic_t cancelSignal = 0;

extern "C" void noteCancelSignal(int signal) {
    if (cancelSignal == 0) cancelSignal = signal;
}

}  // namespace

const volatile std::sig_atomic_t* catchCancelSignals() {
#ifdef _WIN32
    std::signal(SIGINT, noteCancelSignal);
    std::signal(SIGTERM, noteCancelSignal);
#else
    // Without SA_RESTART: a question waiting on the terminal is given up
    // (its answer is No) rather than waited on.
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = noteCancelSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
#endif
    return &cancelSignal;
}

}  // namespace morvane
