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
    void load_and_unload(bool with_document) {
        load();
        if (with_document) print_and_forget();
        monitor.unload();
        ASSERT_EQ(GetModuleHandleW(W("tsprintportmon.dll")), nullptr) << "it is still there";
    }

    // The TCP printer's record of the connection goes too.
    void print_and_forget() {
        EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
        EXPECT_TRUE(office->wait_for_ends(office->connections()));
        office->forget_ended();
    }
};

TEST_F(Unload, DocumentsLeaveNoMemoryBehind) {
    configure({"Debug=on", "LogRotateSizeKBytes=64"});
    add_printer(W("Office"));
    for (int i = 0; i < 3; ++i) load_and_unload(true);
    const size_t before = memory_in_use();
    for (int i = 0; i < 100; ++i) load_and_unload(true);
    EXPECT_LT(memory_in_use(), before + 1000);
}

// More often than a process has slots for a thread's own data; a runtime takes some at each load.
TEST_F(Unload, ALibraryThatOnlyStartsLeavesNothingAtAll) {
    configure({});
    add_printer(W("Office"));
    load_and_unload(true);
    load_and_unload(false);
    const size_t memory = memory_in_use();
    const size_t handles = open_handles();
    for (int i = 0; i < 1200; ++i) load_and_unload(false);
    EXPECT_TRUE(handles_fall_to(handles)) << open_handles() << " > " << handles;
    EXPECT_LT(memory_in_use(), memory + 1000);
}

}  // namespace
}  // namespace test
