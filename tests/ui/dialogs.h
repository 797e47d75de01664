// The finished library of the dialogs, with a scripted print spooler behind it.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "tests/ui/desk.h"
#include "tests/ui/scripted_spooler.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmonui/resource.h"

namespace ui {

// Where pictures of the dialogs go, for the documents; empty when none are wanted.
extern std::string pictures_folder;

// Copies the finished libraries to where Windows looks for them: these dialogs, the monitor, and the thin monitor that
// stands between it and Wine's spooler.
bool install_libraries();

// Loaded once, for the life of the process. Functions of its only export.
HMODULE library();
const MONITORUI& functions();

// Handles of the process, of every kind.
size_t handles();
// Bytes in use in the process's heap.
size_t memory();
// The bytes that a heap may keep for so many threads that have ended: one with groups of small blocks, as Wine 10's, an
// empty group each, which memory() counts.
ptrdiff_t kept_by_heap(int threads);

// A TCP port of this machine that neither accepts nor refuses: its queue of connections is full.
class SilentPrinter {
  public:
    SilentPrinter();
    ~SilentPrinter();
    SilentPrinter(const SilentPrinter&) = delete;
    SilentPrinter& operator=(const SilentPrinter&) = delete;
    uint16_t port;

  private:
    SOCKET listener_;
    SOCKET queued_;
};

// An administrator's program that has called one of the library's functions.
std::unique_ptr<Desk> add_port(const WCHAR* server = nullptr);
std::unique_ptr<Desk> configure_port(const WCHAR* port, const WCHAR* server = nullptr);
std::unique_ptr<Desk> delete_port(const WCHAR* port, const WCHAR* server = nullptr);

// With a spooler that knows every port of its monitor, and with one that has a list of its own (true).
class Dialogs : public testing::TestWithParam<bool> {
  protected:
    Dialogs() { spooler_sim::set_strict_port_list(GetParam()); }
    // Stores a picture of a dialog when pictures are wanted.
    static void take(HWND dialog, const std::string& name);
    // Ends with this error (0: success), all windows and channels closed.
    void expect_end(Desk& desk, DWORD error) {
        ASSERT_TRUE(desk.ended());
        EXPECT_EQ(desk.result() ? DWORD{ERROR_SUCCESS} : desk.error(), error);
        EXPECT_EQ(desk.windows_left(), 0u);
        EXPECT_TRUE(wait_until([] { return ScriptedSpooler::channels() == 0; }));
    }

    // The dialog has added a port: a spooler with a list of its own does not know it, which is said.
    void expect_added(Desk& desk, HWND dialog) {
        if (GetParam()) {
            const std::wstring said = Desk::message(desk.front(dialog));
            EXPECT_NE(said.find(L" was added and stored, but the print spooler"), std::wstring::npos) << utf8(said);
            EXPECT_NE(said.find(L"\nnet stop spooler /y\nnet start spooler"), std::wstring::npos) << utf8(said);
            desk.key(VK_RETURN);
        }
        expect_end(desk, ERROR_SUCCESS);
    }

    ScriptedSpooler spooler{library()};
};

#define BOTH_MODES(suite) INSTANTIATE_TEST_SUITE_P(Spooler, suite, testing::Bool())
#define EXPECT_TEXT(shown, wanted) EXPECT_EQ(::ui::utf8(shown), ::ui::utf8(wanted))

}  // namespace ui
