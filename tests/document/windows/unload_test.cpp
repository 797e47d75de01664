// The library comes and goes within a process that stays: what it takes from the system goes with it.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tests/support/print_server.h"
#include "tests/support/windows/process.h"

namespace test {
namespace {

class Unload : public PrintServer {
  protected:
    // The bytes that a round leaves in use, the least of several rounds: what leaks does so in each. Some heaps take a
    // large block for many small ones now and then, and count it as in use.
    template <typename Round>
    static ptrdiff_t left_by_a_round(int rounds, Round round) {
        ptrdiff_t least = PTRDIFF_MAX;
        for (int i = 0; i < rounds; ++i) {
            const size_t memory = memory_in_use();
            round();
            least = std::min(least, static_cast<ptrdiff_t>(memory_in_use() - memory));
        }
        return least;
    }

    void load_and_unload(int times, bool with_document) {
        for (int i = 0; i < times; ++i) {
            load();
            if (with_document) {
                EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
                // The TCP printer's record of the connection goes too.
                EXPECT_TRUE(office->wait_for_ends(office->connections()));
                office->forget_ended();
            }
            monitor.unload();
            ASSERT_EQ(GetModuleHandleW(W("tsprintportmon.dll")), nullptr) << "it is still there";
        }
    }
};

TEST_F(Unload, NothingIsLeftBehind) {
    configure({"Debug=on", "LogRotateSizeKBytes=64"});
    add_printer(W("Office"));
    load_and_unload(3, true);
    EXPECT_LT(left_by_a_round(5, [&] { load_and_unload(20, true); }), 200);
    // More often than a process has slots for a thread's own data; a runtime takes some at each load.
    const size_t handles = open_handles();
    EXPECT_LT(left_by_a_round(24, [&] { load_and_unload(50, false); }), 50);
    EXPECT_TRUE(handles_fall_to(handles)) << open_handles() << " > " << handles;
}

}  // namespace
}  // namespace test
