// A bounded queue between threads: those who push wait for a free place, those who pop for a filled
// one.
//
// It also knows when everything that was pushed has been dealt with, which is more than being
// empty: the last record may still be in work. And it can be closed, so that producers turn
// elsewhere.
#pragma once

#include "util/sys/advSync.h"
#include "util/sys/event.h"
#include "util/sys/sem.h"

#include <utility>

namespace Quil {

/// A queue of `T` in a `Container` with `push_back`, `pop_front`, `front` and `empty`. `Lock` has
/// the locks of the two sides, `CFastProducerLock` and `CFastConsumerLock`. Any thread may call it.
template <class T, class Container, class Lock>
class CMessageQueue {
public:
    /// A length of 0 counts as 1.
    explicit CMessageQueue(unsigned int length) : __freePlaces(length != 0 ? length : 1) {}

    /// Waits for a free place and pushes what `make` gives. `make` is called when this producer's
    /// turn has come, so records that it stamps are in order. False if the queue is closed.
    template <class Make>
    bool Push(Make make) {
        const CFastProducerLock turn(__sides);
        T record = make();
        __freePlaces.P();
        {
            const CFastSessionLock lock(__lock);
            if (!__isClosed) {
                __Add(std::move(record));
                return true;
            }
        }
        __freePlaces.V(); // the next producer must see it as well
        return false;
    }

    /// Pushes beyond the length, without waiting, closed or not.
    void PushCommand(T record) {
        const CFastSessionLock lock(__lock);
        __Add(std::move(record));
    }

    /// Waits for a record and takes it. `IsCommand` tells those that took no place.
    template <class IsCommand>
    T Pop(IsCommand isCommand) {
        const CFastConsumerLock turn(__sides);
        __filledPlaces.P();
        return __Take(isCommand);
    }
    /// Takes a record if there is one.
    template <class IsCommand>
    bool TryPop(T& record, IsCommand isCommand) {
        const CFastConsumerLock turn(__sides);
        return __filledPlaces.TryP() && (record = __Take(isCommand), true);
    }
    /// To be called once for each record that was taken, when it has been dealt with.
    void Done() {
        const CFastSessionLock lock(__lock);
        if (--__pending == 0) {
            __allDone.Raise();
        }
    }

    /// From now on `Push` refuses.
    void Close() {
        const CFastSessionLock lock(__lock);
        __isClosed = true;
    }

    /// Waits until all records have been dealt with.
    void WaitUntilDone() { __allDone.Wait(); }
    /// The same with a limit in milliseconds. False if that was too short.
    bool WaitUntilDone(unsigned long milliseconds) { return __allDone.Wait(milliseconds); }

private:
    /// With the lock held, as the event's state goes with the count.
    void __Add(T&& record) {
        __container.push_back(std::move(record));
        if (++__pending == 1) {
            __allDone.Reset();
        }
        __filledPlaces.V();
    }

    template <class IsCommand>
    T __Take(IsCommand isCommand) {
        const CFastSessionLock lock(__lock);
        T record = std::move(__container.front());
        __container.pop_front();
        if (!isCommand(record)) {
            __freePlaces.V();
        }
        return record;
    }

    Lock __sides;
    CSem __freePlaces;
    CSem __filledPlaces{0};
    CFastMutex __lock; ///< guards what follows; the sides don't exclude each other
    Container __container;
    unsigned long __pending = 0; ///< queued or in work
    bool __isClosed = false;
    CEvent __allDone{true};
};

} // namespace Quil
