// The library comes and goes within a process that stays: what it takes from the system goes with it.
#include <algorithm>
#include <vector>

#include "tests/support/print_server.h"

namespace test {
namespace {

// Bytes of the blocks in use in all heaps of the process, the runtime's among them.
size_t memory_in_use() {
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    heaps.resize(std::min<size_t>(heaps.size(), count));
    size_t bytes = 0;
    for (const HANDLE heap : heaps) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heap);
        while (HeapWalk(heap, &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
        }
        HeapUnlock(heap);
    }
    return bytes;
}

class Unload : public PrintServer {
  protected:
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

TEST_F(Unload, DocumentsLeaveNoMemoryBehind) {
    configure({"Debug=on", "LogRotateSizeKBytes=64"});
    add_printer(W("Office"));
    load_and_unload(3, true);
    const size_t memory = memory_in_use();
    load_and_unload(100, true);
    EXPECT_LT(memory_in_use(), memory + 1000);
}

// More often than a process has slots for a thread's own data; a runtime takes some at each load.
TEST_F(Unload, ALibraryThatOnlyStartsLeavesNothingAtAll) {
    configure({});
    add_printer(W("Office"));
    load_and_unload(1, true);
    load_and_unload(1, false);
    const size_t memory = memory_in_use();
    const size_t handles = open_handles();
    load_and_unload(1200, false);
    EXPECT_TRUE(handles_fall_to(handles)) << open_handles() << " > " << handles;
    EXPECT_LT(memory_in_use(), memory + 1000);
}

}  // namespace
}  // namespace test
