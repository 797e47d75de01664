// A print server around Wine's own spooler: the library as its monitor, behind the thin one, queues on the monitor's
// ports, and printers outside Wine behind the ports.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/package/outside_printer.h"
#include "tests/package/printing.h"
#include "tests/package/wine_spooler.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tools/host/ports.h"
#include "tools/host/setup.h"
#include "winportmon/tsmon/tsmon.h"

namespace test {

using host::Text;
using printing::Outcome;
using wine_spooler::listed_ports;
using Lines = std::vector<std::string>;

// A queue with a port of its own, which leads to a printer of its own.
struct Place {
    const WCHAR* queue;
    const WCHAR* port;
    OutsidePrinter printer;
};

constexpr WCHAR object_of_monitor[] = L",XcvMonitor Tessaron TCP/IP Port";

// Everything outside the spooler lies in this folder.
void set_test_folder(const std::string& folder);

class SpoolerServer : public testing::Test {
  public:
    static Place& first();  // its names have letters outside ASCII
    static Place& second();
    static Place& third();
    static Place& fourth();
    static Place& losing();                   // its printer resets each connection after 100000 bytes
    static Place& refusing();                 // its printer refuses connections
    static std::vector<Place*> everywhere();  // the first four
    static std::vector<Text> all_ports();     // sorted
    // Every party has been told that the document was printed; checked, and whether the program has.
    static bool is_printed(const Outcome& outcome);

  protected:
    SpoolerServer();
    ~SpoolerServer() override;

    // Settings, ports, queues; then the monitor is added to the spooler.
    void start(const Lines& settings = {"Debug=on"});
    // What the spooler keeps of a monitor while it is registered.
    void store_ports();
    void add_monitor();
    void delete_monitor();
    void add_queue(const Text& queue, const Text& port);

    // Prints, and it arrives as it is.
    void expect_prints(Place& place, const std::string& data);

    // -- The configuration channel, and what the spooler lists

    static tsmon::PortConfig config(const Text& port, DWORD number) {
        return host::port_config(port, L"127.0.0.1", number);
    }
    // The command's Win32 code, or the spooler's when it does not get so far.
    static DWORD send(const Text& object, ACCESS_MASK access, LPCWSTR command, const void* input, size_t size,
                      void* output = nullptr, DWORD output_size = 0);
    static DWORD send(LPCWSTR command, const tsmon::PortConfig& input);
    static DWORD send(LPCWSTR command, const Text& port);

    // -- Programs

    class Program {
      public:
        explicit Program(const Text& command);
        ~Program();
        Program(const Program&) = delete;
        Program& operator=(const Program&) = delete;
        // All of it, and its exit status once it is over.
        std::string output();
        DWORD status();

      private:
        Child child_;
    };
    // The command line of this program, quoted.
    static Text own_program();
    // tsport.exe's exit status and what it has said.
    static std::string tsport(const Text& arguments);

    // -- Files

    std::string log() const { return read_file(path_of(folder.log())); }
    int logged(const std::string& text) const;
    // The messages of the debug log that begin with one of these ...
    Lines messages(const Lines& beginnings) const;
    // ... and those that are errors.
    Lines errors() const;
    // The names in one of the base folder's spool folders, sorted.
    Lines files_in(const std::string& name) const;
    fs::path base() const { return path_of(folder.base); }
    void answer_by(const std::string& script) { write_file(base() / "ts-print-monitor.script", script); }
    // What the helper's run (from 1) has heard, once it is over.
    std::string heard(int run) const;
    // The printer's hardware is checked; attributes are forced on a job.
    void check_hardware(const Place& place);
    void force_attributes(const Place& place, DWORD job);

    host::BaseFolder folder;

  private:
    std::vector<Text> queues_;
};

}  // namespace test
