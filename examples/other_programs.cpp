// Starts other programs: one that answers, one that is fed by a pipe, one that takes too long.

#include "util/base/StopWatch.h"
#include "util/file/Pipe.h"
#include "util/store/EnvMgr.h"
#include "util/sys/Process.h"
#include "util/sys/errhdl.h"

#include <csignal>
#include <iostream>

using namespace Quil;
using namespace std::chrono_literals;

int main() {
    try {
        CEnvMgr environment({"NAME=world", "GREETING=hello, ${NAME}", "PATH=/usr/bin:/bin"});
        environment.Set("TEXT", environment.Expand("${GREETING}${MARK:-!}"));
        PROCESS_START start{{"printenv", "TEXT"}};
        start.environment = environment.GetList();
        start.out.kind = STREAM_TO::PIPE;
        CProcess answering(start);
        CProcess::OUTPUTS outputs;
        const PROCESS_END* end = answering.Communicate(outputs);
        std::cout << outputs.out << "it ended with " << end->code << "\n";

        // Between two programs: what one writes the other reads.
        CProcess sorting({{"sort"}, {}, {}, {STREAM_TO::PIPE}, {STREAM_TO::PIPE}});
        CPipeSink(sorting.GetInput()).Write("pear\napple\n", 11);
        sorting.CloseInput();
        char first[6] = {};
        std::cout << CPipeSource(sorting.GetOutput()).Read(first, 5) << " bytes: " << first << "\n";

        const CStopWatch watch;
        CProcess sleeping(PROCESS_START{{"sleep", "100"}});
        if (sleeping.Wait(50ms) == nullptr) {
            sleeping.Signal(SIGTERM);
        }
        end = sleeping.Wait();
        std::cout << (end->signal == SIGTERM ? "ended by a signal" : "ended by itself") << ", "
                  << (watch.GetSeconds() < 50 ? "early" : "late") << "\n";

        const CProcess none(PROCESS_START{{"no-such-program"}});
        return 1;
    } catch (const procExp& failure) {
        std::cout << failure.GetErrString() << "\n";
        return 0;
    } catch (const qlExp& failure) {
        std::cerr << failure.GetErrString() << "\n";
        return 1;
    }
}
