#include "tool/HeldSignals.h"

#include <iostream>
#include <unistd.h>

namespace Quil {

namespace {

constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// Whether a signal that ends a run waits, and not just because somebody held it before.
bool IsWaiting(const sigset_t& unless) {
    sigset_t waiting;
    sigpending(&waiting);
    for (const int signal : ENDING_SIGNALS) {
        if (sigismember(&waiting, signal) == 1 && sigismember(&unless, signal) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

void EndBySignal(int signal) {
    std::signal(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    raise(signal);
    _exit(-1); // the default action of some signals is none
}

CHeldSignals::CHeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : ENDING_SIGNALS) {
        sigaddset(&held, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held, &__before);
}

bool CSignalWatch::HasCome() {
    constexpr std::chrono::milliseconds INTERVAL(5);
    const auto now = std::chrono::steady_clock::now();
    if (!__hasCome && now - __asked >= INTERVAL) {
        sigset_t none;
        sigemptyset(&none);
        __hasCome = IsWaiting(none);
        __asked = now;
    }
    return __hasCome;
}

CHeldSignals::~CHeldSignals() {
    if (IsWaiting(__before)) {
        std::cout.flush();
    }
    pthread_sigmask(SIG_SETMASK, &__before, nullptr);
}

} // namespace Quil
