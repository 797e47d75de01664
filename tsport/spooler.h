// What the print spooler of this machine, or of another server, tells about its ports, queues and monitors, and the
// commands of the port monitor there. All return a Win32 code.
#pragma once

#include <cstdint>
#include <vector>

#include "tsport/ports/port.h"

namespace tsport {

// Windows' own monitor of network printers; its key below that of the monitors has this name, too.
inline constexpr WCHAR kStandardMonitor[] = W("Standard TCP/IP Port");

struct SpoolerPort {
    Text name;
    Text monitor;
};

struct Queue {
    Text name;
    std::vector<Text> ports;
    Text port_list = {};  // all of them as they are set; a port from before may have a comma in its name
    DWORD status = 0;     // PRINTER_STATUS_ bits
    DWORD jobs = 0;       // that are waiting or printing
};

// "" for null.
Text text_of(LPCWSTR text);

// An open object of the spooler: a queue, a port, a monitor. Closed with this one.
class Channel {
  public:
    Channel() = default;
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    DWORD open(Text name, ACCESS_MASK access);
    HANDLE get() const { return handle_; }  // null: not open

  private:
    HANDLE handle_ = nullptr;
};

// The records that one of the spooler's functions gives, with the memory for their texts.
template <typename Record>
class Records {
  public:
    // A buffer that is large enough saves the spooler from listing everything twice; for another server it goes over
    // the network as it is.
    explicit Records(bool large = false) : buffer_(large ? 131'072 : 2048) {}
    // `enumerate`(buffer, size, &needed, &count)
    template <typename Function>
    DWORD read(Function enumerate) {
        DWORD needed = 0;
        int tries = 8;  // the spooler's list may grow meanwhile, but not for ever
        while (!enumerate(reinterpret_cast<BYTE*>(buffer_.data()),
                          static_cast<DWORD>(buffer_.size() * sizeof buffer_[0]), &needed, &count_)) {
            const DWORD error = GetLastError();
            if (error != ERROR_INSUFFICIENT_BUFFER || tries-- == 0) return error;
            buffer_.resize(needed / sizeof buffer_[0] + 1);
        }
        return ERROR_SUCCESS;
    }
    const Record* begin() const { return reinterpret_cast<const Record*>(buffer_.data()); }
    const Record* end() const { return begin() + count_; }

  private:
    std::vector<std::uint64_t> buffer_;  // aligned for the records
    DWORD count_ = 0;
};

// One thread at a time.
class Spooler {
  public:
    // "\\NAME"; empty: this machine's.
    explicit Spooler(const Text& server = Text()) : server_(server) {}

    const Text& server() const { return server_; }

    // The ports of all monitors, the queues, the names of the monitors.
    DWORD ports(std::vector<SpoolerPort>& ports) const;
    DWORD queues(std::vector<Queue>& queues) const;
    DWORD monitors(std::vector<Text>& names) const;

    // The names of the monitor's ports, in its order.
    DWORD port_names(std::vector<Text>& names) const;
    DWORD read(const Text& name, Port& port) const;
    DWORD add(const Port& port) const;
    DWORD set(const Port& port) const;
    DWORD remove(const Text& name) const;
    // A raw port of Windows' own Standard TCP/IP monitor; texts are cut to the fields of its commands.
    DWORD add_standard(const Port& port) const;
    DWORD remove_standard(const Text& name) const;
    // Whether the spooler itself knows a port of that name, which it may learn only when it starts; false as well when
    // it does not tell.
    bool is_known(const Text& name) const;
    bool is_unknown(const Text& name) const;
    // Whether any monitor of the spooler has a port of that name.
    DWORD ask_whether_exists(const Text& name, bool& exists) const;
    // Whether the printer accepts a connection from the server.
    DWORD ask_whether_reachable(const Port& port, bool& reachable) const;

  private:
    struct Message;
    Text full_name(const Text& object) const;
    DWORD send(const Message& message) const;

    const Text server_;
    mutable Channel administration_;  // for changes, open from the first one on
};

}  // namespace tsport
