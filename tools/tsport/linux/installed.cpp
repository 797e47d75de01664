#include "tools/tsport/channel.h"

namespace tsport {

std::unique_ptr<Channel> open_installed(std::string& why) {
    why = "an installed monitor can be reached on Windows only; use --library PATH --store FILE here";
    return nullptr;
}

}  // namespace tsport
