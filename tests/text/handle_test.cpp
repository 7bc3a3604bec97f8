// Ownership by handles: when the object goes, what a copy costs nothing of, and what becomes of an
// exception that a destructor throws.
#include "util/base/handle.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace Quil;

namespace {

struct COUNTED {
    explicit COUNTED(int& gone) : gone(gone) {}
    ~COUNTED() { ++gone; }
    int& gone;
};
using CountedHandle = CHandle<COUNTED, GuardedDeletor<COUNTED>>;

TEST(Handle, LastOneReleases) {
    int gone = 0;
    {
        CountedHandle a(new COUNTED(gone));
        CountedHandle b(a);
        {
            CountedHandle c = b;
            EXPECT_TRUE(c.IsShared());
            a = c; // the same object: nothing happens
            a = *&a;
        }
        EXPECT_EQ(gone, 0);
        b = nullptr;
        EXPECT_EQ(gone, 0);
        EXPECT_FALSE(a.IsShared());
        CountedHandle moved = std::move(a);
        EXPECT_TRUE(!a);
        EXPECT_EQ(moved->gone, 0);
    }
    EXPECT_EQ(gone, 1);
}

struct NODE {
    CHandle<NODE, GuardedDeletor<NODE>> next;
    int value = 0;
};

TEST(Handle, SteppingAlongAListKeepsTheNextNode) {
    using NodeHandle = CHandle<NODE, GuardedDeletor<NODE>>;
    NodeHandle head;
    for (int i = 0; i < 3; ++i) {
        NodeHandle node(new NODE);
        node->value = i;
        node->next = head;
        head = node;
    }
    head = head->next; // destroys the node that `next` lies in
    EXPECT_EQ(head->value, 1);
    head = std::move(head->next);
    EXPECT_EQ(head->value, 0);
    EXPECT_TRUE(head->next == nullptr);
}

struct THROWING {
    static inline int freed = 0;
    static void* operator new(std::size_t n) { return ::operator new(n); }
    static void operator delete(void* memory) {
        ++freed;
        ::operator delete(memory);
    }
    virtual ~THROWING() noexcept(false) { throw std::runtime_error("late"); }
};
using ThrowingHandle = CHandle<THROWING, GuardedDeletor<THROWING>>;

TEST(Handle, ExceptionOfADestructor) {
    THROWING::freed = 0;
    EXPECT_THROW({ ThrowingHandle handle(new THROWING); }, std::runtime_error);
    EXPECT_EQ(THROWING::freed, 1);
    try {
        ThrowingHandle handle(new THROWING);
        throw std::logic_error("first");
    } catch (const std::logic_error&) { // the first one goes on
    }
    EXPECT_EQ(THROWING::freed, 2);

    ThrowingHandle kept(new THROWING);
    {
        ThrowingHandle target(new THROWING);
        EXPECT_THROW(target = kept, std::runtime_error);
        EXPECT_TRUE(!target);
        EXPECT_FALSE(kept.IsShared()); // its count was given back
    }
    EXPECT_THROW(kept = nullptr, std::runtime_error);
    EXPECT_EQ(THROWING::freed, 4);
}

TEST(Handle, VoidAndBorrowedObjects) {
    CHandle<void, FreeDeletor<void>> block(std::malloc(8));
    EXPECT_TRUE(block);
    int onStack = 0;
    auto borrowed = CHandle<int, FreeDeletor<int>>::Borrow(&onStack);
    auto copy = borrowed;
    EXPECT_FALSE(copy.IsOwner());
    EXPECT_EQ(copy.get(), &onStack);
}

TEST(Handle, ThreadsCopyAndDropTheirOwn) {
    int gone = 0;
    {
        const CountedHandle shared(new COUNTED(gone));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([own = CQuietHandle(shared)] {
                for (int round = 0; round < 20000; ++round) {
                    CountedHandle copy(own);
                    CountedHandle other;
                    other = copy;
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_FALSE(shared.IsShared());
    }
    EXPECT_EQ(gone, 1);
}

TEST(Handle, AThreadTakesOneWhoseReleaseThrows) {
    THROWING::freed = 0;
    std::thread([own = CQuietHandle(ThrowingHandle(new THROWING))] {
        EXPECT_FALSE(own.IsShared());
    }).join();
    EXPECT_EQ(THROWING::freed, 1);
}

} // namespace
