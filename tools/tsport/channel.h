// The way to a monitor's configuration: through the installed spooler, or to a library hosted here.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/tsport/port.h"

namespace tsport {

class Channel {
  public:
    Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    virtual ~Channel() = default;

    // The monitor's ports, in its order. The Win32 code.
    virtual DWORD list(std::vector<Text>& names) = 0;

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
    virtual DWORD send(const Message& message) = 0;

    // Makes the changes last; false with the reason. An installed monitor has done so by itself.
    virtual bool keep(std::string&) { return true; }
};

// Null with the reason.
std::unique_ptr<Channel> open_installed(std::string& why);
// Loads `library` (empty: the one beside this program or in the folder above) over the ports of the file `store`; one
// that does not exist holds none.
std::unique_ptr<Channel> open_hosted(const std::string& library, const std::string& store, std::string& why);

}  // namespace tsport
