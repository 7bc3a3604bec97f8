// The main program of all tests. It shows the text of the library's exceptions that escape a test:
// to the test framework, which knows only the standard's, they are of an unknown kind.
#include "util/sys/errhdl.h"

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>

namespace {

/// Looks at the exception on whose account a failure is reported: the framework reports it from
/// within its handler.
class CExceptionText final : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& result) override {
        const std::exception_ptr cause = std::current_exception();
        if (!result.failed() || cause == nullptr) {
            return;
        }
        try {
            std::rethrow_exception(cause);
        } catch (const Quil::qlExp& exception) {
            std::printf("the exception says: %u %s\n", exception.GetErrCode(),
                        exception.GetErrString().c_str());
        } catch (...) { // which the framework has shown
        }
    }
};

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new CExceptionText);
    return RUN_ALL_TESTS();
}
