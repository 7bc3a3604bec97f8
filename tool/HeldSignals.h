// A signal that ends the run must not end it between the first and the last byte of a file: what is
// written is new up to there and nothing any more from there on.
#pragma once

#include <chrono>
#include <csignal>

namespace Quil {

/// Ends the process by the default action of a signal, so that a shell or a script sees what it
/// would have seen of a program without any care. Never returns.
[[noreturn]] void EndBySignal(int signal);

/// While an object of this class lives, the signals by which people and systems end a run wait:
/// SIGINT, SIGTERM, SIGHUP, SIGQUIT. One that has come meanwhile takes effect when the object goes,
/// after what the run has reported so far is written out. For the main thread, and all that are
/// made while the object lives.
class CHeldSignals {
public:
    CHeldSignals();
    ~CHeldSignals();
    CHeldSignals(const CHeldSignals&) = delete;
    CHeldSignals& operator=(const CHeldSignals&) = delete;

private:
    sigset_t __before{};
};

/// Watches for a signal that is held: for a thread that was made meanwhile, and asks often.
class CSignalWatch {
public:
    /// Whether one has come, as it was some milliseconds ago at most.
    bool HasCome();

private:
    bool __hasCome = false;
    std::chrono::steady_clock::time_point __asked{};
};

} // namespace Quil
