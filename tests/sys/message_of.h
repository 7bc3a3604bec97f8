// What an action throws, as its message.
#pragma once

#include <string>

namespace Quil::TEST {

/// The message of the `Exp` that `action` throws.
template <class Exp, class Action>
std::string MessageOf(Action action) {
    try {
        action();
    } catch (const Exp& failure) {
        return failure.GetErrString().c_str();
    }
    return "nothing thrown";
}

/// The code of the `Exp` that `action` throws; 0 if it throws none.
template <class Exp, class Action>
unsigned int CodeOf(Action action) {
    try {
        action();
    } catch (const Exp& failure) {
        return failure.GetErrCode();
    }
    return 0;
}

/// Its message with its code in front.
template <class Exp, class Action>
std::string Failure(Action action) {
    try {
        action();
    } catch (const Exp& failure) {
        return std::to_string(failure.GetErrCode()) + " " + failure.GetErrString().c_str();
    }
    return "nothing thrown";
}

} // namespace Quil::TEST
