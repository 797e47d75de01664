// The finished library of the dialogs, with a scripted print spooler behind it.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "tests/ui/desk.h"
#include "tests/ui/scripted_spooler.h"
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
    uint16_t port() const { return port_; }

  private:
    SOCKET listener_;
    SOCKET queued_;
    uint16_t port_ = 0;
};

// An administrator's program that has called one of the library's functions.
std::unique_ptr<Desk> add_port(const WCHAR* server = nullptr);
std::unique_ptr<Desk> configure_port(const WCHAR* port, const WCHAR* server = nullptr);
std::unique_ptr<Desk> delete_port(const WCHAR* port, const WCHAR* server = nullptr);

class Dialogs : public testing::Test {
  protected:
    // Ends with this error (0: success), all windows and channels closed.
    void expect_end(Desk& desk, DWORD error) {
        ASSERT_TRUE(desk.ended());
        EXPECT_EQ(desk.result() ? DWORD{ERROR_SUCCESS} : desk.error(), error);
        EXPECT_EQ(desk.windows_left(), 0u);
        EXPECT_TRUE(wait_until([&] { return spooler.channels() == 0; }));
    }

    ScriptedSpooler spooler{library()};
};

#define EXPECT_TEXT(shown, wanted) EXPECT_EQ(::ui::utf8(shown), ::ui::utf8(wanted))

}  // namespace ui
