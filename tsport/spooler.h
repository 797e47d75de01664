// What the print spooler of this machine, or of another server, tells about its ports, queues and monitors, and the
// configuration channel of the port monitor there.
#pragma once

#include <vector>

#include "tsport/ports/port.h"

namespace tsport {

struct SpoolerPort {
    Text name;
    Text monitor;
};

struct Queue {
    Text name;
    std::vector<Text> ports;
};

// One thread at a time.
class Spooler {
  public:
    // "\\NAME"; empty: this machine's.
    explicit Spooler(const Text& server = Text()) : server_(server) {}
    ~Spooler();
    Spooler(const Spooler&) = delete;
    Spooler& operator=(const Spooler&) = delete;

    const Text& server() const { return server_; }

    // The ports of all monitors, the queues, the names of the monitors. The Win32 code.
    DWORD ports(std::vector<SpoolerPort>& ports) const;
    DWORD queues(std::vector<Queue>& queues) const;
    DWORD monitors(std::vector<Text>& names) const;

    struct Message {
        LPCWSTR command;
        Text port;  // that the command is about; empty when that is in its input
        bool administrator = true;
        const void* input = nullptr;
        DWORD input_size = 0;
        void* output = nullptr;
        DWORD output_size = 0;
    };
    // The command's Win32 code, or why it could not be passed on.
    DWORD send(const Message& message) const;

  private:
    DWORD open(const Text& object, bool administrator, HANDLE& channel) const;

    const Text server_;
    mutable HANDLE administration_ = nullptr;  // the channel for changes, open from the first one on
};

}  // namespace tsport
