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

/// The same with its code in front.
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
