// The configuration channel of a hosted monitor.
#pragma once

#include "host/monitor_host.h"

namespace host {

// A configuration handle, open from construction to destruction. The monitor has to stay loaded.
class Xcv {
  public:
    // `object`: the port that commands are about, or the monitor's name.
    Xcv(const MonitorHost& monitor, const Text& object, ACCESS_MASK access);
    ~Xcv();
    Xcv(const Xcv&) = delete;
    Xcv& operator=(const Xcv&) = delete;

    // The command's Win32 code; 8 when the handle could not be opened. Sizes are passed on as they are, whatever the
    // buffers hold.
    DWORD send(LPCWSTR command, const void* input, DWORD input_size, void* output = nullptr, DWORD output_size = 0,
               DWORD* needed = nullptr) const;

  private:
    MONITOR2* table_;
    HANDLE handle_ = nullptr;
};

}  // namespace host
